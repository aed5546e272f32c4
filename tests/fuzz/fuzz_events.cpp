// SPDX-License-Identifier: Apache-2.0
// What arrives unasked: events of the driver to either role and late answers at the command socket; at the two sockets
// of the manager channel notices of the error queue, other addresses and cut ones.
#include "core/state.h"
#include "inventory/chips.h"
#include "platform/records/frame.h"
#include "tests/fuzz/agent.h"
#include "velmar/mi6.h"

void fuzzOne(const uint8_t *data, size_t size)
{
    fuzzBytes_t in{data, size};
    const uint8_t kind = in.byte();
    agentBegin(kind);
    fuzzBytes_t script = in.part(in.half());
    agentDriver(in);
    const qosMiReceiver_t receiver = qos_velmar_state.mi_callback;
    if (kind & 8) { // the manager's role, in which chips go, and leave their ports without one
        agentRemovePorts();
        qos_velmar_state.is_agent = 0;
        qos_velmar_state.mi_callback = nullptr; // the agent's would answer to agents, itself among them, without end
    }
    for (unsigned n = 0; script.left > 0 && n < 8; n++) {
        const auto to = static_cast<agentSocket_t>(script.byte() % 4);
        agentSendRaw(to, script.take(script.half()));
    }
    qos_velmar_state.is_agent = 1;
    qos_velmar_state.mi_callback = receiver;
    agentEnd();
}

void fuzzSeeds(const fuzzAdd_t &add)
{
    qosChipReady_t ready = {};
    ready.num_chips = 1;
    ready.bitmap[0] = 0x100;
    qosBulkChipUp_t bulk = {};
    bulk.event = CHIP_EVENT_BULK_UP;
    bulk.num_chips = 2;
    fuzzBuffer_t chips = fuzzBytesOf(bulk);
    chips.resize(chips.size() + 2 * sizeof(qosBulkChip_t), 0x10);
    std::vector<fuzzBuffer_t> events = {agentFrame(NLM_CHIP_READY, DRV_KIND_EVENT, fuzzBytesOf(ready)),
                                        agentFrame(NLM_AGENT_REQUEST, DRV_KIND_EVENT, chips)};
    for (const uint32_t number : {3U, 4U, 7U, 9U})
        for (const uint32_t index : {FUZZ_CHIP, FUZZ_CHIP + (1U << 16), ~0U}) {
            qosChipCap_t record = {};
            record.event = number;
            record.slot = 1;
            record.chip_ifindex = index;
            record.num_ports = record.num_port_entries = number * 40;
            events.push_back(agentFrame(NLM_AGENT_REQUEST, number == 9 ? 6 : 2, fuzzBytesOf(record)));
        }
    for (const fuzzBuffer_t &event : events)
        for (const uint8_t kind : {1, 9, 10}) {
            const std::string text = fuzzHalf(event.size()) + fuzzText(event);
            add(agentSeed(kind, char{AGENT_EVENTS} + text + char{AGENT_COMMANDS} + text, std::string(30, '\2')));
        }
    std::vector<fuzzBuffer_t> datagrams;
    for (const uint32_t code : {0U, MI6_THRESHOLD_HIGH, MI6_THRESHOLD_NORMAL, MI6_DESTINATION_INVALID, 7U, ~0U}) {
        mi6_notice_t notice = {};
        notice.code = code;
        notice.destination.slot_mask = uint16_t{0x8001};
        notice.destination.flags = static_cast<uint8_t>(code);
        memset(notice.destination.service, code == 7 ? 'x' : 0, sizeof notice.destination.service);
        fuzzBuffer_t datagram = fuzzBytesOf(notice);
        datagram.insert(datagram.begin(), 20, 0);
        datagram[0] = datagram[1] = 0xff;
        for (const size_t size : {datagram.size(), datagram.size() - 1, size_t{20}, size_t{19}, size_t{0}})
            datagrams.emplace_back(datagram.begin(), datagram.begin() + static_cast<std::ptrdiff_t>(size));
    }
    for (const uint8_t flags : {0, 1, 2, 4, 8, 15}) {
        datagrams.push_back(agentFrom(agentGood(QOS_COSTRUST_MSG, 1, 0)));
        datagrams.back()[17] = datagrams.back()[19] = flags;
    }
    for (const fuzzBuffer_t &datagram : datagrams)
        for (const char to : {AGENT_MI, AGENT_STATS})
            add(agentSeed(4, to + fuzzHalf(datagram.size()) + fuzzText(datagram), ""));
}
