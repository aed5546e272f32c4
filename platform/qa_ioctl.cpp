// The rows of the back-end table, one a chip type. What a row does not set is null: the type lacks the operation.
#include "platform/qa_ioctl.h"

#include "core/handler.h"
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

// What Tessel and both Mirelle types do alike.
constexpr qaIoctlRow_t sharedRow()
{
    qaIoctlRow_t row = {};
    row[QOS_COSTRUST_MSG] = qaUntyped<tslSetIfCosTrust>;
    row[QOS_DEFCOS_MSG] = qaUntyped<tslSetIfDefCos>;
    row[QOS_COSMAP_MSG] = qaUntyped<tslSetIfCosMap>;
    row[QOS_COSTCMAP_MSG] = qaUntyped<tslSetIfCosTcMap>;
    row[QOS_DSCPTRUST_MSG] = qaUntyped<tslSetIfDscpTrust>;
    row[QOS_DSCPMAP_MSG] = qaUntyped<tslSetIfDscpMap>;
    row[QOS_DSCPCOSMAP_MSG] = qaUntyped<tslSetIfDscpCosMap>;
    row[QOS_DSCPTCMAP_MSG] = qaUntyped<tslSetIfDscpTcMap>;
    row[QOS_PAUSE_MSG] = qaUntyped<tslSetPause>;
    row[QOS_PFC_MSG] = qaUntyped<tslSetPfc>;
    row[QOS_PRI_TAILDROP_MSG] = qaUntyped<tslSetPriTailDrop>;
    row[QOS_TAILDROP_MSG] = qaUntyped<tslSetTailDrop>;
    row[QOS_W2QPRI_MSG] = qaUntyped<tslSetW2qPriMap>;
    row[QOS_SCH_MSG] = qaUntyped<tslSetSchCfg>;
    row[QOS_PSHAPE_MSG] = qaUntyped<tslSetPortShaperCfg>;
    row[QOS_RED_CHIP_INIT_MSG] = qaUntyped<tslRedChipInit>;
    row[QOS_GET_ING_QUE_STATS_MSG] = qaUntyped<tslGetIngQueStats>;
    row[QOS_GET_EGR_QUE_STATS_MSG] = qaUntyped<tslGetEgrQueStats>;
    row[QOS_GET_ING_BUF_STATS_MSG] = qaUntyped<tslGetIngBufStats>;
    row[QOS_GET_EGR_BUF_STATS_MSG] = qaUntyped<tslGetEgrBufStats>;
    row[QOS_GET_PLC_ING_QUE_STATS_MSG] = qaUntyped<tslGetPlcIngQueStats>;
    row[QOS_GET_PLC_EGR_QUE_STATS_MSG] = qaUntyped<tslGetPlcEgrQueStats>;
    row[QOS_GET_PLC_ING_BUF_STATS_MSG] = qaUntyped<tslGetPlcIngBufStats>;
    row[QOS_GET_PLC_EGR_BUF_STATS_MSG] = qaUntyped<tslGetPlcEgrBufStats>;
    row[QOS_GET_DROP_RSN_STATS_MSG] = qaUntyped<tslGetDropRsnStats>;
    return row;
}

