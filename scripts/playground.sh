#!/usr/bin/env bash
# playground.sh [--build | --module] [PORT]: builds the browser's playground into playground/dist, which any
# static host can serve from any folder, and serves it on this machine (port 5173). With --build it is only built,
# with --module only its module, into playground/built.
set -euo pipefail
cd "$(dirname "$0")/.."
# shellcheck source=scripts/packages.sh
source scripts/packages.sh
scripts/install_packages.sh "${playground_packages[@]}"
until=serve
case ${1:-} in --build | --module) until=${1#--} && shift ;; esac

# shellcheck source=scripts/playground_node.sh
source scripts/playground_node.sh

# The module: the filters, the reference host and what gxfilter knows of recordings.
scripts/cross_dependencies.sh wasm
cmake --preset wasm -B build/playground -DFILTER_PROCESSOR_PLAYGROUND=ON \
  -DFILTER_PROCESSOR_DEPENDENCIES="$PWD/build/dependencies/wasm" -DFILTER_PROCESSOR_TESTS=OFF -DFILTER_PROCESSOR_BENCH=OFF
NODE_PATH=/usr/share/nodejs cmake --build build/playground --target playground # for Emscripten's own tools
mkdir -p playground/built
cp build/playground/bin/playground.js build/playground/bin/playground.wasm playground/built/
[ "$until" != module ] || exit 0

# The page.
cd playground
if [ ! node_modules/.package-lock.json -nt package-lock.json ]; then
  npm ci --no-audit --no-fund
  touch node_modules/.package-lock.json
fi
npm run --silent build
if [ "$until" = serve ]; then exec npx vite preview --port "${1:-5173}"; fi
