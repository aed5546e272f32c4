#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# A Mirelle node, live: a policer in every group of the chip, an egress queue depth with RED below it, traffic that meets
# both, and what the statistics show of it. Called by ./run with the built programs.
#
#   scripts/mirelle.sh yes|no [mirelle|mirelle2]    "yes" leaves the node running until Ctrl-C
set -euo pipefail
keep=$1
type=${2:-mirelle}
. scripts/live.sh

say "Driver emulator with a ${type^} chip of 12 ports in slot 1"
start_node "1/0:$type:12"

say "The chip with its table of buffer pools and policer groups, four ports, PFC: examples/$type.json"
try dorvctl apply "examples/$type.json"

say "A policer for the whole chip, 400 Mbit/s committed and 100 in excess: it exists in every group"
try dorvctl send POL_POLICER_ADD ifindex=all chip_ifindex=chip1/0 policer_id=9 policer_req_type=1 \
    policer_param.cir=400000000 policer_param.cbs=100000 policer_param.eir=100000000 policer_param.ebs=100000
printf '$ dorvctl ctl hsld log | grep "policer add"\n'
"$bin/dorvctl" ctl hsld log | grep 'policer add' | sed 's/, conform.*->/  ->/'

say "Ports of two groups: each group counts for itself, and the agent sums up"
try dorvctl ctl hsld traffic te1/1 priority=1 rate=1G policer=9
try dorvctl ctl hsld traffic te1/4 priority=1 rate=2G policer=9
try dorvctl ctl hsld clock step 1
try dorvctl stats policers te1/1,te1/4 --ids 9
try dorvctl stats policers --ids 9

say "Egress queues of at most 200000 bytes, and RED for priority 5 of te1/2 from 25 to 75 percent of that"
try dorvctl send EGR_QUEUE_DEPTH chip_ifindex=chip1/0 queueDepth=200000
try dorvctl send RED_PROFILE ifindex=te1/2 ifName=te1/2 chip_ifindex=chip1/0 cos=5 set=1 profileId=7 \
    minThreshold=25 maxThreshold=75 dropProbability=50
try dorvctl ctl hsld log 2

say "12 Gbit/s for a port of 10: priority 2 is tail-dropped at the limit, RED holds 5 below it, PFC stops 3 of te1/3"
try dorvctl ctl hsld traffic te1/2 priority=2 rate=6G
try dorvctl ctl hsld traffic te1/2 priority=5 rate=6G
try dorvctl ctl hsld traffic te1/3 priority=3 rate=12G
try dorvctl ctl hsld clock step 1
for kind in queue send-queue red flow-control drop-reasons; do
    try dorvctl stats "$kind" te1/2,te1/3 --nonzero
done
try dorvctl stats asic --nonzero

say "What the chip dropped for a reason of its own"
try dorvctl ctl hsld traffic te1/1 drop reason=63 rate=8M
try dorvctl ctl hsld clock step 1
try dorvctl stats drop-reasons te1/1 --nonzero

say "Counters of one port cleared, then all"
try dorvctl clear stats te1/2
try dorvctl stats red te1/2,te1/3 --nonzero
try dorvctl clear stats

end_node
