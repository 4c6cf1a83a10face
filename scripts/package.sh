#!/usr/bin/env bash
# Builds ConfigDialogs against Qt 6 for /usr with Debian's compiler flags and
# makes its Debian packages with CPack (cmake/Packaging.cmake):
#   libconfigdialogs2, libconfigdialogs-dev, configdialogs-designer-plugin,
#   configdialogs-demo
#
#   bash scripts/package.sh                    # build in ./build-package, packages in ./build-package/packages
#   BUILD_DIR=/tmp/b bash scripts/package.sh
# Prints the paths of the packages it made, one a line, on standard output.
set -euo pipefail

here="$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)"
build="${BUILD_DIR:-$here/build-package}"
jobs="${JOBS:-$(nproc)}"

bash "$here/scripts/setup-debian.sh" dpkg-dev fakeroot file >&2

# Debian's build flags: all hardening, optimisation, and debug info that CPack
# strips from the packaged files. CMake has no CPPFLAGS, so they join the
# compiler flags.
eval "$(DEB_BUILD_MAINT_OPTIONS=hardening=+all dpkg-buildflags --export=sh)"
if [ -f "$build/CMakeCache.txt" ] && ! grep -q '^CONFIGDIALOGS_DEBIAN_PACKAGES:BOOL=ON' "$build/CMakeCache.txt"; then
    echo "$build was not configured for packages; remove it or set BUILD_DIR" >&2
    exit 2
fi

echo "== packages: Qt 6 in $build" >&2
cmake -S "$here" -B "$build" -DCMAKE_BUILD_TYPE=None -DCMAKE_INSTALL_PREFIX=/usr \
    -DCMAKE_CXX_FLAGS="$CXXFLAGS $CPPFLAGS" -DCMAKE_EXE_LINKER_FLAGS="$LDFLAGS" \
    -DCMAKE_SHARED_LINKER_FLAGS="$LDFLAGS" -DCMAKE_MODULE_LINKER_FLAGS="$LDFLAGS" \
    -DQT_MAJOR_VERSION=6 -DCONFIGDIALOGS_DEBIAN_PACKAGES=ON \
    -DCONFIGDIALOGS_BUILD_TESTS=OFF -DCONFIGDIALOGS_BUILD_BENCH=OFF >/dev/null
cmake --build "$build" -j "$jobs" >&2
rm -rf "$build/packages"
(cd "$build" && cpack -G DEB >&2)
ls "$build"/packages/*.deb
