// SPDX-License-Identifier: Apache-2.0
// Slots and the updates that wait for them.
#ifndef INVENTORY_SLOT_RECORDS_H
#define INVENTORY_SLOT_RECORDS_H

#include <array>
#include <cstddef>
#include <cstdint>

#include "agent/messages/header.h"
#include "inventory/record_queues.h"

constexpr unsigned QOS_NUM_SLOTS = 10;

// An update that waits for its slot; the message body follows. The agent registers these and keeps the lists empty.
struct qosUpdEntry_t {
    tailqEntry<qosUpdEntry_t> upd_link;
    qosMsgHdr_t hdr;
};
QOS_RECORD(qosUpdEntry_t, 16, F(upd_link), F(hdr));

// An update entry together with its body.
template <typename Body>
struct qosUpdEntryOf {
    tailqEntry<qosUpdEntry_t> upd_link;
    qosMsgHdr_t hdr;
    Body msg_data;
};
template <typename Body>
struct qosMembersOf<qosUpdEntryOf<Body>> {
    static constexpr auto text = [] { // "qosUpdEntry_" and the body's name
        std::array<char, 64> joined = {};
        size_t length = 0;
        for (const char *part : {"qosUpdEntry_", qosMembersOf<Body>::name})
            while (*part)
                joined.at(length++) = *part++;
        return joined;
    }();
    static constexpr const char *name = text.data();
    QOS_LIST(qosUpdEntryOf<Body>, "an update entry", QOS_IN, F(upd_link), F(hdr), F(msg_data))
};

struct qosSlot_t {
    uint8_t slot_id;               // equal to the index in qosSlotTable
    uint32_t slot_state;           // 0 down, 1 up
    int32_t agnt_reg;              // truth: the slot's agent has registered; set by the manager's side alone
    tailqHead<qosChip_t> chipList; // through slot_link, in order of arrival
    tailqHead<qosUpdEntry_t> updList;
    tailqHead<qosUpdEntry_t> pendList;
    uint32_t upd_seqno;                // of the next update
    uint32_t num_upd;                  // entries in updList
    uint32_t num_pend;                 // entries in pendList
    alignas(8) uint64_t updBufferFull; // times that the update buffer was full
    unsigned char msgBuf[8192];        // where a message to the manager is built
};
QOS_RECORD(qosSlot_t, 8248, LOCAL(slot_id), F(slot_state), F(agnt_reg), F(chipList), F(updList), F(pendList),
           F(upd_seqno), F(num_upd), F(num_pend), LOCAL(updBufferFull), LOCAL(msgBuf));

#endif
