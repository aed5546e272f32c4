// The plain handlers as rows of one mechanism, the two queue handlers, the two of a chip.
#include "agent/statistics.h"

#include "agent/model/thresholds.h"
#include "core/handler.h"
#include "core/text.h"
#include "core/trace.h"
#include "inventory/chips.h"
#include "inventory/interfaces.h"
#include "platform/qa_ioctl.h"
#include "velmar/dce.h"

namespace {

// Who leaves the status of a success.
enum class done_t : uint8_t { Handlers, BackEnds };

// A step: an entry of the back-end table and the lines of its failures.
struct step_t {
    uint8_t code;
    qosText_t<uint32_t> null_entry;
    qosText_t<const char *, uint32_t> failed;
};

struct row_t {
    qosWhere_t function;
    qosText_t<const char *> received;
    step_t step;
    done_t done = done_t::Handlers;
};

constexpr row_t FLOW_CONTROL = {"qaProcessFlowControlStatsMsg",
                                QOS_INF_TEXT("Received flowControlStats Msg for if: %s"),
                                {QOS_GET_FLOWCONTROL_STATS_MSG,
                                 QOS_ERR_TEXT("NULL FLOW CONTROL STATS handler for chip %x"),
                                 QOS_ERR_TEXT("Failed to retrieve flowControl Stats for if: %s, rc: %d")}};

constexpr row_t QUEUE = {"qaProcessQueueStatsMsg",
                         QOS_INF_TEXT("Received QueueStats Msg for if: %s"),
                         {QOS_GET_QUEUE_STATS_MSG, QOS_ERR_TEXT("NULL QUE STATS handler for chip %x"),
                          QOS_ERR_TEXT("Failed to retrieve QosQueue Stats for if: %s, rc: %d")},
                         done_t::BackEnds};

constexpr row_t ING_QUE = {"qaProcessGetIngQueStats",
                           QOS_INF_TEXT("Received GetIngrQueStats Msg for if: %s"),
                           {QOS_GET_ING_QUE_STATS_MSG,
                            QOS_ERR_TEXT("NULL QOS_GET_ING_QUE_STATS_MSG handler for chip %x"),
                            QOS_ERR_TEXT("Failed to retrieve inQue Stats for if: %s, rc: %d")}};

constexpr row_t EGR_QUE = {"qaProcessGetEgrQueStats",
                           QOS_INF_TEXT("Received GetEgrQueStats Msg for if: %s"),
                           {QOS_GET_EGR_QUE_STATS_MSG,
                            QOS_ERR_TEXT("NULL QOS_GET_EGR_QUE_STATS_MSG handler for chip %x"),
                            QOS_ERR_TEXT("Failed to retrieve egrQue Stats for if: %s, rc: %d")}};

constexpr row_t ING_BUF = {"qaProcessGetIngBufStats",
                           QOS_INF_TEXT("Received GetIngBufStats Msg for if: %s"),
                           {QOS_GET_ING_BUF_STATS_MSG, QOS_ERR_TEXT("NULL  handler for chip %x"),
                            QOS_ERR_TEXT("Failed to retrieve ingrBuf Stats for if: %s, rc: %d")}};

constexpr row_t EGR_BUF = {"qaProcessGetEgrBufStats",
                           QOS_INF_TEXT("Received GetEgrBufStats Msg for if: %s"),
                           {QOS_GET_EGR_BUF_STATS_MSG, QOS_ERR_TEXT("NULL  handler for chip %x"),
                            QOS_ERR_TEXT("Failed to retrieve egrBuf Stats for if: %s, rc: %d")}};

constexpr row_t PLC_ING_QUE = {"qaProcessGetPlcIngQueStats",
                               QOS_INF_TEXT("Received GetPlcIngrQueStats Msg for if: %s"),
                               {QOS_GET_PLC_ING_QUE_STATS_MSG,
                                QOS_ERR_TEXT("NULL QOS_GET_PLC_ING_QUE_STATS_MSG handler for chip %x"),
                                QOS_ERR_TEXT("Failed to retrieve plc inQue Stats for if: %s, rc: %d")}};

constexpr row_t PLC_EGR_QUE = {"qaProcessGetPlcEgrQueStats",
                               QOS_INF_TEXT("Received GetPlcEgrQueStats Msg for if: %s"),
                               {QOS_GET_PLC_EGR_QUE_STATS_MSG,
                                QOS_ERR_TEXT("NULL QOS_GET_PLC_EGR_QUE_STATS_MSG handler for chip %x"),
                                QOS_ERR_TEXT("Failed to retrieve plc egrQue Stats for if: %s, rc: %d")}};

constexpr row_t PLC_ING_BUF = {"qaProcessGetPlcIngBufStats",
                               QOS_INF_TEXT("Received GetPlcIngBufStats Msg for if: %s"),
                               {QOS_GET_PLC_ING_BUF_STATS_MSG, QOS_ERR_TEXT("NULL  handler for chip %x"),
                                QOS_ERR_TEXT("Failed to retrieve plc ingrBuf Stats for if: %s, rc: %d")}};

constexpr row_t PLC_EGR_BUF = {"qaProcessGetPlcEgrBufStats",
                               QOS_INF_TEXT("Received GetPlcEgrBufStats Msg for if: %s"),
                               {QOS_GET_PLC_EGR_BUF_STATS_MSG, QOS_ERR_TEXT("NULL  handler for chip %x"),
                                QOS_ERR_TEXT("Failed to retrieve plc egrBuf Stats for if: %s, rc: %d")}};

constexpr row_t TMC_ING_CHIP_QUE = {"qaProcessGetTmcIngChipQueStats",
                                    QOS_INF_TEXT("Received GetTmcIngrQueStats Msg for if: %s"),
                                    {QOS_GET_ING_TMC_CHIP_QUE_STATS_MSG,
                                     QOS_ERR_TEXT("NULL QOS_GET_ING_TMC_CHIP_QUE_STATS_MSG handler for chip %x"),
                                     QOS_ERR_TEXT("Failed to retrieve tmc inQue Stats for if: %s, rc: %d")}};

constexpr row_t TMC_EGR_CHIP_QUE = {"qaProcessGetTmcEgrChipQueStats",
                                    QOS_INF_TEXT("Received GetTmcEgrQueStats Msg for if: %s"),
                                    {QOS_GET_EGR_TMC_CHIP_QUE_STATS_MSG,
                                     QOS_ERR_TEXT("NULL QOS_GET_EGR_TMC_CHIP_QUE_STATS_MSG handler for chip %x"),
                                     QOS_ERR_TEXT("Failed to retrieve tmc egrQue Stats for if: %s, rc: %d")}};

constexpr row_t TMC_ING_CHIP_BUF = {"qaProcessGetTmcIngChipBufStats",
                                    QOS_INF_TEXT("Received GetTmcIngBufStats Msg for if: %s"),
                                    {QOS_GET_ING_TMC_CHIP_BUF_STATS_MSG,
                                     QOS_ERR_TEXT("NULL QOS_GET_ING_TMC_CHIP_BUF_STATS_MSG handler for chip %x"),
                                     QOS_ERR_TEXT("Failed to retrieve tmc ing buff Stats for if: %s, rc: %d")}};

constexpr row_t TMC_EGR_CHIP_BUF = {"qaProcessGetTmcEgrChipBufStats",
                                    QOS_INF_TEXT("Received GetTmcEgrBufStats Msg for if: %s"),
                                    {QOS_GET_EGR_TMC_CHIP_BUF_STATS_MSG,
                                     QOS_ERR_TEXT("NULL QOS_GET_EGR_TMC_CHIP_BUF_STATS_MSG handler for chip %x"),
                                     QOS_ERR_TEXT("Failed to retrieve tmc egress buff Stats for if: %s, rc: %d")}};

constexpr row_t ING_TMC_PORT_BUF = {"qaProcessGetIngTmcPortBufStats",
                                    QOS_INF_TEXT("Received GetIngTmcBufStats Msg for if: %s"),
                                    {QOS_GET_ING_TMC_PORT_BUF_STATS_MSG,
                                     QOS_ERR_TEXT("NULL QOS_GET_ING_TMC_PORT_BUF_STATS_MSG handler for chip %x"),
                                     QOS_ERR_TEXT("Failed to retrieve ing tmc buf Stats for if: %s, rc: %d")}};

constexpr row_t EGR_TMC_PORT_BUF = {"qaProcessGetEgrTmcPortBufStats",
                                    QOS_INF_TEXT("Received GetEgrTmcBufStats Msg for if: %s"),
                                    {QOS_GET_EGR_TMC_PORT_BUF_STATS_MSG,
                                     QOS_ERR_TEXT("NULL QOS_GET_EGR_TMC_PORT_BUF_STATS_MSG handler for chip %x"),
                                     QOS_ERR_TEXT("Failed to retrieve egr tmc buf Stats for if: %s, rc: %d")}};

constexpr row_t ING_TMC_PORT_QUE = {"qaProcessGetIngTmcPortQueStats",
                                    QOS_INF_TEXT("Received GetIngTmcQueStats Msg for if: %s"),
                                    {QOS_GET_ING_TMC_PORT_QUE_STATS_MSG,
                                     QOS_ERR_TEXT("NULL QOS_GET_ING_TMC_PORT_QUE_STATS_MSG handler for chip %x"),
                                     QOS_ERR_TEXT("Failed to retrieve ing tmc Que Stats for if: %s, rc: %d")}};

constexpr row_t VOQ = {"qaProcessGetVoqStats",
                       QOS_INF_TEXT("Received GetVoqStats Msg for if: %s"),
                       {QOS_GET_VOQ_STATS_MSG, QOS_ERR_TEXT("NULL QOS_GET_VOQ_STATS_MSG handler for chip %x"),
                        QOS_ERR_TEXT("Failed to retrieve voq Stats for if: %s, rc: %d")}};

constexpr row_t DROP_RSN = {"qaProcessGetDropRsnStats",
                            QOS_INF_TEXT("Received GetDropRsnStats Msg for if: %s"),
                            {QOS_GET_DROP_RSN_STATS_MSG,
                             QOS_ERR_TEXT("NULL QOS_GET_DROP_RSN_STATS_MSG handler for chip %x"),
                             QOS_ERR_TEXT("Failed to retrieve drop reason Stats for if: %s, rc: %d")}};

constexpr qosText_t<const char *> RECEIVED_RCV_QUEUE = QOS_INF_TEXT("Received RcvQueueStats Msg for if: %s");
constexpr step_t RCV_QUEUE = {QOS_GET_RCVQUEUE_STATS_MSG, QOS_ERR_TEXT("NULL RCV QUE STATS handler for chip %x"),
                              QOS_ERR_TEXT("Failed to retrieve QosRcvQue Stats for if: %s, rc: %d")};
constexpr step_t SWM = {QOS_GET_SWM_STATS_MSG, QOS_ERR_TEXT("NULL SWM STATS handler for chip %x"),
                        QOS_ERR_TEXT("Failed to retrieve SWM Stats for if: %s, rc: %d")};
constexpr step_t RMON = {QOS_GET_RMON_STATS_MSG, QOS_ERR_TEXT("NULL RMON STATS handler for chip %x"),
                         QOS_ERR_TEXT("Failed to retrieve RMON Stats for if: %s, rc: %d")};
// Send queues are a column of their own with the lines of the receive queues.
constexpr step_t SEND_QUEUE = {QOS_GET_SENDQUEUE_STATS_MSG, RCV_QUEUE.null_entry, RCV_QUEUE.failed};

constexpr int32_t MAX_PORT_THRESHOLD = 0x800000; // bytes

// The interface with its chip, announced in the trace; null with 25 in the status.
template <typename Body>
const qosIf_t *findPort(qosWhere_t function, const qosText_t<const char *> &received, Body *body)
{
    const uint32_t ifindex = body->ifindex;
    const qosIf_t *interface = qosLookupIfEntry(ifindex);
    if (!interface) {
        QOS_ERR_AT(function, "Unable to find interface for ifindex %x in db", ifindex);
    } else {
        qosTrace(function, received, interface->ifName);
        if (interface->chip)
            return interface;
        QOS_ERR_AT(function, "Failed to find chip for interface %s", interface->ifName);
    }
    body->status = QOS_MSG_UNSERVED;
    return nullptr;
}

// Calls an entry with the body; a failure is traced and stands in the status.
template <typename Body>
uint32_t runStep(qosWhere_t function, const step_t &step, const qosIf_t *interface, Body *body)
{
    const qaIoctl_t entry = qaIoctl(interface->chip, step.code);
    if (!entry) {
        qosTrace(function, step.null_entry, interface->chip->chip_ifindex);
        return qosAnswer(body, QOS_MSG_UNSERVED);
    }
    const uint32_t rc = entry(body);
    if (rc == QOS_MSG_DONE)
        return rc;
    qosTrace(function, step.failed, interface->ifName, rc);
    return qosAnswer(body, rc);
}

template <typename Body>
uint32_t plain(const row_t &row, Body *body)
{
    const qosFrame_t frame(row.function);
    const qosIf_t *interface = findPort(row.function, row.received, body);
    if (!interface)
        return QOS_MSG_UNSERVED;
    const uint32_t rc = runStep(row.function, row.step, interface, body);
    if (rc == QOS_MSG_DONE && row.done == done_t::Handlers)
        body->status = QOS_MSG_DONE;
    return rc;
}

} // namespace

