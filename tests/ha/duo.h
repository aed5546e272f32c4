// SPDX-License-Identifier: Apache-2.0
// Two agents, one at work and one that holds its dump, and what either holds told so that it can be compared.
#ifndef TESTS_HA_DUO_H
#define TESTS_HA_DUO_H

#include "tests/ha/cluster.h"

constexpr unsigned PORTS = 4; // of a chip

// The hash of the agents' layout, or of another build's, which an agent tells to whoever plays the active one.
uint64_t layoutHash(const std::string &binary = "");
std::vector<std::string> content(const Cluster &cluster, const std::string &binary = "");
template <typename Lines>
void expectSame(const Lines &a, const Lines &b) // or the first that differ
{
    const auto [left, right] = std::mismatch(a.begin(), a.end(), b.begin(), b.end());
    EXPECT_TRUE(a == b) << (left == a.end() ? "(end)" : testing::PrintToString(*left)) << '\n'
                        << (right == b.end() ? "(end)" : testing::PrintToString(*right));
}

// An agent at work on a Tessel with ports, and a standby that holds a dump.
struct Duo : Cluster {
    explicit Duo(KillAt second_ends = {}, const std::function<void()> &limits = {});
    // The n-th configuration of a port, which differs from those around it.
    Bytes configure(int pid, uint32_t n);
    // Kills `from`: `to` must go on with the same content.
    void handOver(int from, int to);
    Bytes brought_up; // the first batch
    int first, second;
};

#endif
