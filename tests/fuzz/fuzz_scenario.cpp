// SPDX-License-Identifier: Apache-2.0
// Scenario files: what they make goes out and comes back the same, what they do not is refused in one line.
#include "tests/fuzz/batches.h"
#include "tests/fuzz/fuzz.h"
#include "tools/error.h"
#include "tools/report.h"
#include "tools/scenario.h"

void fuzzOne(const uint8_t *data, size_t size)
{
    constexpr size_t MOST = 64 << 10, CHECKED = 8;
    try {
        const ctlScenario_t scenario = ctlReadScenario({reinterpret_cast<const char *>(data), size}, "file", MOST);
        FUZZ_CHECK(!scenario.batches.empty(), "");
        FUZZ_CHECK(scenario.slot.value_or(1) - 1 < 16, std::to_string(*scenario.slot));
        size_t bytes = 0;
        for (size_t i = 0; i < scenario.batches.size(); i++) {
            bytes += ctlEncode(scenario.batches[i]).size();
            if (i < CHECKED)
                fuzzCheckBatch(scenario.batches[i]);
        }
        FUZZ_CHECK(bytes <= MOST, std::to_string(bytes));
    } catch (const ctlError_t &error) {
        FUZZ_CHECK(error.exit == CTL_USAGE, error.text);
        fuzzCheckRefusal(error.text);
    }
}

void fuzzSeeds(const fuzzAdd_t &add)
{
    for (unsigned code = 0; code < QOS_MSG_CODES; code++) {
        ctlJson message = ctlMessageJson(fuzzMessage(code, 0, 2))["fields"];
        message["msg"] = ctlMessageName(code);
        add(ctlJson::array({message}).dump());
        add(ctlJson{{"slot", 2}, {"service", "qosMI"}, {"batches", {{message, message}}}}.dump());
    }
    add(R"([[{"for": ["te1/1..te1/2", "te1/9@1"], "send": {"msg": "IFADD", "ifIndex": "$if", "ifName": "te 1/$n"}}],
            {"for": "3..4", "send": [{"msg": "AGTREG", "slot_id": "$n"}, {"msg": 67, "@raw": "0$n", "@tail": "00"}]},
            {"msg": "AGTREG", "slot_id": true, "@len": 9, "@seq": 3}, {"msg": 4, "cos_map": "7*8", "tc_map[3]": -1}])");
}
