// The layout of every read of state, buffers and port counters, as rows. Depths, bounds and thresholds are bytes unless
// the row says frames.
#include "hsl/counters.h"

#include <algorithm>

#include "platform/records/statistics.h"
#include "velmar/dce.h"

using R = hslReadRow_t;

static constexpr uint16_t FRAMES = HSL_FRAME;

// Ports.

static constexpr R INGRESS_QUEUE_PORT[] = {hslEach(36, 8, Q_ENQUEUED), hslOne(100, 8, Q_TAIL_DROPPED),
                                           hslFlag(108, 0, Q_BUSY),    hslFlags(109, Q_BUSY),
                                           hslFlags(110, Q_XOFF),      hslFlags(111, Q_FULL)};
static constexpr R EGRESS_QUEUE_PORT[] = {
    hslFlags(37, Q_BUSY),           hslOne(38, 2, Q_DEPTH, FRAMES),        hslFlag(40, 7, Q_PAUSED),
    hslPart(40, 4, 20, 11, Q_BUSY), hslPart(40, 4, 0, 20, Q_PEAK, FRAMES), hslOne(44, 4, Q_PAUSED),
    hslEach(48, 1, Q_PERCENT),      hslEach(56, 2, Q_DEPTH, FRAMES),       hslEach(72, 2, Q_PEAK, FRAMES)};
static constexpr R INGRESS_BUFFERS_TESSEL[] = {
    hslFlags(36, Q_LOSSLESS),   hslFlags(39, Q_XOFF),      hslOne(40, 4, Q_DEPTH),       hslOne(44, 4, Q_PEAK),
    hslOne(48, 4, Q_BUFFERS),   hslOne(52, 4, Q_LEFT),     hslEach(56, 4, Q_DEPTH),      hslEach(88, 4, Q_PEAK),
    hslEach(120, 4, Q_BOUND),   hslEach(216, 4, Q_ASSERT), hslEach(248, 4, Q_DE_ASSERT), hslEach(280, 4, Q_FREE),
    hslEach(312, 1, Q_PERCENT), hslFlags(321, Q_FULL),     hslFlag(327, 0, Q_BUSY)};
// One request is both the buffer read and that of busy buffers, whose words go ahead of the flags.
static constexpr R INGRESS_BUFFERS_MIRELLE[] = {
    hslOne(36, 4, Q_DEPTH),    hslEach(52, 4, Q_DEPTH),      hslEach(88, 4, Q_PEAK),  hslEach(120, 4, Q_BOUND),
    hslEach(216, 4, Q_ASSERT), hslEach(248, 4, Q_DE_ASSERT), hslEach(280, 4, Q_FREE), hslEach(312, 1, Q_PERCENT),
    hslFlags(321, Q_FULL),     hslFlag(327, 0, Q_BUSY)};
static constexpr R EGRESS_BUFFERS_PORT[] = {hslEach(36, 4, Q_DEPTH), hslEach(68, 4, Q_PEAK), hslEach(100, 4, Q_BOUND),
                                            hslFlags(134, Q_FULL), hslFlags(135, Q_BUSY)};
static constexpr R SEND_QUEUE[] = {hslEach(36, 4, Q_DEPTH), hslEach(68, 4, Q_BOUND), hslOne(0x84, 8, Q_LOST, FRAMES)};

// Whole chips.

static constexpr R INGRESS_QUEUE_CHIP[] = {
    hslEach(32, 4, Q_DEPTH),      hslEach(96, 4, Q_PEAK), hslFlag(129, 3, Q_XOFF),   hslFlags(128, Q_XOFF, 4, 1),
    hslOne(132, 4, Q_DEPTH),      hslOne(136, 4, Q_PEAK), hslOne(140, 4, Q_BUFFERS), hslOne(144, 4, Q_LEFT),
    hslOne(148, 4, Q_BUSY_PORTS), hslOne(152, 4, Q_PORTS)};
static constexpr R EGRESS_QUEUE_CHIP[] = {
    hslEach(32, 4, Q_DEPTH), hslEach(64, 4, Q_PEAK),    hslOne(96, 4, Q_DEPTH),       hslOne(100, 4, Q_PEAK),
    hslEach(104, 4, Q_BUSY), hslEach(136, 4, Q_PAUSED), hslOne(168, 4, Q_BUSY_PORTS), hslOne(172, 4, Q_PORTS)};
