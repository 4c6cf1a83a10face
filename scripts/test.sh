#!/usr/bin/env bash
# Builds ConfigDialogs with warnings as errors, runs every test suite (among
# them the package checks that install the library into a scratch prefix and
# build a small consumer project against it with CMake and with pkg-config)
# and builds the API documentation, which must come out without a warning.
#
#   bash scripts/test.sh                       # Qt 6, in ./build-test
#   QT_MAJOR_VERSION=5 bash scripts/test.sh    # Qt 5.15, in ./build-test-qt5
#   BUILD_DIR=/tmp/b bash scripts/test.sh
set -euo pipefail

here="$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)"
qt="${QT_MAJOR_VERSION:-6}"
case "$qt" in
6) default_build="$here/build-test" ;;
5) default_build="$here/build-test-qt5" ;;
*) echo "QT_MAJOR_VERSION must be 5 or 6, not '$qt'" >&2; exit 2 ;;
esac
build="${BUILD_DIR:-$default_build}"
jobs="${JOBS:-$(nproc)}"

bash "$here/scripts/setup-debian.sh"

echo "== Qt $qt in $build"
cmake -S "$here" -B "$build" -DCMAKE_BUILD_TYPE=RelWithDebInfo -DCONFIGDIALOGS_WERROR=ON \
    -DQT_MAJOR_VERSION="$qt" >/dev/null
cmake --build "$build" -j "$jobs"
(cd "$build" && QT_QPA_PLATFORM=offscreen ctest --output-on-failure -j "$jobs")
cmake --build "$build" --target docs
