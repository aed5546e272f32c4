// SPDX-License-Identifier: Apache-2.0
// The command table. Offsets count from the start of the record, its head included. Relies on the command numbers and
// the statistics head of platform/records/frame.h, for lengths on the blocks.
#include "hsl/commands.h"

#include <algorithm>

#include "platform/records/statistics_blocks.h"

using F = hslField_t;

// Larkin.

static constexpr F VLAN[] = {hslUpTo(hslHalf("cos", 26), 7)};
static constexpr F REG_MAP[] = {hslUpTo(hslNibbles("tc", 32, 8), 7)};
static constexpr F MC_RATE[] = {hslHalf("burst", 12), hslWord("rate", 16)};
static constexpr F MC_SCH[] = {hslUpTo(hslHalf("tc", 12, 8, 4), 7), hslHalf("weight", 14, 8, 4)};
static constexpr F MC_DROP[] = {hslUpTo(hslHalf("queue", 12, 8, 4), 7), hslHalf("threshold", 14, 8, 4)};
static constexpr F TCAM_REGION[] = {hslHex(hslHalf("table", 16)), hslHalf("region", 18), hslHalf("min", 24),
                                    hslHalf("max", 26),           hslHalf("size", 28),   hslHalf("growth", 30)};
static constexpr F TCAM_ADD[] = {hslHex(hslHalf("table", 42)), hslHalf("region", 44), hslHex(hslWord("key", 56)),
                                 hslHex(hslWord("L2 result", 88)), hslHex(hslWord("L3 result", 92))};
static constexpr F TCAM_DELETE[] = {hslHex(hslHalf("table", 16)), hslWord("handle", 40)};
static constexpr F TCAM_UPDATE[] = {hslHex(hslHalf("table", 44)), hslWord("handle", 40),
                                    hslHex(hslWord("L2 result", 56)), hslHex(hslWord("L3 result", 60))};
static constexpr F LARK_RED_CHIP[] = {hslWord("active", 12), hslWord("max", 16), hslWord("span", 20),
                                      hslWord("min", 24)};
static constexpr F LARK_RED_PORT[] = {hslSet(hslHalf("on for", 16)), hslWord("profile of 7 to 0", 20, 8)};
static constexpr F LARK_PAUSE[] = {hslUpTo(hslWord("rx", 16), 1), hslUpTo(hslWord("tx", 20), 1), hslWord("assert", 24),
                                   hslWord("de-assert", 28)};
static constexpr F LARK_PFC[] = {hslUpTo(hslHalf("priority", 16, 8, 32), 7), hslUpTo(hslWord("rx", 20, 8, 32), 1),
                                 hslUpTo(hslWord("tx", 24, 8, 32), 1), hslWord("assert", 28, 8, 32),
                                 hslWord("de-assert", 32, 8, 32)};
static constexpr F LARK_SCH[] = {hslHex(hslHalf("mask", 12)), hslUpTo(hslHalf("policy", 22), 7), hslWord("credit", 24),
                                 hslHalf("weight of 7 6 5 4 3 2 0 1", 28, 8)};
static constexpr F THRESHOLD_16[] = {hslWord("threshold", 16)};
static constexpr F LARK_PRI_DROP[] = {hslUpTo(hslHalf("priority", 16, 8, 16), 7), hslWord("threshold", 20, 8, 16)};
static constexpr F PORT_COUNTERS[] = {hslUpTo(hslWord("kind", 20), 2)};
static constexpr F CLEAR_SWM[] = {hslWord("ports", 12)};

// Tessel and Mirelle.

static constexpr F BULK[] = {hslHalf("records", 32)};
static constexpr F SCHEDULER[] = {hslUpTo(hslWord("strict boundary", 32), 7),
                                  hslByte("group", 36, 8),
                                  hslWord("weight", 44, 8),
                                  hslWord("queue weight", 76, 8),
                                  hslWord("bandwidth", 108, 8),
                                  hslSet(hslByte("unlimited", 140))};
