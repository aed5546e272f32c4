// Replication. One thread waits for anything to happen on the connections and rings for the main thread, by a message
// of type 18; the main thread does the rest and never waits: a standby that does not take what it is sent is cut off,
// and comes back for a new dump.
#include "host/replica.h"

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <semaphore.h>
#include <string>
#include <sys/epoll.h>
#include <sys/random.h>
#include <sys/socket.h>
#include <sys/timerfd.h>
#include <sys/un.h>
#include <time.h>
#include <unistd.h>
#include <vector>

#include "host/clock.h"
#include "host/delta.h"
#include "host/describe.h"
#include "host/holders.h"
#include "host/packet.h"
#include "host/point.h"
#include "host/process.h"
#include "host/raslog.h"
#include "host/run.h"
#include "host/socket.h"
#include "host/store.h"
#include "host/track.h"
#include "velmar/run.h"

namespace {

constexpr uint32_t WORD_TRAFFIC = 2; // the message of type 18 that the thread posts
constexpr uint32_t VERSION = 1;      // of the dump, as the process's callbacks are told
constexpr size_t CONNECTIONS_MOST = 2 * HOLDERS_MOST;
constexpr int64_t SILENT_US = 1000000; // a connection that has said no hello until then may go
constexpr timespec POST_RETRY = {0, 10000000};
constexpr long SEEK_MS = 5;    // between two looks for an active process
constexpr long CALM_MS = 1000; // after a refusal

struct standby_t {
    int fd;
    int pid;
    int64_t since; // microseconds
    bool joining;  // has said hello, is due a dump
    bool joined;   // has been given it
    holder_t holder;
};

struct replica_t {
    const ha_ops_t *ops;
    ha_hndl_t handle;
    std::string file; // of the socket
    int epoll = -1;
    int timer = -1;
    sem_t served;
    std::string said; // the last line of sayOnce
    // Standby.
    int active = -1; // connection to the active process
    uint32_t copy;   // number of the dump that the store was, 0 if it is no complete copy
    bool used;       // the store is not as at the process's start
    // Active.
    bool leads;
    bool by_hand; // made active without the lock
    int listener = -1;
    bool deaf; // the listener is not looked at, for want of descriptors
    std::vector<standby_t> standbys;
    std::vector<holder_t> inherited; // the predecessor's standbys, while nothing has changed since him
    uint32_t dumps;
    // Both: number of the last delta sent or taken.
    uint64_t sequence;
};
replica_t replica;
std::atomic<unsigned> joined_count;

void *ring(void *)
{
    for (;;) {
        epoll_event event;
        if (epoll_wait(replica.epoll, &event, 1, -1) <= 0)
            continue;
        while (processPost(MSGQ_TYPE_ISC, WORD_TRAFFIC) != 0)
            nanosleep(&POST_RETRY, nullptr);
        while (sem_wait(&replica.served) != 0)
            ;
    }
}

bool watch(int fd)
{
    epoll_event event = {};
    event.events = EPOLLIN;
    event.data.fd = fd;
    return epoll_ctl(replica.epoll, EPOLL_CTL_ADD, fd, &event) == 0;
}

// The first tick comes after `ms`, or at once, then one every `ms`; 0 stops it.
void setTimer(long ms, bool at_once = false)
{
    itimerspec times = {};
    times.it_value = times.it_interval = {ms / 1000, ms % 1000 * 1000000};
    if (at_once)
        times.it_value = {0, 1};
    timerfd_settime(replica.timer, 0, &times, nullptr);
}

// What would otherwise be said again at every try.
void sayOnce(const std::string &line)
{
    if (line != replica.said)
        rasLog("store: %s", line.c_str());
    replica.said = line;
}

bool socketAddress(sockaddr_un *address)
{
    char path[sizeof address->sun_path];
    return velmar_run_path(path, sizeof path, "ha", replica.file.c_str()) == 0 && runAddress(address, path);
}

// ---- Active: standbys

// Writes down who holds a copy, and follows changes only while somebody does.
void settleStandbys()
{
    std::vector<holder_t> holders;
    for (const standby_t &standby : replica.standbys)
        if (standby.joined)
            holders.push_back(standby.holder);
    joined_count.store(static_cast<unsigned>(holders.size()));
    for (const holder_t &old : replica.inherited)
        if (std::none_of(holders.begin(), holders.end(),
                         [&old](const holder_t &now) { return now.pid == old.pid && now.copy == old.copy; }))
            holders.push_back(old);
    holdersWrite(holders);
    if (holders.empty())
        trackStop();
}

// From here on the standby does not count as a copy, and nothing leaves this process before that is written down.
void drop(int fd)
{
    std::erase_if(replica.standbys, [fd](const standby_t &standby) { return standby.fd == fd; });
    settleStandbys();
    close(fd);
}

void dropAll(const char *why)
{
    rasLog("store: %s, all standbys need a new dump", why);
    replica.inherited.clear();
    while (!replica.standbys.empty())
        drop(replica.standbys.back().fd);
    settleStandbys();
}

// False, and the standby is gone, if it did not take it.
bool give(const standby_t &standby, packet_kind_t kind, uint64_t number, uint32_t type, const delta_t &delta)
{
    if (packetSend(standby.fd, kind, number, type, delta.words.data(), delta.words.size() * sizeof(uint32_t)) >= 0)
        return true;
    if (errno == EAGAIN)
        rasLog("store: standby %d does not read and is cut off", standby.pid);
    else
        rasLog("store: standby %d is lost: %s", standby.pid, strerror(errno));
    drop(standby.fd);
    return false;
}

int64_t giveChanges()
{
    if (storeWasCleared())
        dropAll("everything was given back at once");
    else if (trackLost())
        dropAll("the machine has no mapping left to follow changes by");
    if (!trackRuns())
        return 0;
    delta_t delta = {};
    deltaChanges(&delta);
    if (!trackSettle()) {
        dropAll("written pages cannot be protected again");
        return 0;
    }
    if (delta.records == 0)
        return 0;
    deltaCommit(&delta, ++replica.sequence);
    if (!replica.inherited.empty()) {
        replica.inherited.clear();
        settleStandbys();
    }
    hostPoint(point_t::COMMIT);
    int64_t bytes = 0;
    const std::vector<standby_t> standbys = replica.standbys;
    for (const standby_t &standby : standbys) {
        if (!standby.joined)
            continue;
        if (give(standby, PACKET_DELTA, replica.sequence, 0, delta))
            bytes += static_cast<int64_t>(delta.words.size() * sizeof(uint32_t));
        hostPoint(point_t::COMMIT);
    }
    holdersGave(replica.sequence);
    return bytes;
}

bool follow()
{
    if (trackRuns())
        return true;
    if (!trackStart())
        return false;
    deltaRemember();
    return true;
}

void refuse(const standby_t &standby, const std::string &why)
{
    (void)packetSend(standby.fd, PACKET_REFUSED, 0, 0, why.data(), why.size());
    drop(standby.fd);
}

uint32_t drawNumber()
{
    uint32_t number = 0;
    while (number == 0)
        if (getrandom(&number, sizeof number, 0) != static_cast<ssize_t>(sizeof number))
            number = ++replica.dumps;
    return number;
}

// The standby counts as a copy from before the dump leaves: what is on the way arrives.
int64_t giveDump(standby_t *standby)
{
    standby->joining = false;
    if (!follow()) {
        sayOnce(std::string("no standby is served, changes cannot be followed: ") + strerror(errno));
        refuse(*standby, "the active process cannot follow its changes");
        return -1;
    }
    delta_t delta = {};
    deltaWhole(&delta);
    deltaCommit(&delta, replica.sequence);
    standby->holder = holderOf(standby->pid, drawNumber());
    standby->joined = true;
    const standby_t given = *standby;
    settleStandbys();
    hostPoint();
    if (!give(given, PACKET_DUMP, replica.sequence, given.holder.copy, delta))
        return -1;
    // Until here an inherited copy of its own was as good.
    if (std::erase_if(replica.inherited, [&given](const holder_t &old) { return old.pid == given.pid; }) > 0)
        settleStandbys();
    rasLog("store: standby %d was given a dump of %zu bytes", given.pid, delta.words.size() * sizeof(uint32_t));
    return static_cast<int64_t>(delta.words.size() * sizeof(uint32_t));
}

void hello(standby_t *standby, uint64_t hash)
{
    if (hash != describeHash()) {
        sayOnce("process " + std::to_string(standby->pid) +
                " has other record layouts than this one and is not mirrored to");
        refuse(*standby, "the active process has other record layouts than this one");
        return;
    }
    if (joined_count.load() >= HOLDERS_MOST) {
        sayOnce("there are " + std::to_string(HOLDERS_MOST) + " standbys, more are not served");
        refuse(*standby, "the active process has as many standbys as it can serve");
        return;
    }
    standby->joining = true;
    const int fd = standby->fd;
    if (replica.ops->send_dump)
        replica.ops->send_dump(replica.handle, VERSION, ++replica.dumps);
    else
        replicaSync();
    const auto after = std::find_if(replica.standbys.begin(), replica.standbys.end(),
                                    [fd](const standby_t &entry) { return entry.fd == fd; });
    if (after != replica.standbys.end() && !after->joined)
        drop(fd);
}

void standbySpeaks(int fd)
{
    const auto standby = std::find_if(replica.standbys.begin(), replica.standbys.end(),
                                      [fd](const standby_t &entry) { return entry.fd == fd; });
    if (standby == replica.standbys.end())
        return;
    received_t received;
    const int rc = packetReceive(fd, &received);
    if (rc < 0 && errno == EAGAIN)
        return;
    if (rc > 0 && received.head.kind == PACKET_HELLO && !standby->joined) {
        hello(&*standby, received.head.number);
    } else {
        rasLog("store: standby %d has left%s", standby->pid, rc == 0 ? "" : ", or cannot be understood");
        drop(fd);
    }
    packetFree(&received);
}

// Without a descriptor for who knocks the listener is left alone until the next tick.
void acceptStandby()
{
    const int fd = accept4(replica.listener, nullptr, nullptr, SOCK_NONBLOCK | SOCK_CLOEXEC);
    if (fd < 0) {
        if (errno == EAGAIN || errno == ECONNABORTED || errno == EINTR)
            return;
        sayOnce(std::string("no standby can join: ") + strerror(errno));
        replica.deaf = epoll_ctl(replica.epoll, EPOLL_CTL_DEL, replica.listener, nullptr) == 0;
        setTimer(CALM_MS);
        return;
    }
    const int64_t now = machineUs();
    const auto silent = std::find_if(replica.standbys.begin(), replica.standbys.end(), [now](const standby_t &old) {
        return !old.joined && now - old.since > SILENT_US;
    });
    if (silent != replica.standbys.end())
        drop(silent->fd);
    ucred peer = {};
    socklen_t length = sizeof peer;
    packetSetBacklog(fd);
    if (getsockopt(fd, SOL_SOCKET, SO_PEERCRED, &peer, &length) != 0 || replica.standbys.size() >= CONNECTIONS_MOST ||
        !watch(fd)) {
        close(fd);
        return;
    }
    replica.standbys.push_back({fd, peer.pid, now, false, false, {}});
}

// ---- Standby: the active process

// The connection ends. Where it did not end by itself the store is no copy any more.
void leave(long again_ms, bool healthy)
{
    if (replica.active >= 0)
        close(replica.active);
    replica.active = -1;
    if (!healthy)
        replica.copy = 0;
    setTimer(again_ms);
}

bool takeDump(const received_t &received, std::span<const uint32_t> words)
{
    const std::string wrong = deltaWrong(words, true, received.head.number);
    if (!wrong.empty()) {
        rasLog("store: a dump is refused, this process keeps what it had: %s", wrong.c_str());
        return false;
    }
    if (replica.ops->recv_dump)
        replica.ops->recv_dump(replica.handle, VERSION, static_cast<uint32_t>(received.head.number));
    replica.used = true;
    storeClear();
    replica.copy = 0;
    replica.sequence = received.head.number;
    if (!deltaTake(words)) {
        rasLog("store: no memory for a dump of %zu bytes", words.size_bytes());
        deltaBackToStart();
        return false;
    }
    replica.copy = received.head.type;
    rasLog("store: this process holds a dump of %zu bytes", words.size_bytes());
    return true;
}

bool takeDelta(const received_t &received, std::span<const uint32_t> words)
{
    std::string wrong = replica.copy ? std::string() : "there was no dump before it";
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
bool take(const received_t &received)
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
        sayOnce("not mirrored: " + std::string(static_cast<const char *>(received.payload), received.head.length));
        return false;
    default:
        rasLog("store: the active process sent a packet of unknown kind %u", received.head.kind);
        return false;
    }
}

