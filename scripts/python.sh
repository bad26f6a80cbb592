#!/usr/bin/env bash
# python.sh: builds and tests the Python package: pytest, the types, the style, its wheel in a fresh virtual
# environment, and whether its source archive holds all that building takes. Installs what is missing; builds in build/release.
set -euo pipefail
cd "$(dirname "$0")/.."
# shellcheck source=scripts/packages.sh
source scripts/packages.sh
scripts/install_packages.sh "${build_packages[@]}" "${python_packages[@]}" "${python_test_packages[@]}"

section() { printf '\n== %s (after %d s)\n' "$*" "$SECONDS"; }
python=/usr/bin/python3
build=$PWD/build/release
package=$build/python
sources=$PWD/bindings/python
export GXFILTER=$build/bin/gxfilter PYTHONDONTWRITEBYTECODE=1

section "Build: the Python package"
cmake --preset release -DFILTER_PROCESSOR_PYTHON=ON -DPython3_EXECUTABLE="$python"
cmake --build --preset release --target python_package gxfilter

section "Style"
find bindings/python -name '*.cpp' -print0 |
  xargs -0 -n 1 -P "$(nproc)" clang-tidy --quiet -p "$build" \
    --extra-arg=-Wno-unknown-warning-option 2> >(grep -v 'warnings generated' >&2)
cd "$sources"
$python -m flake8 --max-line-length 110 --exclude build .
# Generated lines quote the schemas.
$python -m flake8 --max-line-length 110 --extend-ignore E501 "$package/filter_processor/filters.py"

section "Types"
# Of the built package, not of the sources that lie here.
check_types() { (cd "$package" && $python -m mypy --config-file "$sources/pyproject.toml" \
  --cache-dir "$build/mypy" --python-executable "$python" "$@"); }
check_types -p filter_processor
check_types "$sources/tests/typed_use.py" "$sources/examples"
# The classes of the extension have a metaclass of pybind11's, which stubs can't name.
printf 'filter_processor._core.%s\n' Facts HostFrame Instance Pipeline Reader Writer >"$build/stubtest.txt"
(cd "$package" && PYTHONPATH=. $python -m mypy.stubtest --allowlist "$build/stubtest.txt" \
  filter_processor.filters filter_processor._core)

section "Tests"
PYTHONPATH=$package $python -P -m pytest tests # not with the sources that lie here

section "The source archive"
cd ../..
FILTER_PROCESSOR_BUILD=$build scripts/wheel.sh
place=$(mktemp -d)
trap 'rm -rf "$place"' EXIT
archive=$place/archive # beside what the wheel is tested with, which must not see its sources
mkdir "$archive"
tar -C "$archive" --strip-components 1 -xf build/wheel/*.tar.gz
# Without compiling all of it again: CMake looks for the sources, and which headers they take is known to
# the build that there is.
cmake -S "$archive/tree" -B "$archive/build" -G Ninja -DFILTER_PROCESSOR_PYTHON=ON -DFILTER_PROCESSOR_TESTS=OFF \
  -DFILTER_PROCESSOR_BENCH=OFF -DPython3_EXECUTABLE="$python" >/dev/null
ninja -C "$archive/build" -t inputs python_package | grep '\.o$' >"$archive/objects"
ninja -C "$build" -t deps | awk -v root="$PWD/" '
  NR == FNR { wanted[$1 ":"]; next }
  /^[^ ]/ { counts = $1 in wanted }
  { listed = /^ /; sub("^[.][.]/[.][.]/", root, $1) } # as compilers behind a cache are told
  listed && counts && index($1, root) == 1 { print substr($1, length(root) + 1) }' "$archive/objects" - |
  grep -v '^build/' | sort -u >"$archive/headers"
[ "$(wc -l <"$archive/headers")" -gt 100 ] || { echo "which headers are taken is unknown" >&2 && exit 1; }
(cd "$archive/tree" && xargs ls >/dev/null <"$archive/headers")

section "The wheel in a fresh environment"
$python -m venv --system-site-packages "$place/venv"
"$place/venv/bin/pip" install --quiet --no-index build/wheel/*.whl
# From another folder, without the build: what is not in the wheel is not there.
cp bindings/python/tests/{conftest,test_arrays}.py "$place"
mv "$package" "$place/away"
(cd "$place" && venv/bin/python -m pytest -q -p no:cacheprovider test_arrays.py &&
  venv/bin/python -c 'import filter_processor as fp; print(fp.Chain.preset("robot"))' &&
  venv/bin/python -m filter_processor.batch --help >/dev/null) || status=$?
mv "$place/away" "$package"
exit "${status:-0}"
