#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# Prints the lines of code, of tests and their ratio, and says so if that is above a third (0.33); neither blank lines
# nor lines of comment count, the rows of *.def do, and benchmarks are neither.
set -euo pipefail
cd "$(dirname "$0")/.."

lines() {
    git ls-files -z -- "$@" | xargs -0 cat | grep -cvE '^[[:space:]]*(//.*)?$'
}

code=$(lines '*.cpp' '*.h' '*.def' ':!tests/' ':!bench/')
tests=$(lines 'tests/*.cpp' 'tests/*.h')
printf 'code %d  tests %d  ratio 0.%03d\n' "$code" "$tests" $((1000 * tests / code))
if ((100 * tests > 33 * code)); then
    echo 'the tests are more than a third of the code'
fi
