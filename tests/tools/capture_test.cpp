// SPDX-License-Identifier: Apache-2.0
// Captures of a node: what is in the file, who joins, and a listener that does not read or is gone.
#include "tests/support/node.h"
#include "velmar/capture.h"

// An answer is out before its copy: until the main thread, which sends both, is behind what it was asked last.
void settle(LiveNode &live)
{
    EXPECT_TRUE(has(live.node.ctl("cli json chips"), "ok"));
}

TEST(Capture, HoldsWhatPassesBothWays)
{
    LiveNode live;
    live.addPort();
    live.driver.requests();
    settle(live);
    const std::string &run = live.node.run, file = run + "/file", said = run + "/said";
    const int pid = startProgram(DORVCTL_BINARY, {"dorvctl", "capture", "-w", file}, run, {}, said);
    ASSERT_TRUE(within([&] { return countOf(slurp(said), "capturing dorvald.") == 1; }));
    EXPECT_NE(live.node.ctl("capture dorvctl-capture.1").find("captures already"), std::string::npos);
    const Bytes request = message(QOS_COSTRUST_MSG, l2Body(PORT, CHIP, 1, 1), 5);
    const Bytes echo = live.manager.exchange(request);
    const std::vector<Bytes> frames = live.driver.requests();
    ASSERT_EQ(frames.size(), 1u);
    settle(live);
    const int late = startProgram(DORVALD_BINARY, {"dorvald", "-S", "ethsw", "-s", "1"}, run, {}, run + "/late");
    EXPECT_TRUE(within([&] { return countOf(slurp(said), "capturing dorvald.") == 2; })) << "one that starts later";
    kill(late, SIGKILL);
    waitpid(late, nullptr, 0);
    kill(pid, SIGTERM);
    int status = 0;
    waitpid(pid, &status, 0);
    EXPECT_EQ(statusOf(status), 0) << slurp(said);
    const std::string text = slurp(file), lc = live.node.socketOf("qosMI"), group = live.node.group(1);
    const std::string own = lc.substr(lc.rfind('/') + 1);
    for (const Bytes &bytes : {request, echo, frames[0], goodReply(frames[0])})
        EXPECT_EQ(countOf(text, std::string(bytes.begin(), bytes.end())), 1u);
    for (const std::string &part : {group + " > driver", "driver > " + group, " > " + own, own + " > qosMI.mgr."})
        EXPECT_EQ(countOf(text, part), 1u) << part;
    EXPECT_TRUE(has(slurp(said), ": 4 packets, 0 dropped"));
    EXPECT_TRUE(has(live.node.ctl("capture"), "\"listener\":null"));
}

TEST(Capture, AListenerThatDoesNotReadIsToldWhatItLost)
{
    LiveNode live;
    live.addPort();
    settle(live);
    const sockaddr_un address = addressOf(live.node.run + "/ctl/dorvctl-capture.1");
    const int fd = socket(AF_UNIX, SOCK_SEQPACKET, 0);
    ASSERT_EQ(bind(fd, reinterpret_cast<const sockaddr *>(&address), sizeof address), 0);
    ASSERT_EQ(listen(fd, 1), 0);
    EXPECT_TRUE(has(live.node.ctl("capture dorvctl-capture.1 mi"), "\"mi\":true,\"driver\":false,\"dropped\":0"));
    const int tap = accept(fd, nullptr, nullptr);
    unsigned copies = 0;
    const auto exchange = [&] {
        copies += 2;
        EXPECT_EQ(live.status(QOS_COSTRUST_MSG, l2Body(PORT, CHIP, 0, 0)), 0u);
    };
    while (!testing::Test::HasFailure() && has(live.node.ctl("capture"), "\"dropped\":0}"))
        exchange();
    settle(live);
    capture_head_t head = {};
    unsigned taken = 0;
    for (char bytes[65536]; recv(tap, bytes, sizeof bytes, MSG_DONTWAIT) >= static_cast<ssize_t>(sizeof head); ++taken)
        EXPECT_EQ(bytes[offsetof(capture_head_t, kind)], CAPTURE_MI);
    exchange();
    ASSERT_GT(recv(tap, &head, sizeof head, 0), 0);
    EXPECT_EQ(head.dropped + taken + 2, copies);
    close(tap);
    EXPECT_EQ(live.status(QOS_COSTRUST_MSG, l2Body(PORT, CHIP, 0, 0)), 0u);
    EXPECT_TRUE(has(live.node.ctl("capture"), "\"listener\":null"));
    close(fd);
}
