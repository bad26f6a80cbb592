#!/usr/bin/env bash
# pictures.sh [DIRECTORY]
# Makes the pictures of the documentation again, from generated scenes (by default in docs/pictures/).
# Each run gives the same bytes.
set -euo pipefail
cd "$(dirname "$0")/.."
out=${1:-docs/pictures}
gxfilter=build/release/bin/gxfilter
[ -x "$gxfilter" ] || {
  echo "$gxfilter is missing: build the release preset first" >&2
  exit 1
}
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
mkdir -p "$out"

# scene FRAMES OPTION...: the generated recording that the next pictures show.
scene() {
  rm -rf "$work/scene"
  "$gxfilter" synth --frames "$1" --seed 1 --out "$work/scene" "${@:2}" >/dev/null
}

# picture NAME OPTION...: the last frame of the recording before and after the filters given.
picture() {
  local name=$1
  shift
  rm -rf "$work/filtered"
  "$gxfilter" run --preview "$work/scene" --out "$work/filtered" "$@" >/dev/null
  local previews=("$work"/filtered/previews/*_preview.png)
  cp "${previews[-1]}" "$out/$name.png"
  echo "$out/$name.png"
}

scene 1 --size 320x240
picture before_after --preset segmentation

scene 1 --size 320x240 --pixel-type disparity
picture DisparityTransform --filter DisparityTransform:max_depth=3000

scene 1 --size 320x240 --pixel-type disparity --pack-mode 1
picture OpenNIDisparityTransform \
  --filter OpenNIDisparityTransform:dst_width=320,dst_height=160,y_cut=40,x_set=8

scene 1 --size 320x240 --disparity-offset 4
picture HardwareD2DCorrectionFilter --filter HardwareD2DCorrectionFilter

scene 1 --size 320x240
picture DepthResize --filter \
  DepthResize:scale=1.25,ex_left=-110,ex_right=30,ex_top=-90,ex_bottom=30,dst_width=320,dst_height=240

holes=(--crop 160x120+150+290 --filter)
scene 1 --size 640x480 --holes 60 --speckles 0 --noise 0.02
picture HoleFillingFilter_top "${holes[@]}" HoleFillingFilter:hole_filling_mode=top
picture HoleFillingFilter_nearest "${holes[@]}" HoleFillingFilter:hole_filling_mode=nearest
picture HoleFillingFilter_farthest "${holes[@]}" HoleFillingFilter:hole_filling_mode=farest

wall=(--crop 160x120+240+180 --filter)
scene 1 --size 640x480 --noise 0.25 --holes 20
picture SpatialFastFilter "${wall[@]}" SpatialFastFilter:radius=5
picture SpatialModerateFilter "${wall[@]}" SpatialModerateFilter:radius=7,disp_diff=300
picture SpatialAdvancedFilter "${wall[@]}" SpatialAdvancedFilter:disp_diff=300,radius=4,magnitude=3
scene 12 --size 640x480 --noise 0.25 --holes 20
picture TemporalFilter "${wall[@]}" TemporalFilter:weight=0.1

scene 1 --size 640x480 --speckles 150
picture NoiseRemovalFilter --crop 320x240+200+160 --filter NoiseRemovalFilter

scene 1 --size 640x480 --speckles 0 --phantoms 40 --noise 0.02
picture LutNoiseRemovalFilter --filter LutNoiseRemovalFilter

scene 1 --size 320x240 --inset 9 --fringe 4
picture EdgeNoiseRemovalFilter --filter \
  EdgeNoiseRemovalFilter:margin_x_th=20,margin_y_th=20,limit_y_th=60,enable_vertical_direction=1

scene 1 --size 320x240 --inset 6 --corner 24 --fringe 1
picture MgcNoiseRemovalFilter --filter MgcNoiseRemovalFilter

scene 1 --size 640x480 --streaks 0.1 --speckles 0 --noise 0.05
picture FalsePositiveFilter_edge_bleed --crop 400x300+240+100 \
  --filter FalsePositiveFilter:fpEdgeBleedFilterEnable=1,fpebfROIMaxYRatio=1
scene 1 --size 640x480 --phantoms 12 --speckles 0 --noise 0.05
picture FalsePositiveFilter_pattern --crop 400x300+240+0 \
  --filter FalsePositiveFilter:fpPatternAmbiguityFilterEnable=1,fppafROIMaxYRatio=1

# Of the page about Python, where the package is built.
if [ -d build/release/python ]; then
  scene 12 --size 480x360 --noise 0.15 --speckles 90
  PYTHONPATH=build/release/python /usr/bin/python3 bindings/python/examples/denoise.py "$work/scene" "$out"
fi
