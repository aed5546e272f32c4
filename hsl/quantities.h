// SPDX-License-Identifier: Apache-2.0
// What the model holds of a port or a whole chip, as numbers by name: the sources that rows of a read point to. Each
// has a value for every priority and one for all together.
#ifndef HSL_QUANTITIES_H
#define HSL_QUANTITIES_H

#include <array>

#include "hsl/model.h"

// Bytes, unless a comment says else. A chip has the sums of its ports; of what is true or false, how often it is true.
enum hslQuantity_t : uint8_t {
    Q_DEPTH,
    Q_PEAK,
    Q_BOUND,
    Q_FREE,    // bound less depth
    Q_PERCENT, // depth of 100 parts of the bound
    Q_ENQUEUED,
    Q_FORWARDED,
    Q_TAIL_DROPPED,
    Q_RED_GREEN,
    Q_RED_YELLOW,
    Q_RED,
    Q_LOST, // tail-dropped and by RED
    Q_HELD,
    Q_PAUSE_SENT,     // frames
    Q_PAUSE_RECEIVED, // frames; with all together those of the whole port
    Q_ASSERT,
    Q_DE_ASSERT,
    Q_BUSY, // from here on truth: something waits
    Q_FULL,
    Q_XOFF, // the peer stands still
    Q_PAUSED,
    Q_LOSSLESS,
    Q_BUFFERS, // from here on one for all together: a port's budget, a chip's memory
    Q_LEFT,    // buffers less depth
    Q_PORTS,
    Q_BUSY_PORTS,
    Q_POLICED, // dropped by policers
    Q_DROPPED, // for whatever reason
    Q_ONE,
    Q_COUNT,
};

constexpr unsigned HSL_ALL = HSL_PRIORITIES; // the value of all priorities together

using hslQuantities_t = std::array<std::array<double, HSL_PRIORITIES + 1>, Q_COUNT>;

hslQuantities_t hslPortQuantities(const hslChip_t &chip, hslPort_t &port);
hslQuantities_t hslChipQuantities(hslModel_t &model, const hslChip_t &chip);

#endif
