#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# A node, live: driver emulator, agent and manager tool as three processes. Called by ./run with the built programs.
#
#   scripts/node.sh yes|no      "yes" leaves the node running until Ctrl-C
set -euo pipefail
keep=$1
. scripts/live.sh

say "Driver emulator with a Tessel chip of 12 ports in slot 1, and an agent"
start_node 1/0:tessel:12

say "A chip and its ports, then priorities: one batch each, as examples/tessel.json has them"
try dorvctl apply examples/tessel.json

say "Congestion control: PFC for priorities 3 and 4, a 10 km link that takes buffer from its neighbours and gives it back"
try dorvctl apply examples/congestion.json

say "17 Gbit/s for a port of 10: PFC stops the sender of 3, RED holds 5, 0 meets its threshold, and a TTL of 1 goes nowhere"
try dorvctl send RED_PROFILE ifindex=te1/3 ifName=te1/3 chip_ifindex=chip1/0 cos=5 set=1 profileId=1 \
    minThreshold=30000 maxThreshold=100000 dropProbability=50
try dorvctl ctl hsld traffic te1/3 priority=3 rate=9G
try dorvctl ctl hsld traffic te1/3 priority=5 rate=4G
try dorvctl ctl hsld traffic te1/3 priority=0 rate=4G
try dorvctl ctl hsld traffic te1/3 drop reason=14 rate=8M
try dorvctl ctl hsld clock step 1
for kind in queue flow-control red drop-reasons; do
    try dorvctl stats "$kind" te1/3 --nonzero
done
try dorvctl stats buffers ingress te1/3 --nonzero
try dorvctl ctl hsld traffic te1/3 off
try dorvctl clear stats

say "A message of one's own, with the echo decoded"
try dorvctl send -v COSMAP ifIndex=te1/3 ifName=te1/3 chip_ifindex=chip1/0 def_tc=4 cos_map=7,6,5,4,3,2,1,0 tc_map=0,0,1,1,2,2,3,3

say "A port that nobody has announced is refused, and so is a misspelled field"
expect_failure 1 dorvctl send COSTRUST ifIndex=te1/40 ifName=te1/40 cos_trust=1
expect_failure 2 dorvctl send COSTRUST ifIndex=te1/3 cos_trsut=1

say "What the agent holds of the chip"
try dorvctl show chips

say "What the driver was told"
cat "$VELMAR_RUN/hsld.log"

say "The agent's last trace lines"
try dorvctl trace -n 12

end_node
