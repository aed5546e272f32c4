// SPDX-License-Identifier: Apache-2.0
// What chips and interfaces keep of congestion control: RED, long distance, thresholds, pause and PFC.
#ifndef INVENTORY_CONGESTION_RECORDS_H
#define INVENTORY_CONGESTION_RECORDS_H

#include <cstddef>
#include <cstdint>

#include "inventory/priority_records.h"

struct tnx_list_t;
struct tnx_avl_tree_t;

constexpr unsigned QOS_NUM_CHIP_RED_CFGS = 16; // RED registers that a chip record has room for

// ---- Congestion: RED

struct qosRedProfile_t {
    uint16_t profileId;
    int32_t isActive;         // the chip set-up of Larkin's reserved profile: 1 init, 0 de-init
    uint32_t minThreshold;    // percent of the queue depth at which dropping starts
    uint32_t maxThreshold;    // percent at which dropping reaches its top
    uint32_t dropProbability; // percent
    tnx_list_t *chipList;     // chips that use the profile
    tnx_list_t *ifList;       // interfaces that use it
};
QOS_RECORD(qosRedProfile_t, 28, F(profileId), F(isActive), F(minThreshold), F(maxThreshold), F(dropProbability),
           F(chipList), F(ifList));

// One RED register of a chip. On Larkin entry 15 is reserved for the chip itself.
struct qosChipRedCfg_t {
    qosRedProfile_t *redProfile;
    uint16_t globalProfile; // the manager's profile that owns the entry; 65535 is free
    int32_t mappedProfile;  // the chip's number of this entry, fixed at chip init
    tnx_list_t *redPortList;
    uint8_t activeRedCount; // references
};
QOS_RECORD(qosChipRedCfg_t, 20, F(redProfile), F(globalProfile), F(mappedProfile), F(redPortList), F(activeRedCount));

// RED of one CoS of an interface.
struct qosIfRedCfg_t {
    int32_t redProfileEnabled;
    qosRedProfile_t *redProfile;
    uint16_t globalProfile;
    uint16_t mappedProfile;
};
QOS_RECORD(qosIfRedCfg_t, 12, F(redProfileEnabled), F(redProfile), F(globalProfile), F(mappedProfile));

// ---- Congestion: long distance

// One pool's split, in bytes of chip buffer.
struct qosLdBufferDist_t {
    uint32_t per_pfc_buf; // reserve of one lossless priority on the long-distance port
    uint32_t ld_port_buf; // budget of the long-distance port
    uint32_t reg_isl_port_buf;
    uint32_t edge_port_buf;
};
QOS_MEMBERS(qosLdBufferDist_t, 16, F(0, per_pfc_buf), F(4, ld_port_buf), F(8, reg_isl_port_buf), F(12, edge_port_buf));

// State of one buffer pool group of a chip.
struct qosChipLdInfo_t {
    uint8_t num_ld_isl; // long-distance ports configured
    uint8_t num_reg_isl_allow;
    qosLdBufferDist_t ld_buf;
    uint8_t nsm_retry_count;
};
QOS_MEMBERS(qosChipLdInfo_t, 24, F(0, num_ld_isl), F(1, num_reg_isl_allow), F(4, ld_buf), F(20, nsm_retry_count));

// Distances are in metres.
struct qosIfLdInfo_t {
    int32_t is_link_ld; // 1 on a long-distance port
    int32_t is_link_isl;
    uint32_t ld_distance; // 0 when not long-distance
    uint32_t ld_ep_size;
    uint32_t ld_state;
    int32_t port_save_state;
    uint32_t reconfig_distance;
    uint16_t buf_pool_group; // index in the chip's ldChipCfg
    uint32_t ld_actual_distance;
};
QOS_MEMBERS(qosIfLdInfo_t, 36, F(0, is_link_ld), F(4, is_link_isl), F(8, ld_distance), F(12, ld_ep_size),
            F(16, ld_state), F(20, port_save_state), F(24, reconfig_distance), F(28, buf_pool_group),
            F(32, ld_actual_distance));

