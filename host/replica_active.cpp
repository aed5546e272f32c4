// SPDX-License-Identifier: Apache-2.0
// The active's side: gives each standby that joins a dump and then every delta. It never waits: a standby that does not
// take what it is sent is cut off, and comes back for a new dump.
//
// A dump is made in slices, one standby after the other. What changes in the meantime is kept as deltas and follows the
// dump, and the standby counts once it has been sent the last of them.
#include "host/replica.h"

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <deque>
#include <mutex>
#include <sys/random.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <time.h>
#include <unistd.h>
#include <vector>

#include "host/delta.h"
#include "host/describe.h"
#include "host/dump.h"
#include "host/election.h"
#include "host/holders.h"
#include "host/layout.h"
#include "host/packet.h"
#include "host/peer.h"
#include "host/point.h"
#include "host/raslog.h"
#include "host/replica_sides.h"
#include "host/run.h"
#include "host/socket.h"
#include "host/store.h"
#include "host/track.h"
#include "velmar/run.h"
#include "velmar/version.h"

namespace {

constexpr size_t CONNECTIONS_MOST = 2 * HOLDERS_MOST;
constexpr size_t VERSION_MOST = 32;             // characters of a version that are shown
constexpr int64_t SILENT_US = 1000000;          // a connection that has said no hello until then may go
constexpr size_t LATER_MOST = size_t{64} << 20; // bytes of deltas that a standby may be behind its dump
constexpr int LATER_AT_ONCE = 32;               // of them that are sent in one go
constexpr long LATER_CALM_MS = 5;               // to a standby that has no room for the next
constexpr int64_t FULL_MOST_US = 2000000;       // for as long as which it is waited for
constexpr int64_t BEGIN_LONG_US = 200;          // a begin that has taken as long is left at that
constexpr int64_t SLICE_LOST_US = 100000;       // the message that brings the next slice is not coming any more

// A standby's connection: each state follows the one before it, and all end with the connection.
enum class standby_state_t {
    KNOCKED, // has not said hello
    SHOWN,   // has said hello with other layouts than this process's, and was sent these
    DUE,     // has said hello and is due a dump
    COPYING, // its dump is being made, or what changed since follows it
    JOINED,  // has been given it, and is given every delta
};

struct standby_t {
    int fd;
    int pid;
    int64_t since; // microseconds
    standby_state_t state;
    holder_t holder;
};

enum class listener_state_t {
    CLOSED,    // to be opened at the next tick
    LISTENING, //
    DEAF,      // not looked at until the next tick, for want of descriptors
};

struct later_t {
    packet_kind_t kind;
    uint64_t number;
    uint32_t type;
    std::vector<uint32_t> words;
    size_t length; // bytes
};

// The dump that is being made, and what changed since it was begun.
struct copying_t {
    int fd = -1; // the standby's; -1 for none
    uint64_t sequence;
    bool sent;       // the dump has left, `later` is on its way
    int64_t full_us; // since when the standby has had no room, which the timer looks at; 0 for room
    bool due;        // the next slice
    int64_t asked_us;
    std::deque<later_t> later;
    size_t later_bytes;
    size_t given; // of them
};

struct active_side_t {
    listener_state_t state = listener_state_t::CLOSED;
    int listener = -1;
    std::vector<standby_t> standbys;
    std::vector<holder_t> inherited; // the predecessor's standbys, while nothing has changed since him
    uint32_t dumps;
    uint32_t syncs;
    copying_t copying;
};
active_side_t side;
std::atomic<unsigned> joined_count;

// What the listener's name leads to.
struct name_t {
    char path[sizeof(sockaddr_un::sun_path)];
    struct stat is;
    bool bound;
};
std::mutex name_lock;
name_t name;

int64_t monotonicUs()
{
    timespec now;
    clock_gettime(CLOCK_MONOTONIC, &now);
    return static_cast<int64_t>(now.tv_sec) * 1000000 + now.tv_nsec / 1000;
}

bool isJoined(const standby_t &standby)
{
    return standby.state == standby_state_t::JOINED;
}

std::vector<standby_t>::iterator findStandby(int fd)
{
    return std::find_if(side.standbys.begin(), side.standbys.end(),
                        [fd](const standby_t &entry) { return entry.fd == fd; });
}

// Writes down who holds a copy, and follows changes only while somebody does.
void settleHolders()
{
    std::vector<holder_t> holders;
    for (const standby_t &standby : side.standbys)
        if (isJoined(standby))
            holders.push_back(standby.holder);
    joined_count.store(static_cast<unsigned>(holders.size()));
    for (const holder_t &old : side.inherited)
        if (std::none_of(holders.begin(), holders.end(),
                         [&old](const holder_t &now) { return now.pid == old.pid && now.copy == old.copy; }))
            holders.push_back(old);
    holdersWrite(holders);
    if (holders.empty() && side.copying.fd < 0)
        trackStop();
}

// One timer for what is waited for.
void setTimer()
{
    if (side.copying.full_us != 0)
        replicaSetTimer(LATER_CALM_MS);
    else
        replicaSetTimer(side.state == listener_state_t::LISTENING ? 0 : REPLICA_CALM_MS);
}

void endCopying()
{
    const bool was_full = side.copying.full_us != 0;
    side.copying = {};
    dumpEnd();
    if (was_full)
        setTimer();
}

// From here on the standby does not count as a copy, and nothing leaves this process before that is written down.
void dropStandby(int fd)
{
    std::erase_if(side.standbys, [fd](const standby_t &standby) { return standby.fd == fd; });
    if (fd == side.copying.fd)
        endCopying();
    settleHolders();
    close(fd);
}

void dropAllStandbys(const char *why)
{
    rasLog("store: %s, all standbys need a new dump", why);
    side.inherited.clear();
    while (!side.standbys.empty())
        dropStandby(side.standbys.back().fd);
    settleHolders();
}

// What it was sent it did not take: errno says why.
void lose(const standby_t &standby)
{
    if (errno == EAGAIN) {
        rasLog("store: standby %d does not read and is cut off", standby.pid);
        replicaTrouble("standby " + std::to_string(standby.pid) + " did not read and was cut off");
    } else {
        replicaSayOnce("standby " + std::to_string(standby.pid) + " is lost: " + strerror(errno));
    }
    dropStandby(standby.fd);
}

// False, and the standby is gone, if it did not take it.
bool giveDelta(const standby_t &standby, packet_kind_t kind, uint64_t number, uint32_t type, const delta_t &delta)
{
    if (packetSend(standby.fd, kind, number, type, delta.words.data(), delta.words.size() * sizeof(uint32_t)) >= 0)
        return true;
    lose(standby);
    return false;
}

// False if what has changed cannot be told any more.
bool findChanges(delta_t *delta)
{
    if (storeWasCleared())
        dropAllStandbys("everything was given back at once");
    else if (trackLost())
        dropAllStandbys("the machine has no mapping left to follow changes by");
    if (!trackRuns())
        return false;
    deltaChanges(delta);
    dumpKeep();
    if (trackSettle())
        return true;
    dropAllStandbys("written pages cannot be protected again");
    return false;
}

// For the standby whose dump is older.
void giveLater(packet_kind_t kind, uint64_t number, uint32_t type, std::vector<uint32_t> words, size_t length)
{
    if (side.copying.fd < 0)
        return;
    side.copying.later_bytes += length;
    side.copying.later.push_back({kind, number, type, std::move(words), length});
    const auto standby = findStandby(side.copying.fd);
    if (side.copying.later_bytes <= LATER_MOST || standby == side.standbys.end())
        return;
    rasLog("store: standby %d does not read and is cut off", standby->pid);
    dropStandby(side.copying.fd);
}

int64_t giveChanges()
{
    delta_t delta = {};
    if (!findChanges(&delta) || delta.records == 0)
        return 0;
    deltaCommit(&delta, ++replica.sequence);
    if (!side.inherited.empty()) {
        side.inherited.clear();
        settleHolders();
    }
    hostPoint(point_t::COMMIT);
    int64_t bytes = 0;
    const std::vector<standby_t> standbys = side.standbys;
    for (const standby_t &standby : standbys) {
        if (!isJoined(standby))
            continue;
        if (giveDelta(standby, PACKET_DELTA, replica.sequence, 0, delta))
            bytes += static_cast<int64_t>(delta.words.size() * sizeof(uint32_t));
        hostPoint(point_t::COMMIT);
    }
    const size_t length = delta.words.size() * sizeof(uint32_t);
    giveLater(PACKET_DELTA, replica.sequence, 0, std::move(delta.words), length);
    holdersGave(replica.sequence);
    return bytes;
}

bool followChanges()
{
    if (trackRuns())
        return true;
    if (!trackStart())
        return false;
    deltaRemember();
    return true;
}

void refuseStandby(const standby_t &standby, const std::string &why)
{
    (void)packetSend(standby.fd, PACKET_REFUSED, 0, 0, why.data(), why.size());
    dropStandby(standby.fd);
}

uint32_t drawNumber()
{
    uint32_t number = 0;
    while (number == 0)
        if (getrandom(&number, sizeof number, 0) != static_cast<ssize_t>(sizeof number))
            number = ++side.dumps;
    return number;
}

void refuseForMemory(const standby_t &standby)
{
    replicaSayOnce("no standby is served, there is no memory for a dump");
    refuseStandby(standby, "the active process has no memory for a dump");
}

// False, and it is refused, if no dump can be made for it.
bool beginCopying(standby_t *standby)
{
    if (!followChanges()) {
        replicaSayOnce(std::string("no standby is served, changes cannot be followed: ") + strerror(errno));
        refuseStandby(*standby, "the active process cannot follow its changes");
        return false;
    }
    if (!dumpBegin(replica.sequence)) {
        refuseForMemory(*standby);
        return false;
    }
    const holder_t holder = holderOf(standby->pid, drawNumber());
    side.copying.fd = standby->fd; // it is refused below as one that is being copied to
    if (holder.started == 0) {
        replicaSayOnce(std::string("no standby is served, who asks cannot be looked at: ") + strerror(errno));
        refuseStandby(*standby, "the active process cannot look at who asks");
        return false;
    }
    side.copying.sequence = replica.sequence;
    side.copying.due = true;
    standby->holder = holder;
    standby->state = standby_state_t::COPYING;
    return true;
}

// It counts as a copy from here on.
void join(standby_t *standby)
{
    rasLog("store: standby %d was given %zu changes since its dump", standby->pid, side.copying.given);
    standby->state = standby_state_t::JOINED;
    endCopying();
    settleHolders();
}

// The standby counts from before the dump leaves if that is all: what is on the way arrives.
int64_t giveDump(standby_t *standby)
{
    const standby_t given = *standby;
    const payload_t dump = dumpPayload();
    side.copying.sent = true;
    if (side.copying.later.empty()) {
        standby->state = standby_state_t::JOINED;
        settleHolders();
    }
    hostPoint();
    if (packetSend(given.fd, PACKET_DUMP, side.copying.sequence, given.holder.copy, dump) < 0) {
        lose(given);
        return -1;
    }
    // Until here an inherited copy of its own was as good.
    if (std::erase_if(side.inherited, [&given](const holder_t &old) { return old.pid == given.pid; }) > 0)
        settleHolders();
    replicaTrouble("");
    rasLog("store: standby %d was given a dump of %zu bytes", given.pid, dump.length);
    if (side.copying.later.empty())
        endCopying();
    else
        dumpEnd();
    return static_cast<int64_t>(dump.length);
}

// Some of the deltas behind the dump. With the last of them the standby has what all others have.
int64_t giveSomeLater(standby_t *standby)
{
    int64_t bytes = 0;
    for (int i = 0; i < LATER_AT_ONCE && !side.copying.later.empty(); ++i) {
        const later_t &next = side.copying.later.front();
        hostPoint();
        if (packetSend(standby->fd, next.kind, next.number, next.type, next.words.data(), next.length) < 0) {
            const int64_t now = monotonicUs();
            if (errno != EAGAIN || (side.copying.full_us != 0 && now - side.copying.full_us > FULL_MOST_US)) {
                lose(*standby);
                return -1;
            }
            if (side.copying.full_us == 0)
                side.copying.full_us = now;
            setTimer();
            return bytes;
        }
        if (side.copying.full_us != 0) {
            side.copying.full_us = 0;
            setTimer();
        }
        bytes += static_cast<int64_t>(next.length);
        side.copying.later_bytes -= next.length;
        side.copying.later.pop_front();
        ++side.copying.given;
    }
    if (side.copying.later.empty())
        join(standby);
    return bytes;
}

int64_t copySlice()
{
    const auto standby = findStandby(side.copying.fd);
    if (standby == side.standbys.end())
        return 0;
    side.copying.due = false;
    if (side.copying.sent)
        return giveSomeLater(&*standby);
    switch (dumpMore()) {
    case dump_state_t::MORE:
        return 0;
    case dump_state_t::DONE:
        return giveDump(&*standby);
    default:
        refuseForMemory(*standby);
        return -1;
    }
}

std::vector<standby_t>::iterator nextDue()
{
    return std::find_if(side.standbys.begin(), side.standbys.end(),
                        [](const standby_t &standby) { return standby.state == standby_state_t::DUE; });
}

// The dump in hand, or the begin of the next one. The main thread comes back for more by a message, so that all else
// has its turn; where none can be posted it goes on at once.
int64_t copyOn()
{
    int64_t bytes = 0;
    for (bool again = true; again;) {
        copying_t &copying = side.copying;
        if (copying.fd < 0 && nextDue() == side.standbys.end())
            return bytes;
        const int64_t start = monotonicUs();
        int64_t given = copying.fd < 0 && !beginCopying(&*nextDue()) ? -1 : 0;
        if (given == 0 && !copying.due && (copying.full_us != 0 || monotonicUs() - copying.asked_us < SLICE_LOST_US))
            return bytes;
        if (given == 0 && monotonicUs() - start < BEGIN_LONG_US)
            given = copySlice();
        copying.asked_us = monotonicUs();
        const bool more = copying.fd >= 0 ? copying.full_us == 0 : nextDue() != side.standbys.end();
        again = more && !replicaCallAgain();
        copying.due = again;
        if (given < 0)
            return given;
        bytes += given;
    }
    return bytes;
}

// What a hello tells of the build that said it.
std::string versionIn(const received_t &hello)
{
    const std::string version(static_cast<const char *>(hello.payload),
                              std::min<size_t>(hello.head.length, VERSION_MOST));
    const bool plain = std::all_of(version.begin(), version.end(), [](char c) { return c > ' ' && c <= '~'; });
    return version.empty() || !plain ? "unknown" : version;
}

// A build that describes nothing goes by the hash alone.
bool isSameLayout(const packet_t &hello)
{
    constexpr uint32_t ORDERS = 0xffffff;
    return hello.number == describeHash() && (hello.type == 0 || ((hello.type ^ describeFormat()) & ORDERS) == 0);
}

// A standby of another build that can translate says hello again, with this process's layout.
void showLayout(standby_t *standby, const std::string &version)
{
    replicaSayOnce("process " + std::to_string(standby->pid) +
                   " has other record layouts than this one and is shown these: its version is " + version +
                   ", this one's " VELMAR_VERSION);
    const delta_t layout = {layoutWords(), 0};
    standby->state = standby_state_t::SHOWN;
    giveDelta(*standby, PACKET_LAYOUT, describeHash(), describeFormat(), layout);
}

void refuseLayout(const standby_t &standby, const std::string &version)
{
    const std::string about = " has other record layouts than this one";
    const std::string who = "process " + std::to_string(standby.pid);
    replicaSayOnce(who + about + " and is not mirrored to: its version is " + version + ", this one's " VELMAR_VERSION);
    replicaTrouble(who + about + ": its version is " + version, standby.pid);
    refuseStandby(standby, "the active process" + about + ": its version is " VELMAR_VERSION ", this one's " + version);
}

void greetStandby(standby_t *standby, const received_t &hello)
{
    if (!isSameLayout(hello.head)) {
        const std::string version = versionIn(hello);
        if (standby->state == standby_state_t::KNOCKED && hello.head.type >> 24 == DESCRIBE_FORMAT)
            showLayout(standby, version);
        else
            refuseLayout(*standby, version);
        return;
    }
    const auto served = std::count_if(side.standbys.begin(), side.standbys.end(),
                                      [](const standby_t &other) { return other.state >= standby_state_t::DUE; });
    if (static_cast<size_t>(served) >= HOLDERS_MOST) {
        replicaSayOnce("there are " + std::to_string(HOLDERS_MOST) + " standbys, more are not served");
        refuseStandby(*standby, "the active process has as many standbys as it can serve");
        return;
    }
    standby->state = standby_state_t::DUE;
    const int fd = standby->fd;
    const uint32_t syncs = side.syncs;
    if (replica.ops->send_dump)
        replica.ops->send_dump(replica.handle, REPLICA_VERSION, ++side.dumps);
    else
        replicaSync();
    const auto after = findStandby(fd);
    if (after != side.standbys.end() && after->state == standby_state_t::DUE && side.syncs == syncs)
        dropStandby(fd);
}

void hearStandby(int fd)
{
    const auto standby = findStandby(fd);
    if (standby == side.standbys.end())
        return;
    received_t received;
    const int rc = packetReceive(fd, &received);
    if (rc < 0 && errno == EAGAIN)
        return;
    if (rc > 0 && received.head.kind == PACKET_HELLO && standby->state < standby_state_t::DUE) {
        greetStandby(&*standby, received);
    } else if (rc > 0 && received.head.kind == PACKET_REFUSED && standby->state == standby_state_t::SHOWN) {
        const std::string why = "process " + std::to_string(standby->pid) + " cannot take this one's records: " +
                                replicaPlain(received.payload, received.head.length);
        replicaSayOnce(why + ", it is not mirrored to");
        replicaTrouble(why, standby->pid);
        dropStandby(fd);
    } else if (rc < 0 && errno == ENOEXEC) {
        const std::string why = "process " + std::to_string(standby->pid) + " has its numbers in another byte order";
        replicaSayOnce(why + ", it is not mirrored to");
        replicaTrouble(why, standby->pid);
        refuseStandby(*standby, ""); // it cannot read more than the byte order of this
    } else {
        rasLog("store: standby %d has left%s", standby->pid, rc == 0 ? "" : ", or cannot be understood");
        dropStandby(fd);
    }
    packetFree(&received);
}

// Without a descriptor for who knocks the listener is left alone until the next tick.
void acceptStandby()
{
    const int fd = accept4(side.listener, nullptr, nullptr, SOCK_NONBLOCK | SOCK_CLOEXEC);
    if (fd < 0) {
        if (errno == EAGAIN || errno == ECONNABORTED || errno == EINTR)
            return;
        replicaSayOnce(std::string("no standby can join: ") + strerror(errno));
        if (replicaUnwatch(side.listener))
            side.state = listener_state_t::DEAF;
        setTimer();
        return;
    }
    const int64_t now = monotonicUs();
    const auto silent = std::find_if(side.standbys.begin(), side.standbys.end(), [now](const standby_t &old) {
        return old.state < standby_state_t::DUE && now - old.since > SILENT_US;
    });
    if (silent != side.standbys.end())
        dropStandby(silent->fd);
    int pid;
    packetSetBacklog(fd);
    if (!peerMayConnect(fd, &pid) || side.standbys.size() >= CONNECTIONS_MOST || !replicaWatch(fd)) {
        close(fd);
        return;
    }
    side.standbys.push_back({fd, pid, now, standby_state_t::KNOCKED, {}});
}

void rememberName(const char *path)
{
    const std::lock_guard<std::mutex> lock(name_lock);
    name = {};
    snprintf(name.path, sizeof name.path, "%s", path);
    name.bound = lstat(path, &name.is) == 0;
}

// Whoever holds the lock owns the name, also while the kernel still closes the predecessor's socket.
void openListener()
{
    sockaddr_un address;
    const int fd = packetSocket();
    if (fd >= 0 && replicaAddress(&address))
        unlink(address.sun_path);
    if (fd >= 0 && runBind(fd, "ha", replica.file.c_str(), false, address.sun_path, sizeof address.sun_path) == 0 &&
        listen(fd, HOLDERS_MOST) == 0 && replicaWatch(fd)) {
        rememberName(address.sun_path);
        side.listener = fd;
        side.state = listener_state_t::LISTENING;
        setTimer();
        return;
    }
    replicaSayOnce(std::string("no standby can join: ") + strerror(errno));
    if (fd >= 0)
        velmar_run_close(fd);
    setTimer();
}

// The predecessor's other standbys have the same copy, and it is as good as this one until something changes.
void inheritHolders()
{
    side.inherited = holdersMine().listed;
    std::erase_if(side.inherited, [](const holder_t &holder) { return holderIsSelf(holder) || !holderRuns(holder); });
    if (!side.inherited.empty() && (replica.sequence != holdersMine().given || !followChanges()))
        side.inherited.clear();
}

} // namespace

