#!/usr/bin/env bash
# Makes the pictures of the playground in docs/pictures/, from the page that scripts/playground.sh --build made.
set -euo pipefail
cd "$(dirname "$0")/.."
# shellcheck source=scripts/playground_node.sh
source scripts/playground_node.sh
cd playground
node --import tsx tests/pictures.ts ../docs/pictures
