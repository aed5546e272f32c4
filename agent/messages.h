// The packed bodies that travel between manager and agent, and the catalogue of the 79 message codes.
//
// Every message is a qosMsgHdr_t and its body, laid end to end with the next one in a batch; all integers are
// big-endian and nothing is padded. A body's struct is the layout; beside it stands its field table, which the
// manager's tool, the tests and the replicated store read, so that a layout is written down once. Handlers and back
// ends work on a body in place; `status` in it is what the manager learns. The bodies of statistics requests stand in
// agent/message_statistics.h. Relies on velmar/wire.h alone.
#ifndef AGENT_MESSAGES_H
#define AGENT_MESSAGES_H

#include <cstdint>
#include <cstring>

#include "agent/message_layout.h"
#include "agent/message_statistics.h"

// How the bytes of a field are read. Fields in the machine's own order, which stay inside the agent, are Bytes.
enum class wireKind : uint8_t { Unsigned, Signed, Chars, Bytes };

// One field of a body. An array has a count above 1; `stride` is the distance of its elements, which is the width
// unless the field is a member of repeated records ("portInfo.ifindex" with the records' size). A count of 0 is a
// member of the records that follow the fixed part: as many as the body's own count says, or as the rest of the body
// has room for.
struct wireField {
    const char *name;
    uint16_t offset;
    uint16_t width; // bytes of one element: 1, 2, 4 or 8 for integers, the whole field for Chars and Bytes
    uint16_t count;
    uint16_t stride;
    wireKind kind;
};

struct wireBody {
    const char *name; // the record's name, "qosL2PriMsg_t"
    uint16_t size;    // bytes of the body without anything that a count inside it adds
    uint16_t numFields;
    const wireField *fields;
};

// ---- Codes and results