// ---- Congestion: thresholds, pause and PFC

// The chip-wide settings of the shared layout; thresholds are in bytes of chip buffer.
struct qosCcbGlobalCfg_t {
    uint32_t flags;
    uint32_t multicastRate;
    uint32_t multicastBurst;
    uint32_t multicastTailDrop[QOS_NUM_COS];
    uint32_t mcastRateLimitStatus;
    uint32_t mcastTailDropStatus;
    tnx_avl_tree_t *redProfileTable;
    qosChipRedCfg_t globalChipRedCfg[QOS_NUM_CHIP_RED_CFGS];
    uint8_t maxRedProfiles;
    uint32_t maxIngrQueueDepth;
    uint32_t maxEgrQueueDepth;
    uint8_t mcastQueueMode;
};
QOS_RECORD(qosCcbGlobalCfg_t, 392, F(flags), F(multicastRate), F(multicastBurst), F(multicastTailDrop),
           F(mcastRateLimitStatus), F(mcastTailDropStatus), F(redProfileTable), F(globalChipRedCfg), F(maxRedProfiles),
           F(maxIngrQueueDepth), F(maxEgrQueueDepth), F(mcastQueueMode));

struct qosPauseProfile_t {
    uint32_t maxThreshold;
    uint32_t minThreshold;
    int32_t rx;
    int32_t tx;
};
QOS_MEMBERS(qosPauseProfile_t, 16, F(0, maxThreshold), F(4, minThreshold), F(8, rx), F(12, tx));

struct qosOnmCfg_t {
    uint8_t fcoeCos;
    uint8_t fcoeCosBitmap;
    uint32_t onmCfgAckCount;
};
QOS_MEMBERS(qosOnmCfg_t, 8, F(0, fcoeCos), F(1, fcoeCosBitmap), F(4, onmCfgAckCount));

// Bits of ccbFlags. Each is set while the setting is on in any direction or priority.
enum : uint32_t {
    QOS_CCB_PAUSE = 1,
    QOS_CCB_PFC = 2,
    QOS_CCB_COS_THRESHOLD = 4,
};

struct qosIfCcbInfo_t {
    uint32_t ccbFlags;
    uint32_t tailDropThreshold;                 // buffer budget of the whole port, in bytes
    uint32_t priTailDropThreshold[QOS_NUM_COS]; // the manager's weight by CoS; comes as one byte each
    uint32_t tailDropStatus;
    uint32_t priTailDropStatus;
    uint32_t redProfileMap[QOS_NUM_COS];
    uint32_t redProfileStatus[QOS_NUM_COS];
    qosPauseProfile_t pause;
    qosPauseProfile_t pfc[QOS_NUM_COS];
    uint32_t pauseStatus;
    uint32_t pfcStatus;
    uint32_t w2qpriStatus;
    qosIfRedCfg_t redConfig[QOS_NUM_COS];
    uint32_t redStatus;
    int32_t onmOverRide;
    uint32_t emergencyPause; // the threshold is computed anew, not read from here
    int32_t isLinkLongDistance;
    uint16_t longDistance;
    uint32_t portBufferSize;
    qosOnmCfg_t onmCfg;
    qosIfLdInfo_t ldIfCfg;
    int32_t isDropMonitorEnabled;
};
QOS_RECORD(qosIfCcbInfo_t, 436, F(ccbFlags), F(tailDropThreshold), F(priTailDropThreshold), F(tailDropStatus),
           F(priTailDropStatus), F(redProfileMap), F(redProfileStatus), F(pause), F(pfc), F(pauseStatus), F(pfcStatus),
           F(w2qpriStatus), F(redConfig), F(redStatus), F(onmOverRide), F(emergencyPause), F(isLinkLongDistance),
           F(longDistance), F(portBufferSize), F(onmCfg), F(ldIfCfg), F(isDropMonitorEnabled));

#endif