static constexpr F SHAPER[] = {hslUpTo(hslWord("on", 28), 1), hslWord("rate", 36)};
static constexpr F MC_MODE[] = {hslBits("mode", 28, 1, 5, 1)};
static constexpr F PAUSE[] = {hslUpTo(hslWord("rx", 32), 1), hslUpTo(hslWord("tx", 36), 1), hslWord("assert", 40),
                              hslWord("de-assert", 44)};
static constexpr F PFC[] = {hslUpTo(hslWord("priority", 32), 7), hslUpTo(hslWord("rx", 36), 1),
                            hslUpTo(hslWord("tx", 40), 1), hslWord("assert", 44), hslWord("de-assert", 48)};
static constexpr F W2Q[] = {hslUpTo(hslByte("tc", 32, 8), 7)};
static constexpr F PRI_DROP[] = {hslUpTo(hslWord("valid", 44, 8), 1), hslWord("threshold", 76, 8)};
static constexpr F TAIL_DROP[] = {hslUpTo(hslWord("valid", 32), 1), hslWord("threshold", 36)};
static constexpr F RED[] = {hslBits("priority", 34, 1, 2, 3), hslBits("on", 34, 1, 1, 1),
                            hslByte("profile", 35),           hslUpTo(hslWord("probability", 36, 3, 16), 255),
                            hslWord("min", 40, 3, 16),        hslWord("span", 44, 3, 16),
                            hslWord("max", 48, 3, 16)};
static constexpr F IVQ_RED[] = {hslSet(hslByte("pfc map", 35))};
static constexpr F VOQ[] = {hslBits("selector", 32, 1, 0, 4), hslByte("of", 33, 3)};
static constexpr F DEF_COS[] = {hslUpTo(hslByte("tc", 32), 7), hslUpTo(hslByte("cos", 33), 7)};
static constexpr F L2_MAP[] = {hslUpTo(hslByte("default tc", 32), 7), hslUpTo(hslByte("default cos", 33), 7),
                               hslUpTo(hslByte("tc", 64, 8, 4), 7), hslUpTo(hslByte("cos", 65, 8, 4), 7)};
static constexpr F L3_MAP[] = {hslUpTo(hslByte("trust", 32), 1), hslUpTo(hslByte("tc", 36, 64, 4), 7),
                               hslUpTo(hslByte("cos", 37, 64, 4), 7)};
static constexpr F DSCP_MAP[] = {hslUpTo(hslByte("dscp", 32, 64), 63)};
static constexpr F STATS[] = {hslWord("device", 28), hslHalf("requests", 34), hslHalf("responses", 36),
                              hslHex(hslWord("first", 48))};
static constexpr F POL_PROFILE[] = {hslBits("delete", 28, 4, 0, 1), hslBits("profile", 28, 4, 1, 31),
                                    hslByte("conform", 32, 8), hslByte("exceed", 40, 8), hslByte("violate", 48, 8)};
static constexpr F POL_ADD[] = {hslWord("policer", 80),
                                hslBits("ingress", 28, 4, 31, 1),
                                hslBits("profile", 28, 4, 21, 10),
                                hslBits("group", 76, 4, 28, 4),
                                hslQuad("cbs", 32),
                                hslQuad("cir", 40),
                                hslQuad("ebs", 48),
                                hslQuad("eir", 56),
                                hslHex(hslWord("conform", 64)),
                                hslHex(hslWord("exceed", 68))};
static constexpr F POL_REMOVE[] = {hslBits("policer", 32, 4, 0, 28), hslUpTo(hslWord("ingress", 28), 1),
                                   hslBits("group", 32, 4, 28, 4)};
static constexpr F POL_ASSOC[] = {hslWord("policer", 36), hslBits("ingress", 28, 4, 31, 1)};
static constexpr F POL_DEASSOC[] = {hslBits("ingress", 28, 4, 31, 1)};

