// SPDX-License-Identifier: Apache-2.0
// What dorvctl prints about messages and bodies: text for people, JSON with -j.
#ifndef TOOLS_REPORT_H
#define TOOLS_REPORT_H

#include <nlohmann/json.hpp>
#include <ostream>
#include <string>

#include "tools/batch.h"

using ctlJson = nlohmann::ordered_json;

// One line about a message: name, code, ack, status; with `fields` the decoded body below it.
void ctlPrintMessage(std::ostream &out, const ctlMessage_t &message, bool fields);

// A body by its field table, equal values folded.
void ctlPrintFields(std::ostream &out, const wireBody &body, const ctlBytes &data);

// A message with all its fields. An array is a list; records are one list for each of their fields, under the names
// that a scenario takes.
ctlJson ctlMessageJson(const ctlMessage_t &message);

// The catalogue, and the layout of one message's body.
void ctlPrintCatalogue(std::ostream &out, bool json);
void ctlPrintLayout(std::ostream &out, const qosMsgInfo_t &info, bool json);

// Values side by side, runs of equal ones as value*times.
std::string ctlFold(const std::vector<std::string> &values);

// "1 message", "2 messages".
std::string ctlCounted(size_t count, const std::string &thing);

// Reads JSON; a depth or a number of members in one object that nobody means is refused with a ctlError_t, since what
// works on a value goes down into it by recursion and looks for a member among all. Else as ctlJson::parse.
ctlJson ctlParseJson(const std::string &text);

// One value on a line of its own. Bytes that are no UTF-8 come out as replacement characters.
void ctlPrintJson(std::ostream &out, const ctlJson &json);

#endif
