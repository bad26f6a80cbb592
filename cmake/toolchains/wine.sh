#!/usr/bin/env bash
# wine.sh PROGRAM [ARGUMENT...]: runs a Windows program without a screen, in a Wine of this project's own.
set -euo pipefail
root=$(cd "$(dirname "${BASH_SOURCE[0]}")/../.." && pwd)
export WINEPREFIX=$root/build/wine WINEDEBUG=-all WINEDLLOVERRIDES='mscoree=;mshtml=;winemenubuilder.exe='
export LC_ALL=C.UTF-8 # or names lose their characters
unset DISPLAY WAYLAND_DISPLAY
mkdir -p "$WINEPREFIX"
exec /usr/lib/wine/wine64 "$@"
