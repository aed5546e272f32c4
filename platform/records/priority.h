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

// Four blocks of eight entries: the default in the first, the map in the others.
struct cosL2PriMap_t {
    cosHdr_t hdr;
    be32 ifIndex;
    cosL2Entry_t entry[4 * QOS_NUM_COS];
};
static_assert(sizeof(cosL2PriMap_t) == 160 && offsetof(cosL2PriMap_t, entry) == 32);

struct cosDefCos_t {
    cosHdr_t hdr;
    be32 ifIndex;
    uint8_t def_tc;
    uint8_t def_cos;
    uint8_t zero;
    uint8_t reserved_35; // never written
};
static_assert(sizeof(cosDefCos_t) == 36 && offsetof(cosDefCos_t, def_cos) == 33);

struct cosL3Entry_t {
    uint8_t tc;
    uint8_t cos;
    uint8_t reserved_2[2];
};

struct cosL3PriMap_t {
    cosHdr_t hdr;
    be32 ifIndex;
    uint8_t dscp_trust;
    uint8_t reserved_33[3];
    cosL3Entry_t entry[QOS_NUM_DSCP];
};
static_assert(sizeof(cosL3PriMap_t) == 292 && offsetof(cosL3PriMap_t, entry) == 36);

struct cosDscpMap_t {
    cosHdr_t hdr;
    be32 ifIndex;
    uint8_t dscp_map[QOS_NUM_DSCP];
};
static_assert(sizeof(cosDscpMap_t) == 96 && offsetof(cosDscpMap_t, dscp_map) == 32);

#endif
