// SPDX-License-Identifier: Apache-2.0
// The standby's side: looks for the active process, asks it for a dump, and takes that and every later delta.
#include "host/replica_sides.h"

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstring>
#include <span>
#include <sys/socket.h>
#include <sys/uio.h>
#include <unistd.h>
#include <vector>

#include "host/consistency.h"
#include "host/delta.h"
#include "host/describe.h"
#include "host/packet.h"
#include "host/peer.h"
#include "host/raslog.h"
#include "host/replica.h"
#include "host/store.h"
#include "host/translate.h"
#include "velmar/version.h"

namespace {

constexpr long SEEK_MS = 5;             // between two looks for an active process, twice as long each time,
constexpr long SEEK_MOST_MS = 1000;     // up to here
constexpr long REFUSED_MOST_MS = 30000; // likewise after a refusal, beginning with REPLICA_CALM_MS
constexpr unsigned REFUSED_MANY = 3;    // of which it is said that there are many
constexpr unsigned DOUBLED_MOST = 5;
constexpr long REST_MS = 50;     // without a delta, until the copy is looked at as a whole
constexpr size_t DUMP_CHECK = 4; // bytes of memory that it takes to check one of a dump

enum class state_t {
    ENDED,     // this process leads, or has not begun
    SEEKING,   // no active process answered yet
    GREETED,   // has said hello
    MIRRORING, // has taken the dump of this connection
};

struct standby_side_t {
    state_t state = state_t::ENDED;
    int active = -1; // connection to the active process
    content_t content = content_t::AT_START;
    uint32_t copy; // number of the dump that the copy began with
    bool loose;    // deltas came to links since the copy was last walked as a whole,
    uint64_t seen; // and this was the last one when the timer was looked at
    long seek_ms = SEEK_MS;
    unsigned refused; // dumps in a row, or hellos
};
standby_side_t side;
std::atomic<bool> holds_copy;
std::atomic<bool> is_connected;

void setContent(content_t content)
{
    side.content = content;
    holds_copy.store(content == content_t::COPY);
}

void spoilCopy()
{
    if (side.content == content_t::COPY)
        setContent(content_t::OUTDATED);
}

void leaveActive(state_t next, bool keeps_copy)
{
    if (side.active >= 0)
        close(side.active);
    side.active = -1;
    translateEnd();
    side.state = next;
    is_connected.store(false);
    if (!keeps_copy)
        spoilCopy();
}

// The connection is over. One that never brought a dump is not sought again as fast as the last time.
void seekAgain(bool failed, bool keeps_copy)
{
    if (side.state == state_t::MIRRORING)
        side.seek_ms = SEEK_MS;
    leaveActive(state_t::SEEKING, keeps_copy);
    if (!failed) {
        replicaSetTimer(side.seek_ms);
        return;
    }
    ++side.refused;
    const long ms = std::min(REPLICA_CALM_MS << std::min(side.refused - 1, DOUBLED_MOST), REFUSED_MOST_MS);
    if (side.refused == REFUSED_MANY)
        rasLog("store: refused %u times in a row, this process has no copy to take over with and goes on asking",
               side.refused);
    replicaSetTimer(ms);
}

// Empty, or why it cannot be taken. `own` are its words as this build says them, for which there is room in `room`.
std::string wrongWith(const received_t &received, std::span<const uint32_t> *own, std::vector<uint32_t> *room)
{
    const bool is_dump = received.head.kind == PACKET_DUMP;
    std::string wrong = translateRuns() ? translate(*own, is_dump, received.head.number, room) : std::string();
    if (!wrong.empty())
        return wrong;
    if (translateRuns())
        *own = *room;
    if (is_dump && !deltaRoomFor(DUMP_CHECK * own->size_bytes()))
        return "there is no memory to check it";
    return deltaWrong(*own, is_dump, received.head.number);
}

bool takeDump(const received_t &received, std::span<const uint32_t> words)
{
    std::vector<uint32_t> room;
    const std::string wrong = wrongWith(received, &words, &room);
    if (!wrong.empty()) {
        replicaSayOnce("a dump is refused, this process keeps what it had: " + wrong);
        return false;
    }
    if (replica.ops->recv_dump)
        replica.ops->recv_dump(replica.handle, REPLICA_VERSION, static_cast<uint32_t>(received.head.number));
    setContent(content_t::OUTDATED);
    deltaClear(); // a dump that leaves out an object must not leave it with pointers into the old store
    replica.sequence = received.head.number;
    if (!deltaTake(words)) {
        replicaSayOnce("no memory for a dump");
        deltaBackToStart();
        return false;
    }
    side.copy = received.head.type;
    side.loose = false; // it was walked ahead of this
    if (side.copy != 0)
        setContent(content_t::COPY);
    side.state = state_t::MIRRORING;
    side.refused = 0;
    replicaSaidEnough();
    replicaTrouble("");
    rasLog("store: this process holds a dump of %zu bytes", words.size_bytes());
    return true;
}

bool takeDelta(const received_t &received, std::span<const uint32_t> words)
{
    std::string wrong = side.content == content_t::COPY ? std::string() : "there was no dump before it";
    if (wrong.empty() && received.head.number != replica.sequence + 1)
        wrong = "it is not the next one";
    std::vector<uint32_t> room;
    if (wrong.empty())
        wrong = wrongWith(received, &words, &room);
    if (wrong.empty() && deltaTake(words)) {
        replica.sequence = received.head.number;
        if (!side.loose && consistencyTouched(words)) {
            side.loose = true;
            replicaSetTimer(REST_MS);
        }
        return true;
    }
    rasLog("store: an update is refused, a new dump is needed: %s", wrong.empty() ? "no memory" : wrong.c_str());
    replicaTrouble("an update was refused, a new dump is needed: " + (wrong.empty() ? "no memory" : wrong));
    return false;
}

void takeUpdate(const received_t &received)
{
    const iovec vector = {const_cast<void *>(received.payload), received.head.length};
    const vss_update_t update = {1, &vector, received.head.type};
    if (replica.ops->recv_update)
        replica.ops->recv_update(replica.handle, &update);
}

void sayNotMirrored(const std::string &why)
{
    replicaSayOnce("not mirrored: " + why);
    replicaTrouble(why, getpid());
}

// The active process has other records: from here on they are translated, if they can be.
bool takeLayout(const received_t &received, std::span<const uint32_t> words)
{
    const std::string wrong = translateBegin(words);
    if (!wrong.empty()) {
        sayNotMirrored("the active process's records cannot be taken: " + wrong);
        (void)packetSend(side.active, PACKET_REFUSED, 0, 0, wrong.data(), wrong.size());
        return false;
    }
    replicaSayOnce(
        "the active process has other record layouts than this one, what it sends is translated: its version "
        "is " +
        translateVersion() + ", this one's " VELMAR_VERSION);
    return packetSend(side.active, PACKET_HELLO, received.head.number, received.head.type, VELMAR_VERSION,
                      strlen(VELMAR_VERSION)) >= 0;
}

// False if the connection is of no more use.
bool takePacket(const received_t &received)
{
    const std::span<const uint32_t> words(static_cast<const uint32_t *>(received.payload),
                                          received.head.length / sizeof(uint32_t));
    switch (received.head.kind) {
    case PACKET_DUMP:
        return takeDump(received, words);
    case PACKET_DELTA:
        return takeDelta(received, words);
    case PACKET_UPDATE:
        takeUpdate(received);
        return true;
    case PACKET_MESSAGE:
        if (replica.ops->recv_msg)
            replica.ops->recv_msg(replica.handle, received.payload, received.head.length);
        return true;
    case PACKET_REFUSED:
        sayNotMirrored(replicaPlain(received.payload, received.head.length));
        return false;
    case PACKET_LAYOUT:
        return takeLayout(received, words);
    default:
        rasLog("store: the active process sent a packet of unknown kind %u", received.head.kind);
        return false;
    }
}

// A refusal, given or got, leaves the copy as it was: whether it counts the list of holders tells.
bool refusalKeepsCopy(uint16_t kind)
{
    return kind == PACKET_REFUSED || kind == PACKET_DUMP || kind == PACKET_LAYOUT;
}

void seekActive()
{
    sockaddr_un address;
    const int fd = replicaAddress(&address) ? packetSocket() : -1;
    int pid;
    if (fd >= 0)
        errno = EPERM; // of an active process that is somebody else's
    if (fd >= 0 && connect(fd, reinterpret_cast<sockaddr *>(&address), sizeof address) == 0 &&
        peerMayConnect(fd, &pid) &&
        packetSend(fd, PACKET_HELLO, describeHash(), describeFormat(), VELMAR_VERSION, strlen(VELMAR_VERSION)) >= 0 &&
        replicaWatch(fd)) {
        side.active = fd;
        side.state = state_t::GREETED;
        is_connected.store(true);
        side.seek_ms = std::min(side.seek_ms * 2, SEEK_MOST_MS);
        replicaSetTimer(0);
        return;
    }
    const int error = errno;
    if (fd >= 0)
        close(fd);
    if (side.seek_ms == SEEK_MOST_MS)
        replicaSayOnce(std::string("no active process answers, this process has no copy of one: ") + strerror(error));
    side.seek_ms = std::min(side.seek_ms * 2, SEEK_MOST_MS);
    replicaSetTimer(side.seek_ms);
}

} // namespace

