#!/usr/bin/env bash
# test.sh PACKAGE.tgz GXFILTER
# Installs the npm package into an empty project and uses it from Node.js, from TypeScript and from Chromium, as its
# files and as a bundler makes a page of them: the pixels must be those of gxfilter. TypeScript, the bundler and what
# drives Chromium are the playground's.
set -euo pipefail
package=$(realpath "$1") gxfilter=$(realpath "$2")
here=$(cd "$(dirname "$0")" && pwd)
tools=$(realpath "$here/../../../playground/node_modules")
project=$(mktemp -d)
trap 'rm -rf "$project"' EXIT
cd "$project"

echo '{"name": "empty", "private": true, "type": "module"}' >package.json
npm install --silent --offline --no-audit --no-fund "$package"
cp "$here"/{chains,in_node,in_browser}.js "$here"/typed_{use,browser}.ts .
node in_node.js "$gxfilter"
# typed LIBRARIES FILE...: compiled with these types and no others.
typed() {
  printf '{"compilerOptions": {"noEmit": true, "strict": true, "target": "ES2022", "module": "NodeNext", "types": [],
    "lib": [%s]}, "files": [%s]}' "$1" "$(printf '"%s"\n' "${@:2}" | paste -sd ,)" >tsconfig.json
  "$tools/.bin/tsc" --project .
}
typed '"ES2022"' typed_use.ts
typed '"ES2022", "DOM"' typed_use.ts typed_browser.ts
echo "TypeScript: what is allowed and what is refused, with a browser's types and without"

echo '<!doctype html><script type="module" src="page.js"></script>' >index.html
echo 'import { load } from "filter-processor"; import { digests } from "./chains.js";
globalThis.found = load().then(digests);' >page.js
"$tools/.bin/vite" build --logLevel error --base ./ --outDir bundled
! grep -rlE "node:|__vite-browser-external" bundled --include=*.js || { echo "the page needs Node.js" >&2 && exit 1; }
ln -s "$tools/playwright-core" node_modules/
node in_browser.js
