#!/usr/bin/env bash
# bench.sh [--quick | --recordings | --before REVISION | --wasm | --python]
# Builds the release preset, measures all filters and kernels beside memcpy, naive scalar forms and
# (where Debian's OpenCV can be had) OpenCV, and writes the tables into docs/performance.md. Leave the
# machine alone meanwhile. With --quick: one short round, written to build/release/performance.md. With
# --recordings: only gxfilter beside a Python script. With --before: only the filters as they were in that
# revision beside today's, in turns. With --wasm: only WebAssembly beside AVX2. With
# --python: only Python: calls, into docs/python.md, and batches, into docs/batch.md.
set -euo pipefail
cd "$(dirname "$0")/.."
# shellcheck source=scripts/packages.sh
source scripts/packages.sh

document=docs/performance.md
# Rounds of the whole suite in random order, so that a slow spell of the machine hits everything
# alike; the medians count.
measure=(--benchmark_repetitions=5 --benchmark_min_time=0.04
  --benchmark_enable_random_interleaving=true)
frames=10000
recorded_frames=1000
filters=true
recordings=true
before=
wasm=false
case "${1:-}" in
"") ;;
--quick)
  mkdir -p build/release
  cp docs/performance.md build/release/
  document=build/release/performance.md
  measure=(--benchmark_min_time=0.01)
  frames=500
  recorded_frames=50
  ;;
--recordings) filters=false ;;
--python)
  scripts/install_packages.sh "${build_packages[@]}" "${python_packages[@]}" "${python_test_packages[@]}" \
    "${bench_packages[@]}"
  cmake --preset release -DFILTER_PROCESSOR_PYTHON=ON
  cmake --build --preset release --target python_package c_calls gxfilter
  /usr/bin/python3 bench/python_calls.py build/release docs/python.md
  exec /usr/bin/python3 bench/batch_growth.py build/release docs/batch.md
  ;;
--before)
  filters=false recordings=false
  before=$(git rev-parse --verify "${2:?a revision}^{commit}")
  ;;
--wasm) filters=false recordings=false wasm=true ;;
*)
  sed -n '2,8s/^# //p' "$0" >&2
  exit 2
  ;;
esac

scripts/install_packages.sh "${build_packages[@]}" "${test_packages[@]}"
scripts/install_packages.sh "${bench_packages[@]}" ||
  echo "OpenCV or the recording can't be had: the tables do without."

cmake --fresh --preset release -DCMAKE_C_COMPILER=gcc -DCMAKE_CXX_COMPILER=g++ -DFILTER_PROCESSOR_BENCH=ON
bin=build/release/bin
results=build/release/bench.json

# replace NAME FILE: puts the file between the document's markers of that name.
replace() {
  awk -v begin="<!-- $1: begin -->" -v end="<!-- $1: end -->" -v table="$2" '
    $0 == end { inside = 0; found++ }
    !inside { print }
    $0 == begin { inside = 1; found++; while ((getline line < table) > 0) print line }
    END { exit found == 2 ? 0 : 1 }' "$document" >"$2.document"
  cat "$2.document" >"$document"
}

measure_filters() {
  cmake --build --preset release --target filter_processor_bench filter_processor_bench_report \
    filter_processor_soak
  echo "Measuring (some minutes) ..."
  "$bin/filter_processor_bench" "${measure[@]}" --benchmark_out="$results" \
    --benchmark_out_format=json >build/release/bench.log 2>&1 || {
    tail build/release/bench.log >&2
    exit 1
  }
  "$bin/filter_processor_bench_report" "$results" >build/release/bench.table
  echo "Running $frames frames through each filter ..."
  "$bin/filter_processor_soak" "$frames" >build/release/soak.table
  replace bench build/release/bench.table
  [ "$document" != docs/performance.md ] || /usr/bin/python3 bench/overview.py "$document" docs/filters.md
  replace soak build/release/soak.table
  echo "All results: $(realpath "$results")"
}

measure_recordings() {
  if ! /usr/bin/python3 -c 'import cv2' 2>/dev/null; then
    echo "Python's OpenCV can't be had: nothing to compare recordings with."
    return
  fi
  cmake --build --preset release --target FilterProcessor gxfilter
  echo "Filtering recordings ..."
  /usr/bin/python3 bench/recordings_bench.py "$bin/gxfilter" build/release/bench_recordings \
    "$recorded_frames" >build/release/recordings.table
  replace recordings build/release/recordings.table
}

# The filters of the revision, measured by today's benchmark.
measure_before() {
  local source=build/before/source rounds=build/release/rounds.table
  rm -rf "$source" && mkdir -p "$source"
  git archive "$before" -- . ':!bench' | tar -x -C "$source"
  cp -r bench "$source/"
  cmake --fresh --preset release -S "$source" -B build/before/release -DCMAKE_C_COMPILER=gcc \
    -DCMAKE_CXX_COMPILER=g++ -DFILTER_PROCESSOR_TOOLS=OFF -DFILTER_PROCESSOR_TESTS=OFF
  cmake --build build/before/release --target frame_times
  cmake --build --preset release --target frame_times
  echo "Measuring (some minutes) ..."
  /usr/bin/python3 bench/rounds_bench.py revisions build/before/release/bin/frame_times "$bin/frame_times" \
    >"$rounds"
  replace rounds "$rounds"
}

measure_wasm() {
  scripts/install_packages.sh "${cross_packages[@]}"
  cmake --preset wasm -DFILTER_PROCESSOR_TESTS=OFF
  cmake --build --preset wasm --target frame_times
  cmake --build --preset release --target frame_times
  echo "Measuring ..."
  /usr/bin/python3 bench/rounds_bench.py platforms "$bin/frame_times" build/wasm/bin/frame_times.js \
    >build/release/wasm.table
  replace wasm build/release/wasm.table
}

if "$filters"; then measure_filters; fi
if "$recordings"; then measure_recordings; fi
if [ -n "$before" ]; then measure_before; fi
if "$wasm"; then measure_wasm; fi
echo "Tables: $(realpath "$document")"
