#!/usr/bin/env bash
# leaks.sh GSTREAMER_TEST: the cases of the test with GStreamer's tracer of leaked objects, and with
# valgrind those that it is not too slow for.
set -euo pipefail
export GST_TRACERS=leaks GST_DEBUG=GST_TRACER:7 GST_DEBUG_NO_COLOR=1
log=$(mktemp)
trap 'rm -f "$log"' EXIT
GST_DEBUG_FILE=$log "$1" --gtest_brief=1
grep -q . "$log"
if grep -E ':: object-(alive|refings),' "$log"; then
  echo "these objects are alive at the end" >&2
  exit 1
fi
unset GST_TRACERS GST_DEBUG
# Every kind of element once is enough, and every allocation that fails is looked at without valgrind.
slow='Elements.FramesAreThoseOfTheFilters:Changes.ComeFromAnyThread:Streams.OutliveShortMemory'
G_SLICE=always-malloc valgrind --quiet --error-exitcode=1 --leak-check=full --show-leak-kinds=definite \
  --errors-for-leak-kinds=definite --suppressions="$(dirname "$0")/glib.supp" \
  "$1" --gtest_brief=1 --gtest_filter="-$slow"
