#!/usr/bin/env bash
# make_port.sh ARCHIVE URL OUTPUT: the port for vcpkg of a source archive that scripts/package.sh made and that can be
# had from the URL, as an overlay: vcpkg install filter-processor --overlay-ports=OUTPUT
set -euo pipefail
archive=$1 url=${2//&/\\&} output=$3 # for sed, "&" is what was found
here=$(cd "$(dirname "$0")" && pwd)
version=$(tar -xzOf "$archive" --wildcards '*/CMakeLists.txt' --no-wildcards-match-slash |
  sed -n 's/^project(FilterProcessor VERSION \([0-9.]*\).*/\1/p')
digest=$(sha512sum "$archive" | cut -d ' ' -f 1)
mkdir -p "$output/filter-processor"
for file in vcpkg.json portfile.cmake; do
  sed -e "s|@VERSION@|$version|" -e "s|@URL@|$url|" -e "s|@SHA512@|$digest|" \
    "$here/filter-processor/$file" >"$output/filter-processor/$file"
done
