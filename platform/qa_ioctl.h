// The back-end table: what each chip type does for each message code. Modules call an entry and never a family.
//
// Contract of an entry:
//   - It is called on the main thread with the body of a message, on the wire or built by a module, and blocks until
//     the driver has answered.
//   - It resolves its target first. An unknown interface or chip is 24 with a line in a configuration step, 25 in the
//     body's status and without a line in most statistics.
//   - It sends its record or records, stores the outcome in the body's `status` where the body has one, on success as
//     well, and returns it: 0, 13 send failed, 22 the driver refused, or a transport code.
//   - It changes nothing of the agent's tables but what its own comment says, and undoes nothing.
//   - A null entry means that the chip type does not have the operation. A caller that needs it traces so and answers
//     1, or 25 for statistics; an optional step is left out silently.
#ifndef PLATFORM_QA_IOCTL_H
#define PLATFORM_QA_IOCTL_H

#include <array>
#include <cstdint>

#include "agent/messages/codes.h"
#include "inventory/records.h"

// An entry without its body's type.
using qaIoctl_t = uint32_t (*)(void *body);
using qaIoctlRow_t = std::array<qaIoctl_t, QOS_MSG_CODES>;

extern const std::array<qaIoctlRow_t, QOS_CHIP_TYPES> qaIoctlFn;

// What the priority modules do at a chip up, by chip type; null for the types that need nothing.
using qaChipInit_t = int (*)(qosChip_t *chip);
extern const std::array<qaChipInit_t, QOS_CHIP_TYPES> qaL2PriChipInitFn;
extern const std::array<qaChipInit_t, QOS_CHIP_TYPES> qaL3PriChipInitFn;

// The entry of a chip for a message code, or null.
inline qaIoctl_t qaIoctl(const qosChip_t *chip, uint8_t code)
{
    return chip->chip_type < QOS_CHIP_TYPES ? qaIoctlFn[chip->chip_type][code] : nullptr;
}

inline qaChipInit_t qaChipInit(const std::array<qaChipInit_t, QOS_CHIP_TYPES> &table, const qosChip_t *chip)
{
    return chip->chip_type < QOS_CHIP_TYPES ? table[chip->chip_type] : nullptr;
}

#endif
