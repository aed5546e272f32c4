// SPDX-License-Identifier: Apache-2.0
// Batches of messages: built from names and values, taken apart again, and matched with their echo.
#ifndef TOOLS_BATCH_H
#define TOOLS_BATCH_H

#include <functional>
#include <optional>
#include <string>
#include <variant>
#include <vector>

#include "tools/names.h"

// The agent reads a batch into a buffer of this many bytes.
constexpr size_t CTL_BATCH_BYTES = 8192;

struct ctlMessage_t {
    uint8_t code;
    uint8_t seq;
    uint8_t ack;
    bool own_seq; // the person chose seq
    ctlBytes body;
    bool raw = false; // the person gave the body as bytes
};

// One value for one field: a text as typed, or a text for each element. Names that begin with @ shape the message:
// @raw is the whole body in hexadecimal, @tail what follows the named fields, @len cuts or stretches the body to a
// number of bytes, @seq is its sequence number. They act in this order: @raw, fields, @tail, @len.
struct ctlAssign_t {
    std::string name;
    std::variant<std::string, std::vector<std::string>> value;
};

// Builds a message; fields that nobody names are 0. Where a body's own count says how many records follow, the count
// is filled in from the records given, and a count given alone brings zeroed records. Refuses what does not fit.
ctlMessage_t ctlBuildMessage(const std::string &name, const std::vector<ctlAssign_t> &assigns);

// Refuses a value above 7 in a map of classes, which the agent stores as it came and takes the low three bits of. A
// body that was given as bytes may hold anything.
void ctlCheckMaps(const std::vector<ctlMessage_t> &batch);

// What goes ahead of the fields that a person named, from wherever a value for the others is held.
using ctlHeld_t =
    std::function<std::vector<ctlAssign_t>(const qosMsgInfo_t &info, const std::vector<ctlAssign_t> &assigns)>;

// Messages from words: NAME field=value ... + NAME field=value ...; `extra` is added to the only message there is.
// Fields that nobody names are what `held` says, without it 0.
std::vector<ctlMessage_t> ctlParseWords(const std::vector<std::string> &words, const std::vector<ctlAssign_t> &extra,
                                        const ctlHeld_t &held = {});

// Gives each message without a sequence number of its own the next one.
void ctlNumber(std::vector<ctlMessage_t> &batch, uint8_t &next);

// The bytes of a batch. Refuses one that the agent's buffer cannot hold.
ctlBytes ctlEncode(const std::vector<ctlMessage_t> &batch);

// Takes a batch apart as far as it goes; `fault` says what is wrong with the rest, empty if nothing is.
struct ctlDecoded_t {
    std::vector<ctlMessage_t> messages;
    std::string fault;
};
ctlDecoded_t ctlDecode(const ctlBytes &bytes);

// Whether `received` echoes `sent`: same codes, lengths and sequence numbers in the same order.
bool ctlIsEcho(const std::vector<ctlMessage_t> &sent, const std::vector<ctlMessage_t> &received);

// What the body's status says, nothing if it has none. And what that means.
std::optional<int32_t> ctlStatus(const ctlMessage_t &message);
const char *ctlStatusText(int32_t status);

// Carried out: acknowledged, and with status 0 if there is a status.
bool ctlSucceeded(const ctlMessage_t &message);

#endif
