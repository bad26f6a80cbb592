#!/usr/bin/env bash
# package.sh [OUTPUT]: makes everything that is handed out, in OUTPUT (out/packages of the repository): Debian's
# packages, the source archive, the archive for Windows, the npm package of the WebAssembly module, and SHA256SUMS of
# them. Of what OUTPUT holds already, only files of these names are replaced. Installs what is missing. The same commit
# gives the same bits in every folder.
#
# FILTER_PROCESSOR_PARTS: only these of "source debian windows npm"; without a history there is no source archive.
# FILTER_PROCESSOR_BUILD: a build folder of the release preset, whose compiled files Debian's packages are made of;
#   its options are afterwards what they were. Otherwise they are made in build/package, configured anew each time;
#   the same is true of build/windows, where it is there, and build/package_windows.
# SOURCE_DATE_EPOCH: another date than that of the commit, which the source archive keeps. That archive has the commit's
#   in any case.
set -euo pipefail
umask 022 # archives keep the rights of what is packed
unset CFLAGS CXXFLAGS CPPFLAGS LDFLAGS DESTDIR # of other projects: the same bits for everybody
[[ ${1:-} != -* ]] || { sed -n '2,/^[^#]/s/^# \{0,1\}//p' "$0" >&2 && exit 2; }
output=$(realpath -m -- "${1:-"$(dirname "$0")/../out/packages"}")
borrowed=${FILTER_PROCESSOR_BUILD:+$(realpath -m "$FILTER_PROCESSOR_BUILD")}
cd -P "$(dirname "$0")/.."
# shellcheck source=scripts/packages.sh
source scripts/packages.sh
section() { printf '\n== %s (after %d s)\n' "$*" "$SECONDS"; }
fail() { echo "package.sh: $*" >&2 && exit 1; }
# Whoever owns the clone, and whatever the user's own settings say of archives.
own_git() {
  git -c safe.directory="$PWD" -c tar.umask=0022 -c core.attributesFile=/dev/null -c core.autocrlf=false \
    -c core.eol=lf "$@"
}

version=$(sed -n 's/^project(FilterProcessor VERSION \([0-9.]*\).*/\1/p' CMakeLists.txt)
default_parts="debian windows npm"
if [ -e .git ]; then
  default_parts="source $default_parts"
  scripts/install_packages.sh git
  SOURCE_DATE_EPOCH=${SOURCE_DATE_EPOCH:-$(own_git log -1 --format=%ct)}
  if [ -n "$(own_git status --porcelain)" ]; then
    echo "Not everything is committed: packages are made of the files as they are, the source archive of HEAD." >&2
  fi
elif grep -qx '[0-9]*' .release_date; then
  SOURCE_DATE_EPOCH=${SOURCE_DATE_EPOCH:-$(cat .release_date)}
fi
[ -n "${SOURCE_DATE_EPOCH:-}" ] || fail "neither a history nor .release_date tells the date: set SOURCE_DATE_EPOCH"
export SOURCE_DATE_EPOCH TZ=UTC LC_ALL=C.UTF-8
read -ra parts <<<"${FILTER_PROCESSOR_PARTS:-$default_parts}"

# What the parts hand out, as names in OUTPUT: nothing else there is ours.
names_of() {
  case $1 in
  source) echo 'filter_processor-[0-9]*.tar.gz' ;;
  debian) printf '%s_*.deb\n' 'libfilterprocessor[0-9]*' libfilterprocessor-dev gxfilter gstreamer1.0-filterprocessor \
    python3-filterprocessor filterprocessor-presets ;;
  windows) echo 'filter_processor-[0-9]*-windows-x86_64.zip' ;;
  npm) echo 'filter-processor-[0-9]*.tgz' ;;
  *) return 1 ;;
  esac
}
for part in "${parts[@]}"; do
  names_of "$part" >/dev/null || { echo "no part: $part" >&2 && exit 2; }
done

