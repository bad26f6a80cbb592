#!/usr/bin/env bash
# test_playground.sh: builds the browser's playground and gxfilter, checks types and style, and runs the tests of the
# engine (against gxfilter, compiled programs and shells) and of the page (in Chromium).
set -euo pipefail
cd "$(dirname "$0")/.."
# shellcheck source=scripts/packages.sh
source scripts/packages.sh
scripts/install_packages.sh "${build_packages[@]}" "${playground_packages[@]}" "${playground_test_packages[@]}"
section() { printf '\n== %s (after %d s)\n' "$*" "$SECONDS"; }

section "gxfilter"
cmake --preset release -DFILTER_PROCESSOR_TOOLS=ON
cmake --build --preset release --target gxfilter FilterProcessor GextonSDK
section "The module and the page"
scripts/playground.sh --build
# shellcheck source=scripts/playground_node.sh
source scripts/playground_node.sh
cd playground
for part in check test:unit test:browser; do
  section "npm run $part"
  npm run --silent "$part"
done