enum : uint8_t {
    QOS_AGTREG_MSG = 0,
    QOS_CHIPUP_MSG = 1,
    QOS_IFADD_MSG = 2,
    QOS_IFDEL_MSG = 3,
    QOS_COSTRUST_MSG = 4,
    QOS_DEFCOS_MSG = 5,
    QOS_COSMAP_MSG = 6,
    QOS_COSTCMAP_MSG = 7,
    QOS_DSCPTRUST_MSG = 8,
    QOS_DSCPMAP_MSG = 9,
    QOS_DSCPCOSMAP_MSG = 10,
    QOS_DSCPTCMAP_MSG = 11,
    QOS_PAUSE_MSG = 12,
    QOS_PFC_MSG = 13,
    QOS_PRI_TAILDROP_MSG = 14,
    QOS_TAILDROP_MSG = 15,
    QOS_SBP_MSG = 16,
    QOS_EMERGENCY_PAUSE_MSG = 17,
    QOS_W2QPRI_MSG = 18,
    QOS_SCH_MSG = 19,
    QOS_GLB_SCH_MSG = 20,
    QOS_PSHAPE_MSG = 21,
    QOS_MC_SCH_MSG = 22,
    QOS_MCAST_RATELIMIT_MSG = 23,
    QOS_MCAST_TAILDROP_MSG = 24,
    QOS_GET_RCVQUEUE_STATS_MSG = 25,
    QOS_GET_SWM_STATS_MSG = 26,
    QOS_GET_RMON_STATS_MSG = 27,
    QOS_GET_MCAST_RCVQUEUE_STATS_MSG = 28,
    QOS_GET_FLOWCONTROL_STATS_MSG = 29,
    QOS_GET_QUEUE_STATS_MSG = 30,
    QOS_POL_POLICER_ADD_MSG = 31,
    QOS_POL_POLICER_REM_MSG = 32,
    QOS_POL_PROFILE_MSG = 33,
    QOS_RED_PROFILE_MSG = 34,
    QOS_GET_RED_STATS_MSG = 35,
    QOS_RED_CHIP_INIT_MSG = 36,
    QOS_LD_CFG_MSG = 37,
    QOS_PORT_BUF_ADJUST_MSG = 38,
    QOS_SET_DEF_TAILDROP_MSG = 39,
    QOS_GET_POL_STATS_MSG = 40,
    QOS_CLEAR_STATS_MSG = 41,
    QOS_GET_PORTPRI_BUFFERS = 42,
    QOS_POL_BUM_STATE_NOTIFY_MSG = 43,
    QOS_POL_STATS_CLR_MSG = 44,
    QOS_POL_STATS_CLR_ALL_MSG = 45,
    QOS_IVQ_RED_CFG = 46,
    QOS_IVQ_RED_CHIP_CFG = 47,
    QOS_GET_TMC_INFO_MSG = 48,
    QOS_GET_ING_QUE_STATS_MSG = 49,
    QOS_GET_EGR_QUE_STATS_MSG = 50,
    QOS_GET_ING_BUF_STATS_MSG = 51,
    QOS_GET_EGR_BUF_STATS_MSG = 52,
    QOS_GET_PLC_ING_QUE_STATS_MSG = 53,
    QOS_GET_PLC_EGR_QUE_STATS_MSG = 54,
    QOS_GET_PLC_ING_BUF_STATS_MSG = 55,
    QOS_GET_PLC_EGR_BUF_STATS_MSG = 56,
    QOS_GET_ING_TMC_CHIP_QUE_STATS_MSG = 57,
    QOS_GET_EGR_TMC_CHIP_QUE_STATS_MSG = 58,
    QOS_GET_ING_TMC_CHIP_BUF_STATS_MSG = 59,
    QOS_GET_EGR_TMC_CHIP_BUF_STATS_MSG = 60,
    QOS_GET_ING_TMC_PORT_BUF_STATS_MSG = 61,
    QOS_GET_EGR_TMC_PORT_BUF_STATS_MSG = 62,
    QOS_GET_ING_TMC_PORT_QUE_STATS_MSG = 63,
    QOS_GET_VOQ_STATS_MSG = 64,
    QOS_GET_DROP_RSN_STATS_MSG = 65,
    QOS_GET_CHIP_CAP_MSG = 66,
    QOS_CLEAR_DBG_STATS = 67,
    QOS_BUM_RESET_MON_STATE_MSG = 68,
    QOS_GET_SENDQUEUE_STATS_MSG = 69,
    QOS_CLEAR_RED_INTF_RED_STATS_MSG = 70,
    QOS_INGR_QUEUE_DEPTH_MSG = 71,
    QOS_EGR_QUEUE_DEPTH_MSG = 72,
    QOS_DROP_MONITOR_CFG_MSG = 73,
    QOS_DROP_MONITOR_NOTIFY_MSG = 74,
    QOS_TD_MONITOR_STATS_MSG = 75,
    QOS_RED_MONITOR_STATS = 76,
    QOS_GET_ASIC_INT_STATS_MSG = 77,
    QOS_SET_MCAST_QUEUE_MODE_MSG = 78,
};
constexpr unsigned QOS_MSG_CODES = 79;

// What a handler returns and, but where it says otherwise, leaves in the body's status. Other values are a back end's.
enum : uint32_t {
    QOS_MSG_DONE = 0,
    QOS_MSG_REFUSED = 1,        // unknown interface, no chip behind it, or no back-end entry for the chip type
    QOS_MSG_NO_MEMORY = 2,      // no memory, or a failed interface add
    QOS_MSG_INVALID_BATCH = 20, // the dispatcher's own: a code or a length that no batch can have
    QOS_MSG_NOT_FOUND = 24,     // unknown interface or chip in a configuration step
    QOS_MSG_UNSERVED = 25,      // unknown interface or chip, or no back-end entry, for statistics and clears
    QOS_MSG_OWN_SCHEDULER = 108 // the port's own scheduler forbids the global one
};

// All interfaces, or the chip as a whole, in every field that holds an interface index.
constexpr uint32_t QOS_ALL_CHIPS_IFINDEX = 0x8bc00000;

// ---- The header

struct qosMsgHdr_t {
    uint8_t msg_type;
    be16 msg_len;      // bytes of the body
    uint8_t msg_seqno; // the sender's, left alone
    uint8_t msg_ack;   // 0 in a request, 1 once dispatched
    unsigned char msg_data[0];
};
QOS_LAYOUT(qosMsgHdr_t, sizeof(R) == 5 && offsetof(R, msg_len) == 1 && offsetof(R, msg_seqno) == 3 &&
                            offsetof(R, msg_ack) == 4 && offsetof(R, msg_data) == 5);

// A name off the wire, which need not be terminated, as a text.
struct qosName_t {
    char text[21];
};

