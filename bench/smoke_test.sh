#!/usr/bin/env bash
# smoke_test.sh BENCH REPORT WORST_SCENE
# All filters have benchmarks, or none runs; a quick one of each kind gets its row in the table. A short
# search for the worst scene finds one that can be given back; none costs as much as if the time for a
# pixel grew with the frame.
set -euo pipefail
bench=$1 report=$2 worst_scene=$3
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

"$bench" --benchmark_filter='^(memcpy|filters/HoleFillingFilter/top|kernels/HoleFilling.top|naive/fill_top)/640x480' \
  --benchmark_min_time=0.001 --benchmark_repetitions=2 --benchmark_out="$work/results.json" \
  --benchmark_out_format=json >/dev/null 2>&1
"$report" "$work/results.json" >"$work/table"
grep -Eq '^\| HoleFillingFilter/top( \| [0-9.–]+)+ \| – \| [0-9.]+ \| – \|$' "$work/table"
grep -Eq '^\| HoleFilling\.top \| [0-9.]+' "$work/table"
grep -Eq '^\| naive fill_top \| [0-9.]+ \| [0-9.]+ \|$' "$work/table"

stripes='level=1003 slope_x=-1 column_step=1440 row_width=2 checker_step=30 noise=86 outliers=2 quantum=2'
"$worst_scene" NoiseRemovalFilter 1 848x480 best "$stripes" >"$work/found"
[ "$(wc -l <"$work/found")" -eq 2 ] # depth and disparity
found=$(sed -n '1s/.*: "\(.*\)"$/\1/p' "$work/found")
"$worst_scene" NoiseRemovalFilter 0 848x480 best "$found" >"$work/again"
grep -qF ": \"$found\"" "$work/again"
# Both times are minima of many calls in turns: what disturbs them can't tell them this far apart.
sed 's/.* M, \([0-9]*\).* times .*/\1/' "$work/found" |
  while read -r ratio; do [ "$ratio" -lt 25 ]; done
if "$worst_scene" NoiseRemovalFilter 0 848x480 best 'noise=-1' 2>"$work/error"; then exit 1; fi
grep -q noise "$work/error"
