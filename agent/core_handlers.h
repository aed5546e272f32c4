// The handlers that belong to no feature: chips and interfaces come and go.
#ifndef AGENT_CORE_HANDLERS_H
#define AGENT_CORE_HANDLERS_H

#include <cstdint>

#include "agent/messages.h"

uint32_t qaProcessChipUp(qosChipUpMsg_t *body);
uint32_t qaProcessIfAdd(qosIfAddMsg_t *body);
uint32_t qaProcessIfDel(qosIfDelMsg_t *body);

// Prints bytes to standard output in hexadecimal, for a debugger's call; a line break after the 26th byte and after
// every 25 behind it.
void qaDcmDumpMsg(const unsigned char *bytes, int length);

#endif
