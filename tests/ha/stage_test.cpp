// SPDX-License-Identifier: Apache-2.0
// The process frame: module walks, the stages that the state synchronisation service drives, its dumps and updates, the
// command line and the node file, the trace filter and the internal queue.
#include <sys/uio.h>

#include "core/msgq.h"
#include "core/trace.h"
#include "ha/vss.h"
#include "lib/lib_instance.h"
#include "lib/thread.h"
#include "tests/support/inside.h"

namespace {

using Names = std::vector<std::string>;
Names heard;
int answers[QOS_MODULES]; // of the numbered hooks

int noted(const std::string &what, int rc = 0)
{
    heard.push_back(what);
    return rc;
}

template <unsigned Id>
int hook()
{
    return noted(std::to_string(Id), answers[Id]);
}

const auto noteStage = [](uint32_t stage, uint32_t arg) { // no result of a stage hook counts
    return noted("stage " + std::to_string(stage) + " arg " + std::to_string(arg), 9);
};

Names taken()
{
    return std::exchange(heard, {});
}

// The stage numbers that follow each other, and the module's view of each.
Names drive(uint32_t stage)
{
    Names ran;
    while (stage != 0) {
        ran.push_back(std::to_string(stage));
        stage = qosVssRecover(0, stage);
    }
    return ran;
}

} // namespace

TEST(Modules, WalksAndTheirFailures)
{
    Inside inside;
    memset(qos_modules, 0, sizeof qos_modules);
    qosModule_t &late = qosModuleRecord(QOS_MOD_DROP_MONITOR, "last");
    qosModule_t &early = qosModuleRecord(QOS_MOD_VSS, "early");
    qosModule_t &middle = qosModuleRecord(QOS_MOD_CCB, "middle");
    early.init = early.start = early.ha_reinit = hook<1>;
    middle.init = middle.start = middle.ha_reinit = hook<13>;
    late.init = late.start = late.ha_reinit = hook<26>;
    answers[13] = 5;
    const Names all = {"1", "13", "26"};
    EXPECT_EQ(qosModuleInit(), 5);
    EXPECT_EQ(taken(), (Names{"1", "13"})) << "init stops at the first failure";
    EXPECT_EQ(qosModuleStart(), 0) << "the last hook's result";
    EXPECT_EQ(taken(), all);
    EXPECT_EQ(qosModuleHaReInit(), 0);
    EXPECT_EQ(taken(), all);
    answers[13] = 0;
    answers[26] = 6;
    EXPECT_EQ(qosModuleStart(), 6);
    EXPECT_EQ(qosModuleHaReInit(), 0);
    taken();
    inside.expectErr({"Module middle retuned failure", "Module middle failed to reinit, rc: 5",
                      "Module last retuned failure", "Module last failed to reinit, rc: 6"});
    EXPECT_TRUE(inside.log.has("INF(qosModuleStart:"));

    EXPECT_EQ(qosVssStageRegister(26, 11, noteStage, 1), 0);
    EXPECT_EQ(qosVssStageRegister(1, 11, noteStage, 2), 0);
    EXPECT_EQ(qosVssStageRegister(1, 11, noteStage, 3), 0) << "overwrites";
    EXPECT_EQ(qosVssStageRegister(1, 12, noteStage, 4), 1);
    EXPECT_EQ(qosVssStageRegister(27, 0, noteStage, 4), 1);
    qosVssStageNotification(11);
    EXPECT_EQ(taken(), (Names{"stage 11 arg 3", "stage 11 arg 1"}));
    qosVssStageNotification(12);
    EXPECT_TRUE(taken().empty());
    EXPECT_STREQ(qosModuleName(26), "last");
    EXPECT_STREQ(qosModuleName(27), "Unknown");
}

TEST(Stages, HaveNames)
{
    std::string names;
    for (unsigned n = 0; n <= QOS_STAGE_UNKNOWN; ++n)
        names += std::string(",") + qosVssStageName(n);
    EXPECT_EQ(names,
              ",Cold Boot,Warm Boot,Client Initialization,Warm Client Initialization,Active,Startup Done,Standby,"
              "Halt,LC Agent Reconciliation,Warm Reconciliation,Unknown,THA Reconciliation,Unknown");
}

