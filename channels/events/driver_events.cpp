// SPDX-License-Identifier: Apache-2.0
// Chip events from the driver, and the driver module's hooks.
#include "channels/events/driver_events.h"

#include <algorithm>
#include <cstring>

#include "channels/driver_socket.h"
#include "core/module.h"
#include "core/state.h"
#include "core/trace.h"
#include "inventory/chips.h"
#include "inventory/slots.h"
#include "velmar/process.h"

namespace {

// An event's body as far as it was received. It stands in the buffer that the next driver request overwrites.
struct eventBody_t {
    const unsigned char *bytes;
    uint32_t length;
};

// A copy of the body as Record; what was not received reads as 0.
template <typename Record>
Record copyOf(const eventBody_t &body)
{
    Record record = {};
    memcpy(&record, body.bytes, std::min<size_t>(body.length, sizeof record));
    return record;
}

// A bulk event adds chips by asking the driver, whose answer takes the event's place: it is moved aside first.
void processBulkChipUp(const eventBody_t &body)
{
    static unsigned char copy[NL_RSP_BUF_SIZE];
    const uint32_t length = std::min<uint32_t>(body.length, sizeof copy);
    memcpy(copy, body.bytes, length);
    (void)qosProcessBulkChipUp(copy, length);
}

void processChipEvent(const eventBody_t &body)
{
    const uint32_t event = copyOf<be32>(body);
    switch (event) {
    case CHIP_EVENT_UP: {
        const auto record = copyOf<qosChipCap_t>(body);
        (void)qosProcessChipUp(&record, QOS_CAPS_IN_EVENT);
        break;
    }
    case CHIP_EVENT_DOWN: {
        const auto record = copyOf<qosChipCap_t>(body);
        (void)qosProcessChipDown(&record);
        break;
    }
    case CHIP_EVENT_BULK_UP:
        processBulkChipUp(body);
        break;
    default:
        QOS_ERR_AT("qosProcessHslEvent", "Unknown event %d from HSL", event);
    }
    qosHaSync();
}

} // namespace

void qosRegisterNLModule()
{
    QOS_FRAME();
    qosModule_t &record = qosModuleRecord(QOS_MOD_NL, "QOS NL");
    record.init = qosNLInit;
    record.start = qosNLStart;
    (void)qosVssStageRegister(QOS_MOD_NL, QOS_STAGE_CLIENT_INIT, qosNLClientInit, 0);
    (void)qosVssStageRegister(QOS_MOD_NL, QOS_STAGE_WARM_RECON, qosNLRecon, 0);
}

int qosNLInit()
{
    QOS_FRAME();
    qosInitSlotTable();
    const int rc = qosInitHSLEventSock();
    if (rc != QOS_OK)
        return rc;
    return qos_velmar_state.is_agent ? qosInitHSLCmdSock() : qosInitHSLMgrSock();
}

int qosNLStart()
{
    QOS_FRAME();
    (void)qosInitChipTable();
    return QOS_OK;
}

int qosNLClientInit(uint32_t, uint32_t)
{
    QOS_INF("Client Init..");
    return QOS_OK;
}

int qosNLRecon(uint32_t, uint32_t)
{
    return QOS_OK;
}

int qosInitHSLEventSock()
{
    return qosInitHSLEventSock(qosProcessHslEvent);
}

int qosProcessHslEvent(unsigned char *payload, uint32_t length, uint32_t, uint16_t frame_type)
{
    if (qos_velmar_state.stage == QOS_STAGE_STANDBY)
        return QOS_OK;
    const auto header = copyOf<qosDriverHdr_t>({payload, length});
    const uint32_t kind = header.kind;
    if (kind != DRV_KIND_EVENT && kind != DRV_KIND_IOCTL) {
        QOS_DBG("Ignoring HSL msg with type = %d", kind);
        return QOS_OK;
    }
    const uint32_t received = length > sizeof header ? length - static_cast<uint32_t>(sizeof header) : 0;
    const eventBody_t body = {payload + (length - received), received};
    if (frame_type == NLM_CHIP_READY) {
        const uint32_t declared = std::min<uint32_t>(received, header.response_length);
        if (declared < sizeof(qosChipReady_t)) {
            QOS_ERR("Outbuf length (%d) less than chip ready message length (%d)", declared,
                    static_cast<int>(sizeof(qosChipReady_t)));
            return QOS_NL_SHORT_EVENT;
        }
        const auto record = copyOf<qosChipReady_t>(body);
        (void)qosProcessChipReady(&record);
        return QOS_OK;
    }
    if (frame_type == NLM_AGENT_REQUEST) {
        processChipEvent(body);
        return QOS_OK;
    }
    QOS_DBG("Ignoring nlm type %d", frame_type);
    return QOS_OK;
}
