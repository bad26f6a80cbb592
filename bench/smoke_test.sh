#!/usr/bin/env bash
# smoke_test.sh BENCH REPORT
# All filters have benchmarks, or none runs; a quick one of each kind gets its row in the table.
set -euo pipefail
bench=$1 report=$2
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

"$bench" --benchmark_filter='^(memcpy|filters/HoleFillingFilter/top|kernels/HoleFilling.top|naive/fill_top)/640x480' \
  --benchmark_min_time=0.001 --benchmark_repetitions=2 --benchmark_out="$work/results.json" \
  --benchmark_out_format=json >/dev/null 2>&1
"$report" "$work/results.json" >"$work/table"
grep -Eq '^\| HoleFillingFilter/top( \| [0-9.–]+)+ \| – \| [0-9.]+ \| – \|$' "$work/table"
grep -Eq '^\| HoleFilling\.top \| [0-9.]+' "$work/table"
grep -Eq '^\| naive fill_top \| [0-9.]+ \| [0-9.]+ \|$' "$work/table"
