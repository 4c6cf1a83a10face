#!/usr/bin/env bash
# Soak run of the demo's camera settings under AddressSanitizer (with
# LeakSanitizer) and UndefinedBehaviorSanitizer: builds tst_demosoak in its
# own build folder and lets it drive the demo's main window with random
# operator actions for SECONDS, checking after every action that nothing was
# lost (see docs/soak.md).
#
#   bash scripts/soak.sh [SECONDS] [SEED]    # default 60 s and a fresh seed
#   BUILD_DIR=/tmp/b bash scripts/soak.sh 1800 42
#
# Prints the seed, the actions per second and the peak memory, and ends with
# "soak: N actions, 0 failures"; on a failure it prints the failed check, the
# actions and how to replay and shrink them, and exits non-zero. The actions
# are written as they run to soak-steps-SEED.txt in the build folder, so that
# a run a sanitizer stopped replays too.
set -euo pipefail

here="$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)"
build="${BUILD_DIR:-$here/build-soak}"
jobs="${JOBS:-$(nproc)}"
seconds="${1:-60}"
seed="${2:-$(od -An -N4 -tu4 /dev/urandom | tr -d ' ')}"

# time: /usr/bin/time measures the peak memory.
bash "$here/scripts/setup-debian.sh" time

cmake -S "$here" -B "$build" -DCMAKE_BUILD_TYPE=RelWithDebInfo -DCONFIGDIALOGS_WERROR=ON \
    -DCONFIGDIALOGS_BUILD_BENCH=OFF -DCONFIGDIALOGS_BUILD_EXAMPLES=ON -DQT_MAJOR_VERSION=6 \
    -DCONFIGDIALOGS_SANITIZE="address;undefined" >/dev/null
cmake --build "$build" -j "$jobs" --target tst_demosoak >/dev/null

# shellcheck source=sanitizer-env.sh
source "$here/scripts/sanitizer-env.sh"
# The fast unwinder for allocation stacks: the full one makes the session
# several times slower (1.4 against 9.1 actions per second, measured). The
# suppression that needs the full one is for Qt 5's offscreen plugin; this
# build uses Qt 6, whose plugin frees its screen.
ASAN_OPTIONS="${ASAN_OPTIONS/fast_unwind_on_malloc=0/fast_unwind_on_malloc=1}"
export QT_QPA_PLATFORM=offscreen KQ_LOG_LEVEL=2

driver="$build/tests/tst_demosoak"
steps="$build/soak-steps-$seed.txt"
output="$build/soak-output-$seed.txt"
usage="$build/soak-time-$seed.txt"
echo "soak: seed $seed, $seconds s"
# The summary line comes last, after the peak memory.
set +e
/usr/bin/time -v -o "$usage" "$driver" --seconds "$seconds" --seed "$seed" --steps-out "$steps" \
    2>&1 | tee "$output" | grep --line-buffered -v '^soak: [0-9]* actions, 0 failures$'
status=${PIPESTATUS[0]}
set -e
peak=$(sed -n 's/.*Maximum resident set size (kbytes): //p' "$usage")
echo "soak: peak memory ${peak:-?} kB (maximum resident set size)"
if [ "$status" -ne 0 ]; then
    echo "soak: FAILED (exit status $status), seed $seed"
    echo "soak: replay with: QT_QPA_PLATFORM=offscreen $driver --replay $steps"
    echo "soak: shrink with: QT_QPA_PLATFORM=offscreen $driver --replay $steps --shrink"
    exit 1
fi
grep '^soak: [0-9]* actions, 0 failures$' "$output"
