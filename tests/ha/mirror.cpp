// SPDX-License-Identifier: Apache-2.0
// Both ends of the replication, by hand.
#include "tests/ha/mirror.h"

#include <fcntl.h>
#include <span>
#include <sys/file.h>

#include "host/delta_records.h"
#include "host/holders.h"
#include "host/packet.h"
#include "tests/support/peer.h"

namespace {

constexpr uint32_t DUMP_NUMBER = 1; // that a copy goes by

constexpr int PATIENCE_MS = 20000;

// A block or an object as a dump describes it: its bytes that are not 0, and its pointers.
struct Place {
    std::string head;
    std::map<uint32_t, uint8_t> bytes;
    std::map<uint32_t, const uint32_t *> pointers;
};

size_t lengthAt(const Words &words, size_t at)
{
    return deltaRecordLength(std::span<const uint32_t>(words).subspan(at));
}

std::map<uint32_t, Place> placesIn(const Words &words)
{
    std::map<uint32_t, Place> places;
    for (size_t at = 0; at < words.size(); at += lengthAt(words, at)) {
        const uint32_t *record = &words[at], op = record[0] & DELTA_OP, argument = record[0] >> DELTA_SHIFT;
        Place *place = op == DELTA_COMMIT || (op == DELTA_BLOCK && !record[7]) ? nullptr : &places[record[1]];
        if (place && op == DELTA_BLOCK) // size, type, group and tag
            for (const uint32_t *word = record + 3; word < record + 7; ++word)
                place->head += ' ' + std::to_string(*word);
        if (op == DELTA_BYTES)
            for (uint32_t i = 0; i < argument; ++i)
                if (const uint8_t byte = reinterpret_cast<const uint8_t *>(record + 3)[i])
                    place->bytes[record[2] + i] = byte;
        if (op == DELTA_POINTER && argument != DELTA_TO_NULL)
            place->pointers[record[2]] = record;
    }
    return places;
}

// Goes from the objects to all that they lead to. Blocks are told by the order in which it meets them.
struct Walk {
    std::map<uint32_t, Place> places;
    std::map<uint32_t, size_t> order = {};
    std::vector<uint32_t> queue = {};

    std::string target(const uint32_t *record)
    {
        const uint32_t kind = record[0] >> DELTA_SHIFT;
        size_t number = record[3];
        if (kind == DELTA_TO_BLOCK) {
            const auto [entry, is_new] = order.try_emplace(record[3], order.size());
            if (is_new)
                queue.push_back(record[3]);
            number = entry->second;
        }
        return std::string("-bof").substr(kind, 1) + std::to_string(number) + "+" + std::to_string(record[4]);
    }
    // Takes a place out: its line.
    std::string line(const std::string &name, uint32_t number, bool follow = true)
    {
        const Place place = std::exchange(places[number], {});
        places.erase(number);
        std::string text = name + place.head + ':';
        for (const auto &[at, byte] : place.bytes)
            text += ' ' + std::to_string(at) + '=' + std::to_string(byte);
        for (const auto &[at, record] : place.pointers)
            text += ' ' + std::to_string(at) + "->" + (follow ? target(record) : "");
        return text;
    }
};

} // namespace

Dump takeDump(const std::string &run, uint64_t hash, int *stay)
{
    const int fd = packetSocket();
    if (!within([&] { return reach(fd, run + "/ha/ethsw.1.sock"); })) {
        ADD_FAILURE() << "nobody listens for standbys";
        return {};
    }
    Dump dump;
    received_t received;
    packetSend(fd, PACKET_HELLO, hash, 0, nullptr, 0);
    const bool got = ready(fd, PATIENCE_MS) && packetReceive(fd, &received) > 0;
    EXPECT_TRUE(got) << "no dump";
    if (got && received.head.kind == PACKET_REFUSED)
        dump.refused.assign(static_cast<const char *>(received.payload), received.head.length);
    else if (got) {
        EXPECT_EQ(received.head.kind, PACKET_DUMP);
        dump.sequence = received.head.number;
        dump.words.resize(received.head.length / sizeof(uint32_t));
        memcpy(dump.words.data(), received.payload, dump.words.size() * sizeof(uint32_t));
    }
    if (got)
        packetFree(&received);
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
    Walk walk = {placesIn(words)};
    std::vector<std::string> lines;
    for (auto at = walk.places.lower_bound(DELTA_OBJECT); at != walk.places.end();) {
        const uint32_t number = (at++)->first;
        lines.push_back(walk.line("object " + std::to_string(number & ~DELTA_OBJECT), number));
    }
    for (size_t i = 0; i < walk.queue.size(); ++i)
        lines.push_back(walk.line(std::to_string(i), walk.queue[i]));
    const size_t found = lines.size();
    while (!walk.places.empty())
        lines.push_back(walk.line("lost", walk.places.begin()->first, false));
    std::sort(lines.begin() + static_cast<std::ptrdiff_t>(found), lines.end());
    return lines;
}

size_t recordAt(const Words &words, uint32_t op)
{
    const uint32_t kind = op == DELTA_POINTER ? uint32_t{DELTA_TO_BLOCK} : 0;
    size_t at = 0;
    while (at < words.size() && ((words[at] & DELTA_OP) != op || (kind && words[at] >> DELTA_SHIFT != kind)))
        at += lengthAt(words, at);
    return at;
}

FakeActive::FakeActive(const std::string &run)
    : path(run + "/ha/ethsw.1.sock"),
      lock(open((run + "/ha/ethsw.1.lock").c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600)), listener(packetSocket())
{
    const sockaddr_un address = addressOf(path);
    EXPECT_EQ(flock(lock, LOCK_EX | LOCK_NB), 0);
    EXPECT_EQ(bind(listener, reinterpret_cast<const sockaddr *>(&address), sizeof address), 0) << strerror(errno);
    EXPECT_EQ(listen(listener, 8), 0);
    holdersOpen(lock);
    holdersTake({});
    holdersLead();
}

int FakeActive::accept(uint64_t *hash)
{
    const int fd = ready(listener, PATIENCE_MS) ? accept4(listener, nullptr, nullptr, SOCK_CLOEXEC) : -1;
    received_t received = {};
    EXPECT_TRUE(fd >= 0 && ready(fd, PATIENCE_MS) && packetReceive(fd, &received) > 0);
    EXPECT_EQ(received.head.kind, PACKET_HELLO);
    if (hash)
        *hash = received.head.number;
    connections.push_back(fd);
    return fd;
}

void FakeActive::give(int fd, uint64_t sequence, const Words &words, bool is_dump)
{
    const packet_kind_t kind = is_dump ? PACKET_DUMP : PACKET_DELTA;
    EXPECT_GE(packetSend(fd, kind, sequence, DUMP_NUMBER, words.data(), words.size() * sizeof(uint32_t)), 0);
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