// A refusal, given or got, leaves the copy as it was: whether it counts the list of holders tells.
bool keepsCopy(uint16_t kind)
{
    return kind == PACKET_REFUSED || kind == PACKET_DUMP;
}

// Takes all there is; ends the connection where it ends.
void activeSpeaks()
{
    while (replica.active >= 0) {
        received_t received;
        const int rc = packetReceive(replica.active, &received);
        if (rc < 0 && errno == EAGAIN)
            return;
        if (rc < 0 && errno == ECONNRESET) // it died before it read our greeting: what it sent is still there
            continue;
        const bool good = rc > 0 && take(received);
        if (rc < 0)
            rasLog("store: lost the active process: %s", strerror(errno));
        packetFree(&received);
        if (!good)
            leave(rc == 0 ? SEEK_MS : CALM_MS, rc == 0 || (rc > 0 && keepsCopy(received.head.kind)));
    }
}

void seek()
{
    sockaddr_un address;
    const int fd = socketAddress(&address) ? packetSocket() : -1;
    if (fd < 0)
        return;
    if (connect(fd, reinterpret_cast<sockaddr *>(&address), sizeof address) != 0 ||
        packetSend(fd, PACKET_HELLO, describeHash(), 0, nullptr, 0) < 0 || !watch(fd)) {
        close(fd);
        return;
    }
    replica.active = fd;
    setTimer(0);
}

