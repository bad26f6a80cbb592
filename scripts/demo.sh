#!/usr/bin/env bash
# demo.sh [DIRECTORY]
# Builds the plug-in and its command-line host, runs depth-camera frames through the filters and says
# where the pictures of before and after are (by default in demo/). Takes thirty frames of a real
# recording from Debian's package visp-images-data, or a generated scene where that can't be had.
set -euo pipefail
cd "$(dirname "$0")/.."
out=${1:-demo}
# shellcheck source=scripts/packages.sh
source scripts/packages.sh
scripts/install_packages.sh "${build_packages[@]}"

cmake --preset release -DCMAKE_C_COMPILER=gcc -DCMAKE_CXX_COMPILER=g++ \
  -DFILTER_PROCESSOR_TOOLS=ON -DFILTER_PROCESSOR_TESTS=OFF -DFILTER_PROCESSOR_BENCH=OFF >/dev/null
cmake --build --preset release
gxfilter=build/release/bin/gxfilter

recording=/usr/share/visp-images-data/ViSP-images/mbt-depth/castel/castel
if [ ! -d "$recording" ] && ! scripts/install_packages.sh visp-images-data; then
  echo "The recording can't be had; a generated scene takes its place."
fi

rm -rf "$out"
mkdir -p "$out"
if [ -d "$recording" ]; then
  inputs=("$recording"/*.bin)
  facts=(--depth-unit 0.125)
else
  "$gxfilter" synth --frames 30 --size 640x480 --seed 1 --out "$out/scene"
  inputs=("$out/scene")
  facts=()
fi
"$gxfilter" run --filter HoleFillingFilter:hole_filling_mode=1 --preview "${facts[@]}" \
  "${inputs[@]}" --out "$out/depth"

echo
echo "Pictures of before and after: $PWD/$out/depth/*_preview.png"
