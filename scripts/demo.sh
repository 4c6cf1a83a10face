#!/usr/bin/env bash
# Installs what the build needs, builds the demo and opens it on its built-in
# cameras. Without a display it runs under a virtual one (xvfb-run) and takes
# a screenshot instead of opening a window.
#
#   bash scripts/demo.sh                      # build in ./build-demo, open the demo
#   bash scripts/demo.sh --select cam-entrance,cam-gate --tab Video
#   BUILD_DIR=/tmp/b bash scripts/demo.sh
# Arguments are passed on to configdialogs-demo (see its --help).
set -euo pipefail

here="$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)"
build="${BUILD_DIR:-$here/build-demo}"
jobs="${JOBS:-$(nproc)}"

bash "$here/scripts/setup-debian.sh"

cmake -S "$here" -B "$build" -DCMAKE_BUILD_TYPE=RelWithDebInfo -DCONFIGDIALOGS_BUILD_TESTS=OFF >/dev/null
cmake --build "$build" -j "$jobs" --target configdialogs-demo
demo="$build/examples/demo/configdialogs-demo"

if [ -n "${DISPLAY:-}" ] || [ -n "${WAYLAND_DISPLAY:-}" ]; then
    exec "$demo" "$@"
fi

shot="$build/demo-screenshot.png"
echo "No display: taking a screenshot under xvfb-run instead of opening a window."
xvfb-run -a "$demo" --select cam-entrance,cam-gate --screenshot "$shot" "$@"
echo "Screenshot: $shot"