// Whoever holds the lock owns the name, also while the kernel still closes the predecessor's socket.
void openListener()
{
    sockaddr_un address;
    const int fd = packetSocket();
    if (fd >= 0 && socketAddress(&address))
        unlink(address.sun_path);
    if (fd >= 0 && runBind(fd, "ha", replica.file.c_str(), false, address.sun_path, sizeof address.sun_path) == 0 &&
        listen(fd, HOLDERS_MOST) == 0 && watch(fd)) {
        replica.listener = fd;
        setTimer(0);
        return;
    }
    sayOnce(std::string("no standby can join: ") + strerror(errno));
    if (fd >= 0)
        velmar_run_close(fd);
    setTimer(CALM_MS);
}

void tick()
{
    uint64_t ticks;
    if (read(replica.timer, &ticks, sizeof ticks) < 0)
        return;
    if (replica.by_hand) {
        setTimer(0);
    } else if (!replica.leads && replica.active < 0) {
        seek();
    } else if (replica.leads && replica.listener < 0) {
        openListener();
    } else if (replica.deaf && watch(replica.listener)) {
        replica.deaf = false;
        setTimer(0);
    }
}

} // namespace

void replicaJoin(const ha_register_t *record, ha_hndl_t ha)
{
    char file[sizeof record->service + sizeof record->instance + 8];
    snprintf(file, sizeof file, "%.*s.%.*s.sock", static_cast<int>(sizeof record->service), record->service,
             static_cast<int>(sizeof record->instance), record->instance);
    replica.ops = record->ops;
    replica.handle = ha;
    replica.file = file;
}

