// SPDX-License-Identifier: Apache-2.0
// What arrives at a queue waits up to a bound, is thinned out by RED on the way there, and leaves as peer, scheduler,
// shaper and line speed allow.
#include "hsl/queues.h"

#include <algorithm>
#include <cmath>

#include "hsl/larkin.h"

constexpr double BYTES_PER_MBIT = 125000.0;    // of a second
constexpr double PAUSE_BITS = 65535.0 * 512.0; // the longest pause that one frame asks for
constexpr uint32_t DEFAULT_SPEED = 10000;      // Mbit/s, of a port whose index carries none
constexpr double RED_SCALE = 255;              // a probability of 1

// Levels.

double hslUntilBend(const hslLevel_t &level)
{
    bool curved = level.pull > 0;
    double way = curved ? level.rest - level.now : level.slope;
    double soonest = HSL_NEVER;
    for (double stop : {0.0, level.knee, level.bound}) {
        if (way < 0 ? stop >= level.now : stop <= level.now)
            continue;
        if (!curved)
            soonest = std::min(soonest, way == 0 ? HSL_NEVER : (stop - level.now) / way);
        else if (way < 0 ? stop > level.rest : stop < level.rest)
            soonest = std::min(soonest, std::log((level.now - level.rest) / (stop - level.rest)) / level.pull);
    }
    return soonest;
}

void hslMove(hslLevel_t &level, double seconds)
{
    bool above = level.now > level.bound + HSL_GRAIN;
    if (level.pull > 0)
        level.now = level.rest + (level.now - level.rest) * std::exp(-level.pull * seconds);
    else
        level.now += level.slope * seconds;
    level.now = above ? std::max(level.now, 0.0) : std::clamp(level.now, 0.0, level.bound);
    for (double stop : {0.0, level.knee, level.bound})
        if (std::fabs(level.now - stop) < HSL_GRAIN)
            level.now = stop;
}

bool hslPortActive(const hslTraffic_t &traffic)
{
    return !traffic.flows.empty() || traffic.peer_pauses ||
           std::any_of(std::begin(traffic.queues), std::end(traffic.queues),
                       [](auto &queue) { return queue.level.now > 0 || queue.peer_pauses; });
}

// Bounds.

static double portSpeed(const hslPort_t &port) // bytes a second
{
    auto speed = hslPortSpeed(port.ifindex);
    return (speed ? speed : DEFAULT_SPEED) * BYTES_PER_MBIT;
}

// Seconds after which a pause that goes on is asked for again: half of the longest.
static double refreshTime(const hslPort_t &port)
{
    return PAUSE_BITS / 8 / portSpeed(port) / 2;
}

static void boundByRed(hslQueue_t &queue, const hslRed_t &red)
{
    queue.level.knee = red.min < queue.level.bound ? red.min : 0;
    queue.red_span = red.max > red.min && red.min < queue.level.bound ? red.max - red.min : 0;
    queue.red_most = red.probability / RED_SCALE;
    queue.red_bounds = red.max < queue.level.bound;
    queue.level.bound = std::min<double>(queue.level.bound, red.max);
}

// A queue's bound: its threshold, else the port's budget, else an even share of the chip, and no more than the chip's
// egress queue depth. A lossless one stops its sender at the assert level, if that lies below. RED comes before either.
static void boundQueue(const hslChip_t &chip, const hslPort_t &port, unsigned p, hslQueue_t &queue)
{
    auto &setup = port.setup;
    auto &own = setup.queues[p];
    double share = setup.budget ? *setup.budget : chip.buffers / std::max(chip.ports, 1u);
    double bound = own.threshold ? *own.threshold : share;
    if (chip.egress_depth)
        bound = std::min<double>(bound, *chip.egress_depth);
    auto &pause = own.pfc && own.pfc->tx ? own.pfc : setup.pause;
    queue.lossless = pause && pause->tx && pause->assert <= bound;
    queue.level.bound = queue.lossless ? pause->assert : bound;
    queue.level.knee = queue.red_span = 0;
    queue.red_bounds = false;
    auto red = own.red && own.red->on ? chip.red.find(own.red->profile) : chip.red.end();
    if (red != chip.red.end())
        boundByRed(queue, red->second);
    queue.obeys =
        (queue.peer_pauses && own.pfc && own.pfc->rx) || (port.traffic.peer_pauses && setup.pause && setup.pause->rx);
}

