#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# Builds the fuzzing targets under AddressSanitizer and UndefinedBehaviorSanitizer and runs them, as many at a time as
# there are processors. Fails on any finding; the input that led to it stays in build/fuzz/findings.
#
#   scripts/fuzz.sh SECONDS [TARGET ...]     each that long, from a corpus that it writes itself and what earlier runs
#                                            added to it (build/fuzz/corpus)
#   scripts/fuzz.sh MINUTESm [TARGET ...]    the same, all of them in that time together
#   scripts/fuzz.sh bounded [TARGET ...]     each with its own corpus and some thousand inputs, the same every time
set -euo pipefail
cd "$(dirname "$0")/.."
. scripts/setup.sh

RUNS=2000
limit=${1-}
if ! [[ $limit =~ ^([0-9]+m?|bounded)$ ]]; then
    echo "fuzz.sh: give the seconds for each target, or the minutes for all, as in: scripts/fuzz.sh 60, scripts/fuzz.sh 60m" >&2
    exit 2
fi
shift

need_packages clang libclang-rt-14-dev cmake ninja-build libcli11-dev nlohmann-json3-dev
say "building (fuzz)"
launcher=$(command -v ccache || true)
cmake -S . -B build/fuzz -G Ninja -DCMAKE_CXX_COMPILER=clang++ -DCMAKE_BUILD_TYPE=None -DCMAKE_CXX_FLAGS="-O1 -g" \
    -DCMAKE_CXX_COMPILER_LAUNCHER="$launcher" -DDORVALD_FUZZ=ON -DDORVALD_TESTS=OFF -DDORVALD_BENCH=OFF \
    ${FUZZ_CMAKE-} >/dev/null
cmake --build build/fuzz --target "${@:-fuzzers}" -- --quiet

# Run directories of targets that end badly stay behind, so they have a place of their own.
export TMPDIR=$PWD/build/fuzz/run
rm -rf "$TMPDIR" build/fuzz/seeds build/fuzz/log
mkdir -p "$TMPDIR" build/fuzz/log

fuzz_one() {
    local target=$1 corpus=$FUZZ_CORPUS/$1 findings=build/fuzz/findings/$1 log=build/fuzz/log/$1
    mkdir -p "$corpus" "$findings"
    if build/fuzz/fuzzers/"$target" seeds "$corpus" &&
        build/fuzz/fuzzers/"$target" $FUZZ_LIMIT -timeout=60 -rss_limit_mb=2048 -print_final_stats=1 \
            -artifact_prefix="$findings/" "$corpus" >"$log" 2>&1; then
        awk -v target="$target" '/average_exec/ { speed = $2 } /number_of_executed/ { runs = $2 } / cov: / { cov = $4 }
             END { printf "  %-18s %9d inputs, %6d a second, %6d places\n", target, runs, speed, cov }' "$log"
    else
        echo "  $target: a finding, see build/fuzz/log/$target and $findings"
        tail -n 60 "$log"
        return 1
    fi
}
export -f fuzz_one

[ $# -ne 0 ] || set -- $(ls build/fuzz/fuzzers)
export FUZZ_CORPUS=build/fuzz/corpus
case "$limit" in
bounded) export FUZZ_LIMIT="-seed=1 -runs=$RUNS" FUZZ_CORPUS=build/fuzz/seeds ;;
*m) export FUZZ_LIMIT="-max_total_time=$(((60 * ${limit%m} * $(nproc) + $# - 1) / $#))" ;;
*) export FUZZ_LIMIT="-max_total_time=$limit" ;;
esac
say "fuzzing ($# targets: $FUZZ_LIMIT)"
printf '%s\n' "$@" | xargs -P "$(nproc)" -I{} bash -c 'fuzz_one {}'
