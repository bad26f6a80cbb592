#!/usr/bin/env bash
# count_instructions.sh
# Counts the instructions that a pixel takes in each filter at SSE4 and on 64-bit ARM, in QEMU's user-mode
# emulators, and writes them into docs/performance.md. Needs what scripts/platforms.sh needs for arm64.
set -euo pipefail
cd "$(dirname "$0")/.."
# shellcheck source=scripts/packages.sh
source scripts/packages.sh
scripts/install_packages.sh "${build_packages[@]}" "${cross_packages[@]}"
size=320x240 pixels=76800 document=docs/performance.md
counter=build/libinstruction_counter.so table=build/instructions.md

cmake --fresh --preset release -DCMAKE_C_COMPILER=gcc -DCMAKE_CXX_COMPILER=g++ -DFILTER_PROCESSOR_BENCH=ON
cmake --build --preset release --target frame_times
cmake --preset arm64 -DFILTER_PROCESSOR_TOOLS=OFF -DFILTER_PROCESSOR_TESTS=OFF
cmake --build --preset arm64 --target frame_times
gcc -shared -fPIC -O2 bench/instruction_counter.c -o "$counter"

# A processor of that class: later ones copy with an instruction that would be counted for each byte.
sse4() { qemu-x86_64 -cpu Nehalem "$@"; }
neon() { qemu-aarch64 -L /usr/aarch64-linux-gnu "$@"; }
# instructions EMULATOR PROGRAM LEVEL NAME FRAMES: how many the program executes.
instructions() {
  "$1" -plugin "$counter" -d plugin -D build/instructions.txt "$2" "$size" "$5" "$3" "$4" >/dev/null
  cat build/instructions.txt
}
# of_frame EMULATOR PROGRAM LEVEL NAME: what one frame more takes.
of_frame() {
  local one two
  one=$(instructions "$@" 1)
  two=$(instructions "$@" 2)
  echo $((two - one))
}

{
  echo "Instructions for each pixel of a whole call, $size."
  echo
  echo "| filter | sse4 | NEON | NEON ÷ sse4 |"
  echo "|---|--:|--:|--:|"
  build/release/bin/frame_times "$size" 1 | while read -r name _; do
    x86=$(of_frame sse4 build/release/bin/frame_times sse4 "$name")
    arm=$(of_frame neon build/arm64/bin/frame_times best "$name")
    awk -v name="$name" -v x86="$x86" -v arm="$arm" -v pixels="$pixels" \
      'BEGIN { printf "| %s | %.2f | %.2f | %.2f |\n", name, x86 / pixels, arm / pixels, arm / x86 }'
  done
} >"$table"
awk -v begin="<!-- instructions: begin -->" -v end="<!-- instructions: end -->" -v table="$table" '
  $0 == end { inside = 0; found++ }
  !inside { print }
  $0 == begin { inside = 1; found++; while ((getline line < table) > 0) print line }
  END { exit found == 2 ? 0 : 1 }' "$document" >build/document
cat build/document >"$document"
