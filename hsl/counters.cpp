// SPDX-License-Identifier: Apache-2.0
// The layout of every read of state, buffers and port counters, as rows. Depths, bounds and thresholds are bytes unless
// the row says frames.
#include "hsl/counters.h"

#include <algorithm>
#include <array>
#include <type_traits>

#include "platform/records/statistics_blocks.h"
#include "velmar/dce.h"

using R = hslReadRow_t;

static constexpr uint16_t FRAMES = HSL_FRAME;

// What a block holds, by its members: one value, one for each priority, some bits of a number, a bit for each priority.
template <typename Block>
static constexpr std::array<R, 0> rowsOf = {};

template <typename Member>
static constexpr uint8_t width = sizeof(std::remove_extent_t<std::remove_reference_t<Member>>);

#define ROWS(block, ...)                                                                                               \
    template <>                                                                                                        \
    constexpr auto rowsOf<block> = [] {                                                                                \
        using B = block;                                                                                               \
        return std::to_array<R>({__VA_ARGS__});                                                                        \
    }()
#define ONE(member, ...) hslOne(offsetof(B, member), sizeof(B::member), __VA_ARGS__)
#define EACH(member, ...) hslEach(offsetof(B, member), width<decltype(B::member)>, __VA_ARGS__)
#define PART(member, shift, bits, ...) hslPart(offsetof(B, member), sizeof(B::member), shift, bits, __VA_ARGS__)
#define FLAG(member, bit, what) PART(member, bit, 1, what)
#define FLAGS(member, shift, what) hslFlags(offsetof(B, member), what, sizeof(B::member), shift)

// Ports.

ROWS(cosIngQuePort_t, EACH(pri36, Q_ENQUEUED), ONE(val100, Q_TAIL_DROPPED), FLAG(byte108, 0, Q_BUSY),
     FLAGS(bits109, 0, Q_BUSY), FLAGS(bits110, 0, Q_XOFF), FLAGS(bits111, 0, Q_FULL));
ROWS(cosEgrQuePort_t, FLAGS(bits37, 0, Q_BUSY), ONE(val38, Q_DEPTH, FRAMES), FLAG(word40, 31, Q_PAUSED),
     PART(word40, 20, 11, Q_BUSY), PART(word40, 0, 20, Q_PEAK, FRAMES), ONE(val44, Q_PAUSED), EACH(pri48, Q_PERCENT),
     EACH(pri56, Q_DEPTH, FRAMES), EACH(pri72, Q_PEAK, FRAMES));
ROWS(cosIngBufPort_t, FLAGS(bits36, 0, Q_LOSSLESS), FLAGS(bits39, 0, Q_XOFF), ONE(val40[0], Q_DEPTH),
     ONE(val40[1], Q_PEAK), ONE(val40[2], Q_BUFFERS), ONE(val40[3], Q_LEFT), EACH(pri56, Q_DEPTH), EACH(pri88, Q_PEAK),
     EACH(pri120, Q_BOUND), EACH(pri216, Q_ASSERT), EACH(pri248, Q_DE_ASSERT), EACH(pri280, Q_FREE),
     EACH(pri312, Q_PERCENT), FLAGS(bits321, 0, Q_FULL), FLAG(byte327, 0, Q_BUSY));
// One request of a Mirelle is both the buffer read and that of busy buffers.
ROWS(cosBusyBufPort_t, ONE(log_port_bufs, Q_DEPTH), EACH(port_pri_bufs, Q_DEPTH), EACH(pri88, Q_PEAK),
     EACH(pri120, Q_BOUND), EACH(pri216, Q_ASSERT), EACH(pri248, Q_DE_ASSERT), EACH(pri280, Q_FREE),
     EACH(pri312, Q_PERCENT), FLAGS(bits321, 0, Q_FULL), FLAG(byte327, 0, Q_BUSY));
ROWS(cosEgrBufPort_t, EACH(pri36, Q_DEPTH), EACH(pri68, Q_PEAK), EACH(pri100, Q_BOUND), FLAGS(bits134, 0, Q_FULL),
     FLAGS(bits135, 0, Q_BUSY));
ROWS(cosSendQuePort_t, EACH(port_pri_bufs, Q_DEPTH), EACH(threshold, Q_BOUND), ONE(dropped, Q_LOST, FRAMES));

// Whole chips.

