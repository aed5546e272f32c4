#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# Builds with counters, runs the tests, and prints what share of lines and branches they reached, folder by folder, and
# the lines of the agent's rooms that none reached. Of the tests one is left out: its limit on file sizes is the
# counters' too. What a process counted that was killed is lost.
#
# Of the branches those are left out that the compiler makes for exceptions, and those inside the macros that write a
# line of trace or print a field: is the level on, is JSON asked for. They would stand at each of their uses.
set -euo pipefail
cd "$(dirname "$0")/.."
. scripts/setup.sh

need_packages "${BUILD_PACKAGES[@]}" "${TEST_PACKAGES[@]}" gcovr
build_preset coverage
find build/coverage -name '*.gcda' -delete
ninja -C build/coverage -t cleandead >/dev/null
find build/coverage -name '*.gcno' | while read -r notes; do # of objects that an earlier tree had
    [ -e "${notes%.gcno}.o" ] || rm "$notes"
done
test_preset coverage
say "counting"
gcovr -r . --object-directory build/coverage -j "$(nproc)" --exclude-throw-branches --exclude-unreachable-branches \
    --exclude-branches-by-pattern '\s*(QOS_(ERR|INF|DBG|VRB)|QOS_FRAME|qosPrint)' \
    --exclude tests/ --exclude bench/ --json build/coverage/coverage.json build/coverage
python3 scripts/coverage.py build/coverage/coverage.json "$@"
