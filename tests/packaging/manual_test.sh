#!/usr/bin/env bash
# manual_test.sh GXFILTER MANUAL_DIRECTORY
# The manual pages, and what bash and zsh complete, know every command and every option that the help shows, and
# nothing else; and bash completes what users type.
set -euo pipefail
gxfilter=$1 manual=$2
status=0
fail() {
  echo "FAILED: $*"
  status=1
}
options() { grep -oE -- '(^|[^a-z-])--[a-z][a-z0-9-]*' | sed 's/^[^-]//' | sort -u; }

PATH=$(dirname "$gxfilter"):$PATH
commands=$(gxfilter --help | sed -n '/^Subcommands:/,/^[^ ]/s/^  \([a-z]*\) .*/\1/p')
[ "$(wc -w <<<"$commands")" -ge 9 ] || fail "the help shows the commands $commands"
for command in $commands; do
  page=$manual/man/gxfilter-$command.1
  for section in NAME SYNOPSIS DESCRIPTION OPTIONS 'EXIT STATUS' 'SEE ALSO'; do
    grep -qx "\.SH $section" "$page" || fail "$page has no $section"
  done
  # Descriptions may name options of other commands.
  helped=$(gxfilter "$command" --help | grep -E '^ {2}-' | options)
  paged=$(sed -n '/^\.SH OPTIONS/,/^\.SH EXIT/p' "$page" | grep -A 1 '^\.TP' | grep '^\\fB' |
    sed 's/\\-/-/g; s/\\f./ /g' | options)
  [ "${helped:-none}" = "$paged" ] || fail "the page of $command has the options $paged"
  completed=$(sed -n "/^  $command)/,/^    ;;/p" "$manual/zsh/_gxfilter" | grep -oE "'\*?--[a-z][a-z0-9-]*" | options)
  [ "$helped" = "$completed" ] || fail "zsh completes the options $completed of $command"
  grep -qF "gxfilter-$command" <(sed 's/\\-/-/g' "$manual/man/gxfilter.1") || fail "gxfilter.1 has no $command"
done

# shellcheck source=/dev/null
source "$manual/bash/gxfilter"
# shellcheck disable=SC2317
compopt() { told+=" $*"; } # the shell that completes has its own
# completed EXPECTED WORD...: what is offered for the last word.
completed() {
  COMP_WORDS=("$typed" "${@:2}") COMP_CWORD=$(($# - 1)) COMPREPLY=() told=''
  _gxfilter
  [ "${COMPREPLY[*]}" = "$1" ] || fail "'${*:2}' is completed by '${COMPREPLY[*]}', not '$1'"
}
typed=gxfilter
completed "$(xargs <<<"$commands") -h --help --version" ''
completed 'synth score selftest' s
completed 'synth' sy
completed 'robot' run --preset ro
completed 'robot' run --preset = ro
completed 'HoleFillingFilter' run --filter Hol
[ "$told" = ' -o nospace' ] || fail "a blank parts a filter's name from its values"
completed 'HoleFillingFilter' describe Hol
[ -z "$told" ] || fail "nothing parts a filter's name from the next word"
completed 'scan' presets sc
completed 'depth disparity tof' run --pixel-type ''
completed '--out --out-format' run --out
completed '' run --crop ''
folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT
touch "$folder/a recording.mcap"
completed "$folder/a recording.mcap" run --preset robot "$folder/a"
completed "$folder/a recording.mcap" run --out "$folder/"
mkdir "$folder/my bin"
ln -s "$gxfilter" "$folder/my bin/gxfilter"
# shellcheck disable=SC2088 # the completion has to expand it
export HOME=$folder typed='~/my\ bin/gxfilter'
completed 'robot' run --preset ro

# zsh, with what stands for its own functions: it gives names to the first of them and gets no further.
if command -v zsh >/dev/null; then
  # shellcheck disable=SC2016 # for zsh
  offered=$(zsh -fc 'compadd() { print -r -- ${(P)2}; }; _arguments() { _gxfilter_filters; _gxfilter_presets; }
    words=($2 run ""); CURRENT=3; source $1' zsh "$manual/zsh/_gxfilter" "$typed")
  [[ $offered == *DisparityTransform\ *$'\n'*robot\ * ]] || fail "zsh offers '$offered'"
fi
exit $status
