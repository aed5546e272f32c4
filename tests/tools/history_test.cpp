// SPDX-License-Identifier: Apache-2.0
// What is left of processes: how each of them ended, what became of the driver, and the trace of one that was killed.
#include "tools/history.h"

#include <sys/stat.h>

#include "tests/support/node.h"
#include "tools/error.h"
#include "tools/log.h"
#include "tools/node.h"
#include "tools/text.h"
#include "velmar/run.h"

namespace {

std::vector<std::string> events()
{
    std::ostringstream out;
    EXPECT_EQ(ctlShowEvents({1000, false, true}, out), CTL_DONE);
    std::vector<std::string> texts;
    for (const ctlJson &row : ctlJson::parse(out.str()))
        texts.push_back(row["text"]);
    return texts;
}

bool told(const std::string &text)
{
    const std::vector<std::string> all = events();
    return std::find(all.begin(), all.end(), text) != all.end();
}

} // namespace

TEST(History, TheEventLogSaysHowProcessesEnded)
{
    const std::string run = makeRunDir(), journal = run + "/journal";
    setenv("VELMAR_RUN", run.c_str(), 1);
    std::ofstream(journal) << "";
    struct stat about {};
    ASSERT_EQ(stat(journal.c_str(), &about), 0);
    const std::string stream = std::to_string(about.st_dev) + ":" + std::to_string(about.st_ino);
    const auto end = [&](const std::string &named, const std::function<void(int pid)> &by) {
        const int pid = startProgram(DORVALD_BINARY, {"dorvald", "-S", "ethsw", "-s", "1"}, run,
                                     {"JOURNAL_STREAM=" + named}, journal);
        EXPECT_TRUE(within([&] {
            const auto agents = ctlProcesses("dorvald");
            return agents.size() == 1 && ctlAsk(agents[0], "stat", 20).find("\"active\"") != std::string::npos;
        }));
        by(pid);
        int status = 0;
        waitpid(pid, &status, 0);
        events(); // with a dead one among the processes
        return std::to_string(pid);
    };
    const auto signalled = [](int number) { return [number](int pid) { kill(pid, number); }; };
    const std::string killed = end("1:1", signalled(SIGKILL));
    EXPECT_EQ(slurp(journal).find(": started"), std::string::npos) << "not the journal that is named";
    end(stream, signalled(SIGTERM));
    end(stream, signalled(SIGABRT));
    end(stream, [](int) {
        std::ostringstream out;
        EXPECT_EQ(ctlCommand("dorvald", {"quit"}, 20, false, out), CTL_DONE);
    });
    for (const std::string &text :
         {"dorvald." + killed + " is gone without a word: it was killed or crashed",
          std::string("ends by signal 15 (Terminated), status 0"), std::string("ends by signal 6, aborted"),
          std::string("ends as quit asked, status 0")})
        EXPECT_TRUE(told(text)) << text;
    EXPECT_NE(slurp(journal).find("]: ends by signal 15 (Terminated), status 0\n"), std::string::npos);
    EXPECT_EQ(ctlEventJson("2026-11-23T14:05:09Z ethsw.1 QOS[77]: a [b]: c"), (ctlJson{{"time", "2026-11-23T14:05:09Z"},
                                                                                       {"service", "ethsw.1"},
                                                                                       {"tag", "QOS"},
                                                                                       {"pid", 77},
                                                                                       {"text", "a [b]: c"}}));
    EXPECT_TRUE(ctlEventJson("other")["time"].is_null());

    // The ring of the first one, which nobody serves any more.
    const auto trace = [](const std::string &who, const std::string &file) {
        std::ostringstream out;
        EXPECT_EQ(ctlShowTrace(who, file, {2, false, true}, out), CTL_DONE);
        return ctlJson::parse(out.str());
    };
    const ctlJson rows = trace(killed, "");
    ASSERT_EQ(rows.size(), 2u);
    EXPECT_EQ(rows, trace("", run + "/trace/QOS-1." + killed));
    const std::string now = ctlUtc(std::chrono::system_clock::now() - std::chrono::seconds(2), true).substr(0, 11);
    EXPECT_EQ(rows[1]["time"].get<std::string>().size(), 24u);
    EXPECT_GE(rows[1]["time"].get<std::string>(), now) << "of today, though the agent's clock stood still";
    EXPECT_THROW(trace("", run + "/trace/raslog"), ctlError_t);
    EXPECT_EQ(std::system((DORVCTL_BINARY " trace 2>&1 | grep -q 'trace --file " + run + "/trace/QOS-1[.]'").c_str()),
              0);
    std::filesystem::remove_all(run);
}