// Lengths that the record itself gives.

hslStatSizes_t hslStatSizes(uint32_t device)
{
    switch (device) {
    case STAT_DEV_RED_MIRELLE:
    case STAT_DEV_RED_TESSEL:
        return {12, 72};
    case STAT_DEV_DROP_REASON:
        return {8, 8 + 128 * 8 + 7 * 8};
    case STAT_DEV_INGRESS_POLICER:
    case STAT_DEV_EGRESS_POLICER:
        return {12, 32};
    default:
        return {0, 0};
    }
}

static uint32_t field(hslBytes record, size_t offset, unsigned width)
{
    return static_cast<uint32_t>(hslGet(record, offset, width));
}

// A multiple that cannot wrap: what is too long for any datagram is refused as a length that does not match.
static uint32_t times(uint32_t count, uint32_t size)
{
    return std::min(count, 0xFFFFu) * size;
}

static hslLengths_t clearSwmLengths(hslBytes record)
{
    return {20 + times(field(record, 12, 4), 4), DCE_HEAD};
}

// The envelope's two sizes count the envelope and every record in it; what is inside is walked by the server.
static hslLengths_t bulkLengths(hslBytes record)
{
    auto in = field(record, 8, 4), out = field(record, 12, 4);
    return in < sizeof(cosBulk_t) || out < sizeof(cosBulk_t) ? hslLengths_t{0, 0} : hslLengths_t{in, out};
}

static hslLengths_t statsReadLengths(hslBytes record)
{
    auto device = field(record, 28, 4), requests = field(record, 34, 2), responses = field(record, 36, 2);
    if (device == STAT_DEV_PORT) {
        auto length = 48 + times(field(record, 32, 4), 456);
        return {length, length};
    }
    if (device == STAT_DEV_ASIC)
        return {592, 592};
    auto sizes = hslStatSizes(device);
    if (!sizes.key)
        return {0, 0};
    auto in = 48 + requests * sizes.key;
    return {in, in + (responses + 31) / 32 * 4 + responses * sizes.result};
}

static hslLengths_t statsClearLengths(hslBytes record)
{
    auto device = field(record, 28, 4), requests = field(record, 34, 2);
    if (device == STAT_DEV_PORT) {
        auto length = 40 + times(field(record, 32, 4), 4);
        return {length, length};
    }
    if (device >= STAT_DEV_DEBUG_FIRST && device <= STAT_DEV_DEBUG_LAST)
        return {48, COS_HEAD};
    auto sizes = hslStatSizes(device);
    if (!sizes.key)
        return {0, 0};
    auto in = 48 + requests * sizes.key;
    bool policers = device == STAT_DEV_INGRESS_POLICER || device == STAT_DEV_EGRESS_POLICER;
    return {in, policers ? in : COS_HEAD};
}

// The table.

static constexpr auto DCE = HSL_DCE;
static constexpr auto COS = HSL_COS;
static constexpr uint8_t L = HSL_LARKIN, T = HSL_TESSEL, M = HSL_MIRELLE, TM = HSL_TSL_MRL;
static constexpr std::span<const F> NONE;

