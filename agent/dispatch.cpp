// Batches in, echoes out.
#include "agent/dispatch.h"

#include <cstring>

#include "agent/body_length.h"
#include "agent/bum_monitor.h"
#include "agent/ccb.h"
#include "agent/clear_stats.h"
#include "agent/core_handlers.h"
#include "agent/drop_monitor.h"
#include "agent/flow_control.h"
#include "agent/l2_priority.h"
#include "agent/l3_priority.h"
#include "agent/long_distance.h"
#include "agent/mcast_queues.h"
#include "agent/messages/catalogue.h"
#include "agent/policer.h"
#include "agent/policer_stats.h"
#include "agent/red.h"
#include "agent/scheduler.h"
#include "agent/statistics.h"
#include "channels/manager.h"
#include "core/handler.h"
#include "core/module.h"
#include "core/state.h"
#include "core/trace.h"
#include "inventory/slots.h"

namespace {

constexpr std::array<qaMsgHandler_t, QOS_MSG_CODES> handlerTable()
{
    std::array<qaMsgHandler_t, QOS_MSG_CODES> table = {};
    for (unsigned code = 0; code < QOS_MSG_CODES; ++code)
        table[code].code = static_cast<uint8_t>(code);
    table[QOS_CHIPUP_MSG].handler = qaUntyped<qaProcessChipUp>;
    table[QOS_IFADD_MSG].handler = qaUntyped<qaProcessIfAdd>;
    table[QOS_IFDEL_MSG].handler = qaUntyped<qaProcessIfDel>;
    table[QOS_COSTRUST_MSG].handler = qaUntyped<qaProcessIfCosTrust>;
    table[QOS_DEFCOS_MSG].handler = qaUntyped<qaProcessIfDefCos>;
    table[QOS_COSMAP_MSG].handler = qaUntyped<qaProcessIfCosMap>;
    table[QOS_COSTCMAP_MSG].handler = qaUntyped<qaProcessIfCosTcMap>;
    table[QOS_DSCPTRUST_MSG].handler = qaUntyped<qaProcessIfDscpTrust>;
    table[QOS_DSCPMAP_MSG].handler = qaUntyped<qaProcessIfDscpMap>;
    table[QOS_DSCPCOSMAP_MSG].handler = qaUntyped<qaProcessIfDscpCosMap>;
    table[QOS_DSCPTCMAP_MSG].handler = qaUntyped<qaProcessIfDscpTcMap>;
    table[QOS_PAUSE_MSG].handler = qaUntyped<qaProcessPause>;
    table[QOS_PFC_MSG].handler = qaUntyped<qaProcessPfc>;
    table[QOS_PRI_TAILDROP_MSG].handler = qaUntyped<qaProcessPriTailDrop>;
    table[QOS_W2QPRI_MSG].handler = qaUntyped<qaProcessW2qPri>;
    table[QOS_SCH_MSG].handler = qaUntyped<qaProcessSchCfg>;
    table[QOS_GLB_SCH_MSG].handler = qaUntyped<qaProcessGlbSchCfg>;
    table[QOS_PSHAPE_MSG].handler = qaUntyped<qaProcessPortShaperCfg>;
    table[QOS_MC_SCH_MSG].handler = qaUntyped<qaProcessMcSchCfg>;
    table[QOS_MCAST_RATELIMIT_MSG].handler = qaUntyped<qaProcessMcastRateLimit>;
    table[QOS_MCAST_TAILDROP_MSG].handler = qaUntyped<qaProcessMcastTailDrop>;
    table[QOS_GET_MCAST_RCVQUEUE_STATS_MSG].handler = qaUntyped<qaProcessMcastRcvQueStatsMsg>;
    table[QOS_LD_CFG_MSG].handler = qaUntyped<qaProcessLdCfg>;
    table[QOS_GET_PORTPRI_BUFFERS].handler = qaUntyped<qaProcessPortPriBuffers>;
    table[QOS_INGR_QUEUE_DEPTH_MSG].handler = qaUntyped<qaProcessIngrQueueDepthMsg>;
    table[QOS_EGR_QUEUE_DEPTH_MSG].handler = qaUntyped<qaProcessEgrQueueDepthMsg>;
    table[QOS_SET_MCAST_QUEUE_MODE_MSG].handler = qaUntyped<qaProcessSetMcastQueueMode>;
    table[QOS_RED_PROFILE_MSG].handler = qaUntyped<qaProcessRedProfileMsg>;
    table[QOS_GET_RED_STATS_MSG].handler = qaUntyped<qaProcessRedStatsMsg>;
    table[QOS_IVQ_RED_CFG].handler = qaUntyped<qaProcessIvqRedCfg>;
    table[QOS_IVQ_RED_CHIP_CFG].handler = qaUntyped<qaProcessIvqRedChipCfg>;
    table[QOS_GET_CHIP_CAP_MSG].handler = qaUntyped<qaProcessChipUp>;
    table[QOS_POL_POLICER_ADD_MSG].handler = qaUntyped<qaProcessPolicerAdd>;
    table[QOS_POL_POLICER_REM_MSG].handler = qaUntyped<qaProcessPolicerRem>;
    table[QOS_POL_PROFILE_MSG].handler = qaUntyped<qaProcessProfileCfg>;
    table[QOS_GET_POL_STATS_MSG].handler = qaUntyped<qaProcessPolStatsGetMsg>;
    table[QOS_POL_STATS_CLR_MSG].handler = qaUntyped<qaProcessPolStatsClr>;
    table[QOS_POL_STATS_CLR_ALL_MSG].handler = qaUntyped<qaProcessPolStatsClrAll>;
    table[QOS_BUM_RESET_MON_STATE_MSG].handler = qaUntyped<qaProcessBumResetState>;
    table[QOS_DROP_MONITOR_CFG_MSG].handler = qaUntyped<qaProcessCfgDropMonitorMsg>;
    table[QOS_CLEAR_STATS_MSG].handler = qaUntyped<qaProcessClearStatsMsg>;
    table[QOS_CLEAR_RED_INTF_RED_STATS_MSG].handler = qaUntyped<qaProcessClearRedIntfStatsMsg>;
    table[QOS_GET_RCVQUEUE_STATS_MSG].handler = qaUntyped<qaProcessRcvQueStatsMsg>;
    table[QOS_GET_SENDQUEUE_STATS_MSG].handler = qaUntyped<qaProcessSendQueStatsMsg>;
    table[QOS_GET_TMC_INFO_MSG].handler = qaUntyped<qaProcessGetTmcInfoMsg>;
    table[QOS_GET_ASIC_INT_STATS_MSG].handler = qaUntyped<qaProcessGetAsicIntStats>;
    table[QOS_GET_FLOWCONTROL_STATS_MSG].handler = qaUntyped<qaProcessFlowControlStatsMsg>;
    table[QOS_GET_QUEUE_STATS_MSG].handler = qaUntyped<qaProcessQueueStatsMsg>;
    table[QOS_GET_ING_QUE_STATS_MSG].handler = qaUntyped<qaProcessGetIngQueStats>;
    table[QOS_GET_EGR_QUE_STATS_MSG].handler = qaUntyped<qaProcessGetEgrQueStats>;
    table[QOS_GET_ING_BUF_STATS_MSG].handler = qaUntyped<qaProcessGetIngBufStats>;
    table[QOS_GET_EGR_BUF_STATS_MSG].handler = qaUntyped<qaProcessGetEgrBufStats>;
    table[QOS_GET_PLC_ING_QUE_STATS_MSG].handler = qaUntyped<qaProcessGetPlcIngQueStats>;
    table[QOS_GET_PLC_EGR_QUE_STATS_MSG].handler = qaUntyped<qaProcessGetPlcEgrQueStats>;
    table[QOS_GET_PLC_ING_BUF_STATS_MSG].handler = qaUntyped<qaProcessGetPlcIngBufStats>;
    table[QOS_GET_PLC_EGR_BUF_STATS_MSG].handler = qaUntyped<qaProcessGetPlcEgrBufStats>;
    table[QOS_GET_ING_TMC_CHIP_QUE_STATS_MSG].handler = qaUntyped<qaProcessGetTmcIngChipQueStats>;
    table[QOS_GET_EGR_TMC_CHIP_QUE_STATS_MSG].handler = qaUntyped<qaProcessGetTmcEgrChipQueStats>;
    table[QOS_GET_ING_TMC_CHIP_BUF_STATS_MSG].handler = qaUntyped<qaProcessGetTmcIngChipBufStats>;
    table[QOS_GET_EGR_TMC_CHIP_BUF_STATS_MSG].handler = qaUntyped<qaProcessGetTmcEgrChipBufStats>;
    table[QOS_GET_ING_TMC_PORT_BUF_STATS_MSG].handler = qaUntyped<qaProcessGetIngTmcPortBufStats>;
    table[QOS_GET_EGR_TMC_PORT_BUF_STATS_MSG].handler = qaUntyped<qaProcessGetEgrTmcPortBufStats>;
    table[QOS_GET_ING_TMC_PORT_QUE_STATS_MSG].handler = qaUntyped<qaProcessGetIngTmcPortQueStats>;
    table[QOS_GET_VOQ_STATS_MSG].handler = qaUntyped<qaProcessGetVoqStats>;
    table[QOS_GET_DROP_RSN_STATS_MSG].handler = qaUntyped<qaProcessGetDropRsnStats>;
    return table;
}

// Whether the batch's rest holds this header and its body.
bool fits(const qosMsgHdr_t *message, uint32_t remaining)
{
    if (remaining < sizeof *message) {
        QOS_ERR_AT("qaProcessMIMsg", "Invalid msg header, %d bytes left of the batch", remaining);
        return false;
    }
    const uint32_t type = message->msg_type;
    if (type >= QOS_MSG_CODES) {
        QOS_ERR_AT("qaProcessMIMsg", "Invalid msg type %d", type);
        return false;
    }
    const uint32_t length = message->msg_len;
    if (length > remaining - sizeof *message) {
        QOS_ERR_AT("qaProcessMIMsg", "Invalid msg length %d of type %s, %d bytes left of the batch", length,
                   qosMsgName(type), remaining);
        return false;
    }
    return true;
}

// A body shorter than its handler needs is left alone and stays unacknowledged; the batch goes on.
void dispatch(qosMsgHdr_t *message)
{
    const uint8_t type = message->msg_type;
    const auto handler = qaMsgHandlers[type].handler;
    if (handler) {
        const uint32_t length = message->msg_len;
        const uint32_t least = qosMsgCatalogue[type].min_len;
        const uint64_t needed = length < least ? least : qaBodyNeeded(type, message->msg_data, least);
        if (length < needed) {
            QOS_ERR_AT("qaProcessMIMsg", "Body of msg type %s has %d bytes, needs %llu", qosMsgName(type), length,
                       static_cast<unsigned long long>(needed));
            return;
        }
        handler(message->msg_data);
    }
    message->msg_ack = 1;
}

} // namespace

