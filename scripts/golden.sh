#!/usr/bin/env bash
# golden.sh
# Makes tests/golden/digests.txt again, from the naive forms of the filters alone: for a filter that is
# new or meant to do something else than before. The filters must then agree; ctest checks it.
set -euo pipefail
cd "$(dirname "$0")/.."
table=tests/golden/digests.txt
made=$(mktemp)
trap 'rm -f "$made"' EXIT
cmake --preset release >/dev/null
cmake --build --preset release --target make_digests
build/release/bin/make_digests >"$made"
changed=$(diff "$table" "$made" | grep -c '^[<>]' || true)
cat "$made" >"$table"
echo "$(wc -l <"$table") cases, $changed lines of $table removed or added"
