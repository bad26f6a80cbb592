#!/usr/bin/env bash
# fuzz.sh [SECONDS]
# Builds the fuzz targets (tests/fuzz) and runs each for SECONDS, 60 by default, two at a time where
# there are two processors. What they find out is kept in build/fuzz: the working corpora from run to
# run, logs, and the inputs of findings in artifacts/. Fails if there is a finding.
set -euo pipefail
cd "$(dirname "$0")/.."
# shellcheck source=scripts/packages.sh
source scripts/packages.sh
scripts/install_packages.sh "${build_packages[@]}" "${test_packages[@]}"

seconds=${1:-60}
targets=(exports record readers containers messages)
build=build/fuzz

cmake --preset fuzz
cmake --build --preset fuzz --target "${targets[@]/%/_fuzz}"

# fuzz TARGET: leaves what was found in artifacts, a file for each finding. Traces of failures, on the
# standard output, would fill the disk.
fuzz() {
  local corpus=$build/corpus/$1 artifacts=$build/artifacts/$1
  mkdir -p "$corpus" "$artifacts" "$build/logs"
  ASAN_OPTIONS=quarantine_size_mb=16 UBSAN_OPTIONS=print_stacktrace=1 \
    "$build/bin/$1_fuzz" -entropic=0 -max_total_time="$seconds" -max_len=4096 -timeout=60 -rss_limit_mb=2048 \
    -print_final_stats=1 -close_fd_mask=1 -artifact_prefix="$artifacts/" "$corpus" "tests/fuzz/corpus/$1" \
    >"$build/logs/$1.log" 2>&1 || touch "$build/logs/$1.failed"
}

rm -f "$build"/logs/*.failed
for target in "${targets[@]}"; do
  while [ "$(jobs -rp | wc -l)" -ge "$(($(nproc) > 1 ? 2 : 1))" ]; do wait -n; done
  fuzz "$target" &
done
wait

findings=0
printf '\n%-10s %12s %8s  %s\n' target executions seconds findings
for target in "${targets[@]}"; do
  log=$build/logs/$target.log
  result=none
  if [ -e "$build/logs/$target.failed" ]; then
    result="one, see $log and $build/artifacts/$target"
    findings=1
  fi
  executions=$(awk '/stat::number_of_executed_units/ { print $2 }' "$log")
  took=$(awk '/^Done .* runs in/ { print $5 }' "$log")
  printf '%-10s %12s %8s  %s\n' "$target" "${executions:--}" "${took:--}" "$result"
done
exit "$findings"
