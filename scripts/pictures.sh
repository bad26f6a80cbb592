#!/usr/bin/env bash
# Makes the pictures of the documentation again, from a generated scene, in docs/pictures/.
set -euo pipefail
cd "$(dirname "$0")/.."
gxfilter=build/release/bin/gxfilter
[ -x "$gxfilter" ] || {
  echo "$gxfilter is missing: build the release preset first" >&2
  exit 1
}
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

"$gxfilter" synth --frames 1 --size 640x480 --seed 1 --out "$work/scene" >/dev/null
"$gxfilter" run --filter NoiseRemovalFilter --filter SpatialModerateFilter \
  --filter HoleFillingFilter:hole_filling_mode=2 --preview "$work/scene" \
  --out "$work/filtered" >/dev/null
mkdir -p docs/pictures
cp "$work/filtered/frame_0000_preview.png" docs/pictures/before_after.png
echo "docs/pictures/before_after.png"
