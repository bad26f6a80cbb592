#!/usr/bin/env bash
# Builds with GCC for coverage, runs all tests and prints how much of src/ they reach, line by line and
# branch by branch. What they miss stands in build/coverage/coverage.txt and, with the source around it,
# in build/coverage/html/index.html.
set -euo pipefail
cd "$(dirname "$0")/.."
# shellcheck source=scripts/packages.sh
source scripts/packages.sh
scripts/install_packages.sh "${build_packages[@]}" "${test_packages[@]}" \
  "${coverage_packages[@]}"

cmake --fresh --preset coverage -DCMAKE_C_COMPILER=gcc -DCMAKE_CXX_COMPILER=g++ \
  -DFILTER_PROCESSOR_TOOLS=OFF -DFILTER_PROCESSOR_TESTS=ON -DFILTER_PROCESSOR_BENCH=OFF
cmake --build --preset coverage
find build/coverage -name '*.gcda' -delete
ctest --preset coverage -j "$(nproc)"

# Branches that only the compiler made, such as to the clean-up after an exception, say nothing about
# the tests. A kernel counts once: its levels are compiled from the same lines.
report() {
  gcovr --root . --object-directory build/coverage --filter src/ \
    --exclude-throw-branches --exclude-unreachable-branches -j "$(nproc)" "$@"
}
mkdir -p build/coverage/html
report --json build/coverage/coverage.json
gcovr --add-tracefile build/coverage/coverage.json --html-details build/coverage/html/index.html
{
  echo "Lines"
  gcovr --add-tracefile build/coverage/coverage.json
  echo "Branches"
  gcovr --add-tracefile build/coverage/coverage.json --branches
} | tee build/coverage/coverage.txt
