#!/usr/bin/env bash
# Builds the library and every test suite with AddressSanitizer (LeakSanitizer
# included) and UndefinedBehaviorSanitizer and runs the suites. Any report
# fails the run; the only suppressions are for Qt's own leaks, each explained
# in tests/lsan.supp.
#
#   bash scripts/sanitize.sh                 # build in ./build-sanitize
#   BUILD_DIR=/tmp/b bash scripts/sanitize.sh
set -euo pipefail

here="$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)"
build="${BUILD_DIR:-$here/build-sanitize}"
jobs="${JOBS:-$(nproc)}"

bash "$here/scripts/setup-debian.sh"

start=$(date +%s)
cmake -S "$here" -B "$build" -DCMAKE_BUILD_TYPE=Debug -DCONFIGDIALOGS_WERROR=ON \
    -DCONFIGDIALOGS_BUILD_BENCH=OFF \
    -DCONFIGDIALOGS_SANITIZE="address;undefined" >/dev/null
cmake --build "$build" -j "$jobs"
built=$(date +%s)

# shellcheck source=sanitizer-env.sh
source "$here/scripts/sanitizer-env.sh"
# The package tests build a separate consumer project without the sanitizer
# runtime; the plain build (scripts/test.sh) runs it.
(cd "$build" && QT_QPA_PLATFORM=offscreen ctest --output-on-failure -j "$jobs" -E '^package_consumer')
echo "sanitize: build $((built - start)) s, tests $(($(date +%s) - built)) s"