static constexpr R INGRESS_BUFFERS_CHIP[] = {
    hslOne(32, 4, Q_BUFFERS),    hslOne(36, 4, Q_DEPTH),    hslOne(40, 4, Q_PEAK),   hslOne(44, 4, Q_LEFT),
    hslOne(48, 4, Q_BUSY_PORTS), hslOne(52, 4, Q_PORTS),    hslEach(56, 4, Q_DEPTH), hslEach(88, 4, Q_PEAK),
    hslEach(120, 4, Q_BOUND),    hslEach(152, 4, Q_ASSERT), hslOne(184, 4, Q_XOFF),  hslOne(188, 4, Q_FULL),
    hslFlags(193, Q_LOSSLESS),   hslFlags(194, Q_XOFF),     hslFlag(199, 1, Q_XOFF), hslFlag(199, 0, Q_BUSY)};
static constexpr R EGRESS_BUFFERS_CHIP[] = {
    hslOne(32, 4, Q_BUFFERS), hslOne(36, 4, Q_DEPTH), hslOne(40, 4, Q_PEAK),    hslOne(44, 4, Q_LEFT),
    hslEach(48, 4, Q_DEPTH),  hslEach(80, 4, Q_PEAK), hslEach(112, 4, Q_BOUND), hslFlags(145, Q_BUSY, 2, 3)};

// The memory controller behind a Tessel: as a whole, and a port of it.

static constexpr R TMC_INGRESS_QUEUE[] = {
    hslFlag(34, 3, Q_ONE),      hslFlag(34, 2, Q_BUSY),   hslFlag(34, 1, Q_XOFF),      hslFlag(34, 0, Q_FULL),
    hslFlag(35, 7, Q_LOSSLESS), hslFlag(35, 6, Q_PAUSED), hslOne(36, 4, Q_BUSY_PORTS), hslOne(40, 4, Q_BUSY)};
static constexpr R TMC_EGRESS_QUEUE[] = {hslEach(32, 4, Q_DEPTH), hslEach(64, 4, Q_PEAK), hslOne(96, 4, Q_DEPTH)};
static constexpr R TMC_INGRESS_BUFFERS[] = {
    hslOne(32, 4, Q_DEPTH),     hslOne(36, 4, Q_PEAK),           hslOne(40, 4, Q_BUFFERS),
    hslEach(44, 8, Q_ENQUEUED), hslEach(108, 8, Q_TAIL_DROPPED), hslEach(172, 8, Q_RED),
    hslEach(236, 8, Q_HELD),    hslOne(300, 4, Q_LEFT),          hslOne(304, 4, Q_BUSY_PORTS)};
static constexpr R TMC_EGRESS_BUFFERS[] = {hslEach(32, 4, Q_PERCENT),
                                           hslEach(64, 4, Q_DEPTH),
                                           hslEach(128, 4, Q_PEAK),
                                           hslEach(192, 4, Q_BOUND),
                                           hslEach(256, 4, Q_FREE),
                                           hslEach(320, 4, Q_BUSY),
                                           hslEach(384, 4, Q_PAUSED),
                                           hslOne(640, 4, Q_BUFFERS),
                                           hslEach(644, 8, Q_FORWARDED, FRAMES),
                                           hslEach(708, 8, Q_FORWARDED),
                                           hslEach(772, 8, Q_TAIL_DROPPED, FRAMES),
                                           hslEach(836, 8, Q_RED, FRAMES),
                                           hslOne(900, 4, Q_DEPTH),
                                           hslOne(904, 4, Q_PEAK),
                                           hslOne(908, 4, Q_LEFT),
                                           hslOne(912, 4, Q_BUSY_PORTS),
                                           hslOne(916, 4, Q_PORTS)};
static constexpr R TMC_PORT_INGRESS_QUEUE[] = {hslOne(36, 4, Q_BUSY), hslOne(40, 4, Q_XOFF), hslOne(44, 4, Q_LOSSLESS),
                                               hslOne(48, 4, Q_DEPTH), hslEach(52, 2, Q_DEPTH, FRAMES)};
static constexpr R TMC_PORT_INGRESS_BUFFERS[] = {hslOne(36, 4, Q_BUSY),         hslOne(40, 4, Q_XOFF),
                                                 hslOne(44, 4, Q_DEPTH),        hslEach(52, 4, Q_DEPTH),
                                                 hslEach(116, 4, Q_PEAK),       hslOne(180, 4, Q_BUFFERS),
                                                 hslEach(188, 4, Q_BOUND),      hslEach(252, 4, Q_ASSERT),
                                                 hslEach(316, 4, Q_DE_ASSERT),  hslEach(380, 4, Q_FREE),
                                                 hslOne(412, 4, Q_LEFT),        hslOne(416, 8, Q_RED, FRAMES),
                                                 hslOne(424, 8, Q_RED),         hslOne(432, 8, Q_TAIL_DROPPED, FRAMES),
                                                 hslOne(440, 8, Q_TAIL_DROPPED)};
