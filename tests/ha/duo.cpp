// SPDX-License-Identifier: Apache-2.0
// The two agents' road to work.

#include "tests/ha/duo.h"
#include "agent/messages/codes.h"
#include "tests/ha/mirror.h"

uint64_t layoutHash(const std::string &binary)
{
    static std::map<std::string, uint64_t> hashes;
    uint64_t &hash = hashes[binary];
    if (hash == 0) {
        Cluster cluster;
        FakeActive active(cluster.run);
        cluster.start({}, binary);
        active.accept(&hash);
    }
    return hash;
}

std::vector<std::string> content(const Cluster &cluster, const std::string &binary)
{
    return contentOf(takeDump(cluster.run, layoutHash(binary)).words);
}

Duo::Duo(KillAt second_ends, const std::function<void()> &limits)
{
    prepare = limits;
    for (uint32_t n = 1; n <= PORTS; ++n)
        chip->ports[portNumber(n)] = 0;
    first = start();
    lead(first);
    brought_up = message(QOS_CHIPUP_MSG, chipUpBody(CHIP, 1, 0, 1), 0x77);
    for (uint32_t n = 1; n <= PORTS; ++n)
        brought_up = brought_up + message(QOS_IFADD_MSG, ifAddBody(portNumber(n), "p"), 0x77);
    EXPECT_FALSE(exchange(first, brought_up).empty());
    second = start(second_ends);
    join(second);
}

Bytes Duo::configure(int pid, uint32_t n)
{
    Bytes body = l2Body(portNumber(1 + n % PORTS), CHIP, static_cast<uint8_t>(n), static_cast<uint8_t>(n >> 8));
    return exchange(pid, message(QOS_DEFCOS_MSG, body, 0x77));
}

void Duo::handOver(int from, int to)
{
    const auto before = content(*this);
    kill(from);
    lead(to);
    expectSame(content(*this), before);
}