void replicaStart()
{
    if (replica.epoll >= 0)
        return;
    replica.epoll = epoll_create1(EPOLL_CLOEXEC);
    replica.timer = timerfd_create(CLOCK_MONOTONIC, TFD_CLOEXEC | TFD_NONBLOCK);
    sem_init(&replica.served, 0, 0);
    if (replica.epoll < 0 || replica.timer < 0 || !watch(replica.timer) || !processThread(ring, nullptr)) {
        rasLog("store: nothing will be mirrored to or from this process: %s", strerror(errno));
        return;
    }
    deltaKeepStart();
    setTimer(SEEK_MS, true);
}

bool replicaCatchUp()
{
    activeSpeaks();
    for (const holder_t &holder : holdersRead())
        if (holderIsSelf(holder) && replica.copy != 0 && holder.copy == replica.copy)
            return true;
    if (replica.copy)
        rasLog("store: this process was cut off before its predecessor ended, its copy is too old");
    return false;
}

// The predecessor's other standbys have the same copy, and it is as good as this one until something changes.
void replicaLead(bool complete)
{
    leave(0, true);
    replica.leads = true;
    replica.by_hand = false;
    if (complete) {
        replica.inherited = holdersRead();
        std::erase_if(replica.inherited,
                      [](const holder_t &holder) { return holderIsSelf(holder) || !holderRuns(holder); });
        if (!replica.inherited.empty() && (replica.sequence != holdersGiven() || !follow()))
            replica.inherited.clear();
    } else if (replica.used) {
        deltaBackToStart();
        replica.sequence = 0;
    }
    if (complete || replica.used)
        mi6DropWaiting();
    holdersGave(replica.sequence);
    settleStandbys();
    if (replica.epoll >= 0)
        openListener();
}

