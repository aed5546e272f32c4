// Random early detection: routing of the RED messages to the chips.
#ifndef AGENT_RED_H
#define AGENT_RED_H

#include <cstdint>

#include "agent/messages.h"

// Handlers of codes 34, 35, 46, 47.
uint32_t qaProcessRedProfileMsg(qosCcbMsg_t *body);
uint32_t qaProcessRedStatsMsg(qosRedStatsMsg_t *body);
uint32_t qaProcessIvqRedCfg(qosCcbIvqRedIfInfo_t *body);
uint32_t qaProcessIvqRedChipCfg(qosCcbIvqRedCfg_t *body);

#endif
