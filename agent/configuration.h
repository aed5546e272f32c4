// SPDX-License-Identifier: Apache-2.0
// The configuration that the agent holds, for programs.
#ifndef AGENT_CONFIGURATION_H
#define AGENT_CONFIGURATION_H

#include "core/print.h"

// As JSON alone, part by part: an object for what the node holds as a whole, then one for each chip with its policers
// and watched ports behind it, then one for each interface. "kind" says which, all other keys are the records' own
// members; a member of a record inside comes as "l2_pri.cos_map", one of an array of records as a list.
bool qosShowConfigurationPart(cli_t *cli, qosCursor_t *at);

// What else decides what a driver is told of each interface on a chip, as JSON alone: its speed; where pause is asked
// for, and where no longer; the thresholds by traffic class, eight for each map of classes that may have come with a
// message, which are the port's own, 0 to 7, and all ones and all zeros, as a port's coming up and the ingress depth
// bring them; and which TCAM entries the agent has handles of, a bit each.
bool qosShowDriverSidePart(cli_t *cli, qosCursor_t *at);

#endif
