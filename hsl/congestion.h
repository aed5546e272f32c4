// SPDX-License-Identifier: Apache-2.0
// What a port was told about congestion, gathered from the records of both families: budgets and thresholds, flow
// control, scheduler, shaper, queue map and RED. A record names one priority or all of them; here each priority stands
// on its own. Relies on the names of the command table's fields.
#ifndef HSL_CONGESTION_H
#define HSL_CONGESTION_H

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "hsl/commands.h"

constexpr unsigned HSL_PRIORITIES = 8;

// Thresholds in bytes of chip buffer. `rx` obeys the peer's pause frames, `tx` sends them.
struct hslPause_t {
    bool rx, tx;
    uint32_t assert, de_assert;
};

struct hslRed_t {
    bool on;
    uint32_t profile;
    bool curve;                // the three below came with the record; Larkin's stand on the chip
    uint32_t min, max;         // bytes
    uint32_t probability, off; // 0 to 255; what the span differs from max - min
};

// Of one priority, as the chip counts them.
struct hslQueueSetup_t {
    std::optional<uint32_t> threshold; // bytes; absent where it was never marked valid
    std::optional<hslPause_t> pfc;
    std::optional<hslRed_t> red;
};

struct hslScheduler_t {
    uint32_t boundary; // priorities above it are strict
    std::array<uint32_t, HSL_PRIORITIES> group, weight, queue_weight;
    std::array<uint32_t, HSL_PRIORITIES> bandwidth; // Mbit/s, where the priority is limited
    uint32_t unlimited;                             // a bit for each priority that is not
};

struct hslSetup_t {
    std::optional<uint32_t> budget;      // of the port, bytes
    std::optional<uint32_t> port_buffer; // Larkin: bytes set aside
    std::optional<uint32_t> emergency;   // Larkin: emergency pause, bytes
    std::optional<uint32_t> shaper;      // Mbit/s, 0 without limit
    std::optional<uint32_t> ivq_red;     // a bit for each priority
    std::optional<hslPause_t> pause;
    std::optional<hslScheduler_t> scheduler;
    std::optional<std::array<uint32_t, HSL_PRIORITIES>> w2q;
    hslQueueSetup_t queues[HSL_PRIORITIES];
    hslQueueSetup_t wire[HSL_PRIORITIES]; // Larkin: flow control and RED as told, by priority of the wire
};

// Takes one accepted record of a port; those of other subjects change nothing.
void hslSetupTell(hslSetup_t &setup, const hslCommand_t &row, hslBytes record);

// What hardware with `buffers` bytes and a port of `speed` Mbit/s (0: unknown) would refuse in the record.
std::vector<std::string> hslSetupFaults(const hslCommand_t &row, hslBytes record, uint32_t buffers, uint32_t speed);

// Empty for a port that was told nothing of it.
hslJson hslSetupJson(const hslSetup_t &setup);

// Mbit/s by the speed code of a port's interface index, 0 if it has none.
uint32_t hslPortSpeed(uint32_t ifindex);

#endif
