#!/usr/bin/env bash
# installed_tree_test.sh BUILD_DIR EXAMPLES_DIR C_COMPILER CXX_COMPILER
# Installs the build into an empty folder, moves it, and builds and runs the examples in C and C++
# against it, once found by CMake and once, in C, by pkg-config.
set -euo pipefail
build=$1 examples=$2 compiler=$3 cxx_compiler=$4
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

cmake --install "$build" --prefix "$work/staging" >/dev/null
mv "$work/staging" "$work/installed" # nothing may remember where it was installed to
prefix=$work/installed

cmake -G Ninja -S "$examples" -B "$work/example" -DCMAKE_PREFIX_PATH="$prefix" \
  -DCMAKE_C_COMPILER="$compiler" -DCMAKE_CXX_COMPILER="$cxx_compiler" \
  -DCMAKE_CXX_FLAGS='-Wall -Wextra -Werror' >/dev/null
cmake --build "$work/example" >/dev/null
"$work/example/minimal_host" | tee "$work/by_cmake"
"$work/example/minimal_cpp_host" | cmp - "$work/by_cmake"

PKG_CONFIG_PATH=$(dirname "$(find "$prefix" -name filter_processor.pc)")
export PKG_CONFIG_PATH
library_dir=$(pkg-config --variable=libdir filter_processor)
pkg-config --exists gexton_sdk
static=
[ -e "$library_dir/libFilterProcessor.so" ] || static=--static
# shellcheck disable=SC2046,SC2086 # the flags are words
"$compiler" -std=c11 -Wall -Wextra -Werror "$examples/minimal_host.c" -o "$work/minimal_host" \
  $(pkg-config --cflags --libs $static filter_processor) -Wl,-rpath,"$library_dir"
"$work/minimal_host" >"$work/by_pkg_config"

cmp "$work/by_cmake" "$work/by_pkg_config"
grep -q '^before: ' "$work/by_cmake"
grep -q '^after:  ' "$work/by_cmake"
if [ -x "$prefix/bin/gxfilter" ]; then
  "$prefix/bin/gxfilter" list | grep -c HoleFillingFilter >/dev/null
  "$prefix/bin/gxfilter" presets | grep -c '^robot ' >/dev/null
  # Where programs run, nothing of what they are made with needs to be there.
  cmake --install "$build" --prefix "$work/users" --component libraries >/dev/null
  cmake --install "$build" --prefix "$work/users" --component tools >/dev/null
  "$work/users/bin/gxfilter" list | cmp - <("$prefix/bin/gxfilter" list)
  [ -s "$work/users/share/man/man1/gxfilter-run.1" ]
fi
