// SPDX-License-Identifier: Apache-2.0
// Bytes of the chip's answers.
#include "tests/support/chip_reply.h"

namespace {

constexpr size_t RECORD = 48;

void counters(ChipState &chip, Bytes &record)
{
    const uint32_t n = get32(record, 36) >> 16;
    put16(record, 38, n);
    const size_t bitmap = 48 + 12 * n;
    if (n == 0)
        return;
    put32(record, bitmap, 1);
    const size_t results = bitmap + (n + 31) / 32 * 4;
    for (size_t i = 0; i < n; ++i) {
        const uint32_t id = get32(record, 48 + 12 * i);
        put64(record, results + 32 * i + 8, id);
        put64(record, results + 32 * i + 16, 2 * id);
        put64(record, results + 32 * i + 24, chip.violations[id]);
    }
}

void batch(ChipState &chip, Bytes &record)
{
    put16(record, 34, get32(record, 32) >> 16);
    for (size_t at = 36; at + 28 <= record.size(); at += get32(record, at + 8))
        if (get32(record, at) == 0x0127080A) {
            put64(record, at + 432, chip.drops[get32(record, at + 28)]);
            put64(record, at + 440, 1);
        }
}

void capability(const ChipState &chip, Bytes &record)
{
    put32(record, 28, 29);
    put32(record, 92, static_cast<uint32_t>(chip.ports.size()));
    size_t at = 96;
    for (const auto &[ifindex, group] : chip.ports) {
        put32(record, at, ifindex);
        record[at + 11] = static_cast<uint8_t>(group);
        at += 12;
    }
}

} // namespace

Bytes recordOf(const Bytes &request)
{
    return cut(request, RECORD, request.size() - RECORD);
}

Bytes answerTo(const Bytes &request, Bytes record)
{
    record.resize(get32(request, 44));
    return replyWith(request, record);
}

Driver::Reply with(const Bytes &response)
{
    return [response](const Bytes &request) {
        Bytes record = response;
        put(record, 0, cut(request, RECORD, 28));
        return std::vector<Bytes>{replyWith(request, record)};
    };
}

Driver::Reply chipReply(const std::shared_ptr<ChipState> &chip)
{
    return [chip](const Bytes &request) {
        const std::lock_guard<std::mutex> guard(chip->lock);
        Bytes record = recordOf(request);
        record.resize(std::max<size_t>(record.size(), get32(request, 44)));
        const uint32_t command = get32(record, 0);
        if (command == 0x06270000)
            counters(*chip, record);
        else if (command == 0x00070000)
            batch(*chip, record);
        else if (command == 0x01270810)
            capability(*chip, record);
        if (record.size() >= 28) // other records have a shorter head
            put32(record, 24, chip->statuses[command]);
        return std::vector<Bytes>{answerTo(request, record)};
    };
}

Bytes policerAddBody(uint32_t ifindex, uint32_t id, uint8_t type)
{
    return bodyOf(QOS_POL_POLICER_ADD_MSG, Field{"ifindex", ifindex}, Field{"ifName", 'p'}, Field{"chip_ifindex", CHIP},
                  Field{"policer_id", id}, Field{"policer_req_type", type});
}

Bytes bumBody(uint32_t ifindex, uint32_t id, uint32_t poll, uint8_t type)
{
    Bytes body = policerAddBody(ifindex, id, type);
    put(body, {{POL_IS_BUM, 1}, {POL_POLL, poll}});
    return body;
}

Bytes policerDelBody(uint32_t ifindex, uint32_t id, uint8_t type)
{
    return bodyOf(QOS_POL_POLICER_REM_MSG, Field{"ifindex", ifindex}, Field{"ifName", 'p'}, Field{"chip_ifindex", CHIP},
                  Field{"policer_id", id}, Field{"policer_req_type", type});
}