inline qosName_t qosNameOf(const char (&field)[20])
{
    qosName_t name;
    std::memcpy(name.text, field, sizeof field);
    name.text[sizeof field] = '\0';
    return name;
}

// ---- Registration and clears

// Code 0. Registration: this slot's agent is up.
struct dORVALRegMsg_t {
    sbe32 slot_id;
};
QOS_LAYOUT(dORVALRegMsg_t, sizeof(R) == 4);

// Codes 41, 70. Clear statistics.
struct qosClearStatsMsg_t {
    sbe32 status;
    be32 ifindex; // or QOS_ALL_CHIPS_IFINDEX
    sbe32 clearAll;
    be32 chip; // flat chip number; counts only during the agent's own walk over its chips
};
QOS_LAYOUT(qosClearStatsMsg_t,
           sizeof(R) == 16 && offsetof(R, ifindex) == 4 && offsetof(R, clearAll) == 8 && offsetof(R, chip) == 12);

// ---- Chips and interfaces

// One port of a chip.
struct qosChipPortInfo_t {
    be32 ifindex;
    be32 num_buffers; // bytes of chip buffer
    be16 bufPoolId;
    be16 polGroupId;
};
QOS_LAYOUT(qosChipPortInfo_t, sizeof(R) == 12 && offsetof(R, num_buffers) == 4 && offsetof(R, bufPoolId) == 8 &&
                                  offsetof(R, polGroupId) == 10);

// Codes 1, 66. A chip and what it can do.
struct qosChipUpMsg_t {
    sbe32 chip_id; // not read: the number follows from chip_ifindex
    be32 chip_ifindex;
    sbe32 slot_id;
    sbe32 local_chip_id;
    sbe32 num_ports;
    be32 chip_type;
    be32 chip_rev;
    be32 num_ingr_policer_ids;
    be32 ingr_infin_policer_id;
    be32 min_ingr_policer_id;
    be32 num_egr_policer_ids;
    be32 egr_infin_policer_id;
    be32 min_egr_policer_id;
    be32 num_policer_profiles;
    sbe32 pt_based_pol;   // truth
    sbe32 vlan_based_pol; // truth
    be16 num_policer_groups;
    be32 numChipBuffPools;
    be32 chipBuffers; // bytes
    be32 portBuffers; // bytes
    uint8_t maxRedProfilesPerChip;
    qosChipPortInfo_t portInfo[160];
    be32 egr_td_red_prof;
    sbe32 status;
};
QOS_LAYOUT(qosChipUpMsg_t, sizeof(R) == 2007 && offsetof(R, chip_ifindex) == 4 && offsetof(R, slot_id) == 8 &&
                               offsetof(R, local_chip_id) == 12 && offsetof(R, num_ports) == 16 &&
                               offsetof(R, chip_type) == 20 && offsetof(R, chip_rev) == 24 &&
                               offsetof(R, num_ingr_policer_ids) == 28 && offsetof(R, ingr_infin_policer_id) == 32 &&
                               offsetof(R, min_ingr_policer_id) == 36 && offsetof(R, num_egr_policer_ids) == 40 &&
                               offsetof(R, egr_infin_policer_id) == 44 && offsetof(R, min_egr_policer_id) == 48 &&
                               offsetof(R, num_policer_profiles) == 52 && offsetof(R, pt_based_pol) == 56 &&
                               offsetof(R, vlan_based_pol) == 60 && offsetof(R, num_policer_groups) == 64 &&
                               offsetof(R, numChipBuffPools) == 66 && offsetof(R, chipBuffers) == 70 &&
                               offsetof(R, portBuffers) == 74 && offsetof(R, maxRedProfilesPerChip) == 78 &&
                               offsetof(R, portInfo) == 79 && offsetof(R, egr_td_red_prof) == 1999 &&
                               offsetof(R, status) == 2003);

// Code 2. An interface to add.
struct qosIfAddMsg_t {
    be32 ifIndex;
    char ifName[20];
    sbe32 chip_id;
    sbe32 status;
};
QOS_LAYOUT(qosIfAddMsg_t,
           sizeof(R) == 32 && offsetof(R, ifName) == 4 && offsetof(R, chip_id) == 24 && offsetof(R, status) == 28);