void hslBoundPort(const hslChip_t &chip, hslPort_t &port)
{
    for (unsigned p = 0; p < HSL_PRIORITIES; ++p)
        boundQueue(chip, port, p, port.traffic.queues[p]);
}

// Scheduling.

static double demand(const hslPort_t &port, unsigned p)
{
    auto &queue = port.traffic.queues[p];
    if (queue.obeys)
        return 0;
    double most = queue.level.now > 0 ? HSL_NEVER : queue.in;
    auto &scheduler = port.setup.scheduler;
    bool limited = scheduler && !(scheduler->unlimited >> p & 1) && scheduler->bandwidth[p];
    return limited ? std::min(most, scheduler->bandwidth[p] * BYTES_PER_MBIT) : most;
}

// Shares `room` by weight; who needs less than its share leaves the rest to the others.
static void shareByWeight(hslPort_t &port, std::vector<unsigned> rest, double room)
{
    auto weight = [&](unsigned p) {
        return port.setup.scheduler ? std::max<double>(port.setup.scheduler->weight[p], 1) : 1.0;
    };
    for (bool settled = false; !settled && !rest.empty();) {
        double weights = 0;
        for (auto p : rest)
            weights += weight(p);
        double unit = room / weights;
        auto content =
            std::find_if(rest.begin(), rest.end(), [&](auto p) { return demand(port, p) <= unit * weight(p); });
        settled = content == rest.end();
        if (settled) {
            for (auto p : rest)
                port.traffic.queues[p].out = unit * weight(p);
        } else {
            room -= port.traffic.queues[*content].out = demand(port, *content);
            rest.erase(content);
        }
    }
}

// Strict priorities first, the highest before the others, then the rest by weight.
static void schedule(hslPort_t &port)
{
    double room = portSpeed(port);
    if (port.setup.shaper && *port.setup.shaper)
        room = std::min(room, *port.setup.shaper * BYTES_PER_MBIT);
    unsigned boundary = port.setup.scheduler ? port.setup.scheduler->boundary : HSL_PRIORITIES;
    std::vector<unsigned> rest;
    for (unsigned p = HSL_PRIORITIES; p-- > 0;) {
        if (p <= boundary)
            rest.push_back(p);
        else
            room -= port.traffic.queues[p].out = std::min(demand(port, p), room);
    }
    shareByWeight(port, std::move(rest), room);
}

// Movement.

// Behind the knee RED drops a share that grows with the level, so that the level draws near to where what is left of
// the arrivals equals the departures. At the bound nothing more than the departures gets in.
static void settleQueue(hslQueue_t &queue)
{
    auto &level = queue.level;
    bool above = level.now > level.bound + HSL_GRAIN; // the bound fell below what waits
    double pull = queue.red_span > 0 ? queue.in * queue.red_most / queue.red_span : 0;
    bool ramp = pull > 0 && !above && level.now >= level.knee;
    double thinned = ramp ? pull * (level.now - level.knee) : 0;
    double slope = above ? -queue.out : queue.in - queue.out - thinned;
    bool stuck = !above && hslAtBound(level) && slope >= 0;
    bool curved = ramp && !stuck && !(level.now <= level.knee && slope <= 0);
    level.slope = stuck ? 0 : slope;
    level.pull = curved ? pull : 0;
    level.rest = curved ? level.knee + (queue.in - queue.out) / pull : 0;
    queue.loses = stuck || above || curved;
    double lost = queue.in - queue.out;
    queue.red_share = curved || queue.red_bounds ? 1 : stuck && lost > 0 ? std::min(thinned / lost, 1.0) : 0;
}