static constexpr R TMC_PORT_EGRESS_BUFFERS[] = {hslOne(36, 4, Q_DEPTH),
                                                hslEach(40, 4, Q_DEPTH),
                                                hslEach(104 + 64 * 0, 8, Q_FORWARDED, FRAMES),
                                                hslEach(104 + 64 * 1, 8, Q_FORWARDED),
                                                hslEach(104 + 64 * 2, 8, Q_ENQUEUED, FRAMES),
                                                hslEach(104 + 64 * 3, 8, Q_ENQUEUED),
                                                hslEach(104 + 64 * 4, 8, Q_TAIL_DROPPED, FRAMES),
                                                hslEach(104 + 64 * 5, 8, Q_TAIL_DROPPED),
                                                hslEach(104 + 64 * 6, 8, Q_RED, FRAMES),
                                                hslEach(104 + 64 * 7, 8, Q_RED),
                                                hslEach(104 + 64 * 8, 8, Q_HELD, FRAMES),
                                                hslEach(104 + 64 * 9, 8, Q_HELD),
                                                hslEach(104 + 64 * 10, 8, Q_PAUSE_SENT),
                                                hslEach(104 + 64 * 11, 8, Q_PAUSE_RECEIVED)};

// Of the priority that the selector names.
static constexpr R VOQ[] = {hslOne(36, 8, Q_ENQUEUED, FRAMES),     hslOne(44, 8, Q_ENQUEUED),
                            hslOne(52, 8, Q_FORWARDED, FRAMES),    hslOne(60, 8, Q_FORWARDED),
                            hslOne(68, 8, Q_TAIL_DROPPED, FRAMES), hslOne(76, 8, Q_TAIL_DROPPED),
                            hslOne(84, 8, Q_RED_GREEN, FRAMES),    hslOne(92, 8, Q_RED_GREEN),
                            hslOne(100, 8, Q_RED_YELLOW, FRAMES),  hslOne(108, 8, Q_RED_YELLOW),
                            hslOne(116, 8, Q_HELD, FRAMES),        hslOne(124, 8, Q_HELD),
                            hslOne(132, 8, Q_PAUSE_SENT),          hslOne(140, 8, Q_PAUSE_RECEIVED)};

// Counters.

static constexpr R PORT_RMON[] = {hslOne(0x188, 8, Q_TAIL_DROPPED, FRAMES)};
static constexpr R PORT_FLOW_CONTROL[] = {hslOne(0x58, 8, Q_PAUSE_SENT), hslEach(0x60, 8, Q_PAUSE_SENT),
                                          hslOne(0xA0, 8, Q_PAUSE_RECEIVED)};
static constexpr R PORT_QUEUE[] = {hslEach(0x18, 8, Q_FORWARDED, FRAMES), hslEach(0x58, 8, Q_FORWARDED, HSL_CHIP_UNIT),
                                   hslEach(0x98, 8, Q_ENQUEUED, FRAMES),  hslEach(0xD8, 8, Q_ENQUEUED, HSL_CHIP_UNIT),
                                   hslOne(0x118, 8, Q_FORWARDED, FRAMES), hslOne(0x120, 8, Q_FORWARDED, HSL_CHIP_UNIT),
                                   hslOne(0x128, 8, Q_ENQUEUED, FRAMES),  hslOne(0x130, 8, Q_ENQUEUED, HSL_CHIP_UNIT)};
static constexpr R ASIC[] = {hslOne(32, 8, Q_ENQUEUED, FRAMES),
                             hslOne(64, 8, Q_ENQUEUED),
                             hslOne(72, 8, Q_FORWARDED, FRAMES),
                             hslOne(104, 8, Q_LOST, FRAMES),
                             hslOne(136, 8, Q_TAIL_DROPPED, FRAMES),
                             hslOne(144, 8, Q_RED, FRAMES),
                             hslOne(152, 8, Q_POLICED, FRAMES),
                             hslOne(160, 8, Q_HELD, FRAMES),
                             hslOne(168, 8, Q_PAUSE_SENT),
                             hslOne(176, 8, Q_PAUSE_RECEIVED),
                             hslEach(184, 8, Q_ENQUEUED, FRAMES),
                             hslEach(248, 8, Q_FORWARDED, FRAMES),
                             hslEach(312, 8, Q_TAIL_DROPPED, FRAMES),
                             hslEach(376, 8, Q_RED, FRAMES),
                             hslOne(440, 8, Q_DROPPED, FRAMES),
                             hslOne(448, 8, Q_DROPPED),
                             hslOne(456, 8, Q_POLICED),
                             hslEach(464, 8, Q_ENQUEUED),
                             hslEach(528, 8, Q_FORWARDED)};