// Code 3. An interface to delete.
struct qosIfDelMsg_t {
    be32 ifIndex;
    char ifName[20];
    sbe32 status; // left as it came when the interface is unknown
};
QOS_LAYOUT(qosIfDelMsg_t, sizeof(R) == 28 && offsetof(R, ifName) == 4 && offsetof(R, status) == 24);

// ---- Priority

// Codes 4 to 7. Layer 2 priority. Every message carries the whole set; the code says what has changed.
struct qosL2PriMsg_t {
    be32 ifIndex;
    char ifName[20];
    be32 chip_ifindex;
    uint8_t def_cos;
    uint8_t def_tc;
    sbe32 cos_trust;    // truth
    uint8_t cos_map[8]; // output CoS by input CoS
    uint8_t tc_map[8];  // traffic class by CoS
    sbe32 status;
};
QOS_LAYOUT(qosL2PriMsg_t, sizeof(R) == 54 && offsetof(R, ifName) == 4 && offsetof(R, chip_ifindex) == 24 &&
                              offsetof(R, def_cos) == 28 && offsetof(R, def_tc) == 29 && offsetof(R, cos_trust) == 30 &&
                              offsetof(R, cos_map) == 34 && offsetof(R, tc_map) == 42 && offsetof(R, status) == 50);

// Codes 8 to 11. Layer 3 priority, likewise.
struct qosL3PriMsg_t {
    be32 ifIndex;
    char ifName[20];
    be32 chip_ifindex;
    sbe32 dscp_trust;     // truth
    uint8_t dscp_map[64]; // output DSCP by input DSCP
    uint8_t cos_map[64];  // CoS by DSCP
    uint8_t tc_map[64];   // traffic class by DSCP
    sbe32 status;
};
QOS_LAYOUT(qosL3PriMsg_t, sizeof(R) == 228 && offsetof(R, ifName) == 4 && offsetof(R, chip_ifindex) == 24 &&
                              offsetof(R, dscp_trust) == 28 && offsetof(R, dscp_map) == 32 &&
                              offsetof(R, cos_map) == 96 && offsetof(R, tc_map) == 160 && offsetof(R, status) == 224);

// ---- Congestion

// Codes 12 to 18, 23, 24, 34, 36, 78. The body of all congestion messages; each handler reads the fields of its
// operation alone.
struct qosCcbMsg_t {
    be32 ifindex; // or QOS_ALL_CHIPS_IFINDEX
    char ifName[20];
    be32 chip_ifindex; // or QOS_ALL_CHIPS_IFINDEX
    uint8_t tc_map[8]; // traffic class by CoS
    sbe32 pause_rx;
    sbe32 pause_tx;
    sbe32 pfc_rx[8];
    sbe32 pfc_tx[8];
    uint8_t pri_tail_drop_threshold[8]; // weight by CoS
    sbe32 priTailDropSet;               // truth: use the weights
    sbe32 cos;
    be16 profileId;
    be32 minThreshold;
    be32 maxThreshold;
    be32 dropProbability; // percent
    sbe32 set;            // truth: apply the profile, else remove it
    be32 rateLimit;
    be32 burstLimit;
    be32 mcTailDrop[8]; // by queue
    uint8_t mcastQueueMode;
    sbe32 status;
};
QOS_LAYOUT(qosCcbMsg_t,
           sizeof(R) == 187 && offsetof(R, ifName) == 4 && offsetof(R, chip_ifindex) == 24 &&
               offsetof(R, tc_map) == 28 && offsetof(R, pause_rx) == 36 && offsetof(R, pause_tx) == 40 &&
               offsetof(R, pfc_rx) == 44 && offsetof(R, pfc_tx) == 76 && offsetof(R, pri_tail_drop_threshold) == 108 &&
               offsetof(R, priTailDropSet) == 116 && offsetof(R, cos) == 120 && offsetof(R, profileId) == 124 &&
               offsetof(R, minThreshold) == 126 && offsetof(R, maxThreshold) == 130 &&
               offsetof(R, dropProbability) == 134 && offsetof(R, set) == 138 && offsetof(R, rateLimit) == 142 &&
               offsetof(R, burstLimit) == 146 && offsetof(R, mcTailDrop) == 150 && offsetof(R, mcastQueueMode) == 182 &&
               offsetof(R, status) == 183);

