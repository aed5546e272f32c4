// SPDX-License-Identifier: Apache-2.0
// The agent's code inside the test process: modules initialised once over the host platform, in a run directory of its
// own and without the main loop, for tables, hooks and records that no socket shows.
#ifndef TESTS_SUPPORT_INSIDE_H
#define TESTS_SUPPORT_INSIDE_H

#include "agent/core_handlers.h"
#include "agent/messages/bodies.h"
#include "core/module.h"
#include "core/state.h"
#include "inventory/chips.h"
#include "inventory/interfaces.h"
#include "inventory/slots.h"
#include "lib/views.h"
#include "tests/support/chip_reply.h"

constexpr uint32_t ALL = 0x8bc00000; // every chip, and every interface

// Empty tables, the agent's own hooks and its role for each; ERR lines are checked as those of a node.
class Inside {
public:
    Inside();
    ~Inside();
    static const std::string &run();
    void expectErr(const std::string &part) { log.expectErr(part); }
    void expectErr(std::initializer_list<const char *> parts) { log.expectErr(parts); }

    std::vector<Bytes> records(uint32_t target = 0) { return driver.records(target); }
    // A chip of slot 1 with ports by the name of "p", both accepted, and what they asked of the driver forgotten.
    void add(uint32_t chip, uint32_t type, const std::vector<uint32_t> &ports);

    // What the driver's request for a message and the reply that is made of noise come to, over several responses, as
    // one number (FNV-1a): for messages that copy a response to its places and no more.
    uint32_t traffic(uint8_t code, const Bytes &body);

    Driver driver;
    TraceLog log;
};

// Gives a body to the handler of its code: the result.
uint32_t tell(uint8_t code, Bytes &body);
uint32_t tell(uint8_t code, Bytes &&body);
uint32_t told(uint8_t code, Bytes &body);                // the same, which must also be the body's status
Bytes answer(uint8_t code, Bytes body, uint32_t rc = 0); // what becomes of the body; the result must be `rc`

// The same without the feature modules, whose hooks would ask the driver for ends of their own.
struct Bare : Inside {
    Bare();
};

// What a list holds.
template <typename T>
std::vector<T *> entriesOf(const tnx_list_t *list)
{
    std::vector<T *> entries;
    for (T &entry : listView<T>(list))
        entries.push_back(&entry);
    return entries;
}

// A typed body out of bytes that were put by hand.
template <typename Body>
Body *bodyIn(Bytes &bytes)
{
    return bytes.size() >= sizeof(Body) ? reinterpret_cast<Body *>(bytes.data()) : nullptr;
}

#endif
