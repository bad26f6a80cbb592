#!/usr/bin/env bash
# gstreamer.sh: builds and tests the elements of GStreamer: in a harness, in the commands of the
# documentation, looked at for leaks, and installed, and measures what they cost. Installs what is missing;
# builds in build/release.
set -euo pipefail
cd "$(dirname "$0")/.."
# shellcheck source=scripts/packages.sh
source scripts/packages.sh
scripts/install_packages.sh "${build_packages[@]}" "${gstreamer_packages[@]}" \
  "${gstreamer_test_packages[@]}"

section() { printf '\n== %s (after %d s)\n' "$*" "$SECONDS"; }
build=build/release

section "Build: the elements"
cmake --preset release -DFILTER_PROCESSOR_GSTREAMER=ON -DFILTER_PROCESSOR_TOOLS=ON \
  -DFILTER_PROCESSOR_TESTS=ON
cmake --build --preset release \
  --target gstfilterprocessor gxfilter manual gstreamer_test gstreamer_overhead

section "Style"
find bindings/gstreamer bench/gstreamer_overhead.cpp -name '*.cpp' -print0 |
  xargs -0 -n 1 -P "$(nproc)" clang-tidy --quiet -p "$build" \
    --extra-arg=-Wno-unknown-warning-option 2> >(grep -v 'warnings generated' >&2)

section "Tests"
ctest --test-dir "$build/tests/gstreamer" --output-on-failure --no-tests=error -j "$(nproc)"

section "Overhead"
scripts/gstreamer_overhead.sh -

section "Installed"
# The commands of the documentation once more, with nothing but what is installed.
place=$(mktemp -d)
trap 'rm -rf "$place"' EXIT
for component in libraries presets tools gstreamer; do
  cmake --install "$build" --prefix "$place" --component "$component" >/dev/null
done
elements=$(dirname "$(find "$place" -name libgstfilterprocessor.so)")
tests/gstreamer/documented_lines.sh docs/gstreamer.md "$place/bin/gxfilter" "$elements"
section "Done"