uint32_t qaProcessFlowControlStatsMsg(qosFlowControlStatsMsg_t *body)
{
    return plain(FLOW_CONTROL, body);
}

uint32_t qaProcessQueueStatsMsg(qosQueueStatsMsg_t *body)
{
    return plain(QUEUE, body);
}

uint32_t qaProcessGetIngQueStats(qosIngQueStatsMsg_t *body)
{
    return plain(ING_QUE, body);
}

uint32_t qaProcessGetEgrQueStats(qosEgrQueStatsMsg_t *body)
{
    return plain(EGR_QUE, body);
}

uint32_t qaProcessGetIngBufStats(qosIngBufStatsMsg_t *body)
{
    return plain(ING_BUF, body);
}

uint32_t qaProcessGetEgrBufStats(qosEgrBufStatsMsg_t *body)
{
    return plain(EGR_BUF, body);
}

uint32_t qaProcessGetPlcIngQueStats(qosPlcIngQueStatsMsg_t *body)
{
    return plain(PLC_ING_QUE, body);
}

uint32_t qaProcessGetPlcEgrQueStats(qosPlcEgrQueStatsMsg_t *body)
{
    return plain(PLC_EGR_QUE, body);
}

uint32_t qaProcessGetPlcIngBufStats(qosPlcIngBufStatsMsg_t *body)
{
    return plain(PLC_ING_BUF, body);
}

