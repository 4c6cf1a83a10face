#!/usr/bin/env bash
# Builds ConfigDialogs with warnings as errors and runs every test suite,
# among them the package check that installs the library into a scratch
# prefix and builds a small consumer project against it.
#
#   bash scripts/test.sh            # build in ./build-test
#   BUILD_DIR=/tmp/b bash scripts/test.sh
set -euo pipefail

here="$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)"
build="${BUILD_DIR:-$here/build-test}"
jobs="${JOBS:-$(nproc)}"

bash "$here/scripts/setup-debian.sh"

cmake -S "$here" -B "$build" -DCMAKE_BUILD_TYPE=RelWithDebInfo -DCONFIGDIALOGS_WERROR=ON >/dev/null
cmake --build "$build" -j "$jobs"
(cd "$build" && QT_QPA_PLATFORM=offscreen ctest --output-on-failure -j "$jobs")

