// SPDX-License-Identifier: Apache-2.0
// The agent's records as the fields of messages. A message's fields have the names of the record members that they set,
// so that a message is filled from a row of the configuration by its field table. Relies on the rows of the control
// socket's "cli json config".
#ifndef TOOLS_HELD_H
#define TOOLS_HELD_H

#include "tools/show.h"

// 0, an empty text, or a list of nothing else.
bool ctlIsZero(const ctlJson &value);

// A member of a row, and element `index` of one that is a list; 0 where there is none.
uint32_t ctlMember(const ctlJson &row, const char *key);
uint32_t ctlElement(const ctlJson &row, const char *key, size_t index);

// Whether a member or field of this name holds interface indexes.
bool ctlIsInterfaceName(const std::string &name);

// An index as a scenario writes it: by its name, where it has one.
ctlJson ctlInterfaceJson(uint32_t ifindex);

// The interface that a row of any table is about.
uint32_t ctlSubject(const ctlJson &row);

// Bit of ccbFlags: the weights are in force.
constexpr uint32_t CTL_COS_THRESHOLD = 4;

// The message with every field that the row has a member for, but for zeros, which fields are anyway. A congestion
// message brings the port's map of classes, 0..7 where the port has none.
ctlJson ctlFill(const char *message, const ctlJson &row);

// What stands in for the fields that a person does not name: see ctlHeld_t of tools/batch.h. The agent is asked at the
// first message that it may hold something for; a node without an agent is a complaint on `err`, and fields are 0.
ctlHeld_t ctlHeldByAgent(double seconds, std::ostream &err);

#endif
