// SPDX-License-Identifier: Apache-2.0
// The replicated store seen from outside: a test joins an active agent as a standby does, or plays the active one for
// an agent that waits. Relies on the packets and records of host/.
#ifndef TESTS_HA_MIRROR_H
#define TESTS_HA_MIRROR_H

#include <cstdint>
#include <string>
#include <vector>

using Words = std::vector<uint32_t>;

struct Dump {
    uint64_t sequence = 0;
    Words words; // empty if none came
    std::string refused;
};
// Joins the active agent of the run directory and takes its dump. `hash` is that of its layout. Leaves, or with `stay`
// gives the connection, which the caller closes.
Dump takeDump(const std::string &run, uint64_t hash, int *stay = nullptr);
// Whether this process stands in the list of those that hold a copy.
bool isHolder(const std::string &run);

// What a dump holds, told without block numbers: a line for each object and then for each block in the order in which a
// walk from the objects meets it, blocks that it does not meet behind them. Dumps of equal content give equal lines.
std::vector<std::string> contentOf(const Words &words);

// Where in `words` the first record of a kind begins (DELTA_...), for dumps that are to be spoilt; of the pointers the
// first one into a block.
size_t recordAt(const Words &words, uint32_t op);

// The active one of a run directory, its lock held from the start.
class FakeActive {
public:
    explicit FakeActive(const std::string &run);
    ~FakeActive() { end(); }
    FakeActive(const FakeActive &) = delete;
    int accept(uint64_t *hash = nullptr); // the next standby's connection, which has said hello
    void give(int fd, uint64_t sequence, const Words &words, bool is_dump = true);
    void setHolders(const std::vector<int> &pids);
    void hangUp(); // on all standbys
    void end();    // as if it died

private:
    std::string path;
    int lock;
    int listener;
    std::vector<int> connections;
};

#endif
