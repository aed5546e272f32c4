// SPDX-License-Identifier: Apache-2.0
// Inside the host library: who is active, and driving the stages.
#ifndef HOST_ELECTION_H
#define HOST_ELECTION_H

#include <cstdint>
#include <string>

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

// Drives `stage` and the stages that the process returns until 0, on the main thread; appends each to `ran`. False if
// the process has no stage callback.
bool electionDrive(uint32_t stage, std::string *ran);
// The same by a person's hand: null, or why not. A standby is not driven by hand, there would be two active processes.
const char *electionDriveByHand(uint32_t stage, std::string *ran);

// Ahead of what others see of this process: ends it if the lock has become another's while it was held up.
void electionCheck();

#endif
