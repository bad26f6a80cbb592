#!/usr/bin/env bash
# cross_dependencies.sh windows|arm64|wasm
# Builds the libraries that gxfilter needs, as archives for another platform, from the sources of Debian's
# packages into build/dependencies/PLATFORM, with their licences in its folder licenses. What is there already is
# left as it is. For WebAssembly it is the one that the browser's playground needs besides headers.
set -euo pipefail
cd "$(dirname "$0")/.."
# shellcheck source=scripts/packages.sh
source scripts/packages.sh
platform=${1:-}
packages=("${build_packages[@]}" "${cross_packages[@]}")
[ "$platform" != wasm ] || packages=("${playground_packages[@]}")
scripts/install_packages.sh "${packages[@]}"

case $platform in
windows)
  host=x86_64-w64-mingw32
  compiler="x86_64-w64-mingw32-gcc-posix -Wa,-muse-unaligned-vector-move" # as in cmake/platform.cmake
  ;;
arm64) host=aarch64-linux-gnu compiler=aarch64-linux-gnu-gcc ;;
wasm) ;; # its libraries are built with CMake, which knows the compiler
*) echo "usage: $0 windows|arm64|wasm" >&2 && exit 2 ;;
esac
root=$PWD
prefix=$root/build/dependencies/$platform
work=$root/build/dependencies/sources
mkdir -p "$prefix"/{include,lib/pkgconfig,licenses} "$work/lists/partial"

# The configured mirror of Debian, asked for sources by an apt with a list of its own.
apt=(-qq -o "Dir::Etc::SourceList=$work/sources.list" -o Dir::Etc::SourceParts=/dev/null
  -o "Dir::State::Lists=$work/lists" -o APT::Sandbox::User=root)
list_sources() {
  local keys=/usr/share/keyrings/debian-archive-keyring.gpg
  apt-get indextargets --format "deb-src [signed-by=$keys] \$(REPO_URI) \$(RELEASE) \$(COMPONENT)" \
    'Identifier: Packages' 'Origin: Debian' "Architecture: $(dpkg --print-architecture)"
}
update_sources() {
  list_sources >"$work/sources.list"
  if ! grep -q . "$work/sources.list"; then # the machine's own lists may have been cleared
    [ "$(id -u)" = 0 ] && apt-get -qq update
    list_sources >"$work/sources.list"
  fi
  grep -q . "$work/sources.list" || { echo "no Debian mirror is configured" >&2 && return 1; }
  apt-get "${apt[@]}" update
  touch "$work/updated"
}

# unpack PACKAGE: its source with Debian's patches; prints the folder. A mirror may lack the newest version.
unpack() {
  [ -n "$(find "$work/updated" -mmin -60 2>/dev/null)" ] || update_sources >&2
  local version folder=$work/$1
  rm -rf "$folder"
  mkdir -p "$folder"
  for version in $(apt-cache "${apt[@]}" showsrc --only-source "$1" | sed -n 's/^Version: //p' |
    sort -Vru); do
    (cd "$folder" && apt-get "${apt[@]}" source "$1=$version" >log 2>&1) || continue
    find "$folder" -mindepth 1 -maxdepth 1 -type d
    return
  done
  cat "$folder/log" >&2
  return 1
}

# with_cmake PACKAGE [OPTION...]
with_cmake() {
  local source
  source=$(unpack "$1")
  cmake -G Ninja -S "$source" -B "$source/build-$platform" -DCMAKE_BUILD_TYPE=Release \
    -DCMAKE_TOOLCHAIN_FILE="$root/cmake/toolchains/$platform.cmake" \
    -DFILTER_PROCESSOR_DEPENDENCIES="$prefix" -DCMAKE_INSTALL_PREFIX="$prefix" \
    -DCMAKE_INSTALL_LIBDIR=lib -DBUILD_SHARED_LIBS=OFF "${@:2}"
  cmake --build "$source/build-$platform"
  cmake --install "$source/build-$platform"
}

