#!/usr/bin/env bash
# dll_test.sh OBJDUMP VERSION PLUGIN HOST_LIBRARY [PROGRAM]
# The DLLs export what they should under plain names, need nothing but the system's DLLs and the host's,
# and carry their version. Neither they nor the program move a wide register to or from memory as if it
# were aligned: the stack of this platform is aligned to 16 bytes only.
set -euo pipefail
objdump=$1 version=$2 plugin=$3 host=$4
status=0
fail() {
  echo "FAILED: $*"
  status=1
}

exports() { "$objdump" -p "$1" | sed -n '/Ordinal\/Name Pointer/,/^$/s/^\t\[.*\] //p' | LC_ALL=C sort; }
expected=$(printf '%s\n' gx_create_filter gx_get_commit_hash gx_get_filter_count \
  gx_get_filter_name gx_priv_filter_context_destroy gx_priv_filter_get_config_schema \
  gx_priv_filter_process gx_priv_filter_reset gx_priv_filter_set_config_data \
  gx_priv_filter_update_config)
[ "$(exports "$plugin")" = "$expected" ] || fail "exports are: $(exports "$plugin")"
foreign=$(exports "$host" | grep -vE '^(gx|gexton)_' || true)
[ -z "$foreign" ] || fail "the host exports $foreign"

for library in "$plugin" "$host"; do
  for needed in $("$objdump" -p "$library" | sed -n 's/.*DLL Name: //p'); do
    case $needed in
    KERNEL32.dll | msvcrt.dll) ;;
    GextonSDK.dll) [ "$library" = "$plugin" ] || fail "$library needs itself" ;;
    *) fail "$library needs $needed" ;;
    esac
  done
  # The resource's text is UTF-16.
  tr -d '\0' <"$library" | LC_ALL=C grep -caF "ProductVersion$version" >/dev/null || fail "$library has no version"
done

for file in "$plugin" "${@:5}"; do
  code=$("$objdump" -d --no-show-raw-insn "$file" | grep -E '%[yz]mm') || fail "$file has no wide registers"
  aligned=$(grep -E 'vmov(ap[sd]|dqa|dqa32|dqa64|ntdq|ntdqa|ntp[sd])\s' <<<"$code" | grep -F '(' || true)
  [ -z "$aligned" ] || fail "$file moves wide registers as if aligned: $aligned"
done
exit $status
