#!/usr/bin/env bash
# gstreamer_overhead.sh [PAGE|-]: measures what elements of GStreamer cost beside their filters, with the
# release build, and writes it into docs/gstreamer.md, or only to standard output. Fails where an element
# costs more than it may.
set -euo pipefail
cd "$(dirname "$0")/.."
page=${1:-docs/gstreamer.md}
table=$(mktemp)
trap 'rm -f "$table" "$table.registry"' EXIT
{
  echo "| element | direct | element | difference |"
  echo "|---|--:|--:|--:|"
  # Filters print to standard output too.
  GST_PLUGIN_PATH=build/release/lib/gstreamer-1.0 GST_REGISTRY=$table.registry \
    build/release/bin/gstreamer_overhead | grep '^|'
  echo
  echo "Measured on $(date +%F) on $(sed -n 's/^model name.*: //p' /proc/cpuinfo | head -1)."
} >"$table"
cat "$table"
[ "$page" != - ] || exit 0
sed -i "/^<!-- overhead: begin -->\$/,/^<!-- overhead: end -->\$/ {
  /begin -->\$/ r $table
  /^<!-- /! d
}" "$page"
