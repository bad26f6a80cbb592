#!/usr/bin/env bash
# Runs the torture tests and the tests of refused frames of the release build, with GCC, under Valgrind's
# memcheck: any use of undefined or foreign memory and any leak fails. Takes some minutes.
set -euo pipefail
cd "$(dirname "$0")/.."
# shellcheck source=scripts/packages.sh
source scripts/packages.sh
scripts/install_packages.sh "${build_packages[@]}" "${test_packages[@]}" \
  "${memcheck_packages[@]}"

cmake --fresh --preset release -DCMAKE_C_COMPILER=gcc -DCMAKE_CXX_COMPILER=g++ -DFILTER_PROCESSOR_TESTS=ON
cmake --build --preset release --target filter_processor_tests

# nouserintercepts: the tests' own operator new, which makes allocations fail, stays in its place.
# The registry's test is left out: it starts a process of its own.
leaks='definite,indirect,possible'
check=(valgrind --quiet --error-exitcode=1 --leak-check=full
  "--show-leak-kinds=$leaks" "--errors-for-leak-kinds=$leaks"
  --soname-synonyms=somalloc=nouserintercepts
  build/release/bin/filter_processor_tests --gtest_brief=1 --gtest_filter=*Torture*:*RefusedFrames*-*DeathTest*)

# As many processes as processors, each with its share of the tests.
shards=$(nproc)
pids=()
for ((i = 0; i < shards; i++)); do
  GTEST_TOTAL_SHARDS=$shards GTEST_SHARD_INDEX=$i "${check[@]}" &
  pids+=($!)
done
for pid in "${pids[@]}"; do wait "$pid"; done
echo "Valgrind found nothing."
