// SPDX-License-Identifier: Apache-2.0
// The rows of the back-end table, one a chip type. What a row does not set is null: the type lacks the operation.
#include "platform/qa_ioctl.h"

#include "platform/larkin/lark_ccb.h"
#include "platform/larkin/lark_sched.h"
#include "platform/larkin/lark_statistics.h"
#include "platform/larkin/lark_tcam.h"
#include "platform/mirelle/mrl_capability.h"
#include "platform/mirelle/mrl_congestion.h"
#include "platform/mirelle/mrl_drop_monitor.h"
#include "platform/mirelle/mrl_policer.h"
#include "platform/mirelle/mrl_red.h"
#include "platform/mirelle/mrl_statistics.h"
#include "platform/records/frame.h"
#include "platform/tessel/tsl_capability.h"
#include "platform/tessel/tsl_congestion.h"
#include "platform/tessel/tsl_drop_monitor.h"
#include "platform/tessel/tsl_policer.h"
#include "platform/tessel/tsl_priority.h"
#include "platform/tessel/tsl_red.h"
#include "platform/tessel/tsl_scheduler.h"
#include "platform/tessel/tsl_statistics.h"

namespace {

// An entry takes what its code names, or the row does not compile.
template <uint8_t Code, const auto &Entry>
constexpr void set(qaIoctlRow_t &row)
{
    static_assert(std::is_same_v<qaBodyOf<Entry>, qosOperationOf<Code>>, "an entry of another record");
    row[Code] = qaUntyped<Entry>;
}

// The reads of blocks that only Tessel has, or also the Mirelle types.
enum class chips_t : bool { TESSEL, SHARED };

constexpr void setBlocks(qaIoctlRow_t &row, chips_t whose)
{
#define STAT_BLOCK(entry, code, chips, ...)                                                                            \
    if (chips_t::chips == whose)                                                                                       \
        set<code, entry>(row);
#include "platform/records/statistics.def"
#undef STAT_BLOCK
}

// What Tessel and both Mirelle types do alike.
constexpr qaIoctlRow_t sharedRow()
{
    qaIoctlRow_t row = {};
    setBlocks(row, chips_t::SHARED);
    set<QOS_COSTRUST_MSG, tslSetIfCosTrust>(row);
    set<QOS_DEFCOS_MSG, tslSetIfDefCos>(row);
    set<QOS_COSMAP_MSG, tslSetIfCosMap>(row);
    set<QOS_COSTCMAP_MSG, tslSetIfCosTcMap>(row);
    set<QOS_DSCPTRUST_MSG, tslSetIfDscpTrust>(row);
    set<QOS_DSCPMAP_MSG, tslSetIfDscpMap>(row);
    set<QOS_DSCPCOSMAP_MSG, tslSetIfDscpCosMap>(row);
    set<QOS_DSCPTCMAP_MSG, tslSetIfDscpTcMap>(row);
    set<QOS_PAUSE_MSG, tslSetPause>(row);
    set<QOS_PFC_MSG, tslSetPfc>(row);
    set<QOS_PRI_TAILDROP_MSG, tslSetPriTailDrop>(row);
    set<QOS_TAILDROP_MSG, tslSetTailDrop>(row);
    set<QOS_W2QPRI_MSG, tslSetW2qPriMap>(row);
    set<QOS_SCH_MSG, tslSetSchCfg>(row);
    set<QOS_PSHAPE_MSG, tslSetPortShaperCfg>(row);
    set<QOS_RED_CHIP_INIT_MSG, tslRedChipInit>(row);
    set<QOS_GET_DROP_RSN_STATS_MSG, tslGetDropRsnStats>(row);
    return row;
}

constexpr qaIoctlRow_t larkinRow()
{
    qaIoctlRow_t row = {};
    set<QOS_CHIPUP_MSG, larkGetChipCapability>(row);
    set<QOS_COSTRUST_MSG, larkSetIfCosTrust>(row);
    set<QOS_DEFCOS_MSG, larkSetIfDefCos>(row);
    set<QOS_COSMAP_MSG, larkSetIfCosMap>(row);
    set<QOS_COSTCMAP_MSG, larkSetIfCosTcMap>(row);
    set<QOS_DSCPTRUST_MSG, larkSetIfDscpTrust>(row);
    set<QOS_DSCPCOSMAP_MSG, larkSetIfDscpCosMap>(row);
    set<QOS_DSCPTCMAP_MSG, larkSetIfDscpTcMap>(row);
    set<QOS_PAUSE_MSG, larkSetPause>(row);
    set<QOS_PFC_MSG, larkSetPfc>(row);
    set<QOS_PRI_TAILDROP_MSG, larkSetPriTailDrop>(row);
    set<QOS_TAILDROP_MSG, larkSetTailDrop>(row);
    set<QOS_SBP_MSG, larkGetSbpSize>(row);
    set<QOS_EMERGENCY_PAUSE_MSG, larkSetEmergencyPause>(row);
    set<QOS_SCH_MSG, larkSetSchCfg>(row);
    set<QOS_MC_SCH_MSG, larkSetMcSchCfg>(row);
    set<QOS_MCAST_RATELIMIT_MSG, larkSetMcastRateLimit>(row);
    set<QOS_MCAST_TAILDROP_MSG, larkSetMcastTailDrop>(row);
    set<QOS_GET_RCVQUEUE_STATS_MSG, larkGetRcvQueStats>(row);
    set<QOS_GET_SWM_STATS_MSG, larkGetSwmStats>(row);
    set<QOS_GET_RMON_STATS_MSG, larkGetRmonStats>(row);
    set<QOS_GET_MCAST_RCVQUEUE_STATS_MSG, larkGetMcastRcvQueStats>(row);
    set<QOS_GET_FLOWCONTROL_STATS_MSG, larkGetFlowControlStats>(row);
    set<QOS_GET_QUEUE_STATS_MSG, larkGetQueueStats>(row);
    set<QOS_RED_PROFILE_MSG, larkinSetRedProfile>(row);
    set<QOS_RED_CHIP_INIT_MSG, larkinRedChipInit>(row);
    set<QOS_PORT_BUF_ADJUST_MSG, larkSetPortBuf>(row);
    set<QOS_SET_DEF_TAILDROP_MSG, larkSetDefTailDrop>(row);
    set<QOS_CLEAR_STATS_MSG, larkClearStats>(row);
    return row;
}

constexpr qaIoctlRow_t tesselRow()
{
    qaIoctlRow_t row = sharedRow();
    setBlocks(row, chips_t::TESSEL);
    set<QOS_CHIPUP_MSG, tslGetChipCapability>(row);
    set<QOS_SBP_MSG, tslGetSbpSize>(row);
    set<QOS_RED_PROFILE_MSG, tslSetRedProfile>(row);
    set<QOS_GET_RED_STATS_MSG, tslGetRedStats>(row);
    set<QOS_SET_DEF_TAILDROP_MSG, tslSetDefTailDrop>(row);
    set<QOS_IVQ_RED_CFG, tslIvqRedCfg>(row);
    set<QOS_IVQ_RED_CHIP_CFG, tslIvqRedChipCfg>(row);
    set<QOS_POL_POLICER_ADD_MSG, tslPolicerAdd>(row);
    set<QOS_POL_POLICER_REM_MSG, tslPolicerRem>(row);
    set<QOS_POL_PROFILE_MSG, tslPolProfileCfg>(row);
    set<QOS_GET_POL_STATS_MSG, tslPolStatsGet>(row);
    set<QOS_POL_STATS_CLR_MSG, tslPolStatsClr>(row);
    set<QOS_TD_MONITOR_STATS_MSG, tslGetTdDropMonitorStats>(row);
    set<QOS_GET_FLOWCONTROL_STATS_MSG, tslGetFlowControlStats>(row);
    set<QOS_GET_QUEUE_STATS_MSG, tslGetQueueStats>(row);
    set<QOS_GET_TMC_INFO_MSG, tslGetTmcInfo>(row);
    set<QOS_CLEAR_STATS_MSG, tslClearStats>(row);
    set<QOS_CLEAR_DBG_STATS, tslClearDbgStats>(row);
    return row;
}

constexpr qaIoctlRow_t mirelleRow()
{
    qaIoctlRow_t row = sharedRow();
    set<QOS_CHIPUP_MSG, mrlGetChipCapability>(row);
    set<QOS_GET_RCVQUEUE_STATS_MSG, mrlGetBusyBufStats>(row);
    set<QOS_GET_SWM_STATS_MSG, mrlGetSwmStats>(row);
    set<QOS_GET_RMON_STATS_MSG, mrlGetRmonStats>(row);
    set<QOS_GET_FLOWCONTROL_STATS_MSG, mrlGetFlowControlStats>(row);
    set<QOS_GET_QUEUE_STATS_MSG, mrlGetQueueStats>(row);
    set<QOS_POL_POLICER_ADD_MSG, mrlPolicerAdd>(row);
    set<QOS_POL_POLICER_REM_MSG, mrlPolicerRem>(row);
    set<QOS_POL_PROFILE_MSG, mrlPolProfileCfg>(row);
    set<QOS_RED_PROFILE_MSG, mrlSetRedProfile>(row);
    set<QOS_GET_RED_STATS_MSG, mrlGetRedStats>(row);
    set<QOS_SET_DEF_TAILDROP_MSG, mrlSetDefTailDrop>(row);
    set<QOS_GET_POL_STATS_MSG, mrlPolStatsGet>(row);
    set<QOS_CLEAR_STATS_MSG, mrlClearStats>(row);
    set<QOS_POL_STATS_CLR_MSG, mrlPolStatsClr>(row);
    set<QOS_GET_SENDQUEUE_STATS_MSG, mrlGetSendQueueStats>(row);
    set<QOS_EGR_QUEUE_DEPTH_MSG, mrlSetDefaultRedCfg>(row);
    set<QOS_TD_MONITOR_STATS_MSG, mrlGetTdMonitorStats>(row);
    set<QOS_RED_MONITOR_STATS, mrlGetRedMonitorStats>(row);
    set<QOS_GET_ASIC_INT_STATS_MSG, mrlGetAsicIntStats>(row);
    set<QOS_SET_MCAST_QUEUE_MODE_MSG, mrlSetMcastQueueMode>(row);
    return row;
}

} // namespace

constexpr std::array<qaIoctlRow_t, QOS_CHIP_TYPES> qaIoctlFn = {larkinRow(), tesselRow(), mirelleRow(), mirelleRow()};

constexpr std::array<qaChipInit_t, QOS_CHIP_TYPES> qaL2PriChipInitFn = {larkL2PriChipUp};
constexpr std::array<qaChipInit_t, QOS_CHIP_TYPES> qaL3PriChipInitFn = {larkL3PriChipUp};
