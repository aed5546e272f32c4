// The agent's code inside the test process: modules initialised once over the host platform, in a run directory of its
// own and without the main loop, for tables, hooks and records that no socket shows.
#ifndef TESTS_SUPPORT_INSIDE_H
#define TESTS_SUPPORT_INSIDE_H

#include <string>

#include "agent/messages.h"
#include "tests/support/node.h"

// Empty tables, the agent's own hooks and its role for each; ERR lines are checked as those of a node.
class Inside {
public:
    Inside();
    ~Inside();
    static const std::string &run();
    void expectErr(const std::string &part) { log.expectErr(part); }
    void expectErr(std::initializer_list<const char *> parts) { log.expectErr(parts); }

    Driver driver;
    TraceLog log;
};

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
