// SPDX-License-Identifier: Apache-2.0
// Gathers the quantities of a port, and sums them up over a chip.
#include "hsl/quantities.h"

#include <algorithm>

#include "hsl/queues.h"

static void fillQueue(hslQuantities_t &q, const hslPort_t &port, unsigned p)
{
    auto &queue = port.traffic.queues[p];
    auto &own = port.setup.queues[p];
    auto &pause = own.pfc && own.pfc->tx ? own.pfc : port.setup.pause;
    bool full = queue.level.now > 0 && queue.level.now >= queue.level.bound - 1;
    auto put = [&](hslQuantity_t what, double value) {
        q[what][p] = value;
        q[what][HSL_ALL] += value;
    };
    put(Q_DEPTH, queue.level.now);
    put(Q_PEAK, queue.peak);
    put(Q_BOUND, queue.level.bound);
    put(Q_FREE, std::max(queue.level.bound - queue.level.now, 0.0));
    put(Q_ENQUEUED, queue.enqueued);
    put(Q_FORWARDED, queue.forwarded);
    put(Q_TAIL_DROPPED, queue.dropped);
    put(Q_RED_GREEN, queue.red[COLOUR_GREEN]);
    put(Q_RED_YELLOW, queue.red[COLOUR_YELLOW]);
    put(Q_RED, queue.red[COLOUR_GREEN] + queue.red[COLOUR_YELLOW]);
    put(Q_LOST, queue.dropped + queue.red[COLOUR_GREEN] + queue.red[COLOUR_YELLOW]);
    put(Q_HELD, queue.held);
    put(Q_PAUSE_SENT, queue.pause_sent);
    put(Q_PAUSE_RECEIVED, queue.pause_received);
    put(Q_ASSERT, pause && pause->tx ? pause->assert : 0);
    put(Q_DE_ASSERT, pause && pause->tx ? pause->de_assert : 0);
    put(Q_BUSY, queue.level.now > 0);
    put(Q_FULL, full);
    put(Q_XOFF, queue.lossless && full);
    put(Q_PAUSED, queue.obeys);
    put(Q_LOSSLESS, pause && pause->tx);
}

// What follows from other values, of a port and of a chip alike.
static void finish(hslQuantities_t &q)
{
    for (unsigned p = 0; p <= HSL_ALL; ++p)
        q[Q_PERCENT][p] = q[Q_BOUND][p] > 0 ? std::min(100 * q[Q_DEPTH][p] / q[Q_BOUND][p], 100.0) : 0;
    q[Q_LEFT][HSL_ALL] = std::max(q[Q_BUFFERS][HSL_ALL] - q[Q_DEPTH][HSL_ALL], 0.0);
    q[Q_ONE].fill(1);
}

hslQuantities_t hslPortQuantities(const hslChip_t &chip, hslPort_t &port)
{
    hslBoundPort(chip, port);
    hslQuantities_t q{};
    auto &traffic = port.traffic;
    for (unsigned p = 0; p < HSL_PRIORITIES; ++p)
        fillQueue(q, port, p);
    q[Q_PEAK][HSL_ALL] = traffic.peak;
    q[Q_PAUSE_RECEIVED][HSL_ALL] += traffic.pause_received;
    q[Q_BUFFERS][HSL_ALL] = port.setup.budget ? *port.setup.budget : chip.buffers / std::max(chip.ports, 1u);
    q[Q_PORTS][HSL_ALL] = 1;
    q[Q_BUSY_PORTS][HSL_ALL] = q[Q_DEPTH][HSL_ALL] > 0;
    q[Q_POLICED][HSL_ALL] = traffic.drops[DROP_INGRESS_POLICER] + traffic.drops[DROP_EGRESS_POLICER];
    for (auto drops : traffic.drops)
        q[Q_DROPPED][HSL_ALL] += drops;
    finish(q);
    return q;
}

hslQuantities_t hslChipQuantities(hslModel_t &model, const hslChip_t &chip)
{
    hslQuantities_t q{};
    for (auto &entry : model.ports) {
        if (entry.second.flat != chip.flat)
            continue;
        auto port = hslPortQuantities(chip, entry.second);
        for (unsigned what = 0; what < Q_COUNT; ++what)
            for (unsigned p = 0; p <= HSL_ALL; ++p)
                q[what][p] += port[what][p];
    }
    for (unsigned p = 0; p < HSL_PRIORITIES; ++p)
        q[Q_PEAK][p] = chip.peaks.priority[p];
    q[Q_PEAK][HSL_ALL] = chip.peaks.all;
    q[Q_BUFFERS][HSL_ALL] = chip.buffers;
    q[Q_PORTS][HSL_ALL] = chip.ports;
    finish(q);
    return q;
}
