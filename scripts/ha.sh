#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# Two agents on one node, live: the active one is killed in the middle of a stream of messages and its standby goes on.
# Called by ./run with the built programs.
#
#   scripts/ha.sh yes|no      "yes" leaves the node running until Ctrl-C
set -euo pipefail
keep=$1
. scripts/live.sh

messages=300
kill_behind=150

# One agent more; its pid in $agent.
start_agent() {
    printf '$ dorvald -S ethsw -s 0 &\n'
    "$bin/dorvald" -S ethsw -s 0 &
    agent=$!
    pids+=("$agent")
}

# Until one standby holds a copy: at most five seconds.
await_standby() {
    for _ in $(seq 100); do
        "$bin/dorvctl" node | grep -q 'active .*standbys 1' && return 0
        sleep 0.05
    done
    echo "run: no standby has joined; see $VELMAR_RUN/trace/raslog" >&2
    exit 1
}

# The shaper of te1/3 to the rate of $1: one message, whose request tells in the driver's log which message it came from.
shape() {
    "$bin/dorvctl" send --bare --timeout 0.2 PSHAPE ifIndex=te1/3 ifName=te1/3 chip_ifindex=chip1/0 \
        shaper_cfg.if_bw="$1" >/dev/null 2>&1
}

# Sends the stream, each message until it is acknowledged. Who had to be sent again stands in $resent.
stream() {
    local i begun took longest=0
    resent=
    for i in $(seq "$messages"); do
        begun=$(date +%s%N)
        until shape "$i"; do
            resent="$resent $i"
        done
        took=$((($(date +%s%N) - begun) / 1000000))
        [ "$took" -le "$longest" ] || longest=$took
        [ "$i" -ne "$kill_behind" ] || {
            printf '$ kill -9 %s &\n' "$1"
            kill -9 "$1" &
        }
    done
    echo "all $messages acknowledged; sent again:${resent:- none}; longest wait for one $longest ms"
}

# Each acknowledged rate stands in the driver's log, and once only if its message was sent once.
check_driver() {
    "$bin/dorvctl" ctl hsld log 2000 | sed -n 's/.*port shaper .*rate \([0-9]*\) .*/\1/p' |
        awk -v resent="$resent " -v messages="$messages" '
            { ++seen[$1] }
            END {
                for (i = 1; i <= messages; ++i) {
                    missing += seen[i] == 0
                    twice += seen[i] > 1 && index(resent, " " i " ") == 0
                }
                printf "acknowledged, and missing at the driver: %d; sent once, and twice at the driver: %d\n", missing, twice
                exit missing + twice > 0
            }'
}

say "Driver emulator with a Tessel chip of 12 ports in slot 1, and an agent"
start_node 1/0:tessel:12
first=${pids[-1]}
"$bin/dorvctl" apply examples/tessel.json >"$VELMAR_RUN/apply.log"
try dorvctl apply examples/bum.json

say "A second agent finds the node led, is given everything, and follows"
start_agent
second=$agent
await_standby
try dorvctl node
"$bin/dorvctl" ctl "dorvald.$first" cli show dorvmd interface all >"$VELMAR_RUN/before"

disown "$first" # the shell would report its end in the middle of the stream
say "A stream of $messages messages; behind number $kill_behind the active agent is killed"
stream "$first"
check_driver
try dorvctl node
# Only the shaper has changed since.
"$bin/dorvctl" ctl "dorvald.$second" cli show dorvmd interface all | grep -v 'if_bw' >"$VELMAR_RUN/after"
grep -v 'if_bw' "$VELMAR_RUN/before" | cmp - "$VELMAR_RUN/after" &&
    echo "the tables of the agent that took over are those that were mirrored to it"

say "Its monitors run: broadcast above the limit of te1/1 is noticed by the agent that took over"
printf '$ dorvctl watch --count 1 &\n'
"$bin/dorvctl" watch --count 1 --timeout 10 >"$VELMAR_RUN/watch.log" 2>&1 &
watcher=$!
await "mi6/qosMI.mgr.*"
try dorvctl ctl hsld traffic te1/1 priority=0 rate=5G kind=broadcast policer=7
try dorvctl ctl hsld clock step 30
try dorvctl ctl "dorvald.$second" clock step 30
wait "$watcher" || {
    echo "run: no notice came" >&2
    exit 1
}
cat "$VELMAR_RUN/watch.log"

say "A process that comes back is the standby now"
start_agent
await_standby
try dorvctl node

say "What the platform noted"
cat "$VELMAR_RUN/trace/raslog"
end_node
