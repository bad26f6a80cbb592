#!/usr/bin/env bash
# tsan.sh [REGEX]
# Builds the tests with GCC's thread sanitizer and runs them all, or those whose names match REGEX: any
# data race fails.
set -euo pipefail
cd "$(dirname "$0")/.."
# shellcheck source=scripts/packages.sh
source scripts/packages.sh
scripts/install_packages.sh "${build_packages[@]}" "${test_packages[@]}"

cmake --fresh --preset tsan -DCMAKE_C_COMPILER=gcc -DCMAKE_CXX_COMPILER=g++ \
  -DFILTER_PROCESSOR_TOOLS=ON -DFILTER_PROCESSOR_TESTS=ON -DFILTER_PROCESSOR_BENCH=OFF
cmake --build --preset tsan
ctest --preset tsan -j "$(nproc)" --no-tests=error -R "${1:-.}"
