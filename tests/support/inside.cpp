// SPDX-License-Identifier: Apache-2.0
// One initialisation a process, empty tables a test.
#include "tests/support/inside.h"

#include "agent/dispatch.h"
#include "core/msgq.h"
#include "core/trace.h"
#include "dorvald/startup.h"
#include "lib/lib_instance.h"

namespace {

qosModule_t registered[QOS_MODULES];

void initialise()
{
    setenv("VELMAR_RUN", Inside::run().c_str(), 1);
    setenv("VELMAR_VSS", "manual", 1);
    setenv("VELMAR_TRACE", (Inside::run() + "/trace.txt").c_str(), 1);
    qos_velmar_state.progname = "inside";
    qos_velmar_state.is_agent = 1;
    ASSERT_EQ(qos_trace_init(284, 200, LIB_PROTO_DORVALD), 0);
    ASSERT_EQ(qaInit(), 0);
    thread_asp_start(qos_velmar_state.lib, qosMsgQServer, qos_velmar_state.msgq);
    memcpy(registered, qos_modules, sizeof registered);
}

const std::string &ready()
{
    static const bool once = (initialise(), true);
    (void)once;
    return Inside::run();
}

} // namespace

const std::string &Inside::run()
{
    static const RunDirectory directory;
    return directory.path;
}

Inside::Inside() : driver(ready()), log(run() + "/trace.txt")
{
    memcpy(qos_modules, registered, sizeof registered);
    qos_velmar_state.is_agent = 1;
    qos_velmar_state.model = 1000;
    qos_velmar_state.stage = QOS_STAGE_DONE;
    qosInitSlotTable();
    qos_global_slot_rdy_cnt = 0;
    EXPECT_EQ(qosInitChipTable(), 0);
    EXPECT_EQ(qosInitIfTable(), 0);
}

Inside::~Inside()
{
    log.check();
}

void Inside::add(uint32_t chip, uint32_t type, const std::vector<uint32_t> &ports)
{
    EXPECT_EQ(tell(QOS_CHIPUP_MSG, chipUpBody(chip, 1, chip >> 16 & 7, type)), 0U);
    for (const uint32_t port : ports)
        EXPECT_EQ(tell(QOS_IFADD_MSG, ifAddBody(port, "p")), 0U);
    driver.requests();
}

uint32_t tell(uint8_t code, Bytes &body)
{
    return qaMsgHandlers[code].handler(body.data());
}

uint32_t tell(uint8_t code, Bytes &&body)
{
    return tell(code, body);
}

Bytes answer(uint8_t code, Bytes body, uint32_t rc)
{
    EXPECT_EQ(tell(code, body), rc) << "code " << int{code};
    return body;
}

uint32_t told(uint8_t code, Bytes &body)
{
    const uint32_t rc = tell(code, body);
    Bytes answered = body;
    set(answered, code, Field{"status", rc});
    EXPECT_EQ(body, answered) << "the body's status";
    return rc;
}

Bare::Bare()
{
    for (const unsigned module : {QOS_MOD_CCB, QOS_MOD_POL, QOS_MOD_SCH, QOS_MOD_DROP_MONITOR})
        qos_modules[module] = {};
}

uint32_t Inside::traffic(uint8_t code, const Bytes &body)
{
    uint32_t sum = 0x811c9dc5;
    for (uint32_t seed = 1; seed <= 8; ++seed) {
        driver.always([seed](const Bytes &request) {
            Bytes response = noise(get32(request, 44), seed);
            if (seed % 2) // the number of ports that some responses begin with
                put32(response, 32, 1);
            return with(response)(request);
        });
        driver.requests();
        const Bytes reply = answer(code, body);
        std::vector<Bytes> parts = records();
        parts.push_back(reply);
        for (const Bytes &part : parts)
            for (const uint8_t byte : part)
                sum = (sum ^ byte) * 0x01000193;
    }
    return sum;
}
