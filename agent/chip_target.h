// SPDX-License-Identifier: Apache-2.0
// The chip that a configuration body means: the chip that it names if it is for all interfaces, else its interface's.
#ifndef AGENT_CHIP_TARGET_H
#define AGENT_CHIP_TARGET_H

#include <cstdint>

#include "agent/messages/header.h"
#include "core/text.h"
#include "inventory/chips.h"
#include "inventory/interfaces.h"
#include "velmar/dce.h"

// The chip; null with the status in the body and a line under the handler's name, `unknown` for an unknown interface.
template <typename Body>
qosChip_t *qaTargetChip(qosWhere_t function, Body *body, const qosText_t<const char *> &unknown)
{
    const qosName_t name = qosNameOf(body->ifName);
    const uint32_t ifindex = body->ifindex;
    const uint32_t chip_ifindex = body->chip_ifindex;
    qosChip_t *chip;
    if (ifindex == QOS_ALL_CHIPS_IFINDEX) {
        chip = qosLookupChip(dce_get_flat_chip_id(chip_ifindex));
    } else {
        const qosIf_t *interface = qosLookupIfEntry(ifindex);
        if (!interface) {
            qosTrace(function, unknown, name.text);
            body->status = QOS_MSG_REFUSED;
            return nullptr;
        }
        chip = interface->chip;
    }
    if (!chip) {
        QOS_ERR_AT(function, "Failed to find chip for interface %s chip ifindex 0x%x", name.text, chip_ifindex);
        body->status = QOS_MSG_REFUSED;
    }
    return chip;
}

#endif
