#!/usr/bin/env bash
# symbols_test.sh LIBRARY GEXTON_SDK_H KERNEL_OBJECT...
# The plug-in exports its ten functions alone, leaves only published host functions open, depends on
# nothing but the language's runtime and the host, and no kernel object shares code between levels.
set -euo pipefail
library=$1 header=$2
shift 2
status=0
fail() {
  echo "FAILED: $*"
  status=1
}

expected=$(printf '%s\n' gx_create_filter gx_get_commit_hash gx_get_filter_count \
  gx_get_filter_name gx_priv_filter_context_destroy gx_priv_filter_get_config_schema \
  gx_priv_filter_process gx_priv_filter_reset gx_priv_filter_set_config_data \
  gx_priv_filter_update_config)
exported=$(nm -D --defined-only "$library" | awk '{print $3}' | LC_ALL=C sort)
[ "$exported" = "$expected" ] || fail "exports are: $exported"
relocated=$(readelf -rW "$library" | grep -oFw "$expected" || true)
[ -z "$relocated" ] || fail "another library may take over its own functions: $relocated"

open=$(nm -D --undefined-only "$library" | awk '{print $2}' | grep '^gx' || true)
[ -n "$open" ] || fail "the plug-in calls no host function"
for name in $open; do
  grep -q "\b$name(" "$header" || fail "calls $name, which the host does not publish"
done

for dependency in $(objdump -p "$library" | awk '$1 == "NEEDED" {print $2}'); do
  case $dependency in
  libGextonSDK.so.* | libstdc++.so.* | libgcc_s.so.* | libc.so.* | libm.so.*) ;;
  ld-linux*.so.* | libasan.so.* | libubsan.so.* | libtsan.so.*) ;;
  *) fail "depends on $dependency" ;;
  esac
done
if objdump -p "$library" | grep -c SYMBOLIC >/dev/null; then fail "host functions cannot be interposed"; fi

[ $# -gt 0 ] || fail "no kernel objects"
for object in "$@"; do
  # Type descriptions, which sanitizers need, hold no code.
  shared=$(nm -C "$object" | awk '$2 ~ /^[WVu]$/' |
    grep -vE '__(asan|ubsan|tsan|odr)|[0-9a-f] V typeinfo' || true)
  [ -z "$shared" ] || fail "$object shares code with other levels: $shared"
done
exit $status