uint32_t qaProcessGetPlcEgrBufStats(qosPlcEgrBufStatsMsg_t *body)
{
    return plain(PLC_EGR_BUF, body);
}

uint32_t qaProcessGetTmcIngChipQueStats(qosTmcIngChipQueStatsMsg_t *body)
{
    return plain(TMC_ING_CHIP_QUE, body);
}

uint32_t qaProcessGetTmcEgrChipQueStats(qosTmcEgrChipQueStatsMsg_t *body)
{
    return plain(TMC_EGR_CHIP_QUE, body);
}

uint32_t qaProcessGetTmcIngChipBufStats(qosTmcIngChipBufStatsMsg_t *body)
{
    return plain(TMC_ING_CHIP_BUF, body);
}

uint32_t qaProcessGetTmcEgrChipBufStats(qosTmcEgrChipBufStatsMsg_t *body)
{
    return plain(TMC_EGR_CHIP_BUF, body);
}

uint32_t qaProcessGetIngTmcPortBufStats(qosIngTmcPortBufStatsMsg_t *body)
{
    return plain(ING_TMC_PORT_BUF, body);
}

uint32_t qaProcessGetEgrTmcPortBufStats(qosEgrTmcPortBufStatsMsg_t *body)
{
    return plain(EGR_TMC_PORT_BUF, body);
}

