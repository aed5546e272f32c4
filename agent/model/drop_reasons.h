// SPDX-License-Identifier: Apache-2.0
// What the drop reasons of each chip type are called. A chip's counters come in a fixed numbering of 128 reasons; the
// manager shows texts.
#ifndef AGENT_MODEL_DROP_REASONS_H
#define AGENT_MODEL_DROP_REASONS_H

#include <cstdint>

// Constant texts, also for numbers that have none of their own.
const char *tslGetRteDropRsnStr(uint32_t number);  // "Unknown" from 35 on
const char *mrlGetRteDropRsnStr(uint32_t number);  // "reserved" outside 27 to 127
const char *mrl2GetRteDropRsnStr(uint32_t number); // "reserved" outside 27 to 114

// The same by chip type; "reserved" for a type that has no such counters.
const char *qaGetRteDropRsnStr(int32_t chip_type, uint32_t number);

#endif