std::span<const R> hslPortRows(uint32_t kind)
{
    if (kind == STAT_KIND_RMON)
        return PORT_RMON;
    if (kind == STAT_KIND_FLOW_CONTROL)
        return PORT_FLOW_CONTROL;
    return kind == STAT_KIND_QUEUE ? std::span<const R>(PORT_QUEUE) : std::span<const R>();
}

std::span<const R> hslAsicRows()
{
    return ASIC;
}

// Blocks.

enum blockForm_t : uint8_t { OF_PORT, OF_CHIP, OF_PRIORITY };

struct block_t {
    uint32_t command;
    uint16_t bytes; // of the response
    uint8_t chips;
    blockForm_t form;
    std::span<const R> rows;
};

static constexpr block_t blocks[] = {
    {COS_INGRESS_QUEUE_PORT, 112, HSL_TSL_MRL, OF_PORT, INGRESS_QUEUE_PORT},
    {COS_EGRESS_QUEUE_PORT, 88, HSL_TSL_MRL, OF_PORT, EGRESS_QUEUE_PORT},
    {COS_INGRESS_BUFFERS_PORT, 328, HSL_TESSEL, OF_PORT, INGRESS_BUFFERS_TESSEL},
    {COS_INGRESS_BUFFERS_PORT, 328, HSL_MIRELLE, OF_PORT, INGRESS_BUFFERS_MIRELLE},
    {COS_EGRESS_BUFFERS_PORT, 188, HSL_TSL_MRL, OF_PORT, EGRESS_BUFFERS_PORT},
    {COS_EGRESS_BUFFERS_PORT, 328, HSL_MIRELLE, OF_PORT, SEND_QUEUE},
    {COS_INGRESS_QUEUE_CHIP, 160, HSL_TSL_MRL, OF_CHIP, INGRESS_QUEUE_CHIP},
    {COS_EGRESS_QUEUE_CHIP, 176, HSL_TSL_MRL, OF_CHIP, EGRESS_QUEUE_CHIP},
    {COS_INGRESS_BUFFERS_CHIP, 272, HSL_TSL_MRL, OF_CHIP, INGRESS_BUFFERS_CHIP},
    {COS_EGRESS_BUFFERS_CHIP, 184, HSL_TSL_MRL, OF_CHIP, EGRESS_BUFFERS_CHIP},
    {COS_INGRESS_QUEUE_CHIP, 44, HSL_TESSEL, OF_CHIP, TMC_INGRESS_QUEUE},
    {COS_EGRESS_QUEUE_CHIP, 100, HSL_TESSEL, OF_CHIP, TMC_EGRESS_QUEUE},
    {COS_INGRESS_BUFFERS_CHIP, 308, HSL_TESSEL, OF_CHIP, TMC_INGRESS_BUFFERS},
    {COS_EGRESS_BUFFERS_CHIP, 952, HSL_TESSEL, OF_CHIP, TMC_EGRESS_BUFFERS},
    {COS_INGRESS_QUEUE_PORT, 68, HSL_TESSEL, OF_PORT, TMC_PORT_INGRESS_QUEUE},
    {COS_INGRESS_BUFFERS_PORT, 448, HSL_TSL_MRL, OF_PORT, TMC_PORT_INGRESS_BUFFERS},
    {COS_EGRESS_BUFFERS_PORT, 936, HSL_TESSEL, OF_PORT, TMC_PORT_EGRESS_BUFFERS},
    {COS_VOQ_COUNTERS, 148, HSL_TESSEL, OF_PRIORITY, VOQ},
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
    if (block->form == OF_CHIP) {
        hslPutRows(block->rows, chip->second, hslChipQuantities(model, chip->second), 0, response);
        return;
    }
    auto port = model.ports.find(static_cast<uint32_t>(hslGet(record, offsetof(cosStatPort_t, ifindex), 4)));
    if (port == model.ports.end())
        return;
    auto selected = static_cast<unsigned>(hslGet(record, offsetof(cosStatPort_t, selector), 1) & 15);
    bool whole = block->form == OF_PORT || selected >= HSL_PRIORITIES;
    hslPutRows(block->rows, chip->second, hslPortQuantities(chip->second, port->second), 0, response,
               whole ? HSL_ALL : selected);
}
