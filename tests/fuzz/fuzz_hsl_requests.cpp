// SPDX-License-Identifier: Apache-2.0
// Requests to the driver emulator: each is answered by one frame that says its length, and so is the next good one.
// The first corpus is what the agent asks.
#include "hsl/server.h"
#include "tests/fuzz/agent.h"

namespace {

const std::string PATH = "/none";

hslBuffer served(hslServer_t &server, const fuzzBuffer_t &datagram)
{
    hslServe(server, datagram, PATH);
    FUZZ_CHECK(server.outbox.size() == 1 && server.outbox[0].path == PATH, std::to_string(server.outbox.size()));
    hslBuffer answer = std::move(server.outbox[0].bytes);
    server.outbox.clear();
    qosNLHdr_t frame, end;
    FUZZ_CHECK(answer.size() >= 2 * sizeof frame, std::to_string(answer.size()));
    std::copy_n(answer.begin(), sizeof frame, reinterpret_cast<uint8_t *>(&frame));
    std::copy_n(answer.end() - sizeof end, sizeof end, reinterpret_cast<uint8_t *>(&end));
    FUZZ_CHECK((frame.length + 3) / 4 * 4 + sizeof end == answer.size() && end.type == NLM_DONE, "");
    return answer;
}

const std::vector<fuzzBuffer_t> &good()
{
    static const std::vector<fuzzBuffer_t> list = [] {
        std::vector<fuzzBuffer_t> made;
        for (uint8_t type = 0; type < 4; type++)
            for (unsigned code = 0; code < QOS_MSG_CODES; code++) {
                agentBegin(type);
                agentRequests();
                agentSend(AGENT_MI, agentGood(code, 1, 2));
                for (const fuzzBuffer_t &request : agentRequests())
                    made.push_back(request);
            }
        return made;
    }();
    return list;
}

} // namespace

void fuzzOne(const uint8_t *data, size_t size)
{
    static constexpr size_t MOST = 16;
    hslServer_t server;
    for (const char *chip : {"1/0:larkin:8", "1/1:tessel:8", "2/0:mirelle:160", "2/1:mirelle2:8:buffers=9M"})
        FUZZ_CHECK(hslModelDeclare(server.model, chip).empty(), chip);
    fuzzBytes_t in{data, size};
    for (size_t n = 0; in.left > 0 && n < MOST; n++) {
        const uint8_t kind = in.byte();
        fuzzBuffer_t request = in.take(in.half());
        const auto length = static_cast<uint32_t>(request.size());
        if (kind % 4 && length >= NL_RECORD_OFFSET) { // lengths as they are, so that the record counts
            auto frame = reinterpret_cast<qosNLHdr_t *>(request.data());
            auto driver = reinterpret_cast<qosDriverHdr_t *>(frame + 1);
            frame->length = length;
            driver->kind = DRV_KIND_IOCTL;
            driver->request_length = length - NL_RECORD_OFFSET;
        }
        served(server, request);
        server.clock_offset += kind;
    }
    const hslBuffer answer = served(server, good().front());
    FUZZ_CHECK(fuzzWord(answer, NL_RECORD_OFFSET) == fuzzWord(good().front(), NL_RECORD_OFFSET), "");
    for (const char *command : {"show", "log json 30", "traffic list", "show chip 1/0", "show chip 1/1"}) {
        const std::string text = hslControl(server, command);
        FUZZ_CHECK(text.rfind("ok ", 0) == 0 && hslJson::accept(text.substr(3)), text);
    }
}

void fuzzSeeds(const fuzzAdd_t &add)
{
    const auto put = [](const fuzzBuffer_t &request) { return '\1' + fuzzHalf(request.size()) + fuzzText(request); };
    for (size_t n = 0; n < good().size(); n++)
        add(put(good()[n]) + put(good()[(n + 1) % good().size()]));
}
