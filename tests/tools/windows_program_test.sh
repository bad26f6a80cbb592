#!/usr/bin/env bash
# windows_program_test.sh EMULATOR GXFILTER FAULTY_PLUGIN FAULTS
# The program on Windows as a user meets it: names with any characters, bytes through pipes as they are,
# results that agree with each other, and plug-ins that crash or hang in a child process.
set -euo pipefail
emulator=$1 program=$2 faulty=Z:$3
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
cd "$work"
gxfilter() { "$emulator" "$program" "$@"; }
says() { LC_ALL=C grep -cF -- "$1" "$2" >/dev/null || { echo "FAILED: no '$1' in:" && cat "$2" && exit 1; }; }

gxfilter list >list.txt
says MgcNoiseRemovalFilter list.txt
gxfilter synth --out Szene_Ä --size 64x48 --frames 3 >/dev/null
gxfilter run Szene_Ä --filter HoleFillingFilter --out Gefüllt深度 --preview >/dev/null
[ -s Szene_Ä/frame_0002.png ]
[ -s Gefüllt深度/frame_0002.png ]
[ -s Gefüllt深度/previews/frame_0002_preview.png ]
gxfilter run Szene_Ä --filter HoleFillingFilter --out - --format raw 2>/dev/null >filled.raw
[ "$(wc -c <filled.raw)" = $((64 * 48 * 2 * 3)) ]
gxfilter run - --format raw --size 64x48 --filter HoleFillingFilter --out - 2>/dev/null <filled.raw |
  cmp - filled.raw

gxfilter validate --filter TemporalFilter >valid.txt
says ' 0 failed' valid.txt
for fault in crashes hangs; do
  code=0
  GXFILTER_TEST_FAULT=$(sed -n "s/^\($fault.*\)/\1/p" "$4" | head -n 1) \
    gxfilter validate --time-limit 3 --plugin "$faulty" >fault.txt 2>&1 || code=$?
  [ "$code" = 5 ] || { echo "FAILED: $fault ends with $code" && cat fault.txt && exit 1; }
  mv fault.txt "$fault.txt"
done
says 'crashed, or ended the program, with status 3' crashes.txt
says 'still at it after 3 s' hangs.txt

gxfilter selftest >selftest.txt
says 'every bit as it must be' selftest.txt
code=0
GXFILTER_TEST_FAULT=exits gxfilter selftest --plugin "$faulty" >ended.txt || code=$?
[ "$code" = 1 ]
says 'as_made: ended the program with status 0' ended.txt

# Installed where names are not plain, with presets beside it.
mkdir -p Jürgen/bin Jürgen/share/filter_processor
cp "$(dirname "$program")"/{gxfilter.exe,FilterProcessor.dll,GextonSDK.dll} Jürgen/bin
cp -r "$(dirname "$program")/../share/filter_processor/presets" Jürgen/share/filter_processor
program=Jürgen/bin/gxfilter.exe
gxfilter presets >presets.txt
says robot presets.txt
gxfilter validate --filter TemporalFilter >valid.txt
says ' 0 failed' valid.txt
