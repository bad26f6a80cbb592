#!/usr/bin/env bash
# documented_lines.sh PAGE GXFILTER PLUGIN_FOLDER: runs the commands that the page says run here, as
# they stand, and compares what they write with what gxfilter writes: RESULT.raw or RESULT.mkv with
# EXPECTED.raw or EXPECTED.mkv, frame by frame.
set -euo pipefail
page=$(realpath "$1")
PATH=$(dirname "$(realpath "$2")"):$PATH
GST_PLUGIN_PATH=$(realpath "$3")
export GST_PLUGIN_PATH
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
export GST_REGISTRY=$work/registry.bin
cd "$work"

# Commands stand in blocks behind the comment "runs".
awk '/^<!-- runs -->$/ { next_block = 1 }
     /^```$/ { inside = 0 }
     inside { print }
     /^```sh$/ && next_block { inside = 1; next_block = 0 }' "$page" >lines.sh
echo "Running $(grep -c gst-launch-1.0 lines.sh) lines"
bash -euo pipefail lines.sh >log 2>&1 || {
  cat log
  exit 1
}
if grep -E 'WARNING|ERROR|CRITICAL' log; then
  exit 1
fi

pixels() {
  case $1 in
  *.raw) cat "$1" ;;
  *) ffmpeg -v error -i "$1" -f rawvideo -pix_fmt gray16le - ;;
  esac
}
compared=0
for expected in expected*; do
  result=filtered${expected#expected}
  cmp <(pixels "$expected") <(pixels "$result")
  [ "$(pixels "$result" | wc -c)" -gt 1000000 ]
  compared=$((compared + 1))
done
echo "$compared results equal gxfilter's"
[ "$compared" -ge 6 ]
