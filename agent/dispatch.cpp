// Batches in, echoes out.
#include "agent/dispatch.h"

#include <cstring>

#include "agent/core_handlers.h"
#include "agent/l2_priority.h"
#include "agent/l3_priority.h"
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
    table[QOS_GET_CHIP_CAP_MSG].handler = qaUntyped<qaProcessChipUp>;
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
        if (length < least) {
            QOS_ERR_AT("qaProcessMIMsg", "Body of msg type %s has %d bytes, needs %d", qosMsgName(type), length, least);
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
    QOS_FRAME();
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
