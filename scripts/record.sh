#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# Records what a manager says to a fresh node of a chip family and what the agent makes of it, for the tests to replay:
# set-up, congestion, policers, RED, refusals, statistics, and a port that goes. After a change that is meant, look at
# what `dorvctl replay` says of the old recording, and make a new one.
#
#   scripts/record.sh BIN tessel|larkin|mirelle [FILE]    FILE is tests/recordings/FAMILY.pcapng if not given
set -euo pipefail
bin=$1 family=$2 file=${3:-tests/recordings/$2.pcapng}
VELMAR_RUN=$(mktemp -d /tmp/dorvald-record.XXXXXX)
export VELMAR_RUN
pids=()
finish() {
    kill "${pids[@]}" 2>/dev/null || true
    wait
    rm -rf "$VELMAR_RUN"
}
trap finish EXIT

# Starts a program and waits until a command succeeds.
start() {
    local answers=$1
    shift
    "$@" >>"$VELMAR_RUN/log" 2>&1 &
    pids+=($!)
    for _ in $(seq 200); do
        $answers >/dev/null 2>&1 && return 0
        sleep 0.05
    done
    echo "record: $2 does not answer" >&2
    exit 1
}
tool() {
    "$bin/dorvctl" "$@" >>"$VELMAR_RUN/said" 2>&1 || true # refusals are part of it
}

[ "$family" = larkin ] && printf 'model = 95\n' >"$VELMAR_RUN/node"
ports=12
[ "$family" = larkin ] && ports=8
start "$bin/dorvctl ctl hsld stat" "$bin/hsld" --chip "1/0:$family:$ports"
start "$bin/dorvctl show chips" "$bin/dorvald" -S ethsw -s 1
start "grep -q capturing $VELMAR_RUN/log" "$bin/dorvctl" capture -w "$file"
captor=${pids[-1]}

tool apply "examples/$family.json"
tool apply examples/congestion.json
tool send POL_POLICER_ADD ifindex=te1/1 chip_ifindex=chip1/0 policer_id=7 policer_req_type=1 \
    policer_param.cir=40000000 policer_param.cbs=4000
tool send RED_PROFILE ifindex=te1/2 chip_ifindex=all cos=5 set=1 profileId=1 minThreshold=30 maxThreshold=60 dropProbability=50
tool send PSHAPE ifIndex=te1/3 shaper_cfg.if_bw=54321 + DSCPTRUST ifIndex=te1/3 dscp_trust=1 + DEFCOS ifIndex=te1/9
tool send COSTRUST ifIndex=te1/40 cos_trust=1
for kind in queue flow-control thresholds buffers drop-reasons; do
    tool stats "$kind" te1/1 te1/3
done
tool clear stats te1/3
tool send POL_POLICER_REM ifindex=te1/1 chip_ifindex=chip1/0 policer_id=7 policer_req_type=1
tool send IFDEL ifIndex=te1/4
kill "$captor"
wait "$captor"
