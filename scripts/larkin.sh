#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# A Larkin node, live: priorities looked up in its TCAM, offered traffic, congestion, and a TCAM that is full. Called by
# ./run with the built programs.
#
#   scripts/larkin.sh yes|no    "yes" leaves the node running until Ctrl-C
set -euo pipefail
keep=$1
. scripts/live.sh

say "Driver emulator with a Larkin chip of 8 ports in slot 1, on a switch of a model that Larkin drives"
printf 'model = 95\n' >"$VELMAR_RUN/node"
start_node 1/0:larkin:8

say "A chip and its ports, CoS trust, PFC, scheduler and multicast limits, as examples/larkin.json has them"
try dorvctl apply examples/larkin.json

say "One TCAM entry for each CoS of a port. The chip counts traffic classes 0 and 1 the other way round"
try dorvctl ctl hsld show tcam 1/0 l2 | grep -v 'te1/[124]'

say "Traffic with CoS 5 waits in priority 5 ..."
try dorvctl ctl hsld traffic te1/3 cos=5 rate=4G
try dorvctl ctl hsld clock step 1
try dorvctl stats queue te1/3 --nonzero

say "... until the map of the port says 6"
try dorvctl send COSMAP ifIndex=te1/3 ifName=te1/3 chip_ifindex=chip1/0 cos_map=0..7 tc_map=0,1,2,3,4,6,6,7
try dorvctl clear stats te1/3
try dorvctl ctl hsld clock step 1
try dorvctl stats queue te1/3 --nonzero
try dorvctl ctl hsld traffic list

say "Too much for the port: CoS 3 has PFC and keeps its sender back, CoS 1 is tail-dropped"
try dorvctl send PFC ifindex=te1/3 ifName=te1/3 chip_ifindex=chip1/0 tc_map=0,1,2,3,4,6,6,7 pfc_rx[3]=1 pfc_tx[3]=1
try dorvctl ctl hsld traffic te1/3 cos=3 rate=8G
try dorvctl ctl hsld traffic te1/3 cos=1 rate=8G
try dorvctl ctl hsld clock step 1
try dorvctl stats thresholds te1/3 --nonzero
try dorvctl stats rcv-queue te1/3 --nonzero
try dorvctl stats flow-control te1/3 --nonzero
try dorvctl stats queue te1/3 --rate 1 --nonzero

say "Broadcasts go to the chip's own queues, no more than its rate limit of 2 Gbit/s"
try dorvctl ctl hsld traffic te1/2 cos=0 rate=3G kind=broadcast
try dorvctl ctl hsld clock step 1
try dorvctl stats mcast-queue chip1/0 --nonzero

say "DSCP trust takes 64 entries a port, and the region holds 256: the fifth port is refused and gets nothing"
for port in 1 2 3 4 5; do
    expect_failure "$([ "$port" = 5 ] && echo 1 || echo 0)" dorvctl send DSCPTRUST "ifIndex=te1/$port" \
        "ifName=te1/$port" chip_ifindex=chip1/0 dscp_trust=1
done
try dorvctl ctl hsld show tcam 1/0 | grep selection
try dorvctl ctl hsld log 1
printf '$ dorvctl trace | grep TCAM\n'
"$bin/dorvctl" trace -n 40 | grep TCAM

say "Trust off gives the entries back, and the port is served"
try dorvctl send DSCPTRUST ifIndex=te1/1 ifName=te1/1 chip_ifindex=chip1/0 dscp_trust=0
try dorvctl send DSCPTRUST ifIndex=te1/5 ifName=te1/5 chip_ifindex=chip1/0 dscp_trust=1
try dorvctl ctl hsld show tcam 1/0 | grep selection

say "All counters cleared"
try dorvctl clear stats
try dorvctl stats queue te1/3 --nonzero

end_node
