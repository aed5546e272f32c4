// SPDX-License-Identifier: Apache-2.0
// Requests of the rows, and the clears.
#include "platform/common/cos_statistics.h"

#include <algorithm>
#include <cstring>

#include "agent/model/clear_walk.h"
#include "channels/driver_request.h"
#include "core/handler.h"
#include "core/trace.h"
#include "inventory/interfaces.h"
#include "platform/common/port.h"

namespace {

// The head of a record of `in_size` bytes, all else zero.
template <typename Record>
Record *start(uint32_t command, uint32_t in_size, uint32_t out_size)
{
    memset(qosRequestRecord(), 0, in_size);
    auto *record = qosCosRequest<Record>(command, out_size, qosRequestBuffer_t::AsIs);
    record->hdr.in_size = in_size;
    return record;
}

// A selector of the body's own four bytes; only the bits of `mask` count in the first.
void select(uint8_t (&selector)[4], const qosStatsHead_t *body, uint8_t mask)
{
    memcpy(selector, body->selector, sizeof selector);
    selector[0] &= mask;
}

// The request is as long as the block, but for a queue that the selector names.
uint32_t requestSize(const cosStatRow_t &row)
{
    return row.form == cosStatForm_t::Voq ? uint32_t{sizeof(cosStatPort_t)} : row.size;
}

void buildRead(const cosStatRow_t &row, const qosStatsHead_t *body)
{
    const uint32_t size = requestSize(row);
    if (row.form == cosStatForm_t::Plc || row.form == cosStatForm_t::TmcChip) {
        auto *record = start<cosStatChip_t>(row.command, size, row.size);
        if (row.form == cosStatForm_t::Plc)
            record->selector[0] = STAT_SELECT;
        else
            select(record->selector, body, 0x7f);
        return;
    }
    auto *record = start<cosStatPort_t>(row.command, size, row.size);
    record->ifindex = body->ifindex;
    if (row.form == cosStatForm_t::Port)
        record->selector[0] = STAT_SELECT;
    else
        select(record->selector, body, row.form == cosStatForm_t::TmcPort ? 0x7f : 0x0f);
}

// Sends what stands in the request buffer to the interface's chip and stores the outcome in the body.
cosStatAnswer_t sendRead(qosWhere_t function, const qosText_t<const char *, uint32_t> &failed, uint32_t in_size,
                         uint32_t out_size, const qosIf_t *interface, qosStatsHead_t *body)
{
    cosStatAnswer_t answer = {QOS_MSG_DONE, interface, nullptr, out_size};
    answer.rc = qosCosIoctl(interface->chip->chip_ifindex, qosRequestRecord(), in_size, &answer.bytes, &answer.length);
    // What the driver left out of the response reads as 0 up to here.
    answer.length = std::max(answer.length, out_size);
    body->status = static_cast<int32_t>(answer.rc);
    if (answer.rc != QOS_MSG_DONE)
        qosTrace(function, failed, interface->ifName, answer.rc);
    return answer;
}

} // namespace

cosStatAnswer_t cosStatRead(qosWhere_t where, const cosStatRow_t &row, qosStatsHead_t *body)
{
    const qosIf_t *interface = portFind<portMiss_t::Statistics>(where, body);
    if (!interface)
        return {QOS_MSG_UNSERVED, nullptr, nullptr, 0};
    buildRead(row, body);
    const cosStatAnswer_t answer = sendRead(where, row.failed, requestSize(row), row.size, interface, body);
    if (answer.rc == QOS_MSG_DONE)
        statCopy(row.steps, answer.bytes, answer.length, body);
    return answer;
}

cosStatAnswer_t cosStatRead(qosWhere_t where, const cosPortRow_t &row, qosStatsHead_t *body)
{
    constexpr uint32_t size = sizeof(cosPortStats_t);
    constexpr uint32_t origin = offsetof(cosPortStats_t, num_ports);
    const qosIf_t *interface = row.missing == portMiss_t::Config ? portFind<portMiss_t::Config>(where, body)
                                                                 : portFind<portMiss_t::Statistics>(where, body);
    if (!interface)
        return {portMissRc(row.missing), nullptr, nullptr, 0};
    auto *record = start<cosPortStats_t>(COS_STATS_READ, size, size);
    record->device = STAT_DEV_PORT;
    record->num_ports = 1;
    record->kind = row.kind;
    record->ifindex = body->ifindex;
    cosStatAnswer_t answer = sendRead(where, row.failed, size, size, interface, body);
    if (answer.rc != QOS_MSG_DONE)
        return answer;
    const uint32_t ports = reinterpret_cast<const cosPortStats_t *>(answer.bytes)->num_ports;
    if (ports != 1 && row.copy_function.function)
        QOS_ERR_AT(row.copy_function, "max_ifs (%d) not matching expected count (1)", ports);
    answer.bytes += origin;
    answer.length -= origin;
    statCopy(row.steps, answer.bytes, answer.length, body);
    return answer;
}

qosDriverStatus_t cosClearStats(qosClearStatsMsg_t *body, std::initializer_list<cosClearStep_t> steps)
{
    for (const cosClearStep_t step : steps)
        if (const qosDriverStatus_t rc = step(body))
            return rc;
    return QOS_MSG_DONE;
}

qosDriverStatus_t cosClearSwmStats(qosWhere_t function, const qosClearStatsMsg_t *body)
{
    const uint32_t ifindex = body->ifindex;
    const qosChip_t *chip = qaClearTarget(body);
    if (!chip) {
        if (body->clearAll == 0)
            QOS_ERR_AT(function, "Clearning stats for unknown interface %x\n", ifindex);
        return QOS_MSG_UNSERVED;
    }
    const bool all = body->clearAll != 0;
    const uint32_t size = all ? offsetof(cosPortStatsClear_t, ifindex) : sizeof(cosPortStatsClear_t);
    auto *record = start<cosPortStatsClear_t>(COS_STATS_CLEAR, size, size);
    record->device = STAT_DEV_PORT;
    record->num_ports = all ? 0 : 1;
    record->mode = all ? STAT_CLEAR_ALL_PORTS : STAT_CLEAR_PORT_LIST;
    if (!all)
        record->ifindex = ifindex;
    const unsigned char *response = nullptr;
    uint32_t length = size;
    const qosDriverStatus_t rc = qosCosIoctl(chip->chip_ifindex, record, size, &response, &length);
    if (rc != QOS_MSG_DONE)
        QOS_ERR_AT(function, "failed to clear swm counters for chip %x, rc: %d", chip->chip_ifindex, rc);
    return rc;
}

qosDriverStatus_t cosClearDropRsnStats(qosWhere_t function, qosClearStatsMsg_t *body)
{
    const qosChip_t *chip = qaClearTarget(body);
    if (!chip) {
        return qosAnswer(body, QOS_MSG_UNSERVED);
    }
    auto *record = qosCosRequest<cosDropRsn_t>(COS_STATS_CLEAR);
    record->device = STAT_DEV_DROP_REASON;
    record->num_requests = 1;
    record->ifindex = body->ifindex;
    record->flags = body->clearAll != 0 ? 1 : 0;
    const qosDriverStatus_t rc = qosCosSend(chip->chip_ifindex, record);
    if (rc != QOS_MSG_DONE)
        QOS_ERR_AT(function, "Failed to clear drop rsn counters for chip: %x", chip->chip_ifindex);
    return rc;
}
