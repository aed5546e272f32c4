// SPDX-License-Identifier: Apache-2.0
// An interface.
#ifndef INVENTORY_INTERFACE_RECORDS_H
#define INVENTORY_INTERFACE_RECORDS_H

#include <cstddef>
#include <cstdint>

#include "agent/messages/scheduler.h"
#include "inventory/congestion_records.h"
#include "inventory/policer_records.h"
#include "inventory/priority_records.h"
#include "inventory/profile_records.h"
#include "inventory/record_queues.h"

struct tnx_list_t;

constexpr unsigned QOS_IF_NAME_SIZE = 20;
constexpr unsigned QOS_PRECEDENCE_WORDS = 2048;

// Bit of SchFlags in qosSch_t: the port has a scheduler of its own and the global one does not apply.
constexpr uint32_t QOS_SCH_OWN = 2;

struct qosIf_t {
    uint32_t ifIndex; // the key of qosIfTable
    char ifName[QOS_IF_NAME_SIZE];
    uint32_t ifMode;
    uint8_t ifMlsCmdCnt; // interface commands in force, counted by the manager
    qosChip_t *chip;     // null for an interface on no chip
    tailqEntry<qosIf_t> chip_link;
    tailqEntry<qosIf_t> slot_link; // unused here
    qosIfL2Pri_t l2_pri;
    qosIfL3Pri_t l3_pri;
    tnx_list_t *pmap_list_in; // policy maps
    tnx_list_t *pmap_list_out;
    uint32_t precedence_bmp_in[QOS_PRECEDENCE_WORDS];
    uint32_t precedence_bmp_out[QOS_PRECEDENCE_WORDS];
    qosIfCcbInfo_t ccb;
    qosShaper_t shaper_cfg;
    qosSch_t sch_cfg;
    qosIfPolInfo_t pol_info;
    qosIfCeeMap_t cee_info;
    qosIfBumInfo_t bum_info;
    tnx_list_t *profileList;        // port profiles
    int32_t isPortProfiled;         // a port profile applies
    qosIf_t *parent;                // the port channel that this port is a member of
    tailqHead<qosIf_t> memPortList; // of a port channel, through memLink
    tailqEntry<qosIf_t> memLink;
    int32_t aggType;
};
QOS_RECORD(qosIf_t, 19232, F(ifIndex), F(ifName), F(ifMode), F(ifMlsCmdCnt), F(chip), F(chip_link), F(slot_link),
           F(l2_pri), F(l3_pri), F(pmap_list_in), F(pmap_list_out), F(precedence_bmp_in), F(precedence_bmp_out), F(ccb),
           F(shaper_cfg), F(sch_cfg), F(pol_info), BACK(cee_info, 1), F(bum_info), F(profileList), F(isPortProfiled),
           F(parent), F(memPortList), F(memLink), F(aggType));

#endif
