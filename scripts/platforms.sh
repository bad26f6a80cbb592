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

# The sources that scripts/test.sh can't look at: seen as Clang for Windows, with the compiler's own headers
# but for those of its built-in functions.
lint_windows() {
  # CMake hides inline functions from DLLs by an option that Clang 14 does not know.
  mkdir -p build/windows/lint
  sed 's/ -fno-keep-inline-dllexport//' build/windows/compile_commands.json >build/windows/lint/compile_commands.json
  local arguments=(--quiet -p build/windows/lint --extra-arg=--target=x86_64-w64-mingw32
    --extra-arg=-Wno-unknown-warning-option) folder
  while read -r folder; do arguments+=("--extra-arg=-isystem$folder"); done < <(
    x86_64-w64-mingw32-g++-posix -E -v -x c++ /dev/null 2>&1 |
      sed -n '/search starts here/,/End of search/s/^ //p' | grep -vE -- '-posix/include(-fixed)?$'
  )
  git ls-files -z -- '*_windows.cpp' | xargs -0 clang-tidy "${arguments[@]}" 2> >(grep -v 'warnings generated' >&2)
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
  [ "$platform" = wasm ] || options+=(-DFILTER_PROCESSOR_TOOLS=ON)
  cmake --preset "$platform" -DFILTER_PROCESSOR_TESTS=ON "${options[@]}"
  cmake --build --preset "$platform"
  [ "$platform" != windows ] || lint_windows
  section "Tests: $platform"
  # The first start of Wine sets it up, which takes longer than programs wait for it.
  [ "$platform" != windows ] || cmake/toolchains/wine.sh cmd /c ver >/dev/null 2>&1 || true
  results=build/$platform/results.xml
  ctest --preset "$platform" --no-tests=error -j "$(nproc)" --output-junit "$PWD/$results" \
    --test-output-size-passed 10000000 --test-output-size-failed 10000000 >"build/$platform/tests.log" ||
    { status=1 && tail -n 60 "build/$platform/tests.log"; }
  /usr/bin/python3 scripts/count_tests.py "$results" || status=1
done

section "Refused: strict alignment, big-endian"
refused -mstrict-align 'load from any address'
refused -mbig-endian 'is for little-endian processors'
exit $status
