#!/usr/bin/env bash
# Compares the ABI of the shared libraries (libConfigDialogs and
# libConfigDialogsPlatform) built from this tree against Qt 6 with the
# baseline of the last release, committed in abi/<library>-<version>.abi.
# Only what the public headers declare counts. Added functions, variables
# and types pass; a removed or changed function or variable, or a changed
# public type, fails, unless the library's SOVERSION changed since the
# release (an intended break). See docs/abi.md.
#
#   bash scripts/abi-check.sh                  # build in ./build-abi, compare with the newest baseline
#   bash scripts/abi-check.sh --refresh v1.1.0 # write the baselines from the tagged release (when it is tagged)
#   SOURCE_DIR=/tmp/copy bash scripts/abi-check.sh   # check another tree (the baselines stay this tree's)
set -euo pipefail

here="$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)"
source_dir="$(cd "${SOURCE_DIR:-$here}" && pwd)"
build="${BUILD_DIR:-$source_dir/build-abi}"
jobs="${JOBS:-$(nproc)}"
baselines="$here/abi"
libraries=(ConfigDialogs ConfigDialogsPlatform)

bash "$here/scripts/setup-debian.sh" abigail-tools >&2

# Configures and builds the two shared libraries of the tree $1 in $2, with
# debug information (the ABI is read from it), against Qt 6.
build_libraries() {
    cmake -S "$1" -B "$2" -DCMAKE_BUILD_TYPE=RelWithDebInfo -DQT_MAJOR_VERSION=6 \
        -DCONFIGDIALOGS_BUILD_TESTS=OFF -DCONFIGDIALOGS_BUILD_EXAMPLES=OFF \
        -DCONFIGDIALOGS_BUILD_DESIGNER_PLUGIN=OFF -DCONFIGDIALOGS_BUILD_BENCH=OFF >/dev/null
    cmake --build "$2" -j "$jobs" --target "${libraries[@]}" >&2
}

# Writes the ABI of library $3 built in $2 from tree $1 to the file $4. The
# public headers (and the ones the build generates next to them) name the
# types that count; everything else is private and left out.
dump_abi() {
    local tree=$1 build=$2 library=$3 out=$4 so headers=()
    case $library in
    ConfigDialogs)
        headers=(--headers-dir "$tree/include/ConfigDialogs" --headers-dir "$build/include/ConfigDialogs") ;;
    ConfigDialogsPlatform)
        headers=(--headers-dir "$tree/platform/include/kq" --headers-dir "$tree/platform/include/kqm"
            --headers-dir "$build/platform/include/kq") ;;
    esac
    # The link name points at the library of the last build; an older
    # version's file may still lie beside it.
    so=$(find "$build" -name "lib$library.so" | head -n 1)
    [ -n "$so" ] || { echo "abi-check: lib$library was not built in $build" >&2; exit 1; }
    so=$(realpath "$so")
    abidw "${headers[@]}" --drop-private-types --no-corpus-path --no-comp-dir-path --no-show-locs \
        --suppressions "$baselines/suppressions.abignore" --out-file "$out" "$so"
}

soname_of() { sed -n "s/.*<abi-corpus .*soname='\([^']*\)'.*/\1/p" "$1" | head -n 1; }

if [ "${1:-}" = "--refresh" ]; then
    tag=${2:?"--refresh needs the release tag, e.g. v1.1.0"}
    version=${tag#v}
    scratch=$(mktemp -d)
    trap 'rm -rf "$scratch"' EXIT
    git -C "$here" archive --format=tar "$tag" | tar -x -C "$scratch"
    mkdir -p "$scratch/build"
    build_libraries "$scratch" "$scratch/build"
    mkdir -p "$baselines"
    for library in "${libraries[@]}"; do
        dump_abi "$scratch" "$scratch/build" "$library" "$baselines/$library-$version.abi"
        echo "abi-check: wrote abi/$library-$version.abi from $tag ($(soname_of "$baselines/$library-$version.abi"))"
    done
    echo "abi-check: remove the older baselines from abi/ and commit the new ones"
    exit 0
fi

# The newest baseline is the last release.
release=$(find "$baselines" -name 'ConfigDialogs-*.abi' | sed 's/.*ConfigDialogs-\(.*\)\.abi$/\1/' | sort -V | tail -n 1)
[ -n "$release" ] || { echo "abi-check: no baseline in abi/" >&2; exit 1; }

build_libraries "$source_dir" "$build"
mkdir -p "$build/abi"
failed=0
for library in "${libraries[@]}"; do
    baseline="$baselines/$library-$release.abi"
    current="$build/abi/$library.abi"
    dump_abi "$source_dir" "$build" "$library" "$current"
    was=$(soname_of "$baseline")
    now=$(soname_of "$current")
    echo "== lib$library against release $release ($was)"
    if [ "$was" != "$now" ]; then
        echo "abi-check: the SONAME changed from $was to $now: incompatible changes are allowed;" \
            "tag the release and refresh the baseline (docs/abi.md)"
        continue
    fi
    rc=0
    abidiff --suppressions "$baselines/suppressions.abignore" "$baseline" "$current" \
        >"$build/abi/$library.diff" 2>&1 || rc=$?
    cat "$build/abi/$library.diff"
    if [ $((rc & 1)) -ne 0 ]; then
        echo "abi-check: abidiff failed (exit $rc)"
        failed=1
    elif [ $((rc & 8)) -ne 0 ]; then
        echo "abi-check: lib$library is incompatible with release $release"
        failed=1
    elif [ $((rc & 4)) -ne 0 ]; then
        # abidiff leaves it to people to judge changes that are not outright
        # removals. Additions are compatible; any removed or changed function,
        # variable or symbol is not.
        if grep -E '(^|[ :])[1-9][0-9]* (Removed|Changed)' "$build/abi/$library.diff" >/dev/null; then
            echo "abi-check: lib$library changes or removes interfaces of release $release"
            failed=1
        else
            echo "abi-check: lib$library only adds to release $release"
        fi
    else
        echo "abi-check: lib$library is the same as in release $release"
    fi
done
if [ $failed -ne 0 ]; then
    echo "abi-check: FAILED: keep the interfaces of release $release, or raise the SOVERSION (docs/abi.md)"
    exit 1
fi
echo "abi-check: compatible with release $release"
