#!/usr/bin/env bash
# package.sh [OUTPUT]: makes everything that is handed out, in OUTPUT (out/packages): Debian's packages, the source
# archive, the archive for Windows, the npm package of the WebAssembly module, and SHA256SUMS of them. Installs what
# is missing. The same commit gives the same bits in every folder.
#
# FILTER_PROCESSOR_BUILD: a build folder of the release preset to make Debian's packages in (build/package).
# FILTER_PROCESSOR_PARTS: only these of "source debian windows npm".
set -euo pipefail
cd "$(dirname "$0")/.."
# shellcheck source=scripts/packages.sh
source scripts/packages.sh
output=$(realpath -m "${1:-out/packages}")
build=${FILTER_PROCESSOR_BUILD:-build/package}
without_tests=(-DFILTER_PROCESSOR_TESTS=OFF -DFILTER_PROCESSOR_BENCH=OFF)
[ -z "${FILTER_PROCESSOR_BUILD:-}" ] || without_tests=() # whoever has that folder decides
read -ra parts <<<"${FILTER_PROCESSOR_PARTS:-source debian windows npm}"
section() { printf '\n== %s (after %d s)\n' "$*" "$SECONDS"; }

version=$(sed -n 's/^project(FilterProcessor VERSION \([0-9.]*\).*/\1/p' CMakeLists.txt)
# An unpacked source archive has no history: its files carry the date.
SOURCE_DATE_EPOCH=$(if [ -e .git ]; then git log -1 --format=%ct; else stat -c %Y CMakeLists.txt; fi)
export SOURCE_DATE_EPOCH TZ=UTC LC_ALL=C.UTF-8
rm -rf "$output"
mkdir -p "$output"
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

# What every archive holds besides.
texts=(LICENSE CHANGELOG.md)

source_archive() {
  # `git archive` sorts names and takes the commit's date.
  git archive --prefix="filter_processor-$version/" HEAD | gzip -9n >"$output/filter_processor-$version.tar.gz"
}

debian_packages() {
  scripts/install_packages.sh "${build_packages[@]}" "${python_packages[@]}" "${gstreamer_packages[@]}" \
    "${package_packages[@]}"
  cmake --preset release -B "$build" -DCMAKE_C_COMPILER=gcc -DCMAKE_CXX_COMPILER=g++ \
    -DCMAKE_INSTALL_PREFIX=/usr -DFILTER_PROCESSOR_PACKAGES=ON -DFILTER_PROCESSOR_TOOLS=ON \
    -DFILTER_PROCESSOR_GSTREAMER=ON -DFILTER_PROCESSOR_PYTHON=ON -DPython3_EXECUTABLE=/usr/bin/python3 \
    "${without_tests[@]}"
  cmake --build "$build" --target FilterProcessor_static GextonSDK_static FilterProcessor gxfilter manual \
    gstfilterprocessor python_package
  # What was compiled is packed; cpack would ask for all targets first, those of tests too.
  rm -rf "$build/_CPack_Packages"
  (umask 022 && cpack --config "$build/CPackConfig.cmake" -G DEB -B "$build/debs" >"$build/cpack.log" 2>&1) ||
    { cat "$build/cpack.log" >&2 && exit 1; }
  mv "$build"/debs/*.deb "$output"
}

windows_archive() {
  scripts/install_packages.sh "${build_packages[@]}" "${cross_packages[@]}" "${package_packages[@]}"
  scripts/cross_dependencies.sh windows
  cmake --preset windows -DFILTER_PROCESSOR_DEPENDENCIES="$PWD/build/dependencies/windows" \
    -DFILTER_PROCESSOR_TOOLS=ON
  cmake --build --preset windows --target FilterProcessor GextonSDK gxfilter
  local name=filter_processor-$version-windows-x86_64 component
  for component in libraries development presets tools; do
    cmake --install build/windows --prefix "$work/$name" --component "$component" --strip >/dev/null
  done
  cp "${texts[@]}" README.md "$work/$name"
  mv "$work/$name/LICENSE" "$work/$name/LICENSE.txt"
  rm -f "$output/$name.zip"
  find "$work/$name" -exec touch -h -d "@$SOURCE_DATE_EPOCH" {} +
  (cd "$work" && find "$name" -type f | sort | zip -qXD9 "$output/$name.zip" -@)
}

npm_package() {
  scripts/install_packages.sh "${playground_packages[@]}"
  scripts/playground.sh --module
  # shellcheck source=scripts/playground_node.sh
  source scripts/playground_node.sh
  local package=$work/npm
  mkdir "$package"
  cp bindings/npm/{index.js,index.d.ts,README.md} "${texts[@]}" "$package"
  cp playground/built/playground.js "$package/module.js"
  cp playground/built/playground.wasm "$package/filter_processor.wasm"
  sed "s/@VERSION@/$version/" bindings/npm/package.json.in >"$package/package.json"
  node bindings/npm/make_types.js "$package"
  (cd "$package" && npm pack --silent --pack-destination "$output")
}

for part in "${parts[@]}"; do
  section "Making: $part"
  case $part in
  source) source_archive ;;
  debian) debian_packages ;;
  windows) windows_archive ;;
  npm) npm_package ;;
  *) echo "no part: $part" >&2 && exit 2 ;;
  esac
done
(cd "$output" && find . -type f -printf '%P\n' | sort | xargs sha256sum >"$work/SHA256SUMS")
mv "$work/SHA256SUMS" "$output"
section "Made"
(cd "$output" && ls -l)
