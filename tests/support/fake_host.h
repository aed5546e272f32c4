// A platform small enough for tests of single pieces: a store on the heap that knows its blocks and can refuse, a
// queue, a watchdog, and what they were asked for. Everything that has an effect is recorded in `fake_host::calls`.
#ifndef TESTS_SUPPORT_FAKE_HOST_H
#define TESTS_SUPPORT_FAKE_HOST_H

#include <map>
#include <set>
#include <string>
#include <vector>

#include "core/print.h"
#include "velmar/ha.h"
#include "velmar/msgq.h"
#include "velmar/process.h"

namespace fake_host {

struct Block {
    size_t size;
    std::string type;
    int tag;
    std::string name;
};

extern std::vector<std::string> calls;
extern std::vector<std::string> errors; // trace lines of level ERR
extern std::map<void *, Block> blocks;  // what the store holds
extern int allocs_before_failure;       // negative: the store never refuses
extern int bad_frees;                   // ha_free of an address that is none of the store's
extern std::set<std::string> registered;
extern int swd_handle;
extern int swd_seconds;
extern std::map<uint8_t, msgq_cb_t> msgq_cbs;
extern int giot_wait_ms;
extern unsigned giot_entries;
extern void (*giot_call)(void *); // added by each gioti_post_select, if set

void reset();
// Posts a queue message of one type.
void post(MSG_Q_ID queue, uint8_t type);

// Prints into a string.
struct Printer {
    std::string text;
    cli_t cli(int mode);
};

} // namespace fake_host

#endif
