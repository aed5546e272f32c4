// Inside the host library: the processes that hold a complete copy of the active one's store. The list stands in the
// lock file and is written by the lock's owner alone, so that it outlives him.
#ifndef HOST_HOLDERS_H
#define HOST_HOLDERS_H

#include <cstdint>
#include <span>
#include <vector>

struct holder_t {
    int32_t pid;
    uint32_t copy;    // number of the dump that its copy began with, drawn by the giver; never 0
    uint64_t started; // of the process, in the kernel's ticks: a process id comes again
};
constexpr unsigned HOLDERS_MOST = 16;

void holdersOpen(int lock_fd);

// The sequence that was given to every holder: whoever is ahead of it, or behind, differs from the others.
void holdersGave(uint64_t sequence);
uint64_t holdersGiven();

std::vector<holder_t> holdersRead();
void holdersWrite(std::span<const holder_t> holders); // the first HOLDERS_MOST of them

holder_t holderOf(int pid, uint32_t copy);
bool holderIsSelf(const holder_t &holder);
bool holderRuns(const holder_t &holder); // neither dead nor stopped nor another process of that number

#endif
