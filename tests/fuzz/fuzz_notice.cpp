// SPDX-License-Identifier: Apache-2.0
// Whatever arrives at the two sockets of the manager channel: notices of the error queue, other addresses, cut ones.
#include "tests/fuzz/agent.h"
#include "velmar/mi6.h"

void fuzzOne(const uint8_t *data, size_t size)
{
    fuzzBytes_t in{data, size};
    agentBegin(in.byte());
    for (unsigned n = 0; in.left > 0 && n < 16; n++) {
        const auto to = in.byte() % 2 ? AGENT_STATS : AGENT_MI;
        agentSendRaw(to, in.take(in.half()));
    }
    agentEnd();
}

void fuzzSeeds(const fuzzAdd_t &add)
{
    for (const uint32_t code : {0U, MI6_THRESHOLD_HIGH, MI6_THRESHOLD_NORMAL, MI6_DESTINATION_INVALID, 7U, ~0U}) {
        mi6_notice_t notice = {};
        notice.code = code;
        notice.destination.slot_mask = uint16_t{0x8001};
        notice.destination.flags = static_cast<uint8_t>(code);
        memset(notice.destination.service, code == 7 ? 'x' : 0, sizeof notice.destination.service);
        std::string datagram(20, '\0');
        datagram[0] = datagram[1] = '\xff';
        datagram.append(reinterpret_cast<const char *>(&notice), sizeof notice);
        for (const size_t size : {datagram.size(), datagram.size() - 1, size_t{20}, size_t{19}, size_t{0}})
            add('\4' + (static_cast<char>(code) + fuzzHalf(size)) + datagram.substr(0, size));
    }
    for (const uint8_t flags : {0, 1, 2, 4, 8, 15}) {
        fuzzBuffer_t datagram = agentFrom(agentGood(QOS_COSTRUST_MSG, 1, 0));
        datagram[19] = flags;
        datagram[17] = flags;
        add(std::string(2, '\4') + fuzzHalf(datagram.size()) + fuzzText(datagram));
    }
}