// Codes 71, 72. Depth of all ingress or all egress queues.
struct qosQueueDepthMsg_t {
    be32 chip_ifindex; // filled by the agent, chip by chip
    be32 queueDepth;   // bytes
    sbe32 status;
};
QOS_LAYOUT(qosQueueDepthMsg_t, sizeof(R) == 12 && offsetof(R, queueDepth) == 4 && offsetof(R, status) == 8);

// Code 42. The budget of a port and its thresholds by traffic class, in bytes.
struct qosPortPriBuffersMsg_t {
    be32 ifindex;
    sbe32 status;
    be32 tailDropThreshold;
    be32 thresholds[8];
};
QOS_LAYOUT(qosPortPriBuffersMsg_t, sizeof(R) == 44 && offsetof(R, status) == 4 && offsetof(R, tailDropThreshold) == 8 &&
                                       offsetof(R, thresholds) == 12);

// Code 46. RED of a port's ingress virtual queues; also the record of qosCcbIvqRedCfg_t.
struct qosCcbIvqRedIfInfo_t {
    sbe32 status;
    be32 ifIndex;
    uint8_t pfc_map; // one bit a priority
};
QOS_LAYOUT(qosCcbIvqRedIfInfo_t, sizeof(R) == 9 && offsetof(R, ifIndex) == 4 && offsetof(R, pfc_map) == 8);

// Code 47. The same for the ports of a chip. Fixed head; numEntries records follow.
struct qosCcbIvqRedCfg_t {
    sbe32 status;
    sbe32 numEntries;
    be32 chip_ifindex;
    qosCcbIvqRedIfInfo_t data[0];
};
QOS_LAYOUT(qosCcbIvqRedCfg_t, sizeof(R) == 12 && offsetof(R, numEntries) == 4 && offsetof(R, chip_ifindex) == 8 &&
                                  offsetof(R, data) == 12);

// Codes 37 to 39. Long-distance links.
struct qosLdConfigMsg_t {
    be32 cmd; // 1 LD config, 2 LD unconfig, 3 regular ISL config, 4 regular ISL unconfig
    be32 ifindex;
    be32 distance;   // metres
    uint8_t num_pfc; // lossless priorities
    sbe32 status;    // comes back as it was sent
};
QOS_LAYOUT(qosLdConfigMsg_t, sizeof(R) == 17 && offsetof(R, ifindex) == 4 && offsetof(R, distance) == 8 &&
                                 offsetof(R, num_pfc) == 12 && offsetof(R, status) == 13);

// ---- Scheduler and shaper: the three parts also stand in memory records as they are

// Scheduling of a port.
struct qosSch_t {
    be32 SchFlags;
    be32 sp_count;       // strict-priority queues
    be32 sp_queue_bw[8]; // Mbit/s
    be32 dwrr_weight[8];
    be32 sch_cfg_status;
};
QOS_LAYOUT(qosSch_t, sizeof(R) == 76 && offsetof(R, sp_count) == 4 && offsetof(R, sp_queue_bw) == 8 &&
                         offsetof(R, dwrr_weight) == 40 && offsetof(R, sch_cfg_status) == 72);

// Multicast scheduling of a chip.
struct qosMcSch_t {
    be32 mc_dwrr_weight[8];
    be32 mc_sch_cfg_status;
};
QOS_LAYOUT(qosMcSch_t, sizeof(R) == 36 && offsetof(R, mc_sch_cfg_status) == 32);

// Shaper of a port.
struct qosShaper_t {
    be32 SchFlags;
    be32 if_bw; // the port's rate
    be32 port_shp_cfg_status;
};
QOS_LAYOUT(qosShaper_t, sizeof(R) == 12 && offsetof(R, if_bw) == 4 && offsetof(R, port_shp_cfg_status) == 8);

// Codes 19 to 22. The body of all scheduler messages.
struct qosSchMsg_t {
    be32 ifIndex;
    char ifName[20];
    be32 chip_ifindex;
    qosShaper_t shaper_cfg;
    qosSch_t sch_cfg;
    qosMcSch_t Mcsch_cfg;
    sbe32 status;
};
QOS_LAYOUT(qosSchMsg_t, sizeof(R) == 156 && offsetof(R, ifName) == 4 && offsetof(R, chip_ifindex) == 24 &&
                            offsetof(R, shaper_cfg) == 28 && offsetof(R, sch_cfg) == 40 &&
                            offsetof(R, Mcsch_cfg) == 116 && offsetof(R, status) == 152);

