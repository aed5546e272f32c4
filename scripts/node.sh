#!/usr/bin/env bash
# A node, live: driver emulator, agent and manager tool as three processes. Called by ./run with the built programs.
#
#   scripts/node.sh yes|no      "yes" leaves the node running until Ctrl-C
set -euo pipefail
keep=$1
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

# Waits until a path of the run directory is there: at most five seconds.
await() {
    for _ in $(seq 100); do
        compgen -G "$VELMAR_RUN/$1" >/dev/null && return 0
        sleep 0.05
    done
    echo "run: $1 did not appear in $VELMAR_RUN; see $VELMAR_RUN/*.log" >&2
    exit 1
}

say "Driver emulator with a Tessel chip of 12 ports in slot 1"
printf '$ hsld --chip 1/0:tessel:12 -v &\n'
"$bin/hsld" --chip 1/0:tessel:12 -v >"$VELMAR_RUN/hsld.log" 2>&1 &
pids+=($!)
await "qos/driver"

say "What the agent sends by itself: its registration, once it is at stage Active"
printf '$ dorvctl watch --count 1 &\n'
"$bin/dorvctl" watch --count 1 --timeout 10 >"$VELMAR_RUN/watch.log" 2>&1 &
watcher=$!
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

say "A chip and its ports, then priorities: one batch each, as examples/tessel.json has them"
try dorvctl apply examples/tessel.json

say "Congestion control: PFC for priorities 3 and 4, a 10 km link that takes buffer from its neighbours and gives it back"
try dorvctl apply examples/congestion.json

say "A message of one's own, with the echo decoded"
try dorvctl send -v COSMAP ifIndex=te1/3 ifName=te1/3 chip_ifindex=chip1/0 def_tc=4 cos_map=7,6,5,4,3,2,1,0 tc_map=0,0,1,1,2,2,3,3

say "A port that nobody has announced is refused, and so is a misspelled field"
printf '$ dorvctl send COSTRUST ifIndex=te1/40 ifName=te1/40 cos_trust=1\n'
"$bin/dorvctl" send COSTRUST ifIndex=te1/40 ifName=te1/40 cos_trust=1 || echo "(exit status $?)"
printf '$ dorvctl send COSTRUST ifIndex=te1/3 cos_trsut=1\n'
"$bin/dorvctl" send COSTRUST ifIndex=te1/3 cos_trsut=1 || echo "(exit status $?)"

say "What the agent holds of the chip"
try dorvctl show chips

say "What the driver was told"
cat "$VELMAR_RUN/hsld.log"

say "The agent's last trace lines"
try dorvctl trace -n 12

if [ "$keep" = yes ]; then
    say "The node is running; in another terminal: export VELMAR_RUN=$VELMAR_RUN PATH=$bin:\$PATH"
    echo "Ctrl-C ends it."
    wait
fi
say "Done; the node is stopped and its run directory removed"