static const hslCommand_t commands[] = {
    {DCE_CHIP_CAPABILITY, -1, DCE, L, "capability", {164}, HSL_SAME, nullptr, 0, NONE},
    {DCE_VLAN_CONFIG, -1, DCE, L, "default CoS", {28}, 12, nullptr, 0, VLAN},
    {DCE_L2_CONFIG, 8, DCE, L, "L2 priority register map", {76}, 12, nullptr, 72, REG_MAP},
    {DCE_L2_CONFIG, 19, DCE, L, "multicast rate limit", {20}, 12, nullptr, 0, MC_RATE},
    {DCE_L2_CONFIG, 20, DCE, L, "multicast scheduler", {44}, 12, nullptr, 0, MC_SCH},
    {DCE_L2_CONFIG, 21, DCE, L, "multicast tail drop", {44}, 12, nullptr, 0, MC_DROP},
    {DCE_TCAM_CREATE_REGION, -1, DCE, L, "create TCAM region", {32}, 12, nullptr, 0, TCAM_REGION},
    {DCE_TCAM_ADD, -1, DCE, L, "add TCAM entry", {140}, 36, nullptr, 60, TCAM_ADD},
    {DCE_TCAM_DELETE, -1, DCE, L, "delete TCAM entry", {52}, 12, nullptr, 0, TCAM_DELETE},
    {DCE_TCAM_UPDATE, -1, DCE, L, "update TCAM entry", {108, 68}, 12, nullptr, 0, TCAM_UPDATE},
    {DCE_CCB_GET, 33, DCE, L, "receive queue counters", {120}, HSL_SAME, nullptr, 12, NONE},
    {DCE_CCB_GET, 34, DCE, L, "shared buffer pool size", {20}, HSL_SAME, nullptr, 0, NONE},
    {DCE_CCB_SET, 28, DCE, L, "RED profile on chip", {28}, 12, nullptr, 0, LARK_RED_CHIP},
    {DCE_CCB_SET, 30, DCE, L, "RED on port", {52}, 12, nullptr, 12, LARK_RED_PORT},
    {DCE_CCB_SET, 31, DCE, L, "pause", {40}, 12, nullptr, 12, LARK_PAUSE},
    {DCE_CCB_SET, 32, DCE, L, "per-priority pause", {268}, 12, nullptr, 12, LARK_PFC},
    {DCE_CCB_SET, 35, DCE, L, "scheduler", {44}, 12, nullptr, 0, LARK_SCH},
    {DCE_CCB_SET, 36, DCE, L, "tail drop", {24}, 12, nullptr, 12, THRESHOLD_16},
    {DCE_CCB_SET, 37, DCE, L, "per-priority tail drop", {140}, 12, nullptr, 12, LARK_PRI_DROP},
    {DCE_CCB_SET, 38, DCE, L, "port buffer", {20}, 12, nullptr, 12, THRESHOLD_16},
    {DCE_CCB_SET, 39, DCE, L, "emergency pause", {20}, 12, nullptr, 12, THRESHOLD_16},
    {DCE_PORT_COUNTERS, -1, DCE, L, "port counters", {484}, HSL_SAME, nullptr, 28, PORT_COUNTERS},
    {DCE_MCAST_COUNTERS, -1, DCE, L, "multicast receive queue counters", {164}, HSL_SAME, nullptr, 0, NONE},
    {DCE_CLEAR_QMG, -1, DCE, L, "clear QMG counters", {12}, 12, nullptr, 0, NONE},
    {DCE_SWM_COUNTERS, -1, DCE, L, "SWM counters", {44}, HSL_SAME, nullptr, 20, NONE},
    {DCE_CLEAR_SWM, -1, DCE, L, "clear SWM counters", {}, 12, clearSwmLengths, 0, CLEAR_SWM},

    {COS_BULK, -1, COS, TM, "bulk", {}, 0, bulkLengths, 0, BULK},
    {COS_CHIP_CAPABILITY, -1, COS, TM, "capability", {460}, HSL_SAME, nullptr, 0, NONE},
    {COS_TMC_INFO, -1, COS, T, "TMC information", {36}, HSL_SAME, nullptr, 0, NONE},
    {COS_SCHEDULER, -1, COS, TM, "scheduler", {144}, HSL_SAME, nullptr, 28, SCHEDULER},
    {COS_PORT_SHAPER, -1, COS, TM, "port shaper", {40}, 28, nullptr, 32, SHAPER},
    {COS_MCAST_QUEUE_MODE, -1, COS, M, "multicast queue mode", {36}, HSL_SAME, nullptr, 0, MC_MODE},
    {COS_INGRESS_QUEUE_CHIP,
     -1,
     COS,
     TM,
     "ingress queue state of chip",
     {sizeof(cosIngQueChip_t), sizeof(cosTmcIngQueChip_t)},
     HSL_SAME,
     nullptr,
     0,
     NONE},
    {COS_INGRESS_QUEUE_PORT,
     -1,
     COS,
     TM,
     "ingress queue state",
     {sizeof(cosIngQuePort_t), sizeof(cosTmcIngQuePort_t)},
     HSL_SAME,
     nullptr,
     28,
     NONE},
    {COS_EGRESS_QUEUE_CHIP,
     -1,
     COS,
     TM,
     "egress queue state of chip",
     {sizeof(cosEgrQueChip_t), sizeof(cosTmcEgrQueChip_t)},
     HSL_SAME,
     nullptr,
     0,
     NONE},
    {COS_EGRESS_QUEUE_PORT, -1, COS, TM, "egress queue state", {sizeof(cosEgrQuePort_t)}, HSL_SAME, nullptr, 28, NONE},
    {COS_SBP_SIZE, -1, COS, T, "shared buffer pool size", {32}, HSL_SAME, nullptr, 0, NONE},
    {COS_PAUSE, -1, COS, TM, "pause", {48}, 28, nullptr, 28, PAUSE},
    {COS_PFC, -1, COS, TM, "per-priority pause", {52}, 28, nullptr, 28, PFC},
    {COS_W2Q_MAP, -1, COS, TM, "wire-to-queue priority map", {40}, 28, nullptr, 28, W2Q},
    {COS_PRI_TAIL_DROP, -1, COS, TM, "per-priority tail drop", {108}, 28, nullptr, 28, PRI_DROP},
    {COS_TAIL_DROP, -1, COS, TM, "tail drop", {40}, 28, nullptr, 28, TAIL_DROP},
    {COS_RED_MIRELLE, -1, COS, M, "RED", {84}, 28, nullptr, 28, RED},
    {COS_INGRESS_BUFFERS_CHIP,
     -1,
     COS,
     TM,
     "ingress buffers of chip",
     {sizeof(cosIngBufChip_t), sizeof(cosTmcIngBufChip_t)},
     HSL_SAME,
     nullptr,
     0,
     NONE},
    {COS_INGRESS_BUFFERS_PORT,
     -1,
     COS,
     TM,
     "ingress buffers",
     {sizeof(cosIngBufPort_t), sizeof(cosTmcIngBufPort_t)},
     HSL_SAME,
     nullptr,
     28,
     NONE},
    {COS_EGRESS_BUFFERS_CHIP,
     -1,
     COS,
     TM,
     "egress buffers of chip",
     {sizeof(cosEgrBufChip_t), sizeof(cosTmcEgrBufChip_t)},
     HSL_SAME,
     nullptr,
     0,
     NONE},
    {COS_EGRESS_BUFFERS_PORT,
     -1,
     COS,
     TM,
     "egress buffers",
     {sizeof(cosEgrBufPort_t), sizeof(cosTmcEgrBufPort_t), sizeof(cosSendQuePort_t)},
     HSL_SAME,
     nullptr,
     28,
     NONE},
    {COS_IVQ_RED_MAP, -1, COS, T, "input VOQ RED map", {36}, 28, nullptr, 28, IVQ_RED},
    {COS_VOQ_COUNTERS, -1, COS, T, "VOQ counters", {sizeof(cosStatPort_t)}, sizeof(cosVoq_t), nullptr, 28, VOQ},
    {COS_EXT_CHIP_CAPABILITY, -1, COS, M, "extended capability", {2016}, HSL_SAME, nullptr, 0, NONE},
    {COS_RED_TESSEL, -1, COS, T, "RED", {84}, 28, nullptr, 28, RED},
    {COS_DEF_COS, -1, COS, TM, "default CoS and TC", {36}, 28, nullptr, 28, DEF_COS},
    {COS_L3_PRI_MAP, -1, COS, TM, "L3 priority map", {292}, 28, nullptr, 28, L3_MAP},
    {COS_L2_PRI_MAP, -1, COS, TM, "L2 priority map", {160}, 28, nullptr, 28, L2_MAP},
    {COS_DSCP_MAP, -1, COS, TM, "DSCP mutation map", {96}, 28, nullptr, 28, DSCP_MAP},
    {COS_STATS_READ, -1, COS, TM, "statistics read", {}, 0, statsReadLengths, 0, STATS},
    {COS_STATS_CLEAR, -1, COS, TM, "statistics clear", {}, 0, statsClearLengths, 0, STATS},
    {COS_POLICER_PROFILE, -1, COS, TM, "policer profile", {56}, HSL_SAME, nullptr, 0, POL_PROFILE},
    {COS_POLICER_ADD, -1, COS, TM, "policer add", {88}, HSL_SAME, nullptr, 0, POL_ADD},
    {COS_POLICER_REMOVE, -1, COS, TM, "policer remove", {36}, HSL_SAME, nullptr, 0, POL_REMOVE},
    {COS_POLICER_ASSOCIATE, -1, COS, TM, "policer association", {40}, HSL_SAME, nullptr, 32, POL_ASSOC},
    {COS_POLICER_DEASSOCIATE, -1, COS, TM, "policer de-association", {36}, HSL_SAME, nullptr, 32, POL_DEASSOC},
};

