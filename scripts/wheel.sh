#!/usr/bin/env bash
# wheel.sh: makes the Python package's wheel and source archive in build/wheel. Installs what is missing.
# FILTER_PROCESSOR_BUILD: a build folder with FILTER_PROCESSOR_PYTHON=ON to take it from.
set -euo pipefail
cd "$(dirname "$0")/.."
# shellcheck source=scripts/packages.sh
source scripts/packages.sh
scripts/install_packages.sh "${build_packages[@]}" "${python_packages[@]}"
[[ -z ${FILTER_PROCESSOR_BUILD:-} ]] || FILTER_PROCESSOR_BUILD=$(realpath "$FILTER_PROCESSOR_BUILD")
export FILTER_PROCESSOR_BUILD
[[ -n $FILTER_PROCESSOR_BUILD ]] || unset FILTER_PROCESSOR_BUILD
rm -rf build/wheel bindings/python/build bindings/python/*.egg-info
/usr/bin/python3 -m build --no-isolation --outdir build/wheel bindings/python
