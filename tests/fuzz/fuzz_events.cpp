// SPDX-License-Identifier: Apache-2.0
// What a driver sends unasked: events to either role, and late answers to the command socket, between good messages.
#include "core/state.h"
#include "inventory/chips.h"
#include "platform/records/frame.h"
#include "tests/fuzz/agent.h"

void fuzzOne(const uint8_t *data, size_t size)
{
    fuzzBytes_t in{data, size};
    const uint8_t kind = in.byte();
    agentBegin(kind);
    fuzzBytes_t script = in.part(in.half());
    agentDriver(in);
    if (kind & 8) { // the manager's role, in which chips go, and leave their ports without one
        agentRemovePorts();
        qos_velmar_state.is_agent = 0;
    }
    for (unsigned n = 0; script.left > 0 && n < 8; n++) {
        const auto to = script.byte() % 4 ? AGENT_EVENTS : AGENT_COMMANDS;
        agentSendRaw(to, script.take(script.half()));
    }
    qos_velmar_state.is_agent = 1;
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
            add(agentSeed(kind, '\1' + text + '\0' + text, std::string(30, '\2')));
        }
}
