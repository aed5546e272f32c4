// SPDX-License-Identifier: Apache-2.0
// The configuration that the agent holds, for programs.
#ifndef AGENT_CONFIGURATION_H
#define AGENT_CONFIGURATION_H

#include "core/print.h"

// As JSON alone, part by part: an object for what the node holds as a whole, then one for each chip with its policers
// and watched ports behind it, then one for each interface. "kind" says which, all other keys are the records' own
// members; a member of a record inside comes as "l2_pri.cos_map", one of an array of records as a list.
bool qosShowConfigurationPart(cli_t *cli, qosCursor_t *at);

#endif