uint32_t qaProcessGetIngTmcPortQueStats(qosIngTmcPortQueStatsMsg_t *body)
{
    return plain(ING_TMC_PORT_QUE, body);
}

uint32_t qaProcessGetVoqStats(qosVoqStatsMsg_t *body)
{
    return plain(VOQ, body);
}

uint32_t qaProcessGetDropRsnStats(qosDropRsnStatsMsg_t *body)
{
    return plain(DROP_RSN, body);
}

void qaRcvQueSetThresholds(const qosIf_t *interface, qosRcvQueueStatsMsg_t *body)
{
    qaCcbThresholds_t thresholds = {};
    uint32_t budget = body->port_threshold;
    qaCcbGetPriTailDropThresholds(interface, interface->l2_pri.tc_map, budget, thresholds);
    const uint32_t type = interface->chip->chip_type;
    const bool sums = type == QOS_CHIP_MIRELLE || type == QOS_CHIP_MIRELLE2;
    for (unsigned tc = 0; tc < QOS_NUM_COS; ++tc) {
        body->threshold[tc] = thresholds[tc];
        if (sums)
            budget += thresholds[tc];
        if (static_cast<int32_t>(budget) > MAX_PORT_THRESHOLD)
            budget = MAX_PORT_THRESHOLD;
    }
    body->port_threshold = budget;
}