work=$(mktemp -d)
made=$work/made # what the part at hand has made
give_back=()    # the command that leaves a borrowed build folder as it was
at_end() {
  if [ ${#give_back[@]} -gt 0 ]; then
    rm -f "$borrowed"/CPack{,Source}Config.cmake # of packages alone; CMake makes a target of their being there
    env -u SOURCE_DATE_EPOCH "${give_back[@]}" >/dev/null # manual pages of other builds are not dated
  fi
  rm -rf "$work"
}
trap at_end EXIT

# What every archive holds besides.
texts=(LICENSE CHANGELOG.md)

# third_party_licenses FILE...: of what programs are linked with, as Debian's packages tell them, a file for each
# library, with the licences that these only name. On other systems nobody has those.
third_party_licenses() {
  local file name
  printf '%s\n' 'FilterProcessor is linked with the libraries below, under licences of their own. What Debian tells of' \
    'their sources follows, tools and tests included that are no part of this; then the licences it refers to.'
  for file; do
    name=$(basename "$file")
    [ "$name" != copyright ] || name=$(basename "$(dirname "$file")")
    printf '\n\n==== %s ====\n\n' "$name"
    cat "$file"
  done
  grep -ohE '/usr/share/common-licenses/[A-Za-z0-9.+-]*[A-Za-z0-9+]' "$@" | sort -u | while read -r file; do
    printf '\n\n==== %s ====\n\n' "$file"
    cat "$file"
  done
}

source_archive() {
  [ -e .git ] || fail "the source archive is made of the history, and there is none here"
  # `git archive` sorts names and takes the commit's date.
  own_git archive --prefix="filter_processor-$version/" HEAD | gzip -9n >"$made/filter_processor-$version.tar.gz"
}

# borrow OPTION=VALUE...: sets options of the borrowed build folder, and remembers what they were.
borrow() {
  local cache=$borrowed/CMakeCache.txt option old
  if [ ! -e "$cache" ]; then
    cmake --preset release -B "$borrowed" -DCMAKE_C_COMPILER=gcc -DCMAKE_CXX_COMPILER=g++
  fi
  grep -qxF "CMAKE_HOME_DIRECTORY:INTERNAL=$PWD" "$cache" || fail "$borrowed is no build folder of $PWD"
  grep -qx 'CMAKE_BUILD_TYPE:[A-Z]*=Release' "$cache" || fail "$borrowed is no build of the release preset"
  give_back=(cmake)
  for option; do
    option=${option%%=*}
    # A value that CMake had not been given is one to forget.
    if old=$(grep -m 1 "^$option:" "$cache"); then give_back+=("-D$old"); else give_back+=("-U$option"); fi
  done
  give_back+=("$borrowed")
  cmake "${@/#/-D}" "$borrowed"
}

debian_packages() {
  scripts/install_packages.sh "${build_packages[@]}" "${python_packages[@]}" "${gstreamer_packages[@]}" \
    "${package_packages[@]}"
  local build=${borrowed:-$PWD/build/package} option
  local options=(CMAKE_INSTALL_PREFIX=/usr CMAKE_C_FLAGS= CMAKE_CXX_FLAGS= Python3_EXECUTABLE=/usr/bin/python3)
  for option in UNITY PACKAGES TOOLS GSTREAMER PYTHON MATROSKA HARDENING; do
    options+=("FILTER_PROCESSOR_$option=ON")
  done
  if [ -n "$borrowed" ]; then
    borrow "${options[@]}"
  else
    # Nothing of an earlier configuration is left; what was compiled with the same options is.
    cmake --fresh --preset release -B "$build" -DCMAKE_C_COMPILER=gcc -DCMAKE_CXX_COMPILER=g++ "${options[@]/#/-D}" \
      --compile-no-warning-as-error -DFILTER_PROCESSOR_TESTS=OFF -DFILTER_PROCESSOR_BENCH=OFF
  fi
  cmake --build "$build" --target FilterProcessor_static GextonSDK_static FilterProcessor gxfilter manual \
    gstfilterprocessor python_package
  # What was compiled is packed; cpack would ask for all targets first, those of tests too.
  rm -rf "$build/_CPack_Packages" "$build/debs"
  cpack --config "$build/CPackConfig.cmake" -G DEB -B "$build/debs" >"$build/cpack.log" 2>&1 ||
    { cat "$build/cpack.log" >&2 && exit 1; }
  mv "$build"/debs/*.deb "$made"
}

windows_archive() {
  scripts/install_packages.sh "${build_packages[@]}" "${cross_packages[@]}" "${package_packages[@]}"
  scripts/cross_dependencies.sh windows
  local build=build/package_windows name=filter_processor-$version-windows-x86_64 component
  if [ -n "$borrowed" ] && [ -e build/windows/CMakeCache.txt ]; then
    build=build/windows # of the tests there, with the same options
  else
    cmake --fresh --preset windows -B "$build" -DFILTER_PROCESSOR_DEPENDENCIES="$PWD/build/dependencies/windows" \
      -DFILTER_PROCESSOR_TOOLS=ON -DFILTER_PROCESSOR_TESTS=OFF -DFILTER_PROCESSOR_BENCH=OFF
  fi
  cmake --build "$build" --target FilterProcessor GextonSDK gxfilter
  local package=$work/windows/$name
  # Stripped by the linker: the tool for it would write the time into each file.
  for component in libraries development presets tools; do
    cmake --install "$build" --prefix "$package" --component "$component" >/dev/null
  done
  cp "${texts[@]}" packaging/windows/README.txt "$package"
  # The libraries, and what the compiler links besides: its own runtime, threads and the system's imports.
  third_party_licenses build/dependencies/windows/licenses/* \
    /usr/share/doc/{g++-mingw-w64-x86-64-posix,mingw-w64-x86-64-dev}/copyright >"$package/THIRD_PARTY_LICENSES.txt"
  mv "$package/LICENSE" "$package/LICENSE.txt"
  sed -i 's/$/\r/' "$package"/*.txt
  pack "$package"
  (cd "$work/windows" && find "$name" -type f | sort | zip -qXD9 "$made/$name.zip" -@)
}

npm_package() {
  scripts/install_packages.sh "${playground_packages[@]}"
  scripts/playground.sh --module
  # shellcheck source=scripts/playground_node.sh
  source scripts/playground_node.sh
  local package=$work/npm
  mkdir "$package"
  cp bindings/npm/{node.js,browser.js,processor.js,index.d.ts,README.md} "${texts[@]}" "$package"
  cp playground/module/calls.js "$package"
  cp playground/built/playground.wasm "$package/filter_processor.wasm"
  # Bundlers look for the file that this names, though nobody asks for it by that.
  sed 's/"playground\.wasm"/"filter_processor.wasm"/g' playground/built/playground.js >"$package/module.js"
  if grep -F playground.wasm "$package/module.js"; then fail "module.js names a file that is not packed"; fi
  sed "s/@VERSION@/$version/" bindings/npm/package.json.in >"$package/package.json"
  node bindings/npm/make_types.js "$package"
  # Emscripten's are the libraries of C and C++ and what starts the module.
  third_party_licenses build/dependencies/wasm/licenses/* \
    /usr/share/doc/{emscripten,libcli11-dev,libfmt-dev,nlohmann-json3-dev}/copyright \
    >"$package/THIRD_PARTY_LICENSES.txt"
  pack "$package" a-x # the linker makes modules executable
  (cd "$package" && npm pack --silent --pack-destination "$made")
}

# pack FOLDER [RIGHTS]: gives a folder that is about to be packed rights and dates that depend on nothing here.
pack() {
  chmod -R u=rwX,go=rX "$1"
  [ $# = 1 ] || find "$1" -type f -exec chmod "$2" {} +
  find "$1" -exec touch -h -d "@$SOURCE_DATE_EPOCH" {} +
}

mkdir -p "$output"
rm -f "$output/SHA256SUMS" # it is whole or not there
# files_of PART: those in OUTPUT, one a line. Names with other characters are somebody's own, "... (1).deb" for one.
files_of() {
  local name
  while read -r name; do
    find "$output" -maxdepth 1 -type f -name "$name" ! -name '*[!A-Za-z0-9.~+_-]*' -printf '%f\n'
  done < <(names_of "$1")
}
for part in "${parts[@]}"; do
  section "Making: $part"
  rm -rf "$made" && mkdir "$made"
  case $part in
  source) source_archive ;;
  debian) debian_packages ;;
  windows) windows_archive ;;
  npm) npm_package ;;
  esac
  files_of "$part" | (cd "$output" && xargs -r rm -f --)
  mv "$made"/* "$output"
done
(cd "$output" && for part in source debian windows npm; do files_of "$part"; done | sort | xargs sha256sum >SHA256SUMS)
section "Made"
(cd "$output" && cut -c 67- SHA256SUMS | xargs ls -l SHA256SUMS)
