// SPDX-License-Identifier: Apache-2.0
// What the emulator's tests share: records built by offset, an agent's socket, and an emulator with three chips.
#ifndef TESTS_HSL_HSLD_FIXTURE_H
#define TESTS_HSL_HSLD_FIXTURE_H

#include "hsl/server.h"
#include "tests/support/peer.h"

// A namespace of its own, since the mathematical library has a cos too.
namespace hsld_test {

constexpr uint32_t PORT = 0x18408000;  // type 6, slot 1, port 1, chip 0
constexpr uint32_t CHIP = 0x88400000;  // slot 1, chip 0
constexpr uint32_t OTHER = 0x88410000; // slot 1, chip 1

struct Poke {
    size_t offset;
    uint64_t value;
    unsigned width = 4;
};
using Pokes = std::vector<Poke>;

inline hslBuffer poked(hslBuffer record, const Pokes &pokes)
{
    for (auto &poke : pokes)
        hslPut(record, poke.offset, poke.width, poke.value);
    return record;
}

inline hslBuffer dce(uint32_t command, uint8_t operation, uint16_t bytes, const Pokes &pokes = {})
{
    return poked(dceRecord(command, bytes, operation), pokes);
}

inline hslBuffer cos(uint32_t command, uint32_t in, uint32_t out, const Pokes &pokes = {})
{
    return poked(cosRecord(command, in, out), pokes);
}

inline bool isCos(const hslBuffer &record)
{
    return (record.at(1) & 15) == 7;
}

inline testing::AssertionResult shows(const hslBuffer &record, const Pokes &pokes)
{
    for (auto &poke : pokes)
        if (uint64_t found = hslGet(record, poke.offset, poke.width); found != poke.value)
            return testing::AssertionFailure() << found << " for " << poke.value << " at " << poke.offset;
    return testing::AssertionSuccess();
}

// A frame header in the machine's byte order.
inline void expectFrame(const hslBuffer &bytes, size_t at, uint32_t length, uint32_t type, uint32_t seq)
{
    EXPECT_EQ(getNative(bytes, at, 4), length);
    EXPECT_EQ(getNative(bytes, at + 4, 2), type);
    EXPECT_EQ(getNative(bytes, at + 8, 4), seq);
}

// What `part` says is found so, and what is null in it is absent.
inline void expectHas(const hslJson &found, const char *part)
{
    hslJson patched = found;
    patched.merge_patch(hslJson::parse(part));
    EXPECT_EQ(found, patched);
}

// A socket of an agent at RUN/qos/NAME, from which what has come is taken.
struct Peer : Socket {
    Peer(const std::string &run, const std::string &name, const char *folder = "/qos/") : Socket(run + folder + name) {}
    hslBuffer receive() const { return Socket::receive(0).bytes; }
};

class Hsld : public ::testing::Test {
protected:
    static inline const RunDirectory directory; // the host library looks at the variable once in a process
    const std::string &run = directory.path;
    hslServer_t server;
    std::unique_ptr<Peer> agent;
    uint32_t seq = 0;
    hslBuffer response; // the record that answered the last `tell`

    void SetUp() override
    {
        directory.own();
        setenv("VELMAR_CLOCK", "stepped", 1);
        ASSERT_EQ(hslOpen(server), "");
        ASSERT_EQ(hslModelDeclare(server.model, "1/0:tessel:24"), "");
        ASSERT_EQ(hslModelDeclare(server.model, "1/1:larkin:4"), "");
        ASSERT_EQ(hslModelDeclare(server.model, "2/0:mirelle2:64"), "");
        agent = std::make_unique<Peer>(run, "group1." + std::to_string(getpid()));
    }
    void TearDown() override { hslClose(server); }

    hslBuffer framed(const hslBuffer &record, uint32_t target = CHIP, uint16_t type = 101)
    {
        const auto length = static_cast<uint32_t>(record.size());
        hslBuffer frame(48);
        putNative(frame, 0, 4, 48 + length);
        putNative(frame, 4, 2, type);
        putNative(frame, 8, 4, ++seq);
        put(frame, {{20, target}, {28, 6}, {40, length}, {44, 65536}});
        return frame + record;
    }
    hslBuffer exchange(const hslBuffer &frame)
    {
        agent->send(run + "/qos/driver", frame);
        hslStep(server, 0);
        return agent->receive();
    }
    hslBuffer ask(const hslBuffer &record, uint32_t target = CHIP, uint16_t type = 101)
    {
        return exchange(framed(record, target, type));
    }
    // The record of the answer, checked as a frame.
    hslBuffer answer(const hslBuffer &record, uint32_t target = CHIP)
    {
        auto bytes = ask(record, target);
        auto length = getNative(bytes, 0, 4);
        EXPECT_LE(length, bytes.size());
        return length < 48 || length > bytes.size() ? hslBuffer()
                                                    : hslBuffer(bytes.begin() + 48, bytes.begin() + length);
    }
    // Its status.
    uint32_t tell(const hslBuffer &record, uint32_t target = CHIP)
    {
        response = answer(record, target);
        EXPECT_GE(response.size(), isCos(record) ? 28u : 12u);
        return isCos(record) ? get32(response, 24) : response.at(7);
    }
    void expectAnswer(const hslBuffer &record, const Pokes &pokes, uint32_t target = CHIP)
    {
        EXPECT_EQ(tell(record, target), 0u);
        EXPECT_TRUE(shows(response, pokes)) << hslIndexText(get32(record, 0)) << " of " << record.size();
    }
    std::string control(const std::string &command) { return hslControl(server, command); }
    void expectErrors(const std::string &commands) // with a semicolon behind each
    {
        std::istringstream wrong(commands);
        for (std::string line; std::getline(wrong, line, ';');)
            EXPECT_EQ(control(line).substr(0, 7), "error: ") << line;
    }
    void expectNoWarnings() { EXPECT_EQ(json("show")["warnings"], hslJson::array()); }
    hslJson json(const std::string &command)
    {
        auto text = control(command);
        EXPECT_EQ(text.substr(0, 3), "ok ") << text;
        return hslJson::parse(text.substr(3), nullptr, false);
    }
};

// Traffic on a clock of its own, ahead of the real one, so that counters come out to the byte.
class OnItsClock : public Hsld {
protected:
    uint64_t at = uint64_t{1} << 40;

    void SetUp() override
    {
        Hsld::SetUp();
        pass(0);
    }
    void pass(uint64_t ms) { hslTrafficAdvance(server.model, at += ms); }
    void offer(const std::string &words, uint64_t ms = 0) // and lets it go on so long
    {
        EXPECT_EQ(control("traffic " + words), "ok");
        pass(ms);
    }
    hslQueue_t &queue(unsigned p, uint32_t port = PORT) { return server.model.ports.at(port).traffic.queues[p]; }
};

} // namespace hsld_test

#endif
