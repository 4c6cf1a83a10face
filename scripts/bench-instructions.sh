#!/usr/bin/env bash
# Counts the instructions every benchmark case executes, under callgrind, and
# prints the table of ratios against the plain-Qt baselines. Times move with
# whatever else the machine runs; instruction counts do not, so this is the
# steady companion of `cmake --build build --target bench`. Each case is run
# once to warm up, then counted over three iterations; the table gives the
# count per iteration. Takes a few minutes (callgrind runs about 50x slower).
#
#   bash scripts/bench-instructions.sh                  # Release build in ./build/bench-release
#   BUILD_DIR=/tmp/b bash scripts/bench-instructions.sh
#   KEEP_PROFILES=1 bash scripts/bench-instructions.sh  # keep the callgrind profiles
#   bash scripts/bench-instructions.sh tree/            # only the cases whose name holds "tree/"
set -euo pipefail

here="$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)"
build="${BUILD_DIR:-$here/build/bench-release}"
jobs="${JOBS:-$(nproc)}"

bash "$here/scripts/setup-debian.sh" libbenchmark-dev valgrind

cmake -S "$here" -B "$build" -DCMAKE_BUILD_TYPE=Release -DCONFIGDIALOGS_BUILD_TESTS=OFF \
    -DCONFIGDIALOGS_BUILD_EXAMPLES=OFF -DCONFIGDIALOGS_BUILD_BENCH=ON >/dev/null
cmake --build "$build" -j "$jobs" --target configdialogs_bench

profiles="$(mktemp -d)"
if [ -z "${KEEP_PROFILES:-}" ]; then
    trap 'rm -rf "$profiles"' EXIT
fi

QT_QPA_PLATFORM=offscreen KQ_LOG_LEVEL=100 \
    valgrind --tool=callgrind --collect-atstart=no --callgrind-out-file="$profiles/cg.out" \
    "$build/bench/configdialogs_bench" --instructions "${1:-}" 2>"$profiles/valgrind.log" \
    || { cat "$profiles/valgrind.log" >&2; exit 1; }

# One profile per case: its name is in the "desc: Trigger: Client Request:"
# line, its count in "totals:" (or "summary:" in older callgrinds).
for f in $(ls "$profiles"/cg.out.* | sort -V); do
    awk '/^desc: Trigger: Client Request: / { name = $5 }
         /^(totals|summary): / { total = $2 }
         END { if (name != "") print name, total }' "$f"
done | awk -v runs=3 '
    { split($1, part, "/"); key = part[1] "/" part[3]; count[key, part[2]] = $2 / runs
      if (!(key in seen)) { seen[key] = 1; order[++n] = key } }
    END {
        goal["list"] = 3; goal["combo"] = 3; goal["tree"] = 1.3; goal["dialog"] = 1.5; goal["pane"] = 1.3; goal["remap"] = 1.5
        print "| case | nodes | work (M instructions) | baseline (M instructions) | ratio | goal |"
        print "|---|---|---|---|---|---|"
        for (i = 1; i <= n; ++i) {
            split(order[i], part, "/")
            # A filter can leave one side of a case out: shown as "-".
            hasWork = (order[i], "work") in count; hasBase = (order[i], "baseline") in count
            w = hasWork ? sprintf("%.1f", count[order[i], "work"] / 1e6) : "-"
            b = hasBase ? sprintf("%.1f", count[order[i], "baseline"] / 1e6) : "-"
            ratio = hasWork && hasBase ? sprintf("%.2f", count[order[i], "work"] / count[order[i], "baseline"]) : "-"
            nodes = part[2] == 0 ? "-" : part[2]
            target = part[1] in goal ? sprintf("<= %.1f", goal[part[1]]) : "-"
            printf "| %s | %s | %s | %s | %s | %s |\n", part[1], nodes, w, b, ratio, target
        }
    }'
if [ -n "${KEEP_PROFILES:-}" ]; then
    echo "Profiles: $profiles"
fi
