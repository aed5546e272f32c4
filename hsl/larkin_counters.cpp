// SPDX-License-Identifier: Apache-2.0
// Reads and clears of Larkin's counters. Offsets count from the start of the record.
#include <algorithm>
#include <utility>

#include "hsl/counters.h"
#include "hsl/larkin.h"
#include "platform/records/larkin.h"
#include "velmar/dce.h"

using R = hslReadRow_t;

static constexpr R RCV_QUEUE[] = {hslOne(offsetof(larkRcvQueue_t, log_port_bufs), 4, Q_DEPTH),
                                  hslEach(offsetof(larkRcvQueue_t, port_pri_bufs), 4, Q_DEPTH)};
static constexpr R RMON[] = {hslOne(offsetof(larkPortCounters_t, rx_discard_pkts), 8, Q_DROPPED, HSL_FRAME)};
static constexpr R SWM[] = {hslOne(offsetof(larkSwmCounters_t, red_drop_cnt), 8, Q_RED, HSL_FRAME)};
static constexpr R MULTICAST[] = {hslEach(offsetof(larkMcastCounters_t, counter), 8, Q_ENQUEUED, HSL_FRAME)};

// Flow control counts by priority of the wire.
static void byWire(const hslPort_t &port, hslQuantities_t &q)
{
    auto sent = q[Q_PAUSE_SENT];
    for (unsigned wire = 0; wire < HSL_PRIORITIES; ++wire) {
        auto &pfc = port.setup.wire[wire].pfc;
        q[Q_PAUSE_SENT][wire] = pfc && pfc->tx ? sent[hslLarkinQueue(port, wire)] : 0;
    }
}

static void readPort(const hslChip_t &chip, const hslPort_t &port, hslBytes record, hslQuantities_t &q,
                     hslBuffer &response)
{
    auto kind = hslGet(record, offsetof(larkPortCounters_t, kind), 4);
    if (kind == LARK_KIND_RMON)
        return hslPutRows(RMON, chip, q, 0, response);
    if (kind == LARK_KIND_FLOW_CONTROL)
        byWire(port, q);
    // What was sent is in the agent's order of priorities, what was received in the chip's.
    std::swap(q[Q_FORWARDED][0], q[Q_FORWARDED][1]);
    hslPutRows(hslPortRows(static_cast<uint32_t>(kind)), chip, q, DCE_HEAD, response);
}

struct read_t {
    uint32_t command;
    int operation;
    std::span<const R> rows; // none: by the kind that the record asks for
};

static constexpr read_t reads[] = {
    {DCE_PORT_COUNTERS, -1, {}},
    {DCE_CCB_GET, LARK_RCV_QUEUE, RCV_QUEUE},
    {DCE_SWM_COUNTERS, -1, SWM},
    {DCE_MCAST_COUNTERS, -1, MULTICAST}, // of the chip's own queues
};

void hslLarkinRead(hslModel_t &model, uint32_t target, const hslCommand_t &row, hslBytes record, hslBuffer &response)
{
    auto read = std::find_if(std::begin(reads), std::end(reads), [&](auto &each) {
        return each.command == row.command && each.operation == row.operation;
    });
    auto place = model.ports.find(row.command == DCE_MCAST_COUNTERS ? target : hslPortOf(row, record));
    if (read == std::end(reads) || place == model.ports.end())
        return;
    auto &port = place->second;
    auto chip = model.chips.find(port.flat);
    if (chip == model.chips.end())
        return;
    auto q = hslPortQuantities(chip->second, port);
    q[Q_DROPPED][HSL_ALL] = std::max(q[Q_DROPPED][HSL_ALL] - port.traffic.drops[DROP_RED], 0.0);
    if (read->rows.empty())
        readPort(chip->second, port, record, q, response);
    else
        hslPutRows(read->rows, chip->second, q, 0, response);
}

static void clearPort(hslModel_t &model, uint32_t ifindex)
{
    auto place = model.ports.find(ifindex);
    if (place == model.ports.end())
        return;
    auto &traffic = place->second.traffic;
    hslClearPort(traffic);
    std::fill(std::begin(traffic.drops), std::end(traffic.drops), 0);
    traffic.reasons.clear();
    for (auto &queue : traffic.queues)
        std::fill(std::begin(queue.red), std::end(queue.red), 0);
}

void hslLarkinClear(hslModel_t &model, uint32_t target, const hslCommand_t &row, hslBytes record)
{
    if (row.command == DCE_CLEAR_QMG)
        clearPort(model, target);
    else if (row.command == DCE_CLEAR_SWM)
        for (size_t at = sizeof(larkClearSwm_t); at + 4 <= record.size(); at += 4)
            clearPort(model, static_cast<uint32_t>(hslGet(record, at, 4)));
}
