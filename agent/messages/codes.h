// The 79 message codes, what a handler answers, and the index that means everything.
#ifndef AGENT_MESSAGES_CODES_H
#define AGENT_MESSAGES_CODES_H

#include <cstdint>

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

#endif
