// SPDX-License-Identifier: Apache-2.0
// Inside the host library: the processes that hold a complete copy of the active one's store. The list stands in the
// lock file and is written by the lock's owner alone, so that it outlives him. Any thread may call these.
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

// What a lock file says.
struct holders_t {
    bool known;      // false if the file was cut or written over: then nothing of the rest counts
    holder_t leader; // who led last, as yet unless he ended; process id 0 for nobody so far. `copy` is 0
    uint64_t given; // the sequence that was given to every holder: whoever is ahead of it, or behind, differs from them
    std::vector<holder_t> listed;
};

holders_t holdersIn(int lock_fd);

// The lock file of this process, which may change; and what its list is from here on, for the lock's owner.
void holdersOpen(int lock_fd);
void holdersTake(const holders_t &list);
holders_t holdersMine();

// The owner's changes, written at once. A file that cannot be written is emptied, as an old list would be believed.
void holdersWrite(std::span<const holder_t> holders); // the first HOLDERS_MOST of them
void holdersGave(uint64_t sequence);
void holdersLead();          // this process leads
bool holdersMend();          // true if the file did not say what the owner wrote, and so it was written again
void holdersBlank(int file); // a list of nobody into a file that is being made

holder_t holderOf(int pid, uint32_t copy);
bool holderIsSelf(const holder_t &holder);
bool holderRuns(const holder_t &holder);   // neither dead nor stopped nor another process of that number
bool holderExists(const holder_t &holder); // the same, and stopped ones do

#endif
