// SPDX-License-Identifier: Apache-2.0
// What the tests of dorvctl share: a run directory of their own, processes on the other side that follow a script, and
// the program itself.
#ifndef TESTS_TOOLS_CTL_PEER_H
#define TESTS_TOOLS_CTL_PEER_H

#include "tests/support/mi6.h"
#include "tools/batch.h"
#include "tools/error.h"
#include "tools/report.h"
#include "tools/values.h"
#include "velmar/run.h"

// The run directory of this test process, made before anything asks for it and removed at the end.
inline const RunDirectory &ownRun()
{
    static const RunDirectory run;
    return run;
}
inline const bool isOwn = (ownRun().own(), true);

// A process on the other side, which hands each datagram to `serve` with its sender's path.
class peer {
public:
    using server = std::function<void(peer &, const std::string &data, const std::string &from)>;

    peer(const std::string &folder, const std::string &name, server serve)
        : socket_(ownRun().path + "/" + folder + "/" + name + "." + std::to_string(getpid()),
                  [this, serve](const Datagram &got) {
                      serve(*this, std::string(got.bytes.begin(), got.bytes.end()), got.from);
                  })
    {
    }
    int descriptor() const { return socket_.sock.fd; }
    void reply(const std::string &data, const std::string &to) const { socket_.sock.send(to, data); }

    // Sends to every manager's socket, as the agent of a slot.
    void tellManagers(const ctlBytes &bytes, unsigned slot = 1, const std::string &service = "qosMI") const
    {
        const Bytes head = mi6Head(service, 2, static_cast<uint16_t>(1u << (slot - 1)));
        for (const auto &entry : std::filesystem::directory_iterator(ownRun().path + "/mi6"))
            if (entry.path().filename().string().starts_with(service + ".mgr."))
                socket_.sock.send(entry.path(), head + bytes);
    }

private:
    Server socket_;
};

// What a process with a control socket answers to each command.
inline peer::server answering(const std::function<std::string(const std::string &)> &answer)
{
    return [answer](peer &self, const std::string &command, const std::string &from) {
        self.reply(answer(command), from);
    };
}

using words = std::vector<std::string>;

// A command line's words; a blank at its end begins an empty one.
inline words split(const std::string &line)
{
    words found(1);
    for (const char c : line)
        c == ' ' ? void(found.emplace_back()) : found.back().push_back(c);
    return found;
}

// A field of a message, by its name.
inline void put(ctlMessage_t &message, const std::string &field, const std::string &value)
{
    const wireBody &body = ctlBodyOf(*qosMsgInfo(message.code));
    ctlSetText(body, message.body, ctlFindField(body, field), value);
}
inline uint32_t get(const ctlMessage_t &message, const char *field)
{
    const wireBody &body = ctlBodyOf(*qosMsgInfo(message.code));
    return static_cast<uint32_t>(ctlReadInteger(*ctlField(body, field), message.body, 0));
}

// What a command comes to.
struct outcome {
    int exit;
    std::string out, err;
    ctlJson json() const { return ctlJson::parse(out); }
};
inline outcome of(const std::function<int(std::ostream &, std::ostream &)> &command)
{
    std::ostringstream out, err;
    const int exit = command(out, err);
    return {exit, out.str(), err.str()};
}

inline void expectEnd(const outcome &ended, int exit, const std::string &says = "")
{
    EXPECT_EQ(ended.exit, exit);
    EXPECT_TRUE(has(ended.out + ended.err, says));
}

inline ctlError_t errorOf(const std::function<void()> &act)
{
    try {
        act();
    } catch (const ctlError_t &error) {
        return error;
    }
    return {CTL_DONE, ""};
}

// Refused, as wrong use or with another status, in one line that says so.
inline void expectRefused(int exit, const std::string &says, const std::function<void()> &act)
{
    const ctlError_t error = errorOf(act);
    EXPECT_EQ(error.exit, exit) << says;
    EXPECT_TRUE(has(error.text, says));
    EXPECT_FALSE(has(error.text, "\n"));
}
inline void expectRefused(const std::string &says, const std::function<void()> &act)
{
    expectRefused(CTL_USAGE, says, act);
}

// Runs the program. Wrong use costs one line.
inline void expectProgram(const std::string &arguments, int exit, const std::string &says)
{
    SCOPED_TRACE(arguments);
    FILE *pipe = popen((DORVCTL_BINARY " " + arguments + " 2>&1").c_str(), "r");
    std::string said;
    for (int c; (c = fgetc(pipe)) != EOF;)
        said += static_cast<char>(c);
    const int status = pclose(pipe);
    expectEnd({statusOf(status), said, ""}, exit, says);
    EXPECT_TRUE(exit != CTL_USAGE || std::count(said.begin(), said.end(), '\n') == 1) << said;
}

#endif
