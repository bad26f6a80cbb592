#!/usr/bin/env bash
# test_packages.sh [PART...]: makes all packages (scripts/package.sh) and tests them: what stands in the files, lintian,
# the npm package in Node.js and in Chromium, a fresh Debian 12 that they are installed in and removed from, and the
# same bits from another folder. What takes root's rights is skipped and counted without them. Installs what is missing.
# With parts, only these of "version make others files lintian windows npm debian again", of packages that are there.
set -euo pipefail
cd -P "$(dirname "$0")/.."
root=$PWD
export LC_ALL=C.UTF-8 LANGUAGE= # what readelf says is read
# shellcheck source=scripts/packages.sh
source scripts/packages.sh
scripts/install_packages.sh "${build_packages[@]}" "${package_packages[@]}" "${package_test_packages[@]}"
section() { printf '\n== %s (after %d s)\n' "$*" "$SECONDS"; }
fail() { echo "FAILED: $*" >&2 && exit 1; }

[ -e .git ] || fail "packages are tested in a clone: the source archive is made of its history"
version=$(sed -n 's/^project(FilterProcessor VERSION \([0-9.]*\).*/\1/p' CMakeLists.txt)
packages=$root/out/packages
work=$(mktemp -d)
done_with() {
  # Nothing below the fresh system may still be mounted when it is deleted.
  umount "$work/debian/proc" 2>/dev/null || true
  if mountpoint -q "$work/debian/proc"; then return; fi
  rm -rf "$work"
}
trap done_with EXIT
passed=0 skipped=()
part() {
  section "$1"
  "$2"
  passed=$((passed + 1))
}

# The version stands in CMakeLists.txt; everything else learns it from there. Lists of what is needed have others'.
version_stands_once() {
  local others
  others=$(git -c safe.directory="$root" grep -lF "$version" -- ':!CHANGELOG.md' ':!*/package.json' \
    ':!*/package-lock.json' ':!packaging/conan/*' ':!CMakeLists.txt') || [ $? = 1 ]
  [ -z "$others" ] || fail "the version $version stands in $others too"
  [ "$(grep -cF "$version" CMakeLists.txt)" = 1 ] || fail "the version stands in CMakeLists.txt more than once"
}

# Where the build of the tests is there, only a few files have to be compiled again.
make_packages() {
  if [ -e build/release/build.ninja ]; then
    FILTER_PROCESSOR_BUILD=build/release scripts/package.sh "$packages"
  else
    scripts/package.sh "$packages"
  fi
  (cd "$packages" && sha256sum --quiet -c SHA256SUMS)
  local name
  for name in "filter_processor-$version.tar.gz" "filter_processor-$version-windows-x86_64.zip" \
    "filter-processor-$version.tgz" "gxfilter_${version}_$(dpkg --print-architecture).deb"; do
    grep -qF " $name" "$packages/SHA256SUMS" || fail "there is no $name"
  done
}

