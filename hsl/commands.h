// SPDX-License-Identifier: Apache-2.0
// The table of every command that the driver takes: its lengths, where its port stands, its name and fields for people.
// One row for a command, or for an operation of a command that has several.
#ifndef HSL_COMMANDS_H
#define HSL_COMMANDS_H

#include <cstdint>
#include <span>
#include <string>

#include "hsl/fields.h"

enum hslFamily_t : uint8_t { HSL_DCE, HSL_COS };

// Which chips have the command.
enum hslChips_t : uint8_t {
    HSL_LARKIN = 1,
    HSL_TESSEL = 2,
    HSL_MIRELLE = 4,
    HSL_TSL_MRL = 6,
};

struct hslLengths_t {
    uint32_t request;  // 0: the record makes no sense
    uint32_t response; // bytes of the record, without frame and driver header
};

constexpr uint32_t HSL_SAME = 0; // the response is as long as the request

struct hslCommand_t {
    uint32_t command;
    int16_t operation; // -1: the command has none
    hslFamily_t family;
    uint8_t chips;
    const char *name;
    uint16_t requests[3]; // lengths it may have, the unused ones 0
    uint16_t response;
    hslLengths_t (*lengths)(hslBytes record); // in place of the two above where the record says it
    uint16_t port;                            // offset of the port's interface index, 0 if it names none
    std::span<const hslField_t> fields;
};

constexpr uint32_t DCE_HEAD = 12;
constexpr uint32_t COS_HEAD = 28;
// A response that an agent's buffer of 37888 bytes can take, with both headers and the end frame around it.
constexpr uint32_t HSL_MAX_RESPONSE = 37888 - 48 - 20;

// All rows, as people read them.
std::span<const hslCommand_t> hslCommands();

// The row of a record, or null.
const hslCommand_t *hslFindCommand(hslBytes record);

// Whether the record's sizes fit its row and the length that the driver header gives. Empty if so, with the length of
// the response; else what is wrong.
std::string hslCheckLengths(const hslCommand_t &row, hslBytes record, uint32_t *response);

inline uint32_t hslHead(const hslCommand_t &row)
{
    return row.family == HSL_DCE ? DCE_HEAD : COS_HEAD;
}
// The interface index that the record names, 0 for none.
inline uint32_t hslPortOf(const hslCommand_t &row, hslBytes record)
{
    return row.port ? static_cast<uint32_t>(hslGet(record, row.port, 4)) : 0;
}
void hslSetStatus(const hslCommand_t &row, hslBuffer &response, uint32_t status);

// Statistics devices: bytes of one request record and of one result record.
struct hslStatSizes_t {
    uint32_t key, result;
};
hslStatSizes_t hslStatSizes(uint32_t device);

#endif
