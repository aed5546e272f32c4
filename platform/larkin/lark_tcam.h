// SPDX-License-Identifier: Apache-2.0
// Priority selection on Larkin: one TCAM entry for each CoS and each DSCP of a port. Entries 4 to 8, 10 and 11 of the
// back-end table, and what the priority modules do at a chip up.
#ifndef PLATFORM_LARKIN_LARK_TCAM_H
#define PLATFORM_LARKIN_LARK_TCAM_H

#include <cstdint>

#include "agent/messages/codes.h"
#include "agent/messages/priority.h"
#include "inventory/records.h"
#include "platform/common/priority_entry.h"

// The chip's region for a selection: fills the record in the chip, creates the region and keeps the outcome there. The
// transport's status.
qosDriverStatus_t larkInitL2PSelTcam(qosChip_t *chip);
qosDriverStatus_t larkInitL3PSelTcam(qosChip_t *chip);
[[nodiscard]] int larkL2PriChipUp(qosChip_t *chip);
[[nodiscard]] int larkL3PriChipUp(qosChip_t *chip);

// One entry of a port; `result` is the result word. An added handle becomes valid, a deleted one ceases to be. The
// transport's status, or 1 for an interface on no chip.
qosDriverStatus_t larkAddL2PselTcamEntry(qosIf_t *interface, unsigned cos, uint32_t result);
qosDriverStatus_t larkAddL3PselTcamEntry(qosIf_t *interface, unsigned dscp, uint32_t result);
qosDriverStatus_t larkUpdateL2PSelTcamEntry(const qosIf_t *interface, unsigned cos, uint32_t result);
qosDriverStatus_t larkUpdateL3PSelTcamEntry(const qosIf_t *interface, unsigned dscp, uint32_t result);
qosDriverStatus_t larkDelL3PSelTcamEntry(qosIf_t *interface, unsigned dscp);

// The whole CoS map of a port: its entries as far as the driver takes them, and in any case the register map, whose
// status is the result.
qosDriverStatus_t larkSetL2PriMap(qosL2PriMsg_t *body);
qosDriverStatus_t larkSetL2PriRegMap(const qosIf_t *interface, const qosL2PriMsg_t *body);
// The DSCP map of a port, up to the first failure; its entries removed, likewise.
qosDriverStatus_t larkSetL3PriMap(qosL3PriMsg_t *body);
qosDriverStatus_t larkDelL3PriMap(qosL3PriMsg_t *body);

using larkL2Entry_t = priorityEntry_t<qosL2PriMsg_t>;
using larkL3Entry_t = priorityEntry_t<qosL3PriMsg_t>;

// Each stores its status in the body and returns it. The trust of CoS does not go to the chip.
extern const larkL2Entry_t larkSetIfCosTrust;
extern const larkL2Entry_t larkSetIfCosMap;
extern const larkL2Entry_t larkSetIfCosTcMap;
qosDriverStatus_t larkSetIfDefCos(qosL2PriMsg_t *body); // the status is the map's
extern const larkL3Entry_t larkSetIfDscpTrust;          // without trust the entries go
extern const larkL3Entry_t larkSetIfDscpCosMap;
extern const larkL3Entry_t larkSetIfDscpTcMap;

#endif
