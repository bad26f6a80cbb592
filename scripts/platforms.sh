#!/usr/bin/env bash
# platforms.sh [PLATFORM...]: builds for Windows, 64-bit ARM and WebAssembly and runs the tests there,
# under Wine, QEMU and in Node.js. Counts what passed, failed and was skipped, and says why it was.
set -euo pipefail
cd "$(dirname "$0")/.."
# shellcheck source=scripts/packages.sh
source scripts/packages.sh
scripts/install_packages.sh "${build_packages[@]}" "${cross_packages[@]}"
platforms=("$@")
[ $# -gt 0 ] || platforms=(windows arm64 wasm)

section() { printf '\n== %s (after %d s)\n' "$*" "$SECONDS"; }

# refused FLAG MESSAGE: a configuration that has to end with this message.
refused() {
  local build=build/refused
  rm -rf "$build"
  if cmake --preset arm64 -B "$build" -DCMAKE_TRY_COMPILE_TARGET_TYPE=STATIC_LIBRARY \
    -DCMAKE_CXX_FLAGS="$1" -DFILTER_PROCESSOR_TOOLS=OFF -DFILTER_PROCESSOR_TESTS=OFF \
    >build/refused.log 2>&1; then
    echo "FAILED: $1 was not refused" && exit 1
  fi
  tr -s ' \n' '  ' <build/refused.log | grep -cF "$2" >/dev/null ||
    { cat build/refused.log && exit 1; }
}

status=0
for platform in "${platforms[@]}"; do
  options=()
  if [ "$platform" != wasm ]; then
    section "Libraries for $platform"
    scripts/cross_dependencies.sh "$platform"
    options=(-DFILTER_PROCESSOR_DEPENDENCIES="$PWD/build/dependencies/$platform")
  fi
  section "Build: $platform"
  cmake --preset "$platform" "${options[@]}"
  cmake --build --preset "$platform"
  section "Tests: $platform"
  # The first start of Wine sets it up, which takes longer than programs wait for it.
  [ "$platform" != windows ] || cmake/toolchains/wine.sh cmd /c ver >/dev/null 2>&1 || true
  results=build/$platform/results.xml
  ctest --preset "$platform" -j "$(nproc)" --output-junit "$PWD/$results" \
    --test-output-size-passed 10000000 --test-output-size-failed 10000000 >"build/$platform/tests.log" ||
    { status=1 && tail -n 60 "build/$platform/tests.log"; }
  /usr/bin/python3 scripts/count_tests.py "$results"
done

section "Refused: strict alignment, big-endian"
refused -mstrict-align 'load from any address'
refused -mbig-endian 'is for little-endian processors'
exit $status
