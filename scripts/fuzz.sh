#!/usr/bin/env bash
# Builds the fuzzing targets under AddressSanitizer and UndefinedBehaviorSanitizer and runs each for a bounded time, from
# a corpus that it writes itself and what earlier runs added to it (build/fuzz/corpus). Fails on any finding; the input
# that led to it stays in build/fuzz/findings.
#
#   scripts/fuzz.sh SECONDS [TARGET ...]
set -euo pipefail
cd "$(dirname "$0")/.."
. scripts/setup.sh

seconds=${1-}
case "$seconds" in
"" | *[!0-9]*)
    echo "fuzz.sh: give the seconds for each target, as in: scripts/fuzz.sh 60" >&2
    exit 2
    ;;
esac
shift

need_packages clang libclang-rt-14-dev cmake ninja-build libcli11-dev nlohmann-json3-dev
say "building (fuzz)"
cmake -S . -B build/fuzz -G Ninja -DCMAKE_CXX_COMPILER=clang++ -DCMAKE_BUILD_TYPE=None -DCMAKE_CXX_FLAGS="-O1 -g" \
    -DDORVALD_FUZZ=ON -DDORVALD_TESTS=OFF -DDORVALD_BENCH=OFF ${FUZZ_CMAKE-} >/dev/null
cmake --build build/fuzz --target "${@:-fuzzers}" -- --quiet

[ $# -ne 0 ] || set -- $(ls build/fuzz/fuzzers)
failed=()
for target in "$@"; do
    say "$target ($seconds s)"
    corpus=build/fuzz/corpus/$target findings=build/fuzz/findings/$target
    mkdir -p "$corpus" "$findings"
    build/fuzz/fuzzers/"$target" seeds "$corpus"
    build/fuzz/fuzzers/"$target" -max_total_time="$seconds" -timeout=20 -rss_limit_mb=2048 -verbosity=0 \
        -print_final_stats=1 -artifact_prefix="$findings/" "$corpus" || failed+=("$target")
done
if [ "${#failed[@]}" -ne 0 ]; then
    echo "fuzz.sh: findings in ${failed[*]}" >&2
    exit 1
fi
