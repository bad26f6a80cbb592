#!/usr/bin/env bash
# demo.sh [DIRECTORY]
# Builds the plug-in and its command-line host, runs depth-camera frames through a chain of filters and
# a generated disparity sequence through the conversion to depth, and says where the pictures of before
# and after are (by default in demo/). The depth frames are thirty of a real recording from Debian's
# package visp-images-data, or a generated scene where that can't be had.
set -euo pipefail
cd "$(dirname "$0")/.."
out=${1:-demo}
# shellcheck source=scripts/packages.sh
source scripts/packages.sh
scripts/install_packages.sh "${build_packages[@]}"

cmake --fresh --preset release -DCMAKE_C_COMPILER=gcc -DCMAKE_CXX_COMPILER=g++ \
  -DFILTER_PROCESSOR_TOOLS=ON -DFILTER_PROCESSOR_TESTS=OFF -DFILTER_PROCESSOR_BENCH=OFF \
  --compile-no-warning-as-error >/dev/null
cmake --build --preset release
gxfilter=build/release/bin/gxfilter

recording=/usr/share/visp-images-data/ViSP-images/mbt-depth/castel/castel
if [ ! -d "$recording" ] && ! scripts/install_packages.sh visp-images-data; then
  echo "The recording can't be had; a generated scene takes its place."
fi

mkdir -p "$out"
rm -rf "$out/scene" "$out/depth" "$out/disparity" "$out/converted"
if [ -d "$recording" ]; then
  depth=(--depth-unit 0.125 "$recording"/*.bin)
else
  "$gxfilter" synth --frames 30 --size 640x480 --seed 1 --out "$out/scene" >/dev/null
  depth=("$out/scene")
fi

echo
echo "Depth frames: smoothed, flying pixels removed, small holes closed (preset small_holes)"
"$gxfilter" run --preset small_holes --preview "${depth[@]}" --out "$out/depth"

echo
echo "A generated disparity sequence: converted to depth"
"$gxfilter" synth --pixel-type disparity --frames 10 --size 640x480 --seed 2 \
  --out "$out/disparity" >/dev/null
"$gxfilter" run --filter DisparityTransform --preview "$out/disparity" --out "$out/converted"

echo
echo "Pictures of before and after:"
echo "  $(realpath "$out")/depth/previews/*_preview.png"
echo "  $(realpath "$out")/converted/previews/*_preview.png"