ROWS(cosIngQueChip_t, EACH(pri32, Q_DEPTH), EACH(pri96, Q_PEAK), FLAG(word128, 19, Q_XOFF), FLAGS(word128, 1, Q_XOFF),
     ONE(val132[0], Q_DEPTH), ONE(val132[1], Q_PEAK), ONE(val132[2], Q_BUFFERS), ONE(val132[3], Q_LEFT),
     ONE(val132[4], Q_BUSY_PORTS), ONE(val132[5], Q_PORTS));
ROWS(cosEgrQueChip_t, EACH(pri32, Q_DEPTH), EACH(pri64, Q_PEAK), ONE(val96[0], Q_DEPTH), ONE(val96[1], Q_PEAK),
     EACH(pri104, Q_BUSY), EACH(pri136, Q_PAUSED), ONE(val168[0], Q_BUSY_PORTS), ONE(val168[1], Q_PORTS));
ROWS(cosIngBufChip_t, ONE(val32[0], Q_BUFFERS), ONE(val32[1], Q_DEPTH), ONE(val32[2], Q_PEAK), ONE(val32[3], Q_LEFT),
     ONE(val32[4], Q_BUSY_PORTS), ONE(val32[5], Q_PORTS), EACH(pri56, Q_DEPTH), EACH(pri88, Q_PEAK),
     EACH(pri120, Q_BOUND), EACH(pri152, Q_ASSERT), ONE(val184[0], Q_XOFF), ONE(val184[1], Q_FULL),
     FLAGS(bits193, 0, Q_LOSSLESS), FLAGS(bits194, 0, Q_XOFF), FLAG(byte199, 1, Q_XOFF), FLAG(byte199, 0, Q_BUSY));
ROWS(cosEgrBufChip_t, ONE(val32[0], Q_BUFFERS), ONE(val32[1], Q_DEPTH), ONE(val32[2], Q_PEAK), ONE(val32[3], Q_LEFT),
     EACH(pri48, Q_DEPTH), EACH(pri80, Q_PEAK), EACH(pri112, Q_BOUND), FLAGS(word145, 3, Q_BUSY));

// The memory controller behind a Tessel: as a whole, and a port of it.

ROWS(cosTmcIngQueChip_t, FLAG(byte34, 3, Q_ONE), FLAG(byte34, 2, Q_BUSY), FLAG(byte34, 1, Q_XOFF),
     FLAG(byte34, 0, Q_FULL), FLAG(byte35, 7, Q_LOSSLESS), FLAG(byte35, 6, Q_PAUSED), ONE(val36, Q_BUSY_PORTS),
     ONE(val40, Q_BUSY));
ROWS(cosTmcEgrQueChip_t, EACH(val32, Q_DEPTH), EACH(val32[8], Q_PEAK), ONE(val32[16], Q_DEPTH));
ROWS(cosTmcIngBufChip_t, ONE(val32[0], Q_DEPTH), ONE(val32[1], Q_PEAK), ONE(val32[2], Q_BUFFERS),
     EACH(pair44, Q_ENQUEUED), EACH(pair108, Q_TAIL_DROPPED), EACH(pair172, Q_RED), EACH(pair236, Q_HELD),
     ONE(val300[0], Q_LEFT), ONE(val300[1], Q_BUSY_PORTS));
ROWS(cosTmcEgrBufChip_t, EACH(pri32, Q_PERCENT), EACH(pri64[0], Q_DEPTH), EACH(pri64[1], Q_PEAK),
     EACH(pri64[2], Q_BOUND), EACH(pri64[3], Q_FREE), EACH(pri64[4], Q_BUSY), EACH(pri64[5], Q_PAUSED),
     ONE(val640, Q_BUFFERS), EACH(pair644, Q_FORWARDED, FRAMES), EACH(pair708, Q_FORWARDED),
     EACH(pair772, Q_TAIL_DROPPED, FRAMES), EACH(pair836, Q_RED, FRAMES), ONE(val900[0], Q_DEPTH),
     ONE(val900[1], Q_PEAK), ONE(val900[2], Q_LEFT), ONE(val900[3], Q_BUSY_PORTS), ONE(val900[4], Q_PORTS));
ROWS(cosTmcIngQuePort_t, ONE(val36, Q_BUSY), ONE(val40, Q_XOFF), ONE(val44, Q_LOSSLESS), ONE(val48, Q_DEPTH),
     EACH(pri52, Q_DEPTH, FRAMES));