bool replicaHoldsCopy()
{
    return holds_copy.load();
}

bool replicaIsConnected()
{
    return is_connected.load();
}

content_t standbyContent()
{
    return side.content;
}

uint32_t standbyCopy()
{
    return side.content == content_t::COPY ? side.copy : 0;
}

bool standbyCopyHolds()
{
    const std::string wrong = side.loose ? consistencyOfStore() : std::string();
    side.loose = false;
    if (wrong.empty())
        return true;
    rasLog("store: the copy does not hold together and is dropped: %s", wrong.c_str());
    spoilCopy();
    return false;
}

void standbyBegin()
{
    side.state = state_t::SEEKING;
    replicaSetTimer(side.seek_ms, true);
}

// A copy at rest is walked while there is time, since nobody waits for it as they do when this process is to lead.
void standbyOnTimer()
{
    if (side.state == state_t::SEEKING)
        return seekActive();
    if (side.state != state_t::MIRRORING)
        return;
    const bool rests = side.seen == replica.sequence;
    side.seen = replica.sequence;
    if (!rests)
        return;
    replicaSetTimer(0);
    if (!standbyCopyHolds())
        seekAgain(true, false);
}

void standbyReadAll()
{
    while (side.active >= 0) {
        received_t received;
        const int rc = packetReceive(side.active, &received);
        if (rc < 0 && errno == EAGAIN)
            return;
        if (rc < 0 && errno == ECONNRESET) // it died before it read our greeting: what it sent is still there
            continue;
        const bool good = rc > 0 && takePacket(received);
        if (rc < 0 && errno == ENOEXEC) {
            const char *const why = "the active process has its numbers in another byte order";
            replicaSayOnce(std::string(why) + ", it is not mirrored");
            replicaTrouble(why);
        } else if (rc < 0) {
            replicaSayOnce(std::string("lost the active process: ") + strerror(errno));
        }
        packetFree(&received);
        if (!good)
            seekAgain(rc != 0, rc == 0 || (rc > 0 && refusalKeepsCopy(received.head.kind)));
    }
}

bool standbyOnReady(int fd)
{
    if (fd != side.active)
        return false;
    standbyReadAll();
    return true;
}

void standbyEnd(bool keeps_copy)
{
    leaveActive(state_t::ENDED, keeps_copy);
    replicaSetTimer(0);
}

void standbyBackToStart()
{
    deltaBackToStart();
    replica.sequence = 0;
}