// ---- Policers

// Rates and actions of a policer. Rates are in bits per second, 0x0000ffffffffffff being unlimited.
struct qosPolParam_t {
    be64 cir;
    be64 cbs;
    be64 eir;
    be64 ebs;
    uint8_t conform_ip_tos;
    uint8_t conform_traffic_class;
    uint8_t exceed_ip_tos;
    uint8_t exceed_traffic_class;
    uint8_t flags; // bits 7 to 5 conform, 4 to 2 exceed: rewrite precedence, DSCP, traffic class
    uint8_t reserved0[3];
};
QOS_LAYOUT(qosPolParam_t, sizeof(R) == 40 && offsetof(R, cbs) == 8 && offsetof(R, eir) == 16 &&
                              offsetof(R, ebs) == 24 && offsetof(R, conform_ip_tos) == 32 &&
                              offsetof(R, conform_traffic_class) == 33 && offsetof(R, exceed_ip_tos) == 34 &&
                              offsetof(R, exceed_traffic_class) == 35 && offsetof(R, flags) == 36);

// Code 31. A policer to install or update.
struct qosPolPolicerAddMsg_t {
    be32 ifindex; // or QOS_ALL_CHIPS_IFINDEX for the chip as a whole
    char ifName[20];
    be32 chip_ifindex;
    be32 profile_id;
    uint8_t conform_cos[8];
    uint8_t exceed_cos[8];
    uint8_t violate_cos[8];
    be32 policer_id;
    be16 pol_grp_idx;         // written by the agent
    sbe32 dir;                // 0 ingress, else egress
    uint8_t policer_req_type; // 1 installs, anything else updates
    sbe32 class_default;      // truth
    sbe32 poll_pol_cntr;      // non-zero: watch the counter
    sbe32 is_bum_policer;
    sbe32 add_profile; // truth
    qosPolParam_t policer_param;
    be32 odata1;
    be32 odata2;
    be64 op_cir; // programmed rate, bits per second
    be64 op_eir;
    sbe32 status;
};
QOS_LAYOUT(qosPolPolicerAddMsg_t,
           sizeof(R) == 151 && offsetof(R, ifName) == 4 && offsetof(R, chip_ifindex) == 24 &&
               offsetof(R, profile_id) == 28 && offsetof(R, conform_cos) == 32 && offsetof(R, exceed_cos) == 40 &&
               offsetof(R, violate_cos) == 48 && offsetof(R, policer_id) == 56 && offsetof(R, pol_grp_idx) == 60 &&
               offsetof(R, dir) == 62 && offsetof(R, policer_req_type) == 66 && offsetof(R, class_default) == 67 &&
               offsetof(R, poll_pol_cntr) == 71 && offsetof(R, is_bum_policer) == 75 &&
               offsetof(R, add_profile) == 79 && offsetof(R, policer_param) == 83 && offsetof(R, odata1) == 123 &&
               offsetof(R, odata2) == 127 && offsetof(R, op_cir) == 131 && offsetof(R, op_eir) == 139 &&
               offsetof(R, status) == 147);

// Code 32. A policer to remove.
struct qosPolPolicerDelMsg_t {
    be32 ifindex; // or QOS_ALL_CHIPS_IFINDEX for the chip as a whole
    char ifName[20];
    be32 chip_ifindex;
    be32 profile_id;
    be32 policer_id;
    be16 pol_grp_idx; // written by the agent
    sbe32 class_default;
    sbe32 is_bum_policer;
    sbe32 dir; // 0 ingress, else egress
    uint8_t policer_req_type;
    sbe32 status;
};
QOS_LAYOUT(qosPolPolicerDelMsg_t, sizeof(R) == 55 && offsetof(R, ifName) == 4 && offsetof(R, chip_ifindex) == 24 &&
                                      offsetof(R, profile_id) == 28 && offsetof(R, policer_id) == 32 &&
                                      offsetof(R, pol_grp_idx) == 36 && offsetof(R, class_default) == 38 &&
                                      offsetof(R, is_bum_policer) == 42 && offsetof(R, dir) == 46 &&
                                      offsetof(R, policer_req_type) == 50 && offsetof(R, status) == 51);

