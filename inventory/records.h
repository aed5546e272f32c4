// Every record that lives in memory and is replicated to a standby: slots, chips, interfaces and what the modules keep
// inside them, the monitored policers and ports, and the update entries. Data only.
//
// The order of the members is part of the replicated format; ha/fields.cpp describes it row by row. Integers are
// native. A 64-bit integer is 8-aligned on every target, so that the layout does not hang on the ABI; the sizes
// asserted here are those of the 32-bit build. Records come zeroed from the store. Truth values are signed words, 0
// or 1. The parts that also travel in message bodies, such as qosSch_t, stand in agent/messages/, big-endian and
// unaligned there as here.
#ifndef INVENTORY_RECORDS_H
#define INVENTORY_RECORDS_H

#include <cstddef>
#include <cstdint>

#include "agent/messages/chip.h"
#include "agent/messages/congestion.h"
#include "agent/messages/drop_monitor.h"
#include "agent/messages/header.h"
#include "agent/messages/policer.h"
#include "agent/messages/priority.h"
#include "agent/messages/scheduler.h"
#include "agent/messages/statistics.h"
#include "inventory/tailq.h"
#include "platform/records/chip_traits.h"

struct tnx_list_t;
struct tnx_avl_tree_t;
struct thread;

struct qosChip_t;
struct qosIf_t;
struct qosUpdEntry_t;

constexpr unsigned QOS_NUM_SLOTS = 10;
constexpr unsigned QOS_NUM_CHIP_PORTS = 160;   // entries of a chip's port table
constexpr unsigned QOS_NUM_CHIP_RED_CFGS = 16; // RED registers that a chip record has room for
constexpr unsigned QOS_NUM_BUF_POOLS = 4;      // buffer pool groups of a chip
constexpr unsigned QOS_IF_NAME_SIZE = 20;
constexpr unsigned QOS_MAP_NAME_SIZE = 64;
constexpr unsigned QOS_PRECEDENCE_WORDS = 2048;

// ---- Updates and slots

// An update that waits for its slot; the message body follows. The agent registers these and keeps the lists empty.
struct qosUpdEntry_t {
    tailqEntry<qosUpdEntry_t> upd_link;
    qosMsgHdr_t hdr;
};

