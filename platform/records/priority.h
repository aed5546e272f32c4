// SPDX-License-Identifier: Apache-2.0
// Priority map records of Tessel and Mirelle.
#ifndef PLATFORM_RECORDS_PRIORITY_H
#define PLATFORM_RECORDS_PRIORITY_H

#include <cstddef>
#include <cstdint>

#include "platform/records/chip_traits.h"
#include "platform/records/frame.h"

struct cosL2Entry_t {
    uint8_t tc;
    uint8_t cos;
    uint8_t zero;
    uint8_t reserved_3; // never written
};
QOS_MEMBERS(cosL2Entry_t, 4, F(0, tc), F(1, cos), F(2, zero), PAD(3, reserved_3));

// Four blocks of eight entries: the default in the first, the map in the others.
struct cosL2PriMap_t {
    cosHdr_t hdr;
    be32 ifIndex;
    cosL2Entry_t entry[4 * QOS_NUM_COS];
};
QOS_MEMBERS(cosL2PriMap_t, 160, F(0, hdr), F(28, ifIndex), F(32, entry));

struct cosDefCos_t {
    cosHdr_t hdr;
    be32 ifIndex;
    uint8_t def_tc;
    uint8_t def_cos;
    uint8_t zero;
    uint8_t reserved_35; // never written
};
QOS_MEMBERS(cosDefCos_t, 36, F(0, hdr), F(28, ifIndex), F(32, def_tc), F(33, def_cos), F(34, zero),
            PAD(35, reserved_35));

struct cosL3Entry_t {
    uint8_t tc;
    uint8_t cos;
    uint8_t reserved_2[2];
};
QOS_MEMBERS(cosL3Entry_t, 4, F(0, tc), F(1, cos), PAD(2, reserved_2));

struct cosL3PriMap_t {
    cosHdr_t hdr;
    be32 ifIndex;
    uint8_t dscp_trust;
    uint8_t reserved_33[3];
    cosL3Entry_t entry[QOS_NUM_DSCP];
};
QOS_MEMBERS(cosL3PriMap_t, 292, F(0, hdr), F(28, ifIndex), F(32, dscp_trust), PAD(33, reserved_33), F(36, entry));

struct cosDscpMap_t {
    cosHdr_t hdr;
    be32 ifIndex;
    uint8_t dscp_map[QOS_NUM_DSCP];
};
QOS_MEMBERS(cosDscpMap_t, 96, F(0, hdr), F(28, ifIndex), F(32, dscp_map));

#endif
