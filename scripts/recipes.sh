#!/usr/bin/env bash
# recipes.sh [DIRECTORY]
# Makes docs/recipes.md and its pictures again (by default in docs/): what each preset makes of the
# demo's recording and of generated scenes, with its scores. Each run gives the same bytes.
set -euo pipefail
cd "$(dirname "$0")/.."
out=${1:-docs}
gxfilter=build/release/bin/gxfilter
recording=/usr/share/visp-images-data/ViSP-images/mbt-depth/castel/castel
[ -x "$gxfilter" ] || {
  echo "$gxfilter is missing: build the release preset first" >&2
  exit 1
}
[ -d "$recording" ] || scripts/install_packages.sh visp-images-data
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
mkdir -p "$out/pictures"

seeds=(1 2 3)
# name, what it is, options of gxfilter synth
scenes=(
  "usual|the usual faults|"
  "noisy|three times the noise|--noise 0.25"
  "false|phantoms, streaks and twice the speckles|--phantoms 12 --streaks 0.1 --speckles 120"
  "holes|five times the holes|--holes 60"
)

for scene in "${scenes[@]}"; do
  IFS='|' read -r name _ options <<<"$scene"
  for seed in "${seeds[@]}"; do
    # shellcheck disable=SC2086 # the options are words
    "$gxfilter" synth --truth --frames 8 --seed "$seed" $options --out "$work/$name$seed" >/dev/null
  done
done

# figures SCENE RESULT...: a row's cells, the means over the results, which lie beside their scenes.
figures() {
  local scene=$1
  shift
  for result in "$@"; do
    local seed=${result: -1}
    "$gxfilter" score "$result" "$work/$scene$seed/truth" --input "$work/$scene$seed" --json
  done | awk -F'[:,]' '
    { gsub(/[ "]/, "", $1) }
    $1 ~ /percent|mm/ { sum[$1] += $2; count[$1]++ }
    function mean(key) { return sum[key] / count[key] }
    END {
      printf "| %.2f | %.1f | %.1f | %.3f | %.3f | %.2f |\n", mean("completeness_percent"),
        mean("rms_error_mm"), mean("median_error_mm"), mean("outliers_percent"),
        mean("too_near_percent"), mean("lost_percent")
    }'
}

# score_table PRESET: of each scene before and after.
score_table() {
  local preset=$1
  echo "| scene | | complete, % | rms error, mm | median error, mm | outliers, % | too near, % | lost, % |"
  echo "|---|---|--:|--:|--:|--:|--:|--:|"
  for scene in "${scenes[@]}"; do
    IFS='|' read -r name _ <<<"$scene"
    local before=() after=()
    for seed in "${seeds[@]}"; do
      before+=("$work/$name$seed")
      after+=("$work/$preset/$name$seed")
      "$gxfilter" run --preset "$preset" "$work/$name$seed" --out "${after[-1]}" >/dev/null 2>&1
    done
    echo "| $name | before $(figures "$name" "${before[@]}")"
    echo "| | after $(figures "$name" "${after[@]}")"
  done
}

# picture PRESET: the recording's tenth frame; filters with history see those before it.
picture() {
  "$gxfilter" run --preset "$1" --depth-unit 0.125 --preview "$recording"/depth_image_000?.bin \
    --out "$work/$1/recording" >/dev/null 2>&1
  cp "$work/$1/recording/previews/depth_image_0009_preview.png" "$out/pictures/preset_$1.png"
}

# field PRESET KEY: a text of the preset.
field() {
  "$gxfilter" presets "$1" --json | sed -n "s/^  \"$2\": \"\(.*\)\",\$/\1/p"
}

mapfile -t presets < <("$gxfilter" presets | cut -d' ' -f1)
{
  cat <<'END'
# Recipes

The presets: chains of filters for a purpose. `gxfilter presets` lists them, `gxfilter presets NAME` shows a
chain and when not to use it, `gxfilter run --preset NAME` applies it, and filters of your own may follow
(`--filter`). They are JSON files in [`presets/`](../presets), of the form that `--chain` takes: copy one to
change it. What each filter does is said in [filters.md](filters.md).

This page is made by `scripts/recipes.sh`, all figures included.

Each picture is the tenth frame of the demo's recording: a scan of a toy castle from Debian's package
`visp-images-data`, 640 × 480, a unit of which is 0.125 mm; that recording and the pictures made of it are
under the GNU GPL, version 2. The tables are means over generated scenes with a known truth
(`gxfilter synth --truth`, 640 × 480, 8 frames each, seeds 1 to 3), measured with `gxfilter score`:

END
  for scene in "${scenes[@]}"; do
    IFS='|' read -r name title options <<<"$scene"
    echo "- *$name*: $title${options:+ (\`$options\`)}"
  done
  cat <<'END'

*Complete* is the share of the truth's pixels that have data; errors are those of pixels with data; *outliers*
are off by more than 50 mm and by more than 5 % of the depth, *too near* those of them that lie before the
truth; *lost* are pixels that were no outliers and are gone. The truth knows what is behind the shadows
beside objects, so that filling them wrongly counts as outliers.
END
  for preset in "${presets[@]}"; do
    picture "$preset"
    printf '\n## %s\n\n%s\n\n**Not for:** %s\n\n' "$preset" "$(field "$preset" description)" \
      "$(field "$preset" when_not)"
    printf '![The recording before and after the preset %s, and the difference](pictures/preset_%s.png)\n\n' \
      "$preset" "$preset"
    score_table "$preset"
  done
} >"$work/recipes.md"
mv "$work/recipes.md" "$out/recipes.md"
echo "$out/recipes.md"