void activeBegin(bool complete, bool was_free)
{
    const bool is_new = standbyContent() == content_t::AT_START;
    if (complete)
        inheritHolders();
    else if (!is_new)
        standbyBackToStart();
    if (complete || !is_new || !was_free)
        mi6DropWaiting();
    holdersGave(replica.sequence);
    settleHolders();
    if (replicaRuns())
        openListener();
}

bool activeHasName()
{
    const std::lock_guard<std::mutex> lock(name_lock);
    struct stat now;
    return !name.bound || (lstat(name.path, &now) == 0 && now.st_dev == name.is.st_dev && now.st_ino == name.is.st_ino);
}

void activeNameAnew()
{
    if (side.listener < 0 || activeHasName())
        return;
    rasLog("store: the name of the replication socket was removed or replaced, it is made anew");
    velmar_run_close(side.listener);
    side.listener = -1;
    side.state = listener_state_t::CLOSED;
    openListener();
}

void activeCopyOn()
{
    side.copying.due = true;
    replicaSync();
}

void activeOnTimer()
{
    if (side.copying.full_us != 0)
        activeCopyOn();
    if (side.state == listener_state_t::CLOSED) {
        openListener();
    } else if (side.state == listener_state_t::DEAF && replicaWatch(side.listener)) {
        side.state = listener_state_t::LISTENING;
        setTimer();
    }
}

