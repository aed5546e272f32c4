// SPDX-License-Identifier: Apache-2.0
// The back-end table: what each chip type does for each message code. Modules call an entry and never a family.
//
// An entry takes the record that agent/messages/codes.def names for its code: as a rule the body of the message, on the
// wire or built by a module, in a few rows another one. It runs on the main thread and blocks until the driver has
// answered. It changes nothing of the agent's tables but what its own comment says, and undoes nothing. What it
// returns, and whether that also stands in the record's `status`:
//
//   the outcome of its last request: 0, 13 not sent, 22 refused, or a transport's code. Stored, but not by the default
//       budgets of Tessel and Mirelle and the RED of input queues; a clear of statistics stores what its steps do
//   24  with a line: unknown interface or chip in a configuration step, in reads of port counters, and in those of RED
//       and drops on Mirelle. Larkin alone stores it
//   25  stored, without a line: unknown interface or chip in other statistics; a clear without a target
//       but: clears of Larkin have a line; the TMC of an unknown chip has one, and nothing is stored
//   1   stored, with a line: the capability of an unknown chip, the priority maps of an interface that Larkin does not
//       know, a policer of an unknown Mirelle, no free RED profile
//   0   and no request where there is nothing to do: capability of Larkin, SWM counters of Mirelle, RED set-up
//
// A null entry means that the chip type does not have the operation. agent/operation.h holds the one call, and the rows
// beside their callers say what a missing entry answers.
#ifndef PLATFORM_QA_IOCTL_H
#define PLATFORM_QA_IOCTL_H

#include <array>
#include <cstdint>

#include "agent/messages/bodies.h"
#include "channels/driver_request.h"
#include "core/handler.h"
#include "inventory/records.h"

// An entry without its record's type, as the table holds it.
using qaIoctl_t = qaUntyped_t;
using qaIoctlRow_t = std::array<qaIoctl_t, QOS_MSG_CODES>;

extern const std::array<qaIoctlRow_t, QOS_CHIP_TYPES> qaIoctlFn;

// A code together with what its entries take: the only way from a module to an entry.
template <typename Body>
struct qaOperation_t {
    uint8_t code;
};
template <uint8_t Code>
constexpr qaOperation_t<qosOperationOf<Code>> qaOperation{Code};

// An entry with the type of its record; false where the chip type has none.
template <typename Body>
struct qaEntry_t {
    qaIoctl_t call;

    explicit operator bool() const { return call != nullptr; }
    qosDriverStatus_t operator()(Body *body) const { return call(body); }
};

// The entry of a chip for an operation; none without a chip.
template <typename Body>
qaEntry_t<Body> qaEntry(const qosChip_t *chip, qaOperation_t<Body> operation)
{
    return {chip && chip->chip_type < QOS_CHIP_TYPES ? qaIoctlFn[chip->chip_type][operation.code] : nullptr};
}

// What the priority modules do at a chip up, by chip type; null for the types that need nothing.
using qaChipInit_t = int (*)(qosChip_t *chip);
extern const std::array<qaChipInit_t, QOS_CHIP_TYPES> qaL2PriChipInitFn;
extern const std::array<qaChipInit_t, QOS_CHIP_TYPES> qaL3PriChipInitFn;

inline qaChipInit_t qaChipInit(const std::array<qaChipInit_t, QOS_CHIP_TYPES> &table, const qosChip_t *chip)
{
    return chip->chip_type < QOS_CHIP_TYPES ? table[chip->chip_type] : nullptr;
}

#endif