# Every package into a folder of its own.
unpack() {
  local package name
  [ ! -e "$work/unpacked" ] || return 0
  mkdir -p "$work/unpacked"/{windows,npm,source}
  for package in "$packages"/*.deb; do
    name=$(basename "$package")
    dpkg-deb -R "$package" "$work/unpacked/${name%%_*}"
  done
  unzip -q "$packages"/*.zip -d "$work/unpacked/windows"
  tar -xzf "$packages/filter-processor-$version.tgz" -C "$work/unpacked/npm"
  tar -xzf "$packages/filter_processor-$version.tar.gz" -C "$work/unpacked/source"
}

# All of Debian's hardening in every file, and what else must stand in packages or must not.
look_at_files() {
  unpack
  local file header symbols fortified=0 protected=0 programs=0 libraries=0 folder text
  while read -r file; do
    header=$(readelf -hldW "$file" 2>/dev/null) || continue
    grep -q GNU_RELRO <<<"$header" || fail "$file: no RELRO"
    grep -qE 'BIND_NOW|FLAGS.* NOW' <<<"$header" || fail "$file: not bound at once"
    grep -qE 'GNU_STACK.* RW ' <<<"$header" || fail "$file: its stack may be executed"
    if grep -q 'Requesting program interpreter' <<<"$header"; then
      grep -qE 'Type: +DYN' <<<"$header" || fail "$file: is no position-independent program"
      programs=$((programs + 1))
    else
      libraries=$((libraries + 1))
    fi
    ! grep -qE 'RPATH|RUNPATH' <<<"$header" || fail "$file: tells where libraries are to be looked for"
    ! grep -q '\.debug_' <<<"$(readelf -SW "$file")" || fail "$file: is not stripped"
    symbols=$(nm -D --undefined-only "$file")
    if grep -q __stack_chk_fail <<<"$symbols"; then protected=$((protected + 1)); fi
    if grep -qE '__[a-z]+_chk(@|$)' <<<"$symbols"; then fortified=$((fortified + 1)); fi
  done < <(find "$work/unpacked" -path "$work/unpacked/source" -prune -o -type f ! -name "*.a" -print)
  echo "$programs programs, $libraries libraries: $protected with guarded stacks, $fortified with fortified calls"
  # GextonSDK and libFilterProcessor, the elements, the Python extension; gxfilter.
  [ "$programs $libraries" = "1 4" ] || fail "other programs and libraries than expected"
  [ "$protected" = 5 ] || fail "files without guarded stacks"
  # GextonSDK calls nothing that has such a form.
  [ "$fortified" = 4 ] || fail "files without fortified calls"
  for folder in "$work/unpacked"/{*/usr/share/doc/*,windows/*,npm/package,source/*}; do
    for text in '(LICENSE(.txt)?|copyright)' '(CHANGELOG.md|changelog.gz)'; do
      [ -n "$(find "$folder" -maxdepth 1 -type f -size +0 -regextype egrep -regex ".*/$text")" ] ||
        fail "$folder: no $text"
    done
  done
  grep -q $'^bin.*\r$' "$work/unpacked/windows"/*/README.txt || fail "the archive for Windows has no README"
  # What is linked into the archives has licences of its own.
  for folder in "$work/unpacked"/{windows/*,npm/package}; do
    [ -s "$folder/THIRD_PARTY_LICENSES.txt" ] || fail "$folder: no licences of what it is linked with"
  done
  grep -qx '[0-9]*' "$work/unpacked/source"/*/.release_date || fail "the source archive has no date"
  [ -n "$(find "$work/unpacked/python3-filterprocessor" -path '*.dist-info/METADATA')" ] || fail "pip can't know it"
  local synopses
  synopses=$(for file in "$packages"/*.deb; do dpkg-deb -f "$file" Description | sed -n 1p; done | sort | uniq -d)
  [ -z "$synopses" ] || fail "packages share the synopsis '$synopses'"
  # The time of linking stands behind the signature and four bytes of the header.
  for file in "$work/unpacked/windows"/*/bin/*.{exe,dll}; do
    header=$(od -An -tu4 -j 60 -N 4 "$file")
    [ "$(od -An -tu4 -j $((header + 8)) -N 4 "$file")" -eq 0 ] || fail "$file carries a time"
  done
  find "$work/unpacked" -path "$work/unpacked/source" -prune -o -name '*.gz' -exec gunzip {} +
  for text in "$root" "$work"; do
    text="${text//./\\.}(/|[^A-Za-z0-9._-]|$)"
    if grep -rlaE --exclude-dir=source "$text" "$work/unpacked"; then fail "these name a folder of here"; fi
  done
}

# Of what lies where packages are put, only files of their own names are replaced.
others_are_left_alone() {
  local place=$work/place
  mkdir -p "$place/gxfilter_0_any.deb" && echo mine >"$place/note.txt" && echo old >"$place/filter_processor-0.tar.gz"
  echo mine | tee "$place/notes.tar.gz" "$place/filter_processor-my notes.tar.gz" >"$place/gxfilter_0_any (1).deb"
  (cd "$place" && FILTER_PROCESSOR_PARTS=source "$root/scripts/package.sh" . >/dev/null)
  local mine=("$place"/{gxfilter_0_any.deb,note.txt,notes.tar.gz,"filter_processor-my notes.tar.gz"}) file
  mine+=("$place/gxfilter_0_any (1).deb")
  for file in "${mine[@]}"; do [ -e "$file" ] || fail "package.sh deletes $file, which is not its own"; done
  [ ! -e "$place/filter_processor-0.tar.gz" ] || fail "package.sh leaves an older archive beside its own"
  [ "$(cut -c 67- "$place/SHA256SUMS")" = "filter_processor-$version.tar.gz" ] || fail "SHA256SUMS lists others' files"
}

# Built once more from the source archive, elsewhere, with nothing of ours that was compiled before.
build_again() {
  local again=$work/another/place name
  unpack
  mkdir -p "$work/another"
  cp -r "$work/unpacked/source/filter_processor-$version" "$again"
  mkdir "$again/build"
  # What others wrote, for Windows and WebAssembly, is taken as it was built.
  cp -r build/dependencies "$again/build"
  sed -i "s|$root/|$again/|g" "$again"/build/dependencies/*/lib/pkgconfig/*.pc
  (cd "$again" && CCACHE_DISABLE=1 scripts/package.sh >"$work/again.log" 2>&1) ||
    { tail -n 30 "$work/again.log" >&2 && fail "the source archive can't be built"; }
  local differing=0
  for name in "$again"/out/packages/*.{deb,zip,tgz}; do
    cmp "$name" "$packages/$(basename "$name")" || differing=$((differing + 1))
  done
  [ "$differing" = 0 ] || fail "$differing packages have other bits elsewhere"
  grep -vE '[.]tar[.]gz$' "$packages/SHA256SUMS" | cmp - "$again/out/packages/SHA256SUMS"
  echo "The same: $(cd "$again/out/packages" && echo *.*)"
}

look_with_lintian() {
  # What is no distribution's package closes no bug of its.
  lintian --allow-root --fail-on error,warning --suppress-tags initial-upload-closes-no-bugs "$packages"/*.deb
}

npm_package() {
  scripts/install_packages.sh "${playground_packages[@]}" "${playground_test_packages[@]}"
  # shellcheck source=scripts/playground_node.sh
  source scripts/playground_node.sh
  if [ ! playground/node_modules/.package-lock.json -nt playground/package-lock.json ]; then
    (cd playground && npm ci --no-audit --no-fund)
  fi
  # That of the build that the packages were made in.
  local gxfilter=$root/build/release/bin/gxfilter
  [ -e "$gxfilter" ] || gxfilter=$root/build/package/bin/gxfilter
  bindings/npm/tests/test.sh "$packages/filter-processor-$version.tgz" "$gxfilter"
}

# The program of the archive, with what lies beside it.
windows_program() {
  unpack
  scripts/install_packages.sh "${cross_packages[@]}"
  local said
  said=$(cmake/toolchains/wine.sh "$work/unpacked/windows"/*/bin/gxfilter.exe selftest)
  grep 'every bit as it must be' <<<"$said" || fail "gxfilter.exe says: $said"
}

fresh_debian() { tests/packaging/fresh_debian.sh "$work/debian" "$packages"; }

if [ $# = 0 ]; then set -- version make others files lintian windows npm debian again; fi
for name in "$@"; do
  case $name in
  version) part "The version stands in one place" version_stands_once ;;
  make) part "All packages" make_packages ;;
  others) part "Nothing of others is replaced" others_are_left_alone ;;
  files) part "What stands in the files" look_at_files ;;
  lintian) part "lintian" look_with_lintian ;;
  windows) part "The archive for Windows, under Wine" windows_program ;;
  npm) part "The npm package in Node.js, TypeScript and Chromium" npm_package ;;
  debian)
    if tests/packaging/fresh_debian.sh --possible; then
      part "A fresh Debian 12" fresh_debian
    else
      skipped+=("a fresh Debian 12: this user may not make one")
    fi
    ;;
  again) part "The same bits from another folder" build_again ;;
  *) echo "no part: $name" >&2 && exit 2 ;;
  esac
done

section "Done: $passed parts passed, ${#skipped[@]} skipped"
[ ${#skipped[@]} = 0 ] || printf 'skipped: %s\n' "${skipped[@]}"
