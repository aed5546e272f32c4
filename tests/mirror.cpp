// Both ends of the replication, by hand.
#include "tests/mirror.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <map>
#include <poll.h>
#include <sys/file.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include "host/delta_records.h"
#include "host/holders.h"
#include "host/packet.h"

namespace {

constexpr uint32_t DUMP_NUMBER = 1; // that a copy goes by

constexpr int PATIENCE_MS = 20000;

sockaddr_un socketOf(const std::string &path)
{
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    path.copy(address.sun_path, sizeof address.sun_path - 1);
    return address;
}

bool readable(int fd)
{
    pollfd entry = {fd, POLLIN, 0};
    return poll(&entry, 1, PATIENCE_MS) == 1;
}

// A block or an object as a dump describes it. Pointers are kept apart from the bytes.
struct Place {
    std::string head;
    std::map<uint32_t, uint8_t> bytes; // those that are not 0
    std::map<uint32_t, const uint32_t *> pointers;
    bool met = false;
};

size_t lengthOf(const uint32_t *record)
{
    const uint32_t op = record[0] & DELTA_OP;
    return DELTA_WORDS[op] + (op == DELTA_BYTES ? ((record[0] >> DELTA_SHIFT) + 3) / 4 : 0);
}

std::map<uint32_t, Place> placesIn(const Words &words)
{
    std::map<uint32_t, Place> places;
    for (size_t at = 0; at < words.size(); at += lengthOf(&words[at])) {
        const uint32_t *record = &words[at];
        switch (record[0] & DELTA_OP) {
        case DELTA_BLOCK:
            if (record[7])
                places[record[1]].head = std::string("size ") + std::to_string(record[3]) + " type " +
                                         std::to_string(record[4]) + " group " + std::to_string(record[5]) + " tag " +
                                         std::to_string(record[6]);
            break;
        case DELTA_BYTES:
            for (uint32_t i = 0; i < record[0] >> DELTA_SHIFT; ++i)
                if (const uint8_t byte = reinterpret_cast<const uint8_t *>(record + 3)[i])
                    places[record[1]].bytes[record[2] + i] = byte;
            break;
        case DELTA_POINTER:
            if (record[0] >> DELTA_SHIFT != DELTA_TO_NULL)
                places[record[1]].pointers[record[2]] = record;
            break;
        }
    }
    return places;
}

struct Walk {
    std::map<uint32_t, Place> places;
    std::map<uint32_t, size_t> order; // of blocks
    std::vector<uint32_t> queue;

    std::string target(const uint32_t *record)
    {
        const uint32_t kind = record[0] >> DELTA_SHIFT;
        uint32_t number = record[3];
        if (kind == DELTA_TO_BLOCK) {
            const auto [entry, is_new] = order.try_emplace(number, order.size());
            if (is_new)
                queue.push_back(number);
            number = static_cast<uint32_t>(entry->second);
        }
        return std::string("-bof").substr(kind, 1) + std::to_string(number) + "+" + std::to_string(record[4]);
    }
    std::string line(uint32_t number, bool follow)
    {
        Place &place = places[number];
        place.met = true;
        std::string text =
            (number & DELTA_OBJECT ? std::string("object") + std::to_string(number & ~DELTA_OBJECT) : "block") + ' ' +
            place.head + ':';
        uint32_t next = 0;
        for (const auto &[at, byte] : place.bytes) {
            char digits[4];
            snprintf(digits, sizeof digits, "%02x", byte);
            text += at == next ? digits : std::string(" @") + std::to_string(at) + "=" + digits;
            next = at + 1;
        }
        for (const auto &[at, record] : place.pointers)
            text += std::string(" @") + std::to_string(at) + "->" + (follow ? target(record) : "");
        return text;
    }
};

} // namespace