// Code 33. The rewrite tables of a profile, by CoS.
struct qosPolProfileMsg_t {
    be32 chip_ifindex;
    be32 profile_id;
    uint8_t conform_cos[8];
    uint8_t exceed_cos[8];
    uint8_t violate_cos[8];
    uint8_t profile_req_type; // 2 deletes, else updates
    sbe32 status;
};
QOS_LAYOUT(qosPolProfileMsg_t, sizeof(R) == 37 && offsetof(R, profile_id) == 4 && offsetof(R, conform_cos) == 8 &&
                                   offsetof(R, exceed_cos) == 16 && offsetof(R, violate_cos) == 24 &&
                                   offsetof(R, profile_req_type) == 32 && offsetof(R, status) == 33);

// One policer of qosPolStatsGetMsg_t.
struct qosPolStatsRec_t {
    be32 ifindex; // QOS_ALL_CHIPS_IFINDEX in the first record: the sum over all chips
    be32 policer_id;
    be16 pol_grp_idx; // filled by the agent
    uint8_t reserved0[102];
    be64 counter[3]; // the third counts violations
};
QOS_LAYOUT(qosPolStatsRec_t, sizeof(R) == 136 && offsetof(R, policer_id) == 4 && offsetof(R, pol_grp_idx) == 8 &&
                                 offsetof(R, counter) == 112);

// Code 40. Policer counters. Fixed head; num_records records follow, and the first is read whatever the number.
struct qosPolStatsGetMsg_t {
    be32 chip_ifindex;
    sbe32 status;
    sbe32 dir; // 0 ingress, else egress
    be16 num_records;
    qosPolStatsRec_t records[0];
};
QOS_LAYOUT(qosPolStatsGetMsg_t, sizeof(R) == 14 && offsetof(R, status) == 4 && offsetof(R, dir) == 8 &&
                                    offsetof(R, num_records) == 12 && offsetof(R, records) == 14);

// One policer of qosPolStatsClrMsg_t.
struct qosPolStatsClrData_t {
    be32 ifindex;
    be32 policer_id;
};
QOS_LAYOUT(qosPolStatsClrData_t, sizeof(R) == 8 && offsetof(R, policer_id) == 4);

// Code 44. Policers to clear. A body ends behind num_policers entries, which may be fewer or more than declared here.
struct qosPolStatsClrMsg_t {
    sbe32 status;
    be32 ifindex; // of a chip, or QOS_ALL_CHIPS_IFINDEX
    sbe32 dir;    // 0 ingress, else egress
    sbe32 num_policers;
    uint8_t num_pol_grp; // written by the agent
    qosPolStatsClrData_t stats_clr_data[200];
};
QOS_LAYOUT(qosPolStatsClrMsg_t, sizeof(R) == 1617 && offsetof(R, ifindex) == 4 && offsetof(R, dir) == 8 &&
                                    offsetof(R, num_policers) == 12 && offsetof(R, num_pol_grp) == 16 &&
                                    offsetof(R, stats_clr_data) == 17);

// Code 45. Clear the counters of all policers, or of the BUM ones.
struct qosPolStatsClrAllMsg_t {
    be32 ifindex;
    sbe32 is_bum_pol_stats_clr_req;
};
QOS_LAYOUT(qosPolStatsClrAllMsg_t, sizeof(R) == 8 && offsetof(R, is_bum_pol_stats_clr_req) == 4);

// Code 43. From the agent: a BUM policer has begun or ceased to drop.
struct qosPolBumStateNotifyMsg_t {
    be32 ifindex;
    be32 pol_id;
    sbe32 dir;
    sbe32 bum_mon_state; // 1 in violation, 0 not
};
QOS_LAYOUT(qosPolBumStateNotifyMsg_t,
           sizeof(R) == 16 && offsetof(R, pol_id) == 4 && offsetof(R, dir) == 8 && offsetof(R, bum_mon_state) == 12);

// Code 68. Forget that a port's BUM policers are in violation.
struct qosBumResetStateMsg_t {
    be32 ifindex;
    char ifName[20];
    sbe32 status;
};
QOS_LAYOUT(qosBumResetStateMsg_t, sizeof(R) == 28 && offsetof(R, ifName) == 4 && offsetof(R, status) == 24);

