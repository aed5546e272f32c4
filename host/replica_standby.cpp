// The standby's side: looks for the active process, asks it for a dump, and takes that and every later delta.
#include "host/replica_sides.h"

#include <cerrno>
#include <cstring>
#include <span>
#include <sys/socket.h>
#include <sys/uio.h>
#include <unistd.h>

#include "host/delta.h"
#include "host/describe.h"
#include "host/packet.h"
#include "host/raslog.h"
#include "host/store.h"

namespace {

enum class state_t {
    ENDED,   // this process leads, or left the replication, or has not begun
    SEEKING, // no active process was there yet
    GREETED, // has said hello
};

struct standby_side_t {
    state_t state = state_t::ENDED;
    int active = -1; // connection to the active process
    content_t content = content_t::AT_START;
    uint32_t copy; // number of the dump that the copy began with
};
standby_side_t side;

void spoilCopy()
{
    if (side.content == content_t::COPY)
        side.content = content_t::OUTDATED;
}

void leaveActive(state_t next, bool keeps_copy)
{
    if (side.active >= 0)
        close(side.active);
    side.active = -1;
    side.state = next;
    if (!keeps_copy)
        spoilCopy();
}

void seekAgain(long ms, bool keeps_copy)
{
    leaveActive(state_t::SEEKING, keeps_copy);
    replicaSetTimer(ms);
}

bool takeDump(const received_t &received, std::span<const uint32_t> words)
{
    const std::string wrong = deltaWrong(words, true, received.head.number);
    if (!wrong.empty()) {
        rasLog("store: a dump is refused, this process keeps what it had: %s", wrong.c_str());
        return false;
    }
    if (replica.ops->recv_dump)
        replica.ops->recv_dump(replica.handle, REPLICA_VERSION, static_cast<uint32_t>(received.head.number));
    side.content = content_t::OUTDATED;
    storeClear();
    replica.sequence = received.head.number;
    if (!deltaTake(words)) {
        rasLog("store: no memory for a dump of %zu bytes", words.size_bytes());
        deltaBackToStart();
        return false;
    }
    side.copy = received.head.type;
    if (side.copy != 0)
        side.content = content_t::COPY;
    rasLog("store: this process holds a dump of %zu bytes", words.size_bytes());
    return true;
}

bool takeDelta(const received_t &received, std::span<const uint32_t> words)
{
    std::string wrong = side.content == content_t::COPY ? std::string() : "there was no dump before it";
    if (wrong.empty() && received.head.number != replica.sequence + 1)
        wrong = "it is not the next one";
    if (wrong.empty())
        wrong = deltaWrong(words, false, received.head.number);
    if (wrong.empty() && deltaTake(words)) {
        replica.sequence = received.head.number;
        return true;
    }
    rasLog("store: an update is refused, a new dump is needed: %s", wrong.empty() ? "no memory" : wrong.c_str());
    return false;
}

void takeUpdate(const received_t &received)
{
    const iovec vector = {const_cast<void *>(received.payload), received.head.length};
    const vss_update_t update = {1, &vector, received.head.type};
    if (replica.ops->recv_update)
        replica.ops->recv_update(replica.handle, &update);
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
        replicaSayOnce("not mirrored: " +
                       std::string(static_cast<const char *>(received.payload), received.head.length));
        return false;
    default:
        rasLog("store: the active process sent a packet of unknown kind %u", received.head.kind);
        return false;
    }
}

// A refusal, given or got, leaves the copy as it was: whether it counts the list of holders tells.
bool refusalKeepsCopy(uint16_t kind)
{
    return kind == PACKET_REFUSED || kind == PACKET_DUMP;
}

void seekActive()
{
    sockaddr_un address;
    const int fd = replicaAddress(&address) ? packetSocket() : -1;
    if (fd < 0)
        return;
    if (connect(fd, reinterpret_cast<sockaddr *>(&address), sizeof address) != 0 ||
        packetSend(fd, PACKET_HELLO, describeHash(), 0, nullptr, 0) < 0 || !replicaWatch(fd)) {
        close(fd);
        return;
    }
    side.active = fd;
    side.state = state_t::GREETED;
    replicaSetTimer(0);
}

} // namespace

content_t standbyContent()
{
    return side.content;
}

uint32_t standbyCopy()
{
    return side.content == content_t::COPY ? side.copy : 0;
}

void standbyBegin()
{
    side.state = state_t::SEEKING;
    replicaSetTimer(REPLICA_SEEK_MS, true);
}

void standbyOnTimer()
{
    if (side.state == state_t::SEEKING)
        seekActive();
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
        if (rc < 0)
            rasLog("store: lost the active process: %s", strerror(errno));
        packetFree(&received);
        if (!good)
            seekAgain(rc == 0 ? REPLICA_SEEK_MS : REPLICA_CALM_MS,
                      rc == 0 || (rc > 0 && refusalKeepsCopy(received.head.kind)));
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

void standbySpoil()
{
    side.content = content_t::OUTDATED;
}
