// SPDX-License-Identifier: Apache-2.0
// Recordings of each chip family, played to a fresh node, and what a replay finds when something differs.
#include <sys/wait.h>

#include "tests/support/peer.h"

namespace {

std::string recordingOf(const std::string &family)
{
    return slurp(RECORDINGS "/" + family + ".pcapng");
}

// What the recordings were made with.
struct FreshNode {
    RunDirectory run;
    int driver = 0, agent = 0;

    explicit FreshNode(const std::string &family)
    {
        run.own();
        if (family == "larkin")
            std::ofstream(run.path + "/node") << "model = 95\n";
        driver = startProgram(HSLD_BINARY, {"hsld", "--chip", "1/0:" + family + (family == "larkin" ? ":8" : ":12")},
                              run.path, {}, run.path + "/d");
        EXPECT_TRUE(within([&] { return tool("ctl hsld stat") == 0; }));
        agent = startProgram(DORVALD_BINARY, {"dorvald", "-S", "ethsw", "-s", "1"}, run.path, {"VELMAR_CLOCK="},
                             run.path + "/a");
        EXPECT_TRUE(within([&] { return tool("show chips") == 0; }));
    }
    ~FreshNode()
    {
        for (const int pid : {agent, driver})
            if (kill(pid, SIGKILL) == 0)
                waitpid(pid, nullptr, 0);
    }
    int tool(const std::string &arguments) const
    {
        return statusOf(std::system((DORVCTL_BINARY " " + arguments + " >" + run.path + "/out 2>&1").c_str()));
    }
    std::string out() const { return slurp(run.path + "/out"); }
    int replay(const std::string &capture, const std::string &options = "") const
    {
        std::ofstream(run.path + "/capture") << capture;
        return tool("replay " + run.path + "/capture " + options);
    }
};

} // namespace

TEST(Replay, EachFamilyDoesWhatItDid)
{
    for (const char *family : {"tessel", "larkin", "mirelle"}) {
        SCOPED_TRACE(family);
        const FreshNode node(family);
        EXPECT_EQ(node.replay(recordingOf(family)), 0) << node.out();
        EXPECT_TRUE(has(node.out(), " messages, 0 differences: the same\n"));
    }
}

TEST(Replay, NamesWhatDiffers)
{
    // The rate of the shaper stands in the message, in the driver's request, and in the echo.
    const std::string good = recordingOf("tessel"), rate("\0\0\xd4\x31", 4);
    size_t places[3], from = 0;
    for (size_t &place : places) {
        place = good.find(rate, from);
        ASSERT_NE(place, std::string::npos);
        from = place + rate.size();
    }
    std::string spoilt = good;
    ++spoilt[places[1] + 3];
    ++spoilt[places[2] + 3];
    const FreshNode node("tessel");
    EXPECT_EQ(node.replay(spoilt.substr(0, spoilt.size() - 7)), 1);
    for (const char *line : {"request 1, port shaper  rate  recorded 54322  now 54321\n",
                             "QOS_PSHAPE_MSG 1  shaper_cfg.if_bw  recorded 54322  now 54321\n",
                             "it is cut or broken at byte ", " messages, 2 differences\n"})
        EXPECT_TRUE(has(node.out(), line));

    EXPECT_EQ(node.replay("no capture"), 2);
    EXPECT_EQ(node.replay(good.substr(0, 200)), 2) << node.out();
    EXPECT_EQ(node.replay(good, "--slot 3"), 3) << node.out();
    EXPECT_TRUE(has(node.out(), "no agent serves qosMI on slot 3"));
    EXPECT_EQ(node.replay(good, "-j --speed 1000"), 1); // the same once more is not the same
    EXPECT_TRUE(has(node.out(), "\"field\":"));
}