constexpr qaIoctlRow_t larkinRow()
{
    qaIoctlRow_t row = {};
    row[QOS_CHIPUP_MSG] = qaUntyped<larkGetChipCapability>;
    row[QOS_COSTRUST_MSG] = qaUntyped<larkSetIfCosTrust>;
    row[QOS_DEFCOS_MSG] = qaUntyped<larkSetIfDefCos>;
    row[QOS_COSMAP_MSG] = qaUntyped<larkSetIfCosMap>;
    row[QOS_COSTCMAP_MSG] = qaUntyped<larkSetIfCosTcMap>;
    row[QOS_DSCPTRUST_MSG] = qaUntyped<larkSetIfDscpTrust>;
    row[QOS_DSCPCOSMAP_MSG] = qaUntyped<larkSetIfDscpCosMap>;
    row[QOS_DSCPTCMAP_MSG] = qaUntyped<larkSetIfDscpTcMap>;
    row[QOS_PAUSE_MSG] = qaUntyped<larkSetPause>;
    row[QOS_PFC_MSG] = qaUntyped<larkSetPfc>;
    row[QOS_PRI_TAILDROP_MSG] = qaUntyped<larkSetPriTailDrop>;
    row[QOS_TAILDROP_MSG] = qaUntyped<larkSetTailDrop>;
    row[QOS_SBP_MSG] = qaUntyped<larkGetSbpSize>;
    row[QOS_EMERGENCY_PAUSE_MSG] = qaUntyped<larkSetEmergencyPause>;
    row[QOS_SCH_MSG] = qaUntyped<larkSetSchCfg>;
    row[QOS_MC_SCH_MSG] = qaUntyped<larkSetMcSchCfg>;
    row[QOS_MCAST_RATELIMIT_MSG] = qaUntyped<larkSetMcastRateLimit>;
    row[QOS_MCAST_TAILDROP_MSG] = qaUntyped<larkSetMcastTailDrop>;
    row[QOS_GET_RCVQUEUE_STATS_MSG] = qaUntyped<larkGetRcvQueStats>;
    row[QOS_GET_SWM_STATS_MSG] = qaUntyped<larkGetSwmStats>;
    row[QOS_GET_RMON_STATS_MSG] = qaUntyped<larkGetRmonStats>;
    row[QOS_GET_MCAST_RCVQUEUE_STATS_MSG] = qaUntyped<larkGetMcastRcvQueStats>;
    row[QOS_GET_FLOWCONTROL_STATS_MSG] = qaUntyped<larkGetFlowControlStats>;
    row[QOS_GET_QUEUE_STATS_MSG] = qaUntyped<larkGetQueueStats>;
    row[QOS_RED_PROFILE_MSG] = qaUntyped<larkinSetRedProfile>;
    row[QOS_RED_CHIP_INIT_MSG] = qaUntyped<larkinRedChipInit>;
    row[QOS_PORT_BUF_ADJUST_MSG] = qaUntyped<larkSetPortBuf>;
    row[QOS_SET_DEF_TAILDROP_MSG] = qaUntyped<larkSetDefTailDrop>;
    row[QOS_CLEAR_STATS_MSG] = qaUntyped<larkClearStats>;
    return row;
}

constexpr qaIoctlRow_t tesselRow()
{
    qaIoctlRow_t row = sharedRow();
    row[QOS_CHIPUP_MSG] = qaUntyped<tslGetChipCapability>;
    row[QOS_SBP_MSG] = qaUntyped<tslGetSbpSize>;
    row[QOS_RED_PROFILE_MSG] = qaUntyped<tslSetRedProfile>;
    row[QOS_GET_RED_STATS_MSG] = qaUntyped<tslGetRedStats>;
    row[QOS_SET_DEF_TAILDROP_MSG] = qaUntyped<tslSetDefTailDrop>;
    row[QOS_IVQ_RED_CFG] = qaUntyped<tslIvqRedCfg>;
    row[QOS_IVQ_RED_CHIP_CFG] = qaUntyped<tslIvqRedChipCfg>;
    row[QOS_POL_POLICER_ADD_MSG] = qaUntyped<tslPolicerAdd>;
    row[QOS_POL_POLICER_REM_MSG] = qaUntyped<tslPolicerRem>;
    row[QOS_POL_PROFILE_MSG] = qaUntyped<tslPolProfileCfg>;
    row[QOS_GET_POL_STATS_MSG] = qaUntyped<tslPolStatsGet>;
    row[QOS_POL_STATS_CLR_MSG] = qaUntyped<tslPolStatsClr>;
    row[QOS_TD_MONITOR_STATS_MSG] = qaUntyped<tslGetTdDropMonitorStats>;
    row[QOS_GET_FLOWCONTROL_STATS_MSG] = qaUntyped<tslGetFlowControlStats>;
    row[QOS_GET_QUEUE_STATS_MSG] = qaUntyped<tslGetQueueStats>;
    row[QOS_GET_ING_TMC_CHIP_QUE_STATS_MSG] = qaUntyped<tslGetTmcIngChipQueStats>;
    row[QOS_GET_EGR_TMC_CHIP_QUE_STATS_MSG] = qaUntyped<tslGetTmcEgrChipQueStats>;
    row[QOS_GET_ING_TMC_CHIP_BUF_STATS_MSG] = qaUntyped<tslGetTmcIngChipBufStats>;
    row[QOS_GET_EGR_TMC_CHIP_BUF_STATS_MSG] = qaUntyped<tslGetTmcEgrChipBufStats>;
    row[QOS_GET_ING_TMC_PORT_BUF_STATS_MSG] = qaUntyped<tslGetIngTmcPortBufStats>;
    row[QOS_GET_EGR_TMC_PORT_BUF_STATS_MSG] = qaUntyped<tslGetEgrTmcPortBufStats>;
    row[QOS_GET_ING_TMC_PORT_QUE_STATS_MSG] = qaUntyped<tslGetIngTmcPortQueStats>;
    row[QOS_GET_VOQ_STATS_MSG] = qaUntyped<tslGetVoqStats>;
    row[QOS_GET_TMC_INFO_MSG] = qaUntyped<tslGetTmcInfo>;
    row[QOS_CLEAR_STATS_MSG] = qaUntyped<tslClearStats>;
    row[QOS_CLEAR_DBG_STATS] = qaUntyped<tslClearDbgStats>;
    return row;
}

