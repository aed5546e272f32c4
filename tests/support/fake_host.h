// A platform small enough for tests of single pieces, the host's own queue apart: a store on the heap that knows its
// blocks and can refuse, a watchdog, and what they were asked for. What has an effect is recorded in
// `fake_host::calls`.
#ifndef TESTS_SUPPORT_FAKE_HOST_H
#define TESTS_SUPPORT_FAKE_HOST_H

#include <functional>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "velmar/ha.h"
#include "velmar/msgq.h"
#include "velmar/process.h"

// The clock and the waiting: time stands still but for waits, which take none. Descriptors are real, so a pipe with
// data in it ends a wait.
namespace fake_os {

extern int64_t now_us;
extern std::vector<int> timeouts;     // of the polls so far, in milliseconds
extern unsigned last_count;           // entries of the last poll
extern std::function<void()> on_poll; // runs once, inside the next poll
extern int poll_errno;                // the next poll fails with it
extern bool pipe_fails;

void reset();

} // namespace fake_os

namespace fake_host {

struct Block {
    std::string type;
    int tag;
    std::string name;
    bool operator==(const Block &) const = default;
};

extern std::vector<std::string> calls;
extern std::vector<std::string> errors; // trace lines of level ERR
extern std::map<void *, Block> blocks;  // what the store holds
extern bool refuses;                    // the store gives nothing
extern int bad_frees;                   // ha_free of an address that is none of the store's
extern std::set<std::string> registered;
extern int swd_handle;
extern int swd_seconds;
extern int giot_wait_ms;
extern unsigned giot_entries;
extern void (*giot_call)(void *); // added by each gioti_post_select, if set

void reset();
MSG_Q_ID queue();        // one for the process, as queues live that long
void post(uint8_t type); // a message of one type to it

} // namespace fake_host

#endif
