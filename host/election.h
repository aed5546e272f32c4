// Inside the host library: who is active, and driving the stages.
#ifndef HOST_ELECTION_H
#define HOST_ELECTION_H

#include <cstdint>
#include <string>
#include <vector>

#include "velmar/ha.h"

struct election_role_t {
    const char *name; // "active", "standby" or "manual"
    uint32_t seconds; // in that role
};

// Takes part for the registration's service and instance: false with errno if the lock file cannot be opened.
bool electionJoin(const ha_register_t *record, ha_hndl_t ha);

// Begins to wait for the lock; from here on the election posts into the main queue.
void electionStart();

election_role_t electionRole();

// The processes that hold a complete copy of the active one's store, kept in the lock file by the lock's owner: so who
// was cut off knows, even if he did not notice, and the next active process is one of those.
constexpr unsigned ELECTION_HOLDERS = 16;
void electionSetHolders(const std::vector<int> &pids);
bool electionIsHolder(); // this process is one of them

// Drives `stage` and the stages that the process returns until 0, on the main thread; appends each to `ran`. False if
// the process has no stage callback.
bool electionDrive(uint32_t stage, std::string *ran);

#endif
