# SPDX-License-Identifier: Apache-2.0
# Shared by the demonstrations: a node in a run directory of its own, and commands shown as a person would type them. To
# be sourced from the project's root, with `keep` set to "yes" or "no".

bin=$PWD/build/release/bin
VELMAR_RUN=$(mktemp -d /tmp/dorvald-run.XXXXXX)
export VELMAR_RUN
pids=()

finish() {
    trap - EXIT INT TERM
    for pid in "${pids[@]}"; do
        kill "$pid" 2>/dev/null || true
        wait "$pid" 2>/dev/null || true
    done
    rm -rf "$VELMAR_RUN"
}
trap finish EXIT
trap 'exit 130' INT TERM

say() {
    printf '\n\033[1m== %s\033[0m\n' "$*"
}

# Shows a command as a person would type it, then runs it.
try() {
    printf '$ %s\n' "$*"
    "$bin/${1}" "${@:2}"
}

# The same for a command that is to end with a status.
expect_failure() {
    local expected=$1 status=0
    shift
    try "$@" || status=$?
    [ "$status" = 0 ] || echo "(exit status $status)"
    [ "$status" = "$expected" ] || {
        echo "run: exit status $status where $expected was expected" >&2
        exit 1
    }
}

# Waits until a path of the run directory is there: at most five seconds.
await() {
    for _ in $(seq 100); do
        compgen -G "$VELMAR_RUN/$1" >/dev/null && return 0
        sleep 0.05
    done
    echo "run: $1 did not appear in $VELMAR_RUN; see $VELMAR_RUN/*.log" >&2
    exit 1
}

# Driver emulator with one chip, agent, and what the agent sends by itself: its registration, once it is at stage Active.
start_node() {
    printf '$ hsld --chip %s -v &\n' "$1"
    "$bin/hsld" --chip "$1" -v >"$VELMAR_RUN/hsld.log" 2>&1 &
    pids+=($!)
    await "qos/driver"
    printf '$ dorvctl watch --count 1 &\n'
    "$bin/dorvctl" watch --count 1 --timeout 10 >"$VELMAR_RUN/watch.log" 2>&1 &
    local watcher=$!
    await "mi6/qosMI.mgr.*"
    printf '$ dorvald -S ethsw -s 0 &\n'
    "$bin/dorvald" -S ethsw -s 0 &
    pids+=($!)
    wait "$watcher" || {
        cat "$VELMAR_RUN/watch.log"
        echo "run: the agent did not register" >&2
        exit 1
    }
    cat "$VELMAR_RUN/watch.log"
    try dorvctl node
}

end_node() {
    if [ "$keep" = yes ]; then
        say "The node is running; in another terminal: export VELMAR_RUN=$VELMAR_RUN PATH=$bin:\$PATH"
        echo "dorvctl web shows it in a browser. Ctrl-C ends it."
        wait
    fi
    say "Done; the node is stopped and its run directory removed"
}
