// SPDX-License-Identifier: Apache-2.0
// The active's side: gives each standby that joins a dump and then every delta. It never waits: a standby that does not
// take what it is sent is cut off, and comes back for a new dump.
#include "host/replica.h"

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <mutex>
#include <sys/random.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <time.h>
#include <unistd.h>
#include <vector>

#include "host/delta.h"
#include "host/describe.h"
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
constexpr size_t VERSION_MOST = 32;    // characters of a version that are shown
constexpr int64_t SILENT_US = 1000000; // a connection that has said no hello until then may go

// A standby's connection: each state follows the one before it, and all end with the connection.
enum class standby_state_t {
    KNOCKED, // has not said hello
    SHOWN,   // has said hello with other layouts than this process's, and was sent these
    DUE,     // has said hello and is due a dump
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

struct active_side_t {
    listener_state_t state = listener_state_t::CLOSED;
    int listener = -1;
    std::vector<standby_t> standbys;
    std::vector<holder_t> inherited; // the predecessor's standbys, while nothing has changed since him
    uint32_t dumps;
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
    if (holders.empty())
        trackStop();
}

// From here on the standby does not count as a copy, and nothing leaves this process before that is written down.
void dropStandby(int fd)
{
    std::erase_if(side.standbys, [fd](const standby_t &standby) { return standby.fd == fd; });
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

// False, and the standby is gone, if it did not take it.
bool giveDelta(const standby_t &standby, packet_kind_t kind, uint64_t number, uint32_t type, const delta_t &delta)
{
    if (packetSend(standby.fd, kind, number, type, delta.words.data(), delta.words.size() * sizeof(uint32_t)) >= 0)
        return true;
    if (errno == EAGAIN) {
        rasLog("store: standby %d does not read and is cut off", standby.pid);
        replicaTrouble("standby " + std::to_string(standby.pid) + " did not read and was cut off");
    } else {
        replicaSayOnce("standby " + std::to_string(standby.pid) + " is lost: " + strerror(errno));
    }
    dropStandby(standby.fd);
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
    if (trackSettle())
        return true;
    dropAllStandbys("written pages cannot be protected again");
    return false;
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

// False if there is no memory for one. A pointer takes 20 bytes of a dump, a block 32.
bool makeDump(delta_t *delta)
{
    const size_t most = storeBlocks().size() * 32 + size_t{store_totals.bytes.load()} * (20 / sizeof(void *) + 1);
    if (!deltaRoomFor(most))
        return false;
    deltaWhole(delta);
    deltaCommit(delta, replica.sequence);
    return true;
}

// The standby counts as a copy from before the dump leaves: what is on the way arrives.
int64_t giveDump(standby_t *standby)
{
    if (!followChanges()) {
        replicaSayOnce(std::string("no standby is served, changes cannot be followed: ") + strerror(errno));
        refuseStandby(*standby, "the active process cannot follow its changes");
        return -1;
    }
    delta_t delta = {};
    if (!makeDump(&delta)) {
        replicaSayOnce("no standby is served, there is no memory for a dump");
        refuseStandby(*standby, "the active process has no memory for a dump");
        return -1;
    }
    standby->holder = holderOf(standby->pid, drawNumber());
    if (standby->holder.started == 0) {
        replicaSayOnce(std::string("no standby is served, who asks cannot be looked at: ") + strerror(errno));
        refuseStandby(*standby, "the active process cannot look at who asks");
        return -1;
    }
    standby->state = standby_state_t::JOINED;
    const standby_t given = *standby;
    settleHolders();
    hostPoint();
    if (!giveDelta(given, PACKET_DUMP, replica.sequence, given.holder.copy, delta))
        return -1;
    // Until here an inherited copy of its own was as good.
    if (std::erase_if(side.inherited, [&given](const holder_t &old) { return old.pid == given.pid; }) > 0)
        settleHolders();
    replicaTrouble("");
    rasLog("store: standby %d was given a dump of %zu bytes", given.pid, delta.words.size() * sizeof(uint32_t));
    return static_cast<int64_t>(delta.words.size() * sizeof(uint32_t));
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
    if (joined_count.load() >= HOLDERS_MOST) {
        replicaSayOnce("there are " + std::to_string(HOLDERS_MOST) + " standbys, more are not served");
        refuseStandby(*standby, "the active process has as many standbys as it can serve");
        return;
    }
    standby->state = standby_state_t::DUE;
    const int fd = standby->fd;
    if (replica.ops->send_dump)
        replica.ops->send_dump(replica.handle, REPLICA_VERSION, ++side.dumps);
    else
        replicaSync();
    const auto after = findStandby(fd);
    if (after != side.standbys.end() && !isJoined(*after))
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
    if (rc > 0 && received.head.kind == PACKET_HELLO && !isJoined(*standby)) {
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
        replicaSetTimer(REPLICA_CALM_MS);
        return;
    }
    const int64_t now = monotonicUs();
    const auto silent = std::find_if(side.standbys.begin(), side.standbys.end(), [now](const standby_t &old) {
        return !isJoined(old) && now - old.since > SILENT_US;
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
        replicaSetTimer(0);
        return;
    }
    replicaSayOnce(std::string("no standby can join: ") + strerror(errno));
    if (fd >= 0)
        velmar_run_close(fd);
    replicaSetTimer(REPLICA_CALM_MS);
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

void activeOnTimer()
{
    if (side.state == listener_state_t::CLOSED) {
        openListener();
    } else if (side.state == listener_state_t::DEAF && replicaWatch(side.listener)) {
        side.state = listener_state_t::LISTENING;
        replicaSetTimer(0);
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
    if (side.standbys.empty() && side.inherited.empty())
        return 0;
    hostPoint();
    int64_t bytes = giveChanges();
    for (size_t i = 0; i < side.standbys.size();) {
        const int fd = side.standbys[i].fd;
        const int64_t given = side.standbys[i].state == standby_state_t::DUE ? giveDump(&side.standbys[i]) : 0;
        if (given < 0)
            return given;
        bytes += given;
        i += i < side.standbys.size() && side.standbys[i].fd == fd;
    }
    return bytes;
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
    std::vector<unsigned char> payload;
    for (unsigned i = 0; i < count; ++i) {
        const unsigned char *from = static_cast<const unsigned char *>(vectors[i].iov_base);
        payload.insert(payload.end(), from, from + vectors[i].iov_len);
    }
    unsigned taken = 0;
    const std::vector<standby_t> standbys = side.standbys;
    for (const standby_t &standby : standbys) {
        if (!isJoined(standby))
            continue;
        if (packetSend(standby.fd, static_cast<packet_kind_t>(kind), 0, type, payload.data(), payload.size()) >= 0) {
            ++taken;
            continue;
        }
        rasLog("store: standby %d is cut off at an update: %s", standby.pid, strerror(errno));
        dropStandby(standby.fd);
    }
    return taken;
}

unsigned replicaStandbys()
{
    return joined_count.load();
}
