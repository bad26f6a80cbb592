#!/usr/bin/env bash
# test.sh PACKAGE.tgz GXFILTER
# Installs the npm package into an empty project and uses it from Node.js, from TypeScript and from Chromium: the
# pixels must be those of gxfilter. TypeScript and what drives Chromium are the playground's.
set -euo pipefail
package=$(realpath "$1") gxfilter=$(realpath "$2")
here=$(cd "$(dirname "$0")" && pwd)
tools=$(realpath "$here/../../../playground/node_modules")
project=$(mktemp -d)
trap 'rm -rf "$project"' EXIT
cd "$project"

echo '{"name": "empty", "private": true, "type": "module"}' >package.json
npm install --silent --offline --no-audit --no-fund "$package"
cp "$here"/{chains,in_node,in_browser}.js "$here/typed_use.ts" .
node in_node.js "$gxfilter"
echo '{"compilerOptions": {"noEmit": true, "strict": true, "target": "ES2022", "module": "NodeNext", "types": [],
  "lib": ["ES2022", "DOM"]}, "files": ["typed_use.ts"]}' >tsconfig.json
"$tools/.bin/tsc" --project .
echo "TypeScript: what is allowed and what is refused"
ln -s "$tools/playwright-core" node_modules/
node in_browser.js