// ---- Drop monitor

// Code 73. A port to watch for drops, or to watch no longer.
struct qaDropMonitorCfgMsg_t {
    be32 ifindex; // or QOS_ALL_CHIPS_IFINDEX
    char ifName[20];
    be32 chip_ifindex;
    uint8_t cmd; // 1 add, 2 delete
    sbe32 status;
};
QOS_LAYOUT(qaDropMonitorCfgMsg_t, sizeof(R) == 33 && offsetof(R, ifName) == 4 && offsetof(R, chip_ifindex) == 24 &&
                                      offsetof(R, cmd) == 28 && offsetof(R, status) == 29);

// One port that dropped.
struct qosDropMonitorNotifyRec_t {
    be32 ifindex;
    be32 td_drop_seen;  // 1 in a tail-drop notice, else 0
    be32 red_drop_seen; // 1 in a RED notice, else 0
};
QOS_LAYOUT(qosDropMonitorNotifyRec_t,
           sizeof(R) == 12 && offsetof(R, td_drop_seen) == 4 && offsetof(R, red_drop_seen) == 8);

// Code 74. From the agent. Fixed head; count records follow.
struct qosDropMonitorNotifyMsg_t {
    be32 count;
    qosDropMonitorNotifyRec_t records[0];
};
QOS_LAYOUT(qosDropMonitorNotifyMsg_t, sizeof(R) == 4 && offsetof(R, records) == 4);

// Tail drops of a watched port. Native order: it stays inside the agent and is kept in the port's record.
struct qosTdMonitorStatsIfMsg_t {
    ne32 ifindex;
    uint8_t reserved0[4];
    ne64 td_drop;
    ne32 is_td_if_drop; // 1: this poll counts as a drop
    uint8_t reserved1[4];
};
QOS_LAYOUT(qosTdMonitorStatsIfMsg_t, sizeof(R) == 24 && offsetof(R, td_drop) == 8 && offsetof(R, is_td_if_drop) == 16);

// Code 75. Request of the tail-drop monitor to a back end. Fixed head; num_records records follow.
struct qosTdMonitorStatsMsg_t {
    uint8_t reserved0[4];
    sbe32 status;
    be32 num_records;
    qosTdMonitorStatsIfMsg_t records[0];
};
QOS_LAYOUT(qosTdMonitorStatsMsg_t,
           sizeof(R) == 12 && offsetof(R, status) == 4 && offsetof(R, num_records) == 8 && offsetof(R, records) == 12);

// RED drops of a watched port, likewise.
struct qosRedMonitorStatsIfMsg_t {
    ne32 ifindex;
    ne32 tmc_type;
    ne64 green_drop;
    ne64 red_drop;
    ne64 yellow_drop;
    ne32 is_red_if_drop; // 1: this poll counts as a drop
};
QOS_LAYOUT(qosRedMonitorStatsIfMsg_t, sizeof(R) == 36 && offsetof(R, tmc_type) == 4 && offsetof(R, green_drop) == 8 &&
                                          offsetof(R, red_drop) == 16 && offsetof(R, yellow_drop) == 24 &&
                                          offsetof(R, is_red_if_drop) == 32);

// Code 76. The same request for RED drops.
struct qosRedMonitorStatsMsg_t {
    uint8_t reserved0[4];
    sbe32 status;
    be32 num_records;
    qosRedMonitorStatsIfMsg_t records[0];
};
QOS_LAYOUT(qosRedMonitorStatsMsg_t,
           sizeof(R) == 12 && offsetof(R, status) == 4 && offsetof(R, num_records) == 8 && offsetof(R, records) == 12);

// ---- The catalogue

struct qosMsgInfo_t {
    uint8_t code;
    // Bytes that a handler needs before it may be called, and 0 where there is no handler. Records that a count inside
    // the body adds are not in it.
    uint16_t min_len;
    const char *name;     // as the trace prints it
    const wireBody *body; // null for a code that no message carries
};

extern const qosMsgInfo_t qosMsgCatalogue[QOS_MSG_CODES];

// The row of a code, null outside the catalogue. For the dispatcher, the tool and the tests.
const qosMsgInfo_t *qosMsgInfo(unsigned code);

// The name of a code for traces, "Unknown" outside the catalogue.
const char *qosMsgName(unsigned code);

#endif