ROWS(cosTmcIngBufPort_t, ONE(val36, Q_BUSY), ONE(val40, Q_XOFF), ONE(val44, Q_DEPTH), EACH(pri52, Q_DEPTH),
     EACH(pri116, Q_PEAK), ONE(val180, Q_BUFFERS), EACH(pri188, Q_BOUND), EACH(pri252, Q_ASSERT),
     EACH(pri316, Q_DE_ASSERT), EACH(pri380, Q_FREE), ONE(val412, Q_LEFT), ONE(pair416[0], Q_RED, FRAMES),
     ONE(pair416[1], Q_RED), ONE(pair416[2], Q_TAIL_DROPPED, FRAMES), ONE(pair416[3], Q_TAIL_DROPPED));
ROWS(cosTmcEgrBufPort_t, ONE(val36, Q_DEPTH), EACH(pri40, Q_DEPTH), EACH(pair104[0], Q_FORWARDED, FRAMES),
     EACH(pair104[1], Q_FORWARDED), EACH(pair104[2], Q_ENQUEUED, FRAMES), EACH(pair104[3], Q_ENQUEUED),
     EACH(pair104[4], Q_TAIL_DROPPED, FRAMES), EACH(pair104[5], Q_TAIL_DROPPED), EACH(pair104[6], Q_RED, FRAMES),
     EACH(pair104[7], Q_RED), EACH(pair104[8], Q_HELD, FRAMES), EACH(pair104[9], Q_HELD),
     EACH(pair104[10], Q_PAUSE_SENT), EACH(pair104[11], Q_PAUSE_RECEIVED));

// Of the priority that the selector names.
ROWS(cosVoq_t, ONE(counter[0], Q_ENQUEUED, FRAMES), ONE(counter[1], Q_ENQUEUED), ONE(counter[2], Q_FORWARDED, FRAMES),
     ONE(counter[3], Q_FORWARDED), ONE(counter[4], Q_TAIL_DROPPED, FRAMES), ONE(counter[5], Q_TAIL_DROPPED),
     ONE(counter[6], Q_RED_GREEN, FRAMES), ONE(counter[7], Q_RED_GREEN), ONE(counter[8], Q_RED_YELLOW, FRAMES),
     ONE(counter[9], Q_RED_YELLOW), ONE(counter[10], Q_HELD, FRAMES), ONE(counter[11], Q_HELD),
     ONE(counter[12], Q_PAUSE_SENT), ONE(counter[13], Q_PAUSE_RECEIVED));

// Counters.

ROWS(statPortRmon_t, ONE(discarded, Q_TAIL_DROPPED, FRAMES));
ROWS(statPortFlow_t, ONE(global, Q_PAUSE_SENT), EACH(pri, Q_PAUSE_SENT), ONE(global2, Q_PAUSE_RECEIVED));
ROWS(statPortQueue_t, EACH(counter1, Q_FORWARDED, FRAMES), EACH(counter2, Q_FORWARDED, HSL_CHIP_UNIT),
     EACH(counter3, Q_ENQUEUED, FRAMES), EACH(counter4, Q_ENQUEUED, HSL_CHIP_UNIT), ONE(total[0], Q_FORWARDED, FRAMES),
     ONE(total[1], Q_FORWARDED, HSL_CHIP_UNIT), ONE(total[2], Q_ENQUEUED, FRAMES),
     ONE(total[3], Q_ENQUEUED, HSL_CHIP_UNIT));
ROWS(cosAsicStats_t, ONE(sum32[0], Q_ENQUEUED, FRAMES), ONE(val64, Q_ENQUEUED), ONE(sum72[0], Q_FORWARDED, FRAMES),
     ONE(sum104[0], Q_LOST, FRAMES), ONE(val136[0], Q_TAIL_DROPPED, FRAMES), ONE(val136[1], Q_RED, FRAMES),
     ONE(val136[2], Q_POLICED, FRAMES), ONE(val136[3], Q_HELD, FRAMES), ONE(val136[4], Q_PAUSE_SENT),
     ONE(val176, Q_PAUSE_RECEIVED), EACH(val184, Q_ENQUEUED, FRAMES), EACH(val184[8], Q_FORWARDED, FRAMES),
     EACH(val184[16], Q_TAIL_DROPPED, FRAMES), EACH(val184[24], Q_RED, FRAMES), ONE(val440[0], Q_DROPPED, FRAMES),
     ONE(val440[1], Q_DROPPED), ONE(val440[2], Q_POLICED), EACH(val464, Q_ENQUEUED), EACH(val528, Q_FORWARDED));

