#!/usr/bin/env bash
# test.sh [platforms|playground|python|gstreamer|packages|all]: the tests of this machine's own builds, those of
# the other platforms (scripts/platforms.sh), of the browser's playground, of the Python package
# (scripts/python.sh), of the elements of GStreamer (scripts/gstreamer.sh), of the packages that are handed out
# (scripts/test_packages.sh), or, as CI does, all of them.
#
# Here: checks formatting and clang-tidy, builds everything and runs all tests: `release` with
# GCC and `asan` with Clang. Builds the library alone in the other combinations that tend to break, and
# runs the tests of several threads under the thread sanitizer. Installs what is missing.
set -euo pipefail
cd "$(dirname "$0")/.."
case ${1:-} in
platforms) exec scripts/platforms.sh ;;
playground) exec scripts/test_playground.sh ;;
python) exec scripts/python.sh ;;
gstreamer) exec scripts/gstreamer.sh ;;
packages) exec scripts/test_packages.sh ;;
all)
  scripts/test.sh
  scripts/python.sh
  scripts/gstreamer.sh
  scripts/test_playground.sh
  scripts/platforms.sh
  exec scripts/test_packages.sh # of what the others built
  ;;
'') ;;
*) echo "usage: $0 [platforms|playground|python|gstreamer|packages|all]" >&2 && exit 2 ;;
esac
# shellcheck source=scripts/packages.sh
source scripts/packages.sh
scripts/install_packages.sh "${build_packages[@]}" "${test_packages[@]}"

section() { printf '\n== %s (after %d s)\n' "$*" "$SECONDS"; }
jobs=$(nproc)
everything=(-DFILTER_PROCESSOR_TOOLS=ON -DFILTER_PROCESSOR_TESTS=ON -DFILTER_PROCESSOR_BENCH=ON)

section "Formatting"
git ls-files -z -- '*.c' '*.cpp' '*.h' '*.hpp' | xargs -0 clang-format-16 --dry-run -Werror

if git grep -nE 'std::(u?int(8|16|32|64)|size|ptrdiff)_t' -- '*.cpp' '*.h' '*.hpp'; then
  echo 'fixed-width integers and sizes are written without std::' >&2
  exit 1
fi

section "Build: release, GCC"
cmake --fresh --preset release -DCMAKE_C_COMPILER=gcc -DCMAKE_CXX_COMPILER=g++ "${everything[@]}"
cmake --build --preset release

section "Build: asan, Clang"
cmake --fresh --preset asan -DCMAKE_C_COMPILER=clang -DCMAKE_CXX_COMPILER=clang++ "${everything[@]}"
cmake --build --preset asan

section "clang-tidy"
# Each source once, at the baseline level: the other levels compile the same text. The analyzer's paths multiply
# in kernels, which are nearly all loops: they go without it.
cmake --fresh --preset asan -B build/lint -DCMAKE_C_COMPILER=clang -DCMAKE_CXX_COMPILER=clang++ \
  -DFILTER_PROCESSOR_UNITY=OFF "${everything[@]}" >/dev/null
tidy() { xargs -0 -n 1 -P "$jobs" clang-tidy --quiet -p build/lint "$@" 2> >(grep -v 'warnings generated' >&2); }
sources=(':!bindings' ':!bench/gstreamer_*' ':!examples' ':!playground' ':!tests' ':!*_windows.cpp')
git ls-files -z -- '*.cpp' ':!*_kernels.cpp' "${sources[@]}" | tidy
git ls-files -z -- '*_kernels.cpp' "${sources[@]}" | tidy --checks='-clang-analyzer-*'

section "Tests: release, GCC"
ctest --preset release -j "$jobs"
section "Tests: asan, Clang"
ctest --preset asan -j "$jobs"

# library PRESET C_COMPILER CXX_COMPILER [OPTION...]: the library, its symbols and its installed tree.
library() {
  local build=build/$1-$2
  section "The library alone: $1, $3 ${*:4}"
  cmake --fresh --preset "$1" -B "$build" -DCMAKE_C_COMPILER="$2" -DCMAKE_CXX_COMPILER="$3" "${@:4}" \
    -DFILTER_PROCESSOR_TOOLS=OFF -DFILTER_PROCESSOR_TESTS=ON -DFILTER_PROCESSOR_BENCH=OFF
  cmake --build "$build" --target FilterProcessor
  ctest --test-dir "$build" --output-on-failure --no-tests=error \
    -R '^packaging\.(symbols|installed_tree)$'
}
library debug gcc g++
library asan gcc g++
library release clang clang++
library release gcc g++ -DBUILD_SHARED_LIBS=OFF

section "Tests of several threads: tsan, GCC"
scripts/tsan.sh 'Concurrency|HostCalls|Threads'
section "Done"