constexpr std::array<qaMsgHandler_t, QOS_MSG_CODES> qaMsgHandlers = handlerTable();

void qaRegisterAgent()
{
    QOS_FRAME();
    qosModuleRecord(QOS_MOD_AGT, "QOS AGT").slot_up = qaSlotUp;
    qosVssStageRegister(QOS_MOD_AGT, QOS_STAGE_ACTIVE, qaStart, 0);
}

int qaProcessMIMsg(int sock, uint16_t slot, unsigned char *buffer, uint32_t length)
{
    QOS_FRAME();
    QOS_DBG("Received MI Msg of length %d", length);
    if (length == 0) {
        qosHaSync();
        return QOS_OK;
    }
    for (uint32_t remaining = length; remaining != 0;) {
        auto *message = reinterpret_cast<qosMsgHdr_t *>(buffer + (length - remaining));
        if (!fits(message, remaining))
            return QOS_MSG_INVALID_BATCH;
        const uint32_t whole = message->msg_len + static_cast<uint32_t>(sizeof *message);
        QOS_DBG("Received msg type %s of length %d from slot %d", qosMsgName(message->msg_type), whole, slot);
        dispatch(message);
        remaining -= whole;
    }
    QOS_DBG("Sending Agent ACK Message of length %d", length);
    const int rc = qosSendMi6Msg(sock, 0, buffer, length & 0xffff, 0, 0);
    qosHaSync();
    return rc;
}

