#!/usr/bin/env bash
# Builds everything and runs all tests: `release` with GCC and `asan` with Clang. Checks formatting and
# clang-tidy too. Installs what is missing. Ends with ctest's summaries.
set -euo pipefail
cd "$(dirname "$0")/.."
# shellcheck source=scripts/packages.sh
source scripts/packages.sh
scripts/install_packages.sh "${build_packages[@]}" "${test_packages[@]}"

section() { printf '\n== %s\n' "$*"; }
jobs=$(nproc)
everything=(-DFILTER_PROCESSOR_TOOLS=ON -DFILTER_PROCESSOR_TESTS=ON -DFILTER_PROCESSOR_BENCH=ON)

section "Formatting"
git ls-files -z -- '*.c' '*.cpp' '*.h' | xargs -0 clang-format --dry-run -Werror

section "Build: release, GCC"
cmake --preset release -DCMAKE_C_COMPILER=gcc -DCMAKE_CXX_COMPILER=g++ "${everything[@]}"
cmake --build --preset release

section "Build: asan, Clang"
cmake --preset asan -DCMAKE_C_COMPILER=clang -DCMAKE_CXX_COMPILER=clang++ "${everything[@]}"
cmake --build --preset asan

section "clang-tidy"
# Each source once, at the baseline level: the other levels compile the same text.
git ls-files -z -- '*.cpp' ':!examples' ':!tests' |
  xargs -0 -n 1 -P "$jobs" clang-tidy --quiet -p build/asan 2> >(grep -v 'warnings generated' >&2)

section "Tests: release, GCC"
ctest --preset release -j "$jobs"
section "Tests: asan, Clang"
ctest --preset asan -j "$jobs"