void replicaLeave()
{
    if (replica.epoll < 0 || replica.leads)
        return;
    rasLog("store: this process was made active by hand, it holds no copy any more");
    leave(0, false);
    replica.leads = replica.by_hand = replica.used = true;
}

int64_t replicaSync()
{
    if (replica.standbys.empty() && replica.inherited.empty())
        return 0;
    hostPoint();
    int64_t bytes = giveChanges();
    for (size_t i = 0; i < replica.standbys.size();) {
        const int fd = replica.standbys[i].fd;
        const int64_t given = replica.standbys[i].joining ? giveDump(&replica.standbys[i]) : 0;
        if (given < 0)
            return given;
        bytes += given;
        i += i < replica.standbys.size() && replica.standbys[i].fd == fd;
    }
    return bytes;
}

void replicaCommit()
{
    hostPoint();
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
    const std::vector<standby_t> standbys = replica.standbys;
    for (const standby_t &standby : standbys) {
        if (!standby.joined)
            continue;
        if (packetSend(standby.fd, static_cast<packet_kind_t>(kind), 0, type, payload.data(), payload.size()) >= 0) {
            ++taken;
            continue;
        }
        rasLog("store: standby %d is cut off at an update: %s", standby.pid, strerror(errno));
        drop(standby.fd);
    }
    return taken;
}

unsigned replicaStandbys()
{
    return joined_count.load();
}

void isc_process(void *message)
{
    if (processWord(message) != WORD_TRAFFIC || replica.epoll < 0)
        return;
    epoll_event ready[16];
    const int count = epoll_wait(replica.epoll, ready, 16, 0);
    for (int i = 0; i < count; ++i) {
        const int fd = ready[i].data.fd;
        if (fd == replica.timer)
            tick();
        else if (fd == replica.listener)
            acceptStandby();
        else if (fd == replica.active)
            activeSpeaks();
        else
            standbySpeaks(fd);
    }
    sem_post(&replica.served);
}