uint32_t qaSendToMgr(uint8_t msg_type, const void *body, uint32_t length)
{
    qosSlot_t *slot = qosLookupOwnSlot();
    if (!slot) {
        QOS_ERR("Failed to find my slot (%d) to send msg type %d", qosOwnSlotId(), msg_type);
        return QOS_MSG_REFUSED;
    }
    if (length > sizeof slot->msgBuf - sizeof(qosMsgHdr_t)) {
        QOS_ERR("Body of %d bytes is too long for msg type %d", length, msg_type);
        return QOS_MSG_REFUSED;
    }
    memset(slot->msgBuf, 0, sizeof slot->msgBuf);
    auto *message = reinterpret_cast<qosMsgHdr_t *>(slot->msgBuf);
    message->msg_type = msg_type;
    message->msg_len = static_cast<uint16_t>(length);
    memcpy(message->msg_data, body, length);
    const uint32_t whole = length + static_cast<uint32_t>(sizeof *message);
    return static_cast<uint32_t>(qosSendMi6Msg(qos_velmar_state.mi_sock, 0, slot->msgBuf, whole & 0xffff, 0, 0));
}

uint32_t qaSendRegisterMsg()
{
    const uint32_t slot = qosOwnSlotId();
    dORVALRegMsg_t body;
    body.slot_id = static_cast<int32_t>(slot);
    QOS_DBG("Sending Agent registration from slot %d", slot);
    const uint32_t rc = qaSendToMgr(QOS_AGTREG_MSG, &body, sizeof body);
    if (rc != QOS_OK)
        QOS_ERR("Failed to send agent registration message for slot %d", slot);
    return rc;
}

void qaSlotUp(qosSlot_t *)
{
    qaSendRegisterMsg();
}

int qaStart(uint32_t, uint32_t)
{
    qaSendRegisterMsg();
    return QOS_OK;
}
