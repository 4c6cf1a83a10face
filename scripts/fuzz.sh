#!/usr/bin/env bash
# Builds the libFuzzer targets with clang, AddressSanitizer and
# UndefinedBehaviorSanitizer, and runs each for FUZZ_SECONDS (default 20)
# over a copy of its corpus in fuzz/corpus/<name>.
set -euo pipefail

here="$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)"
build="${BUILD_DIR:-$here/build-fuzz}"
seconds="${FUZZ_SECONDS:-20}"

bash "$here/scripts/setup-debian.sh"
if ! command -v clang++ >/dev/null || [ ! -e /usr/lib/llvm-14/lib/clang/14.0.6/lib/linux/libclang_rt.fuzzer-x86_64.a ]; then
    DEBIAN_FRONTEND=noninteractive apt-get install -y -qq clang libclang-rt-14-dev >/dev/null
fi

cmake -S "$here" -B "$build" -DCMAKE_BUILD_TYPE=RelWithDebInfo -DCMAKE_CXX_COMPILER=clang++ \
    -DCONFIGDIALOGS_BUILD_FUZZERS=ON -DCONFIGDIALOGS_BUILD_TESTS=ON -DCONFIGDIALOGS_BUILD_EXAMPLES=OFF \
    -DCONFIGDIALOGS_SANITIZE="address;undefined" >/dev/null
targets=$(cd "$here/fuzz" && ls fuzz_*.cpp | sed 's/\.cpp$//')
cmake --build "$build" -j "$(nproc)" --target $targets

# Fuzzing runs with the fast unwinder and without leak checks (full unwinding
# on every allocation would make it many times slower); then every input of
# the corpus the run ended with is replayed once with leak checks, fully
# unwound so that the narrow suppressions in fuzz/lsan.supp can match.
for t in $targets; do
    name=${t#fuzz_}
    work="$build/corpus-$name"
    rm -rf "$work" && mkdir -p "$work"
    cp "$here/fuzz/corpus/$name/"* "$work/" 2>/dev/null || true
    echo "== $t for ${seconds}s"
    ASAN_OPTIONS="detect_leaks=0" QT_QPA_PLATFORM=offscreen \
        "$build/fuzz/$t" -max_total_time="$seconds" -timeout=10 -rss_limit_mb=4096 \
        -print_final_stats=0 -artifact_prefix="$build/artifact-$name-" "$work" 2>&1 | tail -n 2
    echo "== $t: leak check over $(ls "$work" | wc -l) inputs"
    ASAN_OPTIONS="detect_leaks=1:fast_unwind_on_malloc=0" \
        LSAN_OPTIONS="suppressions=$here/fuzz/lsan.supp:print_suppressions=0" QT_QPA_PLATFORM=offscreen \
        "$build/fuzz/$t" -runs=0 -timeout=10 -artifact_prefix="$build/artifact-$name-" "$work" 2>&1 | tail -n 1
done
echo "fuzz: all targets ran clean"
