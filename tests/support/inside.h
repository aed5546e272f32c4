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
#include "tests/support/chip_reply.h"

// Empty tables, the agent's own hooks and its role for each; ERR lines are checked as those of a node.
class Inside {
public:
    Inside();
    ~Inside();
    static const std::string &run();
    void expectErr(const std::string &part) { log.expectErr(part); }
    void expectErr(std::initializer_list<const char *> parts) { log.expectErr(parts); }

    std::vector<Bytes> records() { return driver.records(); }
    // A chip of slot 1 with ports by the name of "p", both accepted, and what they asked of the driver forgotten.
    void add(uint32_t chip, uint32_t type, const std::vector<uint32_t> &ports);

    Driver driver;
    TraceLog log;
};

// Gives a body to the handler of its code: the result.
uint32_t tell(uint8_t code, Bytes &body);
uint32_t tell(uint8_t code, Bytes &&body);
uint32_t told(uint8_t code, Bytes &body); // the same, which must also be the body's status

// The same without the feature modules, whose hooks would ask the driver for ends of their own.
struct Bare : Inside {
    Bare();
};

// A typed body out of bytes that were put by hand.
template <typename Body>
Body *bodyIn(Bytes &bytes)
{
    return bytes.size() >= sizeof(Body) ? reinterpret_cast<Body *>(bytes.data()) : nullptr;
}

#endif