// A paused sender fills the queue up to assert, stands still until it has drained to de-assert, and begins again: two
// frames a turn, and more of them where it stands still for long.
static void settlePause(const hslPort_t &port, const hslPause_t &pause, hslQueue_t &queue)
{
    double lost = queue.in - queue.out;
    if (!queue.loses || lost <= 0 || queue.red_share >= 1)
        return;
    double turn = std::max<double>(pause.assert - std::min(pause.assert, pause.de_assert), HSL_FRAME);
    queue.xoff_share = lost / queue.in;
    queue.pause_rate = 2 * queue.out * lost / queue.in / turn + queue.xoff_share / refreshTime(port);
}

void hslSettlePort(const hslChip_t &chip, hslPort_t &port)
{
    auto &traffic = port.traffic;
    double refresh = 1 / refreshTime(port);
    auto &setup = port.setup;
    traffic.drop_rate[DROP_PAUSE] = traffic.peer_pauses && !(setup.pause && setup.pause->rx) ? refresh * HSL_FRAME : 0;
    hslBoundPort(chip, port);
    for (auto &queue : traffic.queues)
        if (queue.peer_pauses && !queue.obeys)
            traffic.drop_rate[DROP_PAUSE] += refresh * HSL_FRAME;
    schedule(port);
    for (auto &queue : traffic.queues)
        settleQueue(queue);
    if (chip.type->family == HSL_LARKIN)
        hslLarkinShare(port);
    for (unsigned p = 0; p < HSL_PRIORITIES; ++p) {
        auto &queue = traffic.queues[p];
        queue.pause_rate = queue.xoff_share = 0;
        if (queue.lossless)
            settlePause(port, *(setup.queues[p].pfc && setup.queues[p].pfc->tx ? setup.queues[p].pfc : setup.pause),
                        queue);
    }
}

// Counting.

static void passQueue(hslTraffic_t &traffic, hslQueue_t &queue, double seconds)
{
    double before = queue.level.now, arrived = queue.in * seconds;
    hslMove(queue.level, seconds);
    double accepted = arrived;
    if (queue.loses)
        accepted = std::clamp(queue.out * seconds + queue.level.now - before, 0.0, arrived);
    double red = (arrived - accepted) * queue.red_share, rest = arrived - accepted - red;
    queue.enqueued += accepted;
    queue.forwarded += queue.forwarded_rate * seconds;
    (queue.lossless ? queue.held : queue.dropped) += rest;
    queue.red[COLOUR_YELLOW] += red * queue.yellow;
    queue.red[COLOUR_GREEN] += red * (1 - queue.yellow);
    traffic.drops[DROP_TAIL] += queue.lossless ? 0 : rest;
    traffic.drops[DROP_RED] += red;
    queue.pause_sent += queue.pause_rate * seconds;
    queue.xoff += queue.xoff_share * seconds;
    queue.paused += queue.obeys ? seconds : 0;
    queue.peak = std::max(queue.peak, queue.level.now);
}

void hslPassPort(hslPort_t &port, double seconds)
{
    auto &traffic = port.traffic;
    double level = 0, refresh = seconds / refreshTime(port);
    for (auto &queue : traffic.queues) {
        passQueue(traffic, queue, seconds);
        queue.pause_received += queue.peer_pauses ? refresh : 0;
        level += queue.level.now;
    }
    traffic.pause_received += traffic.peer_pauses ? refresh : 0;
    traffic.peak = std::max(traffic.peak, level);
    for (unsigned kind = 0; kind < DROP_KINDS; ++kind)
        traffic.drops[kind] += traffic.drop_rate[kind] * seconds;
    for (auto &flow : traffic.flows)
        if (flow.reason) {
            traffic.reasons[*flow.reason] += flow.rate * seconds;
            traffic.drops[DROP_REASON] += flow.rate * seconds;
        }
}