TEST(Stages, SequencesAndWhatModulesSee)
{
    Inside inside;
    const struct {
        uint32_t stage, is_agent;
        Names ran;
        std::vector<uint32_t> seen; // stage indexes of the walks
        uint32_t left, number;
    } cases[] = {
        {1002, 1, {"1002", "1", "1001", "1000"}, {0, 2, 4, 5}, 5, 1001},
        {1003, 1, {"1003", "2", "3", "1001", "1000"}, {1, 3, 8, 4, 5}, 5, 1001},
        {1003, 0, {"1003", "2", "3", "1001", "4", "1000"}, {1, 3, 8, 4, 9, 5}, 5, 4},
        {1002, 0, {"1002", "1", "1001", "1000"}, {0, 2, 4, 5}, 5, 1001},
        {1042, 1, {"1042", "2", "3", "1001", "1000"}, {11, 3, 8, 4, 5}, 5, 1001},
        {1005, 1, {"1005", "1000"}, {6, 5}, 5, 1005},
        {1004, 1, {"1004", "1000"}, {7, 5}, 5, 1004},
        {5, 1, {"5"}, {}, 12, 1004},
    };
    memset(qos_modules, 0, sizeof qos_modules);
    qosModuleRecord(QOS_MOD_CCB, "recorder").start = [] { return noted("start"); };
    for (uint32_t stage = 0; stage < QOS_STAGE_HOOKS; ++stage)
        (void)qosVssStageRegister(QOS_MOD_CCB, stage, noteStage, 40 + stage);
    for (const auto &c : cases) {
        SCOPED_TRACE(testing::Message() << c.stage << " agent " << c.is_agent);
        qos_velmar_state.is_agent = c.is_agent;
        EXPECT_EQ(drive(c.stage), c.ran);
        Names expected(c.stage == 1002, "start"); // ahead of the walk, and on a cold boot alone
        for (const uint32_t index : c.seen)
            expected.push_back("stage " + std::to_string(index) + " arg " + std::to_string(40 + index));
        EXPECT_EQ(taken(), expected);
        EXPECT_EQ(qos_velmar_state.stage, c.left);
        EXPECT_EQ(qosVssStageGet(), c.number);
        EXPECT_EQ(qosVssBootmodeGet(), c.stage == 1003) << "kept by the stages that are no boot";
        if (c.stage == 1003 && c.is_agent == 0)
            drive(1002), taken();
    }
    EXPECT_STREQ(qosVssStageName(10), "Unknown");
    EXPECT_STREQ(qosVssStageName(11), "THA Reconciliation");
}

TEST(Stages, DumpsAndReinit)
{
    Inside inside;
    memset(qos_modules, 0, sizeof qos_modules);
    qosModule_t &module = qosModuleRecord(QOS_MOD_CCB, "recorder");
    module.start = [] { return noted("start"); };
    module.ha_reinit = [] { return noted("reinit"); };
    module.send_dump = [] { noted("dump"); };
    const ha_hndl_t ha = qos_velmar_state.ha;
    drive(1002);
    EXPECT_EQ(taken(), Names{"start"}) << "nothing was received yet";
    void *built = ha_calloc(ha, 32, "qosChip_t", 0, 1);
    ASSERT_NE(ha_convert_address(ha, built), nullptr);
    EXPECT_EQ(qosVssRecvDump(0, 1, 1), 0);
    EXPECT_EQ(ha_convert_address(ha, built), nullptr) << "what the standby had built goes";
    built = ha_calloc(ha, 32, "qosChip_t", 0, 1);
    EXPECT_EQ(qosVssRecvDump(0, 1, 2), 0);
    EXPECT_NE(ha_convert_address(ha, built), nullptr) << "once";
    qosChipTable = nullptr; // it went with the store
    EXPECT_EQ(qosInitChipTable(), 0);
    drive(1002);
    EXPECT_EQ(taken(), (Names{"reinit", "start"}));
    qos_velmar_state.dump_sent = 0;
    EXPECT_EQ(qosVssSendDump(0, 1, 7), 0);
    EXPECT_EQ(taken(), Names{"dump"});
    EXPECT_EQ(qos_velmar_state.dump_sent, 1U);
}

