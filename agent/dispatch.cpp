// SPDX-License-Identifier: Apache-2.0
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
#include "agent/messages/bodies.h"
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

struct noHandler_t {};
constexpr noHandler_t noHandler;

// The table's entry of a row: a handler takes the row's body and needs some of it.
template <typename Body, const auto &Handler, auto Least>
constexpr qaUntyped_t handlerOf()
{
    if constexpr (std::is_same_v<decltype(Handler), const noHandler_t &>) {
        static_assert(std::is_null_pointer_v<decltype(Least)>, "a row without a handler needs NOTHING");
        return nullptr;
    } else {
        static_assert(std::is_same_v<qaBodyOf<Handler>, Body>, "a handler of another body");
        static_assert(!std::is_null_pointer_v<decltype(Least)>, "a row with a handler says what that needs");
        return qaUntyped<Handler>;
    }
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
        (void)handler(message->msg_data); // the outcome stands in the body
    }
    message->msg_ack = 1;
}

} // namespace

#define none noHandler
#define WHOLE true
#define UP_TO(...) true
#define COUNTED(...) true
#define NOTHING nullptr
constexpr std::array<qaMsgHandler_t, QOS_MSG_CODES> qaMsgHandlers = {{
#define QOS_CODE(number, name, body, least, handler, ...) {number, handlerOf<body, handler, least>()},
#define QOS_UNNAMED QOS_CODE
#include "agent/messages/codes.def"
#undef QOS_UNNAMED
#undef QOS_CODE
}};
#undef NOTHING
#undef COUNTED
#undef UP_TO
#undef WHOLE
#undef none

void qaRegisterAgent()
{
    QOS_FRAME();
    qosModuleRecord(QOS_MOD_AGT, "QOS AGT").slot_up = qaSlotUp;
    (void)qosVssStageRegister(QOS_MOD_AGT, QOS_STAGE_ACTIVE, qaStart, 0);
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

qosMsgStatus_t qaSendToMgr(uint8_t msg_type, const void *body, uint32_t length)
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
    return static_cast<qosMsgStatus_t>(qosSendMi6Msg(qos_velmar_state.mi_sock, 0, slot->msgBuf, whole & 0xffff, 0, 0));
}

qosMsgStatus_t qaSendRegisterMsg()
{
    const uint32_t slot = qosOwnSlotId();
    dORVALRegMsg_t body;
    body.slot_id = static_cast<int32_t>(slot);
    QOS_DBG("Sending Agent registration from slot %d", slot);
    const qosMsgStatus_t rc = qaSendToMgr(QOS_AGTREG_MSG, &body, sizeof body);
    if (rc != QOS_MSG_DONE)
        QOS_ERR("Failed to send agent registration message for slot %d", slot);
    return rc;
}

void qaSlotUp(qosSlot_t *)
{
    (void)qaSendRegisterMsg(); // traced there; the agent serves on
}

int qaStart(uint32_t, uint32_t)
{
    (void)qaSendRegisterMsg(); // traced there; the agent serves on
    return QOS_OK;
}