// An update entry together with its body.
template <typename Body>
struct qosUpdEntryOf {
    tailqEntry<qosUpdEntry_t> upd_link;
    qosMsgHdr_t hdr;
    Body msg_data;
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

// ---- Layer 2 and layer 3 priority

// A TCAM entry as the driver named it; opaque to the agent.
struct dce_tcam_handle_t {
    alignas(8) uint64_t input_key;
    alignas(8) uint64_t input_mask_key;
    uint16_t result_key;
    uint32_t application_handle;
};

// Sizes count TCAM entries.
struct qosTcamRegion_t {
    uint32_t region_id;
    uint32_t ref_region_id;
    int32_t insert_above; // truth: stands ahead of the reference region
    uint32_t min_size;
    uint32_t max_size;
    uint32_t size;
    uint32_t growth_factor;
};

// Named maps are the manager's. The agent receives arrays, so its pointers to maps stay null.
struct qosMapHdr_t {
    char map_name[QOS_MAP_NAME_SIZE];
    tailqHead<qosIf_t> ifList; // interfaces that use the map, through the link of the map's kind
};

struct qosCosMutateMap_t {
    qosMapHdr_t hdr;
    uint8_t cos_map[QOS_NUM_COS];
    tnx_list_t *profileList;
};

struct qosCosTcMap_t {
    qosMapHdr_t hdr;
    uint8_t tc_map[QOS_NUM_COS];
    tnx_list_t *profileList;
};

struct qosDscpCosMap_t {
    qosMapHdr_t hdr;
    uint8_t cos_map[QOS_NUM_DSCP];
};

struct qosDscpTcMap_t {
    qosMapHdr_t hdr;
    uint8_t tc_map[QOS_NUM_DSCP];
};

struct qosDscpMap_t {
    qosMapHdr_t hdr;
    uint8_t dscp_map[QOS_NUM_DSCP];
};

// The status words and flags here and in qosIfL3Pri_t are the manager's: the agent only shows them.
struct qosIfL2Pri_t {
    uint32_t l2PriFlags;
    uint8_t def_cos;
    uint8_t def_tc;
    uint32_t def_cos_status;
    int32_t cos_trust;
    uint32_t cos_trust_status;
    dce_tcam_handle_t cos_trust_handle[QOS_NUM_COS]; // Larkin: by CoS
    uint8_t tcam_handle_valid;                       // Larkin: bit p says that handle p is valid
    qosCosMutateMap_t *cos_mutate;
    tailqEntry<qosIf_t> cos_map_link;
    uint8_t cos_map[QOS_NUM_COS]; // output CoS by input CoS
    uint32_t cos_map_status;
    qosCosTcMap_t *tc_mutate;
    tailqEntry<qosIf_t> tc_map_link;
    uint8_t tc_map[QOS_NUM_COS]; // traffic class by CoS
    uint32_t tc_map_status;
};

struct qosIfL3Pri_t {
    uint32_t l3PriFlags;
    int32_t dscp_trust;
    uint32_t dscp_trust_status;
    dce_tcam_handle_t dscp_trust_handle[QOS_NUM_DSCP]; // Larkin: by DSCP
    alignas(8) uint64_t tcam_handle_valid;             // Larkin: bit d, from the lowest, says that handle d is valid
    qosDscpMap_t *dscp_mutate;
    tailqEntry<qosIf_t> dscp_map_link;
    uint8_t dscp_map[QOS_NUM_DSCP]; // output DSCP by input DSCP
    uint32_t dscp_map_status;
    qosDscpCosMap_t *dscp_cos_map;
    tailqEntry<qosIf_t> dscp_cos_link;
    uint8_t cos_map[QOS_NUM_DSCP]; // CoS by DSCP
    uint32_t dscp_cos_status;
    qosDscpTcMap_t *dscp_tc_map;
    tailqEntry<qosIf_t> dscp_tc_link;
    uint8_t tc_map[QOS_NUM_DSCP]; // traffic class by DSCP
    uint32_t dscp_tc_status;
};

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

// One RED register of a chip. On Larkin entry 15 is reserved for the chip itself.
struct qosChipRedCfg_t {
    qosRedProfile_t *redProfile;
    uint16_t globalProfile; // the manager's profile that owns the entry; 65535 is free
    int32_t mappedProfile;  // the chip's number of this entry, fixed at chip init
    tnx_list_t *redPortList;
    uint8_t activeRedCount; // references
};

// RED of one CoS of an interface.
struct qosIfRedCfg_t {
    int32_t redProfileEnabled;
    qosRedProfile_t *redProfile;
    uint16_t globalProfile;
    uint16_t mappedProfile;
};

// ---- Congestion: long distance

// One pool's split, in bytes of chip buffer.
struct qosLdBufferDist_t {
    uint32_t per_pfc_buf; // reserve of one lossless priority on the long-distance port
    uint32_t ld_port_buf; // budget of the long-distance port
    uint32_t reg_isl_port_buf;
    uint32_t edge_port_buf;
};

// State of one buffer pool group of a chip.
struct qosChipLdInfo_t {
    uint8_t num_ld_isl; // long-distance ports configured
    uint8_t num_reg_isl_allow;
    qosLdBufferDist_t ld_buf;
    uint8_t nsm_retry_count;
};

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

struct qosPauseProfile_t {
    uint32_t maxThreshold;
    uint32_t minThreshold;
    int32_t rx;
    int32_t tx;
};

struct qosOnmCfg_t {
    uint8_t fcoeCos;
    uint8_t fcoeCosBitmap;
    uint32_t onmCfgAckCount;
};

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

// ---- CEE maps and port profiles: the manager's, described for the shared layout and never allocated here

struct qosCeePgid_t {
    uint32_t bandwidth; // percent of the link
    int32_t pfc;
};

struct qosCee_t {
    uint32_t flags;
    qosCeePgid_t pgid[QOS_NUM_COS];
    uint8_t strict_pgid;           // one bit a strict-priority group
    uint8_t pri_pgid[QOS_NUM_COS]; // priority group by priority
    uint8_t lossless_remap;        // priority of remapped lossless frames
    uint8_t fabric_remap;          // priority of remapped fabric frames
};

struct qosCeeMap_t {
    qosMapHdr_t hdr;
    uint32_t precedence;
    qosCee_t cee;
    tnx_list_t *profileList;
};

struct qosIfCeeMap_t {
    uint32_t ceeFlags;
    qosCeeMap_t *cee_map;
    tailqEntry<qosIf_t> cee_map_link;
    int32_t is_mqc_cee;
};

struct qosAppmSubProfile_t {
    uint32_t flags;
    uint8_t def_cos;
    int32_t cos_trust;
    qosCosMutateMap_t *cos_mutate;
    qosCosTcMap_t *tc_mutate;
    qosCeeMap_t *cee_map;
    qosPauseProfile_t pause;
    qosPauseProfile_t pfc[QOS_NUM_COS];
};

// ---- Scheduler

// Bit of SchFlags in qosSch_t: the port has a scheduler of its own and the global one does not apply.
constexpr uint32_t QOS_SCH_OWN = 2;

// ---- Policers

struct qosPolProfileTbl_t {
    void *profile_hash;
    uint32_t *profile_bitmap;
    uint32_t max_num_profile_ids;
};

struct qosPolPolicerTbl_t {
    tnx_avl_tree_t *policer_tree;
    uint32_t *policer_bitmap[4];
    uint16_t num_policer_banks;
};

// The tables are the manager's. The lists hold qaPolPolicerInfo_t in the order of qaPolCmpData.
struct qosPolCfg_t {
    qosPolPolicerTbl_t *ingress_pol_tbl;
    qosPolPolicerTbl_t *egress_pol_tbl;
    qosPolProfileTbl_t *profile_tbl;
    tnx_list_t *ingr_policer_list;
    tnx_list_t *egr_policer_list;
    tnx_list_t *bum_policer_list;
};

struct qosIfPolInfo_t {
    uint16_t mcastBumPolId;
    uint16_t polGroupId;
};

// ---- BUM: broadcast, unknown-unicast and multicast limits

struct qosBumRecord_t {
    uint32_t ifindex;
    int32_t protocol;
    int32_t action;
    int32_t user_format;
    alignas(8) uint64_t provisioned_rate;
};

struct qosBumProtocolRecord_t {
    int32_t proto_enable_status;
    qosBumRecord_t config;
    alignas(8) uint64_t rate;
};

// The manager's view; the monitor does not look here.
struct qosIfBumInfo_t {
    uint8_t num_proto_enabled;
    qosBumProtocolRecord_t bcast;
    qosBumProtocolRecord_t mcast;
    qosBumProtocolRecord_t unknownucast;
};

// Polling state of one BUM policer.
struct qaBumInfo_t {
    int32_t monitor_bum_policer;        // 1 while the policer is monitored
    int32_t state;                      // 0 no violation, 1 in violation
    alignas(8) uint64_t violation_cntr; // as last read
};

struct qaPolPolicerInfo_t {
    uint32_t ifindex; // or QOS_ALL_CHIPS_IFINDEX
    int32_t dir;      // 0 ingress, else egress
    uint16_t pol_grp_idx;
    uint32_t policer_id;
    qaBumInfo_t bum_info;
};

struct qaBumContext_t {
    uint16_t monitor_policer_cnt; // policers that are monitored
    uint8_t monitorting_inteval;  // seconds
    thread *timer;                // this process's own: not described to the store
    void (*bum_callback)();       // run at each period
};

// ---- Drop monitor

struct qaDropMonitorContext_t {
    uint16_t monitor_cnt;       // ports that are watched
    uint8_t monitor_inteval;    // seconds
    thread *timer;              // this process's own: not described to the store
    void (*monitor_callback)(); // run at each period
};

// One watched port, in the chip's drop_monitor_list in order of ifindex. The counters are those last seen.
struct qaDropMonitorInfo_t {
    uint32_t ifindex;
    uint32_t monitor_state; // 1 while the port is watched
    qosRedMonitorStatsIfMsg_t redStats;
    alignas(8) qosTdMonitorStatsIfMsg_t tdStats;
};

// ---- Chips

struct qosChip_t {
    int32_t chip_id;       // flat chip number, the key of qosChipTable
    uint32_t chip_ifindex; // also the target of the chip's driver requests
    int32_t slot_id;
    int32_t local_chip_id; // in the slot
    int32_t tmc_chip_id;   // traffic manager chip; not set by the agent
    uint32_t chip_state;   // 0 created, 1 ready
    uint32_t warm_up;      // 1 between the two passes of a bulk chip-up
    uint32_t chip_type;
    uint32_t chip_rev;
    uint32_t num_ports; // may exceed the port table
    uint32_t num_ingr_policer_ids;
    uint32_t ingr_infin_policer_id; // the ingress policer that never limits
    uint32_t min_ingr_policer_id;   // lowest usable
    uint32_t num_egr_policer_ids;
    uint32_t egr_infin_policer_id;
    uint32_t min_egr_policer_id;
    uint32_t num_policer_profiles;
    int32_t pt_based_pol;   // policing by port
    int32_t vlan_based_pol; // policing by VLAN
    uint16_t num_policer_groups;
    qosPolCfg_t polCfg;
    tnx_list_t *drop_monitor_list; // qaDropMonitorInfo_t
    uint32_t numChipBuffPools;
    uint32_t chipBuffers; // bytes
    uint32_t portBuffers; // bytes a port; Larkin's shared buffer pool response alone sets it
    uint32_t bufStatus;   // result of the buffer size set-up at chip up
    qosTcamRegion_t l2psel_tcam;
    uint32_t l2psel_tcam_status; // result of the request that created the region
    qosTcamRegion_t l3psel_tcam;
    uint32_t l3psel_tcam_status;
    qosChipRedCfg_t chipRedCfg[QOS_NUM_CHIP_RED_CFGS];
    uint8_t maxRedProfilesPerChip;
    qosChipLdInfo_t ldChipCfg[QOS_NUM_BUF_POOLS]; // by buffer pool group
    qosSlot_t *slot;
    tailqEntry<qosChip_t> slot_link;
    tailqHead<qosIf_t> ifList; // through chip_link
    qosChipPortInfo_t portInfo[QOS_NUM_CHIP_PORTS];
    uint32_t egr_td_red_prof; // RED profile that the chip reserves for egress tail drop
    uint32_t reserved[4];
};

// ---- Interfaces

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

// ---- Layout. The sizes below hold where nothing in the record is a pointer ...
static_assert(sizeof(dce_tcam_handle_t) == 24 && offsetof(dce_tcam_handle_t, application_handle) == 20);
static_assert(sizeof(qosTcamRegion_t) == 28);
static_assert(sizeof(qosIfLdInfo_t) == 36 && sizeof(qosChipLdInfo_t) == 24);
static_assert(sizeof(qosPauseProfile_t) == 16 && sizeof(qosOnmCfg_t) == 8);
static_assert(sizeof(qosBumProtocolRecord_t) == 40 && sizeof(qosIfBumInfo_t) == 128);
static_assert(sizeof(qaBumInfo_t) == 16 && sizeof(qaPolPolicerInfo_t) == 32);
static_assert(sizeof(qaDropMonitorInfo_t) == 72 && offsetof(qaDropMonitorInfo_t, tdStats) == 48);

// ... and these with 32-bit pointers.
#define QOS_SIZE_32(record, size) static_assert(sizeof(void *) != 4 || sizeof(record) == (size), #record)
QOS_SIZE_32(qosSlot_t, 8248);
QOS_SIZE_32(qosChip_t, 2568);
QOS_SIZE_32(qosIf_t, 19232);
QOS_SIZE_32(qosIfL2Pri_t, 272);
QOS_SIZE_32(qosIfL3Pri_t, 1800);
QOS_SIZE_32(qosIfCcbInfo_t, 436);
QOS_SIZE_32(qaBumContext_t, 12);
QOS_SIZE_32(qaDropMonitorContext_t, 12);
#undef QOS_SIZE_32

#endif
