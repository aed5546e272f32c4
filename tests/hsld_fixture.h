// What the emulator's tests share: records built by offset, an agent's socket, and an emulator with three chips.
#ifndef TESTS_HSLD_FIXTURE_H
#define TESTS_HSLD_FIXTURE_H

#include <cstdlib>
#include <cstring>
#include <memory>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include "hsl/server.h"

// A namespace of its own, since the mathematical library has a cos too.
namespace hsld_test {

constexpr uint32_t PORT = 0x18408000;  // type 6, slot 1, port 1, chip 0
constexpr uint32_t CHIP = 0x88400000;  // slot 1, chip 0
constexpr uint32_t OTHER = 0x88410000; // slot 1, chip 1

struct Poke {
    size_t offset;
    unsigned width;
    uint64_t value;
};

inline hslBuffer zeros(size_t bytes, const std::vector<Poke> &pokes = {})
{
    hslBuffer record(bytes);
    for (auto &poke : pokes)
        hslPut(record, poke.offset, poke.width, poke.value);
    return record;
}

inline hslBuffer dce(uint32_t command, uint8_t operation, uint16_t bytes, const std::vector<Poke> &pokes = {})
{
    auto record = zeros(bytes, pokes);
    hslPut(record, 0, 4, command);
    hslPut(record, 4, 2, bytes);
    hslPut(record, 6, 1, operation);
    return record;
}

inline hslBuffer cos(uint32_t command, uint32_t in, uint32_t out, const std::vector<Poke> &pokes = {})
{
    auto record = zeros(in, pokes);
    hslPut(record, 0, 4, command);
    hslPut(record, 8, 4, in);
    hslPut(record, 12, 4, out);
    return record;
}

inline uint32_t native(const hslBuffer &bytes, size_t offset, size_t width)
{
    uint32_t word = 0;
    uint16_t half = 0;
    if (offset + width > bytes.size())
        return ~0u;
    std::memcpy(width == 4 ? static_cast<void *>(&word) : &half, bytes.data() + offset, width);
    return width == 4 ? word : half;
}

// A socket of an agent at RUN/qos/NAME.
struct Peer {
    int fd;
    sockaddr_un address{};

    Peer(const std::string &run, const std::string &name, const char *folder = "/qos/")
        : fd(socket(AF_UNIX, SOCK_DGRAM | SOCK_NONBLOCK, 0))
    {
        address.sun_family = AF_UNIX;
        std::strcpy(address.sun_path, (run + folder + name).c_str());
        EXPECT_EQ(bind(fd, reinterpret_cast<sockaddr *>(&address), sizeof address), 0);
    }
    Peer(const Peer &) = delete;
    ~Peer()
    {
        close(fd);
        unlink(address.sun_path);
    }
    void send(const std::string &path, const hslBuffer &bytes) const
    {
        sockaddr_un to{};
        to.sun_family = AF_UNIX;
        std::strcpy(to.sun_path, path.c_str());
        EXPECT_EQ(sendto(fd, bytes.data(), bytes.size(), 0, reinterpret_cast<sockaddr *>(&to), sizeof to),
                  static_cast<ssize_t>(bytes.size()));
    }
    hslBuffer receive() const // empty if nothing has come
    {
        hslBuffer bytes(65536);
        auto got = recv(fd, bytes.data(), bytes.size(), 0);
        bytes.resize(got < 0 ? 0 : static_cast<size_t>(got));
        return bytes;
    }
};

class Hsld : public ::testing::Test {
protected:
    std::string run;
    hslServer_t server;
    std::unique_ptr<Peer> agent;
    uint32_t seq = 0;

    void SetUp() override
    {
        // The host library looks at the variable once in a process.
        static const std::string once = [] {
            char name[] = "/tmp/hsld_test.XXXXXX";
            std::string dir = mkdtemp(name);
            setenv("VELMAR_RUN", dir.c_str(), 1);
            setenv("VELMAR_CLOCK", "stepped", 1);
            atexit([] {
                auto remove = std::string("rm -r ") + getenv("VELMAR_RUN");
                if (system(remove.c_str()))
                    return;
            });
            return dir;
        }();
        run = once;
        ASSERT_EQ(hslOpen(server), "");
        ASSERT_EQ(hslModelDeclare(server.model, "1/0:tessel:24"), "");
        ASSERT_EQ(hslModelDeclare(server.model, "1/1:larkin:4"), "");
        ASSERT_EQ(hslModelDeclare(server.model, "2/0:mirelle2:64"), "");
        agent = std::make_unique<Peer>(run, "group1." + std::to_string(getpid()));
    }
    void TearDown() override { hslClose(server); }

    void send(const hslBuffer &record, uint32_t target = CHIP, uint16_t type = 101, uint32_t expected = 65536)
    {
        hslBuffer frame(48);
        auto length = static_cast<uint32_t>(48 + record.size());
        ++seq;
        std::memcpy(&frame[0], &length, 4);
        std::memcpy(&frame[4], &type, 2);
        std::memcpy(&frame[8], &seq, 4);
        hslPut(frame, 20, 4, target);
        hslPut(frame, 28, 4, 6);
        hslPut(frame, 40, 4, record.size());
        hslPut(frame, 44, 4, expected);
        frame.insert(frame.end(), record.begin(), record.end());
        agent->send(run + "/qos/driver", frame);
    }
    hslBuffer ask(const hslBuffer &record, uint32_t target = CHIP, uint16_t type = 101)
    {
        send(record, target, type);
        hslStep(server, 0);
        return agent->receive();
    }
    // The record of the answer, checked as a frame.
    hslBuffer answer(const hslBuffer &record, uint32_t target = CHIP)
    {
        auto bytes = ask(record, target);
        auto length = native(bytes, 0, 4);
        EXPECT_LE(length, bytes.size());
        return length < 48 || length > bytes.size() ? hslBuffer()
                                                    : hslBuffer(bytes.begin() + 48, bytes.begin() + length);
    }
    std::string control(const std::string &command) { return hslControl(server, command); }
    hslJson json(const std::string &command)
    {
        auto text = control(command);
        EXPECT_EQ(text.substr(0, 3), "ok ") << text;
        return hslJson::parse(text.substr(3), nullptr, false);
    }
};

inline hslBuffer bulkOf(const std::vector<hslBuffer> &nested)
{
    hslBuffer record(36);
    for (auto &each : nested)
        record.insert(record.end(), each.begin(), each.end());
    hslPut(record, 0, 4, 0x00070000);
    hslPut(record, 8, 4, record.size());
    hslPut(record, 12, 4, record.size());
    hslPut(record, 32, 2, nested.size());
    return record;
}

} // namespace hsld_test

#endif