void activeOnReady(int fd)
{
    if (fd == side.listener)
        acceptStandby();
    else
        hearStandby(fd);
}

int64_t replicaSync()
{
    ++side.syncs;
    if (side.standbys.empty() && side.inherited.empty())
        return 0;
    hostPoint();
    const int64_t bytes = giveChanges();
    const int64_t copied = copyOn();
    return copied < 0 ? copied : bytes + copied;
}

void replicaCommit()
{
    hostPoint();
    electionCheck();
    if (trackRuns())
        replicaSync();
}

unsigned replicaSend(replica_message_t kind, uint32_t type, const iovec *vectors, unsigned count)
{
    size_t length = 0;
    for (unsigned i = 0; i < count; ++i)
        length += vectors[i].iov_len;
    std::vector<uint32_t> payload((length + sizeof(uint32_t) - 1) / sizeof(uint32_t));
    auto *to = reinterpret_cast<unsigned char *>(payload.data());
    for (unsigned i = 0; i < count; to += vectors[i++].iov_len)
        if (vectors[i].iov_len > 0)
            memcpy(to, vectors[i].iov_base, vectors[i].iov_len);
    unsigned taken = 0;
    const std::vector<standby_t> standbys = side.standbys;
    for (const standby_t &standby : standbys) {
        if (!isJoined(standby))
            continue;
        if (packetSend(standby.fd, static_cast<packet_kind_t>(kind), 0, type, payload.data(), length) >= 0) {
            ++taken;
            continue;
        }
        rasLog("store: standby %d is cut off at an update: %s", standby.pid, strerror(errno));
        dropStandby(standby.fd);
    }
    giveLater(static_cast<packet_kind_t>(kind), 0, type, std::move(payload), length);
    return taken;
}

unsigned replicaStandbys()
{
    return joined_count.load();
}