uint32_t qaProcessRcvQueStatsMsg(qosRcvQueueStatsMsg_t *body)
{
    QOS_FRAME();
    const qosIf_t *interface = findPort(__func__, RECEIVED_RCV_QUEUE, body);
    if (!interface)
        return QOS_MSG_UNSERVED;
    for (const step_t *step : {&RCV_QUEUE, &SWM, &RMON}) {
        const uint32_t rc = runStep(__func__, *step, interface, body);
        if (rc != QOS_MSG_DONE)
            return rc;
    }
    qaRcvQueSetThresholds(interface, body);
    return qosAnswer(body, QOS_MSG_DONE);
}

uint32_t qaProcessSendQueStatsMsg(qosRcvQueueStatsMsg_t *body)
{
    QOS_FRAME();
    const qosIf_t *interface = findPort(__func__, RECEIVED_RCV_QUEUE, body);
    if (!interface)
        return QOS_MSG_UNSERVED;
    const uint32_t rc = runStep(__func__, SEND_QUEUE, interface, body);
    if (rc != QOS_MSG_DONE)
        return rc;
    qaCcbThresholds_t unused = {};
    qaCcbGetPriTailDropThresholds(interface, interface->l2_pri.tc_map, body->port_threshold, unused);
    return qosAnswer(body, QOS_MSG_DONE);
}

uint32_t qaProcessGetTmcInfoMsg(qosGetTmcInfoMsg_t *body)
{
    QOS_FRAME();
    const int32_t number = body->tsl_id;
    const qosChip_t *chip = qosLookupChip(number);
    if (!chip) {
        QOS_ERR("Failed to find chip %d", number);
        return QOS_MSG_UNSERVED;
    }
    if (chip->chip_type != QOS_CHIP_TESSEL) {
        QOS_ERR("Invalid chip type for getTmcInfo");
        return QOS_MSG_REFUSED;
    }
    const qaIoctl_t entry = qaIoctlFn[QOS_CHIP_TESSEL][QOS_GET_TMC_INFO_MSG];
    if (!entry) {
        QOS_ERR("NULL QOS_GET_TMC_INFO_MSG handler for chip %x", chip->chip_ifindex);
        return qosAnswer(body, QOS_MSG_UNSERVED);
    }
    const uint32_t rc = entry(body);
    if (rc != QOS_MSG_DONE)
        QOS_ERR("Failed to retrieve TMCInfo for chip %d: error = %d ", number, rc);
    return qosAnswer(body, rc);
}

uint32_t qaProcessGetAsicIntStats(qosAsicIntStatsMsg_t *body)
{
    QOS_FRAME();
    const qosChip_t *chip = qosLookupChip(dce_get_flat_chip_id(body->chip_ifindex));
    if (!chip) {
        QOS_ERR("chip is not found");
        return QOS_MSG_NOT_FOUND;
    }
    QOS_INF("Received GetAsicIntStats Msg ");
    const qaIoctl_t entry = qaIoctl(chip, QOS_GET_ASIC_INT_STATS_MSG);
    if (!entry) {
        QOS_ERR("NULL QOS_GET_ASIC_INT_STATS_MSG handler for chip %x", chip->chip_ifindex);
        return qosAnswer(body, QOS_MSG_UNSERVED);
    }
    const uint32_t rc = entry(body);
    if (rc != QOS_MSG_DONE)
        QOS_ERR("Failed to retrieve Asic Stats  rc: %d", rc);
    return qosAnswer(body, rc);
}