# as_archive PACKAGE NAME FOLDER FLAGS HEADERS SOURCES: for packages whose own ways know no cross-compilers.
# Headers and sources are patterns below the folder.
as_archive() {
  local source objects=$work/$1/objects-$platform
  source=$(unpack "$1")
  mkdir -p "$objects"
  # shellcheck disable=SC2086 # patterns and flags are words
  (cd "$source/$3" && cp $5 "$prefix/include" && printf '%s\n' $6) |
    (cd "$source/$3" && xargs -P "$(nproc)" -I{} sh -c \
      "$compiler -O2 -fPIC -I. $4 -c '{}' -o '$objects/'\$(echo '{}' | tr / _).o")
  rm -f "$prefix/lib/lib$2.a"
  ls "$objects"/*.o >/dev/null
  "$host-ar" rcs "$prefix/lib/lib$2.a" "$objects"/*.o
  printf 'Name: lib%s\nDescription: %s\nVersion: 0\nLibs: -L%s/lib -l%s\nCflags: -I%s/include\n' \
    "$2" "$1" "$prefix" "$2" "$prefix" >"$prefix/lib/pkgconfig/lib$2.pc"
}

# build WAY PACKAGE [ARGUMENT...], unless that was done.
build() {
  # Without its licence a library can't be handed on.
  [ ! -e "$prefix/done-$2" ] || [ ! -e "$prefix/licenses/$2" ] || return 0
  echo "Building $2 for $platform"
  # Not within a condition, where the shell would go on after a failure.
  (
    "$@" >"$work/$2-$platform.log" 2>&1
    cp "$work/$2"/*/debian/copyright "$prefix/licenses/$2"
    touch "$prefix/done-$2"
  ) &
  wait $! || { tail -n 30 "$work/$2-$platform.log" >&2 && exit 1; }
}

yaml=(yaml-cpp -DYAML_CPP_BUILD_TESTS=OFF -DYAML_CPP_BUILD_TOOLS=OFF)
if [ "$platform" = wasm ]; then
  build with_cmake "${yaml[@]}" -DCMAKE_CXX_FLAGS=-fexceptions
  exit
fi
build as_archive zlib z . '-DHAVE_UNISTD_H -DHAVE_STDARG_H' 'zlib.h zconf.h' \
  'adler32.c compress.c crc32.c deflate.c inffast.c inflate.c inftrees.c trees.c uncompr.c zutil.c'
build as_archive bzip2 bz2 . '' bzlib.h \
  'blocksort.c huffman.c crctable.c randtable.c compress.c decompress.c bzlib.c'
build as_archive lz4 lz4 lib '' '*.h' '*.c'
build as_archive libzstd zstd lib '-DZSTD_DISABLE_ASM' '*.h' 'common/*.c compress/*.c decompress/*.c'
build as_archive mbedtls mbedcrypto . -Iinclude '-r include/mbedtls' \
  'library/md*.c library/ripemd160.c library/sha*.c library/platform_util.c'
build as_archive libdeflate deflate . '' libdeflate.h 'lib/*.c lib/*/*.c'
build with_cmake libpng1.6 -DPNG_SHARED=OFF -DPNG_STATIC=ON -DPNG_TESTS=OFF
build with_cmake fmtlib -DFMT_TEST=OFF -DFMT_DOC=OFF
build with_cmake "${yaml[@]}"
build with_cmake nlohmann-json3 -DJSON_BuildTests=OFF
build with_cmake cli11 -DCLI11_BUILD_TESTS=OFF -DCLI11_BUILD_EXAMPLES=OFF -DCLI11_BUILD_DOCS=OFF
without_codecs=()
for part in COMMONCRYPTO GNUTLS MBEDTLS OPENSSL WINDOWS_CRYPTO BZIP2 LZMA ZSTD; do
  without_codecs+=("-DENABLE_$part=OFF")
done
for part in TOOLS REGRESS EXAMPLES DOC; do without_codecs+=("-DBUILD_$part=OFF"); done
libzip() {
  with_cmake "$@"
  sed -i 's/^Libs:.*/& -lz/' "$prefix/lib/pkgconfig/libzip.pc" # an archive names what it needs only as private
}
build libzip libzip "${without_codecs[@]}"