std::span<const hslCommand_t> hslCommands()
{
    return commands;
}

const hslCommand_t *hslFindCommand(hslBytes record)
{
    auto command = field(record, 0, 4);
    auto operation = static_cast<int>(field(record, offsetof(dceHdr_t, operation), 1));
    for (auto &row : commands)
        if (row.command == command && (row.operation < 0 || row.operation == operation))
            return &row;
    return nullptr;
}

static hslLengths_t rowLengths(const hslCommand_t &row, hslBytes record, uint32_t length)
{
    if (row.lengths)
        return row.lengths(record);
    for (auto request : row.requests)
        if (request && request == length)
            return {request, row.response == HSL_SAME ? request : row.response};
    return {row.requests[0], row.response == HSL_SAME ? row.requests[0] : row.response};
}

std::string hslCheckLengths(const hslCommand_t &row, hslBytes record, uint32_t *response)
{
    auto head = hslHead(row);
    auto bytes = static_cast<uint32_t>(record.size());
    *response = head;
    if (bytes < head)
        return "record of " + std::to_string(bytes) + " bytes, shorter than its head";
    bool dce = row.family == HSL_DCE;
    auto length = dce ? field(record, 4, 2) : field(record, 8, 4);
    auto right = rowLengths(row, record, length);
    if (!right.request)
        return "no such device or size";
    if (length != right.request)
        return "size " + std::to_string(length) + ", not " + std::to_string(right.request);
    auto out = dce ? right.response : field(record, 12, 4);
    if (out != right.response)
        return "response size " + std::to_string(out) + ", not " + std::to_string(right.response);
    // A request whose answer is longer may be sent in as many bytes as the answer takes.
    if (bytes != length && (dce || bytes != std::max(length, out)))
        return "record of " + std::to_string(bytes) + " bytes says " + std::to_string(length);
    if (out > HSL_MAX_RESPONSE)
        return "response of " + std::to_string(out) + " bytes fits no receiver";
    *response = out;
    return "";
}

void hslSetStatus(const hslCommand_t &row, hslBuffer &response, uint32_t status)
{
    if (row.family == HSL_COS)
        hslPut(response, offsetof(cosHdr_t, status), 4, status);
    else // one byte: a status whose low byte is 0 must not read as success
        hslPut(response, offsetof(dceHdr_t, status), 1, (status & 0xFF) || !status ? status : 0xFF);
}