Dump takeDump(const std::string &run, uint64_t hash, int *stay)
{
    const sockaddr_un address = socketOf(run + "/ha/ethsw.1.sock");
    const int fd = packetSocket();
    for (int ms = 0; connect(fd, reinterpret_cast<const sockaddr *>(&address), sizeof address) != 0; ++ms) {
        if (ms > PATIENCE_MS) {
            ADD_FAILURE() << "nobody listens for standbys";
            return {};
        }
        usleep(1000);
    }
    Dump dump;
    received_t received;
    packetSend(fd, PACKET_HELLO, hash, 0, nullptr, 0);
    const bool got = readable(fd) && packetReceive(fd, &received) > 0;
    EXPECT_TRUE(got) << "no dump";
    if (got) {
        EXPECT_EQ(received.head.kind, PACKET_DUMP);
        dump.sequence = received.head.number;
        dump.words.resize(received.head.length / sizeof(uint32_t));
        memcpy(dump.words.data(), received.payload, dump.words.size() * sizeof(uint32_t));
        packetFree(&received);
    }
    if (stay)
        *stay = fd;
    else
        close(fd);
    return dump;
}

bool isHolder(const std::string &run)
{
    const int lock = open((run + "/ha/ethsw.1.lock").c_str(), O_RDONLY | O_CLOEXEC);
    const std::vector<holder_t> holders = holdersIn(lock).listed;
    close(lock);
    return std::any_of(holders.begin(), holders.end(), holderIsSelf);
}

std::vector<std::string> contentOf(const Words &words)
{
    Walk walk = {placesIn(words), {}, {}};
    std::vector<std::string> lines;
    for (auto at = walk.places.lower_bound(DELTA_OBJECT); at != walk.places.end(); ++at)
        lines.push_back(walk.line(at->first, true));
    for (size_t i = 0; i < walk.queue.size(); ++i)
        lines.push_back(std::to_string(i) + ' ' + walk.line(walk.queue[i], true));
    const size_t found = lines.size();
    for (const auto &[number, place] : walk.places)
        if (!place.met)
            lines.push_back(std::string("lost ") + walk.line(number, false));
    std::sort(lines.begin() + static_cast<std::ptrdiff_t>(found), lines.end());
    return lines;
}

size_t recordAt(const Words &words, uint32_t op)
{
    const uint32_t kind = op == DELTA_POINTER ? uint32_t{DELTA_TO_BLOCK} : 0;
    size_t at = 0;
    while (at < words.size() && ((words[at] & DELTA_OP) != op || (kind && words[at] >> DELTA_SHIFT != kind)))
        at += lengthOf(&words[at]);
    return at;
}

FakeActive::FakeActive(const std::string &run)
    : path(run + "/ha/ethsw.1.sock"),
      lock(open((run + "/ha/ethsw.1.lock").c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600)), listener(packetSocket())
{
    const sockaddr_un address = socketOf(path);
    EXPECT_EQ(flock(lock, LOCK_EX | LOCK_NB), 0);
    EXPECT_EQ(bind(listener, reinterpret_cast<const sockaddr *>(&address), sizeof address), 0) << strerror(errno);
    EXPECT_EQ(listen(listener, 8), 0);
    holdersOpen(lock);
    holdersTake({});
    holdersLead();
}

int FakeActive::accept(uint64_t *hash)
{
    const int fd = readable(listener) ? accept4(listener, nullptr, nullptr, SOCK_CLOEXEC) : -1;
    received_t received = {};
    EXPECT_TRUE(fd >= 0 && readable(fd) && packetReceive(fd, &received) > 0);
    EXPECT_EQ(received.head.kind, PACKET_HELLO);
    if (hash)
        *hash = received.head.number;
    connections.push_back(fd);
    return fd;
}

void FakeActive::give(int fd, uint64_t sequence, const Words &words)
{
    EXPECT_GE(packetSend(fd, PACKET_DUMP, sequence, DUMP_NUMBER, words.data(), words.size() * sizeof(uint32_t)), 0);
}

void FakeActive::setHolders(const std::vector<int> &pids)
{
    std::vector<holder_t> holders;
    for (const int pid : pids)
        holders.push_back(holderOf(pid, DUMP_NUMBER));
    holdersWrite(holders);
}

void FakeActive::hangUp()
{
    for (const int fd : connections)
        close(fd);
    connections.clear();
}

void FakeActive::end()
{
    if (lock < 0)
        return;
    hangUp();
    close(listener);
    unlink(path.c_str());
    close(lock);
    lock = -1;
}
