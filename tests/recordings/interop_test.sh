#!/usr/bin/env bash
# interop_test.sh PYTHON PROGRAM FOLDER
# Recordings made by other implementations (@mcap/core, rosbag) are read by PROGRAM, and what it writes
# is read by @mcap/core. All files are made anew in FOLDER, where the npm packages stay from run to run.
set -euo pipefail
sources=$(cd "$(dirname "$0")" && pwd)
python=$1 program=$2 folder=$3

mkdir -p "$folder"
cp "$sources"/*.mjs "$sources"/package*.json "$folder"
cd "$folder"
cmp -s package-lock.json node_modules/.locked || timeout 120 npm ci --no-audit --no-fund || {
  echo "skipped: needs the npm registry, once for each build tree"
  exit 77
}
cp package-lock.json node_modules/.locked
rm -rf files
mkdir files
node make_mcap.mjs files
"$python" "$sources/make_bags.py" files
RECORDINGS=files "$program"
node check_mcap.mjs files
