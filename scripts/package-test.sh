#!/usr/bin/env bash
# The packaging test: makes the Debian packages (scripts/package.sh), checks
# them with lintian (no errors allowed), unpacks them into a scratch root,
# builds examples/consumer against the unpacked development package with CMake
# and with pkg-config and runs it (it also loads the unpacked Designer
# plugin), and runs the unpacked demo to a screenshot. Nothing is installed
# into the system; apt only simulates installing the packages, to show that
# their dependencies resolve.
#
#   bash scripts/package-test.sh               # packages in ./build-package, scratch in ./build-package/package-test
set -euo pipefail

here="$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)"
build="${BUILD_DIR:-$here/build-package}"
work="$build/package-test"
start=$(date +%s)

bash "$here/scripts/setup-debian.sh" dpkg-dev fakeroot file lintian
list=$(BUILD_DIR="$build" bash "$here/scripts/package.sh")
mapfile -t debs <<<"$list"
built=$(date +%s)
[ ${#debs[@]} -eq 4 ] || { echo "expected 4 packages, got: ${debs[*]}" >&2; exit 1; }

fail() { echo "package-test: FAILED: $*" >&2; exit 1; }
deb_of() { printf '%s\n' "${debs[@]}" | grep "/$1_" || fail "no package $1"; }
field() { dpkg-deb --field "$(deb_of "$1")" "$2"; }

multiarch=$(dpkg-architecture -qDEB_HOST_MULTIARCH)
libdir=usr/lib/$multiarch
# The runtime package and the libraries' file names carry the SOVERSION,
# which is the project's major version.
soversion=$(sed -n 's/^project(ConfigDialogs VERSION \([0-9]*\)\..*/\1/p' "$here/CMakeLists.txt")
[ -n "$soversion" ] || fail "no project version in CMakeLists.txt"
runtime=libconfigdialogs$soversion

echo "== lintian"
# Errors fail; warnings and notes are printed for the record.
lintian --fail-on error --display-info --tag-display-limit 0 "${debs[@]}" || fail "lintian reports errors"

echo "== package contents and control fields"
for d in "${debs[@]}"; do
    echo "-- $(basename "$d"): $(dpkg-deb --field "$d" Depends)"
done
contents() { dpkg-deb --contents "$(deb_of "$1")" | awk '{ print $6 }'; }
has() { contents "$1" | grep -x "$2" >/dev/null; }
has $runtime "./$libdir/libConfigDialogs.so.$soversion" || fail "$runtime lacks $libdir/libConfigDialogs.so.$soversion"
has $runtime "./$libdir/libConfigDialogsPlatform.so.$soversion" || fail "$runtime lacks the platform library"
if contents $runtime | grep -E '\.so$|/include/' >/dev/null; then fail "$runtime holds development files"; fi
has libconfigdialogs-dev "./$libdir/libConfigDialogs.so" || fail "libconfigdialogs-dev lacks the link name libConfigDialogs.so"
has libconfigdialogs-dev "./$libdir/cmake/ConfigDialogs/ConfigDialogsConfig.cmake" \
    || fail "libconfigdialogs-dev lacks the CMake package"
has libconfigdialogs-dev "./$libdir/pkgconfig/ConfigDialogs.pc" || fail "libconfigdialogs-dev lacks the pkg-config file"
has configdialogs-designer-plugin "./$libdir/qt6/plugins/designer/libconfigdialogsplugin.so" \
    || fail "the Designer plugin is not in Qt 6's Designer plugin folder"
has configdialogs-demo "./usr/bin/configdialogs-demo" || fail "the demo is not in /usr/bin"
# shlibs: other packages linking the library get a dependency on this one.
shlibs=$(dpkg-deb --ctrl-tarfile "$(deb_of $runtime)" | tar -xO ./shlibs)
echo "$shlibs"
grep -q "^libConfigDialogs $soversion $runtime (>= " <<<"$shlibs" || fail "$runtime has no shlibs entry"
# Dependencies computed from the binaries: the Qt libraries they link.
field $runtime Depends | grep "libqt6widgets6" >/dev/null || fail "$runtime does not depend on Qt 6 Widgets"
field configdialogs-demo Depends | grep "$runtime (= " >/dev/null || fail "the demo does not depend on $runtime"
field configdialogs-demo Depends | grep "libqt6widgets6" >/dev/null || fail "the demo's Qt dependency is missing"
field $runtime Recommends | grep "gstreamer1.0-libav" >/dev/null || fail "$runtime does not recommend the GStreamer decoders"
field libconfigdialogs-dev Depends | grep "$runtime (= " >/dev/null || fail "the dev package does not depend on $runtime"

echo "== dependencies resolve (apt simulation, nothing installed)"
apt-get install --simulate --no-install-recommends "${debs[@]}" >"$build/apt-simulate.log" 2>&1 \
    || { cat "$build/apt-simulate.log"; fail "apt cannot resolve the packages' dependencies"; }

echo "== unpack into $work/root"
rm -rf "$work" && mkdir -p "$work/root"
for d in "${debs[@]}"; do dpkg-deb -x "$d" "$work/root"; done
root="$work/root"
export LD_LIBRARY_PATH="$root/$libdir"
export QT_QPA_PLATFORM=offscreen
plugin="$root/$libdir/qt6/plugins/designer/libconfigdialogsplugin.so"
if ldd "$plugin" | grep "not found"; then fail "the Designer plugin misses libraries"; fi

echo "== consumer with CMake"
cmake -S "$here/examples/consumer" -B "$work/consumer-cmake" -DCMAKE_PREFIX_PATH="$root/usr" >/dev/null
cmake --build "$work/consumer-cmake" >/dev/null
grep -q "$root/usr/include" "$work/consumer-cmake/CMakeFiles/consumer.dir/flags.make" \
    || fail "the CMake consumer did not use the unpacked headers"
"$work/consumer-cmake/consumer" "$plugin"

echo "== consumer with pkg-config"
flags=$(PKG_CONFIG_PATH="$root/$libdir/pkgconfig" pkg-config --cflags --libs ConfigDialogs)
echo "pkg-config: $flags"
include=$(tr ' ' '\n' <<<"$flags" | sed -n 's/^-I//p' | head -n 1)
[ "$(realpath "$include")" = "$root/usr/include" ] || fail "pkg-config's headers are not the unpacked ones: $include"
mkdir -p "$work/consumer-pkgconfig"
# shellcheck disable=SC2086 # the flags are words
g++ -std=c++17 -o "$work/consumer-pkgconfig/consumer" "$here/examples/consumer/main.cpp" $flags
"$work/consumer-pkgconfig/consumer" "$plugin"

echo "== installed demo"
shot="$work/demo.png"
# A scratch home: the demo reads a saved copy of its cameras from there.
HOME="$work/home" "$root/usr/bin/configdialogs-demo" --select cam-entrance,cam-gate --tab Video --screenshot "$shot"
file "$shot" | grep -E 'PNG image data, [1-9][0-9]* x [1-9][0-9]*' >/dev/null || fail "the demo wrote no screenshot"
file "$shot"
[ -s "$root/usr/share/man/man1/configdialogs-demo.1.gz" ] || fail "the demo has no manual page"

rm -rf "$work/root"
echo "package-test: packages, lintian, consumer (CMake, pkg-config), demo: passed" \
    "(packages $((built - start)) s, checks $(($(date +%s) - built)) s)"