TEST(Stages, UpdatesInPieces)
{
    Inside inside;
    std::vector<char> buffer(30721);
    for (const auto &[size, vectors] : {std::pair{0U, 0U}, {1U, 1U}, {30720U, 1U}, {30721U, 2U}}) {
        EXPECT_EQ(qosVssSendUpdate(1, 2, 0, buffer.data(), size), 0);
        EXPECT_TRUE(inside.log.has("Sending update, type: 2, size: " + std::to_string(size) +
                                   ", nVecs: " + std::to_string(vectors)));
    }
    const ha_hndl_t handle = std::exchange(qos_velmar_state.vss_handle, 0);
    EXPECT_EQ(qosVssSendUpdate(1, 2, 0, buffer.data(), 1), 1);
    qos_velmar_state.vss_handle = handle;
    inside.expectErr("Vss send update failed, ret: -1");

    char text[] = "abcdef";
    const iovec vectors[] = {{text, 2}, {text, 0}, {text + 2, 4}};
    vss_state.update_cb[4] = [](uint32_t type, const void *bytes, uint32_t length) {
        noted(std::to_string(type) + ":" + std::string(static_cast<const char *>(bytes), length));
    };
    for (const vss_update_t &update : {vss_update_t{3, vectors, 4}, {3, vectors, 3}, {3, vectors, 5}, {0, nullptr, 4}})
        EXPECT_EQ(qosVssRecvUpdate(0, &update), 0);
    EXPECT_EQ(taken(), (Names{"4:abcdef", "4:"}));
    inside.expectErr({"Unable to find recv update callback for type 3", "Unknown update type 5 received"});
}

TEST(Queue, FromAnotherThread)
{
    Inside inside;
    qos_modules[QOS_MOD_CCB].msgq_cb = [](uint32_t a, uint32_t b, uint32_t c) {
        noted(std::to_string(a) + "," + std::to_string(b) + "," + std::to_string(c));
    };
    const uint32_t before = qos_modules[QOS_MOD_CCB].msgq_rcvd;
    std::thread poster([] {
        for (const unsigned module : {unsigned{QOS_MOD_CCB}, unsigned{QOS_MOD_POL}, 200u, unsigned{QOS_MOD_CCB}})
            EXPECT_EQ(qosMsgQSend(module, module, 2, 3), 0);
    });
    struct thread event;
    while (heard.size() < 2 && thread_fetch(qos_velmar_state.lib, &event))
        thread_call(&event);
    poster.join();
    EXPECT_EQ(taken(), Names(2, std::to_string(QOS_MOD_CCB) + ",2,3"));
    EXPECT_EQ(qos_modules[QOS_MOD_CCB].msgq_rcvd, before + 2);
    EXPECT_EQ(qos_modules[QOS_MOD_POL].msgq_rcvd, 1U) << "counted although nobody takes it";
    inside.expectErr(
        {"Module 15 has not registered for msgq callbacks", "Module 200 has not registered for msgq callbacks"});
}

TEST(Start, CommandLine)
{
    const std::pair<Names, int> cases[] = {
        {{"-h"}, 0},
        {{"-x", "-s", "1", "-h"}, 0}, // help wins whatever stands ahead of it
        {{"-s", "1", "-x", "-S", "ethsw", "-y"}, 1},
        {{"-d"}, 1},
    };
    for (const auto &[args, status] : cases) {
        const RunResult result = runAgent(args, "");
        EXPECT_EQ(result.status, status);
        // What is wrong with an option is said first, in the C library's words.
        const size_t usage =
            result.err.find("Usage: dorvald [-h] [-s <switch_number> [-S <service_name>] [-d dbglvl]\n");
        ASSERT_NE(usage, std::string::npos) << result.err;
        EXPECT_EQ(usage > 0, args[0] != "-h") << result.err;
        EXPECT_EQ(result.err.ends_with("Try `dorvald -h' for more information.\n"), status == 1) << result.err;
        EXPECT_EQ(result.err.ends_with("  -d                  Debug daemon startup\n"), status == 0) << result.err;
    }
    NodeOptions options;
    options.args = {"-s", "3", "-d", "7", "-g", "5"};
    TestNode unnamed(options);
    EXPECT_TRUE(unnamed.log.has("svc: , inst: 3, atom: dorvald"));
    EXPECT_TRUE(unnamed.log.has("segment: 5"));
    options.args = {"-S", "a-service-name-of-26-chars"};
    TestNode cutName(options);
    EXPECT_TRUE(cutName.log.has("svc: a-service-name-, inst: 0"));
}