TEST(History, TheDriverIsLostAndFound)
{
    LiveNode live;
    setenv("VELMAR_RUN", live.node.run.c_str(), 1);
    live.addPort();
    EXPECT_EQ(events().back(), "driver: found, it answers");
    live.driver.script({Driver::none()});
    live.driver.requests();
    live.manager.send(message(QOS_COSTRUST_MSG, l2Body(PORT, CHIP, 0, 0), 5));
    live.driver.await(1);
    const auto driver = [&](const char *key) {
        return ctlStatRow(ctlFindProcess("dorvald"), live.node.ctl("stat"))[key];
    };
    EXPECT_TRUE(within([&] { return driver("driver_pending").is_number(); })) << "while it waits";
    live.node.ctl("clock step 15000");
    live.node.log.ignoreErrs();
    EXPECT_FALSE(live.manager.receive().empty());
    EXPECT_TRUE(driver("driver_pending").is_null());
    EXPECT_EQ(driver("driver_error"), "a request had no answer in time");
    EXPECT_EQ(events().back(), "driver: lost: a request had no answer in time");
    live.status(QOS_COSTRUST_MSG, l2Body(PORT, CHIP, 0, 0));
    EXPECT_EQ(events().back(), "driver: found, it answers");
    EXPECT_EQ(driver("driver"), "answers");
    EXPECT_LT(driver("since"), 15000) << "no step of the clock moves it";
    const std::string name = live.node.run + "/qos/driver"; // gone and back between two requests
    std::filesystem::rename(name, name + "2");
    EXPECT_EQ(driver("driver"), "lost");
    std::filesystem::rename(name + "2", name);
    EXPECT_EQ(driver("driver"), "not asked yet");
}

TEST(History, TheLogOfBatchesTellsWhatFailed)
{
    LiveNode live;
    setenv("VELMAR_RUN", live.node.run.c_str(), 1);
    live.addPort();
    const auto rows = [](unsigned batches, bool failed) {
        std::ostringstream out;
        EXPECT_EQ(ctlShowLog({"", batches, failed, true, 20}, out), CTL_DONE);
        return ctlJson::parse(out.str());
    };
    const size_t before = rows(2000, false).size();
    live.driver.script({Driver::status(7)});
    Bytes batch = message(QOS_COSTRUST_MSG, l2Body(PORT, CHIP, 0, 0), 3) + message(QOS_IFADD_MSG, {1, 2}, 4);
    for (uint8_t i = 0; i < 9; ++i) // so many that they go on in a second record
        batch = batch + message(QOS_COSTRUST_MSG, l2Body(PORT + 0x10000, CHIP, 0, 0), static_cast<uint8_t>(5 + i));
    live.node.log.ignoreErrs();
    EXPECT_FALSE(live.manager.exchange(batch).empty());
    EXPECT_EQ(live.status(QOS_COSTRUST_MSG, l2Body(PORT, CHIP, 0, 0)), 0u);
    const ctlJson all = rows(2000, false);
    ASSERT_EQ(all.size(), before + 3);
    const ctlJson &first = all[before], &second = all[before + 1], &good = all[before + 2];
    EXPECT_EQ(first["batch"], second["batch"]);
    EXPECT_EQ(second["failed"], 11);
    EXPECT_EQ(first["failures"].size() + second["failures"].size(), 11u);
    EXPECT_EQ(first["failures"][0], (ctlJson{{"name", "QOS_COSTRUST_MSG"},
                                             {"code", QOS_COSTRUST_MSG},
                                             {"port", "te1/1"},
                                             {"ifindex", PORT},
                                             {"seq", 3},
                                             {"ack", 1},
                                             {"status", 22},
                                             {"text", "driver refused"}}));
    EXPECT_EQ(first["failures"][1]["text"], "passed over: its body is too short");
    EXPECT_EQ(first["failures"][2]["text"], "the port was not announced");
    EXPECT_EQ(first["driver"],
              ctlJson::parse(R"([{"operation":"L2 priority map","command":19337218,"number":7,"error":null}])"));
    EXPECT_TRUE(good["failures"].empty() && good["driver"].empty());
    EXPECT_EQ(rows(1, true)[0], second);
}