constexpr qaIoctlRow_t mirelleRow()
{
    qaIoctlRow_t row = sharedRow();
    row[QOS_CHIPUP_MSG] = qaUntyped<mrlGetChipCapability>;
    row[QOS_GET_RCVQUEUE_STATS_MSG] = qaUntyped<mrlGetBusyBufStats>;
    row[QOS_GET_SWM_STATS_MSG] = qaUntyped<mrlGetSwmStats>;
    row[QOS_GET_RMON_STATS_MSG] = qaUntyped<mrlGetRmonStats>;
    row[QOS_GET_FLOWCONTROL_STATS_MSG] = qaUntyped<mrlGetFlowControlStats>;
    row[QOS_GET_QUEUE_STATS_MSG] = qaUntyped<mrlGetQueueStats>;
    row[QOS_POL_POLICER_ADD_MSG] = qaUntyped<mrlPolicerAdd>;
    row[QOS_POL_POLICER_REM_MSG] = qaUntyped<mrlPolicerRem>;
    row[QOS_POL_PROFILE_MSG] = qaUntyped<mrlPolProfileCfg>;
    row[QOS_RED_PROFILE_MSG] = qaUntyped<mrlSetRedProfile>;
    row[QOS_GET_RED_STATS_MSG] = qaUntyped<mrlGetRedStats>;
    row[QOS_SET_DEF_TAILDROP_MSG] = qaUntyped<mrlSetDefTailDrop>;
    row[QOS_GET_POL_STATS_MSG] = qaUntyped<mrlPolStatsGet>;
    row[QOS_CLEAR_STATS_MSG] = qaUntyped<mrlClearStats>;
    row[QOS_POL_STATS_CLR_MSG] = qaUntyped<mrlPolStatsClr>;
    row[QOS_GET_SENDQUEUE_STATS_MSG] = qaUntyped<mrlGetSendQueueStats>;
    row[QOS_EGR_QUEUE_DEPTH_MSG] = qaUntyped<mrlSetDefaultRedCfg>;
    row[QOS_TD_MONITOR_STATS_MSG] = qaUntyped<mrlGetTdMonitorStats>;
    row[QOS_RED_MONITOR_STATS] = qaUntyped<mrlGetRedMonitorStats>;
    row[QOS_GET_ASIC_INT_STATS_MSG] = qaUntyped<mrlGetAsicIntStats>;
    row[QOS_SET_MCAST_QUEUE_MODE_MSG] = qaUntyped<mrlSetMcastQueueMode>;
    return row;
}

} // namespace

constexpr std::array<qaIoctlRow_t, QOS_CHIP_TYPES> qaIoctlFn = {larkinRow(), tesselRow(), mirelleRow(), mirelleRow()};

constexpr std::array<qaChipInit_t, QOS_CHIP_TYPES> qaL2PriChipInitFn = {larkL2PriChipUp};
constexpr std::array<qaChipInit_t, QOS_CHIP_TYPES> qaL3PriChipInitFn = {larkL3PriChipUp};