std::span<const R> hslPortRows(uint32_t kind)
{
    if (kind == STAT_KIND_RMON)
        return rowsOf<statPortRmon_t>;
    if (kind == STAT_KIND_FLOW_CONTROL)
        return rowsOf<statPortFlow_t>;
    return kind == STAT_KIND_QUEUE ? std::span<const R>(rowsOf<statPortQueue_t>) : std::span<const R>();
}

std::span<const R> hslAsicRows()
{
    return rowsOf<cosAsicStats_t>;
}

// Blocks.

enum class form_t : uint8_t { Port, Plc, TmcChip, TmcPort, Voq };

struct block_t {
    uint32_t command;
    uint16_t bytes; // of the response
    uint8_t chips;
    form_t form;
    std::span<const R> rows;
};

static constexpr uint8_t SHARED = HSL_TSL_MRL;
static constexpr uint8_t TESSEL = HSL_TESSEL;

// The first of a command, a length and a family counts.
static constexpr block_t blocks[] = {
    {COS_INGRESS_BUFFERS_PORT, sizeof(cosBusyBufPort_t), HSL_MIRELLE, form_t::Port, rowsOf<cosBusyBufPort_t>},
    {COS_EGRESS_BUFFERS_PORT, sizeof(cosSendQuePort_t), HSL_MIRELLE, form_t::Port, rowsOf<cosSendQuePort_t>},
    // A Mirelle is asked for this one by the drop monitor.
    {COS_INGRESS_BUFFERS_PORT, sizeof(cosTmcIngBufPort_t), HSL_MIRELLE, form_t::TmcPort, rowsOf<cosTmcIngBufPort_t>},
#define STAT_BLOCK(entry, code, chips, command, form, block, ...)                                                      \
    {command, sizeof(block), chips, form_t::form, rowsOf<block>},
#include "platform/records/statistics.def"
#undef STAT_BLOCK
};

void hslPutRows(std::span<const R> rows, const hslChip_t &chip, const hslQuantities_t &q, size_t base,
                hslBuffer &response, unsigned all)
{
    uint32_t chipUnit = chip.type->family == HSL_MIRELLE ? 1 : 8;
    for (auto &row : rows) {
        unsigned bits = row.bits ? row.bits : 8 * row.width;
        uint64_t most = bits < 64 ? (uint64_t{1} << bits) - 1 : UINT64_MAX;
        for (unsigned i = 0; i < row.count; ++i) {
            auto value = hslCount(q[row.what][row.count > 1 ? i : all]) / (row.unit ? row.unit : chipUnit);
            auto shift = row.shift + (row.count > 1 && !row.stride ? i : 0);
            auto at = base + row.at + i * row.stride;
            hslPut(response, at, row.width, hslGet(response, at, row.width) | std::min(value, most) << shift);
        }
    }
}

void hslBlockRead(hslModel_t &model, uint32_t target, hslBytes record, hslBuffer &response)
{
    auto chip = model.chips.find(dce_get_flat_chip_id(target));
    if (chip == model.chips.end())
        return;
    auto command = hslGet(record, 0, 4);
    auto block = std::find_if(std::begin(blocks), std::end(blocks), [&](auto &row) {
        return row.command == command && row.bytes == response.size() && (row.chips & chip->second.type->family);
    });
    if (block == std::end(blocks))
        return;
    if (block->form == form_t::Plc || block->form == form_t::TmcChip) {
        hslPutRows(block->rows, chip->second, hslChipQuantities(model, chip->second), 0, response);
        return;
    }
    auto port = model.ports.find(static_cast<uint32_t>(hslGet(record, offsetof(cosStatPort_t, ifindex), 4)));
    if (port == model.ports.end())
        return;
    auto selected = static_cast<unsigned>(hslGet(record, offsetof(cosStatPort_t, selector), 1) & 15);
    bool whole = block->form != form_t::Voq || selected >= HSL_PRIORITIES;
    hslPutRows(block->rows, chip->second, hslPortQuantities(chip->second, port->second), 0, response,
               whole ? HSL_ALL : selected);
}
