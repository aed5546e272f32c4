// SPDX-License-Identifier: Apache-2.0
// The rows that put quantities into the responses of reads, and what runs them. Relies on hsl/quantities.h.
#ifndef HSL_COUNTERS_H
#define HSL_COUNTERS_H

#include <span>

#include "hsl/quantities.h"

// One value, or one for each priority, in big-endian numbers of `width` bytes; `bits` of them, `shift` above the end,
// and the whole number where it is 0. What does not fit is the greatest number that does.
struct hslReadRow_t {
    uint16_t at;
    uint8_t width;
    hslQuantity_t what;
    uint16_t unit; // bytes; 0 the unit in which the chip counts them
    uint8_t count;
    uint8_t stride;
    uint8_t shift;
    uint8_t bits;
};

constexpr uint16_t HSL_CHIP_UNIT = 0;

constexpr hslReadRow_t hslOne(uint16_t at, uint8_t width, hslQuantity_t what, uint16_t unit = 1)
{
    return {at, width, what, unit, 1, 0, 0, 0};
}
constexpr hslReadRow_t hslEach(uint16_t at, uint8_t width, hslQuantity_t what, uint16_t unit = 1)
{
    return {at, width, what, unit, HSL_PRIORITIES, width, 0, 0};
}
constexpr hslReadRow_t hslPart(uint16_t at, uint8_t width, uint8_t shift, uint8_t bits, hslQuantity_t what,
                               uint16_t unit = 1)
{
    return {at, width, what, unit, 1, 0, shift, bits};
}
// A bit of one byte; eight bits, priority p being bit `shift` + p of the number.
constexpr hslReadRow_t hslFlag(uint16_t at, uint8_t bit, hslQuantity_t what)
{
    return hslPart(at, 1, bit, 1, what);
}
constexpr hslReadRow_t hslFlags(uint16_t at, hslQuantity_t what, uint8_t width = 1, uint8_t shift = 0)
{
    return {at, width, what, 1, HSL_PRIORITIES, 0, shift, 1};
}

// Puts the rows into the response from `base` on. `all` is the value that rows of one value take: HSL_ALL or a
// priority.
void hslPutRows(std::span<const hslReadRow_t> rows, const hslChip_t &chip, const hslQuantities_t &q, size_t base,
                hslBuffer &response, unsigned all = HSL_ALL);

// Port counters by their kind; offsets count from the word that gives the number of ports. ASIC counters, from the
// start of the record.
std::span<const hslReadRow_t> hslPortRows(uint32_t kind);
std::span<const hslReadRow_t> hslAsicRows();

// Sets the counters of a port to 0; its high-water marks begin again at what waits now.
void hslClearPort(hslTraffic_t &traffic);

// State and buffer reads; nothing for another command.
void hslBlockRead(hslModel_t &model, uint32_t target, hslBytes record, hslBuffer &response);

#endif
