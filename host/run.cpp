// SPDX-License-Identifier: Apache-2.0
// The run directory: where it lies, its folders, and the socket files in it.
//
// Who binds or removes a socket file holds a lock on its folder. A file that refuses a connect under that lock has no
// owner, since an owner that is just binding holds the lock until it can be reached. Nobody waits long for that lock:
// whoever may open the folder can hold it for ever. Who binds also removes what dead processes left in the folder.
//
// Only this user reaches what lies here: the directory is his, others may not write to it, and socket files are 0600,
// which the kernel checks in every connect and every send by path. Who comes through all the same is told by his
// credentials. A group that the node file names gets as far as reading takes: into the folders of SHARED, to the
// control sockets and the agents' ends of MI6, and to the trace. In one folder its members may make something: the
// sockets where they are answered. (Sockets without a file would be out of reach of an agent that has no network.)
#include "host/run.h"

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <climits>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <dirent.h>
#include <fcntl.h>
#include <mutex>
#include <sys/file.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/time.h>
#include <unistd.h>
#include <vector>

#include "host/fault.h"
#include "host/node.h"
#include "host/peer.h"
#include "host/raslog.h"
#include "velmar/run.h"

namespace {

constexpr const char *FOLDERS[] = {"mi6", "qos", "ctl", "ha", "trace"};
constexpr const char *SHARED[] = {"", "/mi6", "/ctl", "/trace", "/readers"};
constexpr const char *READERS = "readers";
constexpr mode_t OPEN_MODE = 0750, READERS_MODE = 01730; // to make something there, and remove nothing of others'

constexpr gid_t NO_GROUP = static_cast<gid_t>(-1);
constexpr size_t PID_END = sizeof ".4194304.255" - 1;
// The longest name below the run directory. A service of MI6 has 13 characters; service, instance and atom of a
// registration have 16; a trace ring's name has 15.
constexpr size_t LONGEST_NAME = std::max({
    sizeof "/mi6/.lc16" - 1 + 13 + PID_END,
    sizeof "/qos/group4294967295" - 1 + PID_END,
    sizeof "/ctl/" - 1 + 16 + PID_END,
    sizeof "/ha/..lock" - 1 + 16 + 16,
    sizeof "/trace/" - 1 + 15 + PID_END,
});
constexpr size_t PATH_ROOM = sizeof(sockaddr_un::sun_path);
constexpr int MAX_SAME_KIND = 255;
constexpr int LOCK_TRIES = 40; // of a bind, with a pause between them
constexpr useconds_t LOCK_PAUSE_US = 5000;
constexpr time_t YOUNG_SECONDS = 2; // a refused file of a living process this young may still be in its bind

struct bound_t {
    int fd;
    pid_t owner; // a forked child must not remove its parent's files
    char path[PATH_ROOM];
    struct stat is; // the file: the name may be another's by now
    bool told;      // that it is gone and cannot be made anew
};

std::mutex run_lock;
char run_dir[PATH_MAX];
std::mutex bound_lock; // what follows
std::vector<bound_t> bound;
bool closed; // the files were removed, the process ends

std::atomic<gid_t> readers{NO_GROUP}; // who may read what is this user's
std::atomic<bool> is_reader;          // of what is another user's

void chooseDir(char *dir, size_t size)
{
    const char *given = getenv("VELMAR_RUN");
    if (given && *given)
        snprintf(dir, size, "%s", given);
    else if (geteuid() == 0)
        snprintf(dir, size, "/run/velmar");
    else
        snprintf(dir, size, "/tmp/velmar-%u", static_cast<unsigned>(geteuid()));
}

// Makes what is missing above `path`. What fails here the making of `path` itself meets again.
void makeParents(const char *path)
{
    char parent[PATH_MAX];
    snprintf(parent, sizeof parent, "%s", path);
    char *slash = strrchr(parent, '/');
    if (!slash || slash == parent)
        return;
    *slash = '\0';
    if (mkdir(parent, 0700) == 0 || errno != ENOENT)
        return;
    makeParents(parent);
    mkdir(parent, 0700);
}

bool makeDir(const char *path, char *error, size_t size)
{
    struct stat found;
    if (mkdir(path, 0700) != 0 && errno != EEXIST)
        snprintf(error, size, "cannot make run directory %s: %s", path, strerror(errno));
    else if (lstat(path, &found) != 0)
        snprintf(error, size, "cannot use run directory %s: %s", path, strerror(errno));
    else if (!S_ISDIR(found.st_mode)) {
        errno = ENOTDIR;
        snprintf(error, size, "cannot use run directory %s: it is %s", path,
                 S_ISLNK(found.st_mode) ? "a link" : "not a directory");
    } else if (found.st_uid != geteuid()) {
        errno = EPERM;
        snprintf(error, size, "cannot use run directory %s: it belongs to somebody else", path);
    } else if (found.st_mode & (S_IWGRP | S_IWOTH)) {
        errno = EPERM;
        snprintf(error, size, "cannot use run directory %s: others may write to it (mode %04o); chmod it to 0700", path,
                 static_cast<unsigned>(found.st_mode & 07777));
    } else if (access(path, W_OK | X_OK) != 0)
        snprintf(error, size, "cannot write to run directory %s: %s", path, strerror(errno));
    else
        return true;
    return false;
}

// Locks the folder of `path`: a descriptor to close, or -1, with EWOULDBLOCK if somebody else holds it.
int lockFolder(const char *path, int tries)
{
    char folder[PATH_ROOM];
    snprintf(folder, sizeof folder, "%s", path);
    char *slash = strrchr(folder, '/');
    if (!slash)
        return -1;
    *slash = '\0';
    const int fd = open(folder, O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    while (fd >= 0 && flock(fd, LOCK_EX | LOCK_NB) != 0) {
        if (errno == EINTR)
            continue;
        if (errno != EWOULDBLOCK || --tries <= 0) {
            const int error = errno;
            close(fd);
            errno = error;
            return -1;
        }
        usleep(LOCK_PAUSE_US);
    }
    return fd;
}

// A socket file that nobody listens at. A connect to any other file is refused as well.
bool refused(const char *path)
{
    sockaddr_un address;
    struct stat found;
    if (!runAddress(&address, path) || lstat(path, &found) != 0 || !S_ISSOCK(found.st_mode))
        return false;
    const int fd = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    if (fd < 0)
        return false;
    const bool is_refused =
        connect(fd, reinterpret_cast<sockaddr *>(&address), sizeof address) != 0 && errno == ECONNREFUSED;
    close(fd);
    return is_refused;
}

bool isControl(const char *path)
{
    const char *const name = strrchr(path, '/');
    return name && name - path >= 4 && strncmp(name - 4, "/ctl", 4) == 0;
}

// Whether the process left a trace ring, as daemons do and tools don't. The folder is one beside that of the rings.
bool isDaemon(int folder_fd, int pid)
{
    const int fd = openat(folder_fd, "../trace", O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    DIR *dir = fd < 0 ? nullptr : fdopendir(fd);
    bool found = false;
    while (const dirent *entry = dir && !found ? readdir(dir) : nullptr)
        found = runOwner(entry->d_name) == pid;
    if (dir)
        closedir(dir);
    else if (fd >= 0)
        close(fd);
    return found;
}

// Removes the socket files of dead processes from a folder that is locked. A daemon that was killed says nothing of it,
// so whoever removes its control socket does.
void sweep(int folder_fd, const char *path)
{
    const int fd = openat(folder_fd, ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    DIR *dir = fd < 0 ? nullptr : fdopendir(fd);
    if (!dir) {
        if (fd >= 0)
            close(fd);
        return;
    }
    const int length = static_cast<int>(strrchr(path, '/') - path);
    const bool control = isControl(path);
    while (const dirent *entry = readdir(dir)) {
        const int owner = runOwner(entry->d_name);
        char file[PATH_ROOM];
        const int used = snprintf(file, sizeof file, "%.*s/%s", length, path, entry->d_name);
        if (owner > 0 && used > 0 && static_cast<size_t>(used) < sizeof file && !runAlive(owner) && refused(file) &&
            unlink(file) == 0 && control && isDaemon(folder_fd, owner))
            rasLogGone(entry->d_name);
    }
    closedir(dir);
}

// What dead readers left: they themselves cannot read that folder.
void sweepReaders(const char *dir)
{
    char path[PATH_ROOM + 16];
    snprintf(path, sizeof path, "%.*s/%s/", static_cast<int>(PATH_ROOM), dir, READERS);
    const int lock = lockFolder(path, 1);
    if (lock < 0)
        return;
    sweep(lock, path);
    close(lock);
}

// What has the group is left alone: a sandbox may forbid the call.
bool giveGroup(int folder, const char *path, int flags, gid_t group)
{
    struct stat found;
    return (fstatat(folder, path, &found, flags) == 0 && found.st_gid == group) ||
           fchownat(folder, path, static_cast<uid_t>(-1), group, flags) == 0;
}

// Gives the group of the node file its way into the folders. A directory that is open to it stays as it is.
bool shareTree(const char *dir, char *error, size_t size)
{
    const gid_t group = nodeReaders(dir);
    for (const char *folder : SHARED) {
        char path[PATH_ROOM + 16];
        struct stat found;
        snprintf(path, sizeof path, "%.*s%s", static_cast<int>(PATH_ROOM), dir, folder);
        if (group == NO_GROUP)
            break;
        const mode_t mode = strcmp(folder, "/readers") == 0 ? READERS_MODE : OPEN_MODE;
        if (mode == READERS_MODE)
            (void)mkdir(path, 0700);
        if (!giveGroup(AT_FDCWD, path, AT_SYMLINK_NOFOLLOW, group) || lstat(path, &found) != 0 ||
            (S_ISDIR(found.st_mode) && (found.st_mode & mode) != mode && chmod(path, mode) != 0)) {
            snprintf(error, size, "cannot let the group of %s/node into %s: %s (its owner must be of that group)", dir,
                     path, strerror(errno));
            return false;
        }
    }
    readers = group;
    peerSetReaders(group);
    if (group != NO_GROUP)
        sweepReaders(dir);
    return true;
}

// A socket that those who may read are to reach: any control socket, and of MI6 the agents' ends.
void shareSocket(const char *path)
{
    const char *const name = strrchr(path, '/');
    const bool control = isControl(path);
    const bool agent = name && name - path >= 4 && strncmp(name - 4, "/mi6", 4) == 0 && strstr(name, ".lc");
    // In this order: until the group is the right one it has no right.
    if (readers != NO_GROUP && (control || agent) && giveGroup(AT_FDCWD, path, AT_SYMLINK_NOFOLLOW, readers))
        (void)chmod(path, 0660);
}

bool isMember(gid_t group)
{
    gid_t groups[1024];
    const int count = getgroups(sizeof groups / sizeof *groups, groups);
    return group == getegid() || std::find(groups, groups + std::max(count, 0), group) != groups + std::max(count, 0);
}

bool makeTree(const char *dir, char *error, size_t size)
{
    if (strlen(dir) + LONGEST_NAME >= PATH_ROOM) {
        errno = ENAMETOOLONG;
        snprintf(error, size, "run directory %s is too long for socket addresses: at most %zu characters", dir,
                 PATH_ROOM - LONGEST_NAME - 1);
        return false;
    }
    struct stat found;
    if (stat(dir, &found) != 0 && errno == ENOENT)
        makeParents(dir);
    if (!makeDir(dir, error, size))
        return false;
    for (const char *folder : FOLDERS) {
        char path[PATH_ROOM + 8];
        snprintf(path, sizeof path, "%.*s/%s", static_cast<int>(PATH_ROOM), dir, folder);
        if (!makeDir(path, error, size))
            return false;
    }
    return shareTree(dir, error, size);
}

// 0, or -1 with errno; a file without owner is replaced. A name with a process id is this process's alone, so it is
// bound without the lock if need be.
int bindLocked(int fd, const char *path, bool pid)
{
    sockaddr_un address;
    if (!runAddress(&address, path)) {
        errno = ENAMETOOLONG;
        return -1;
    }
    const int lock = lockFolder(path, LOCK_TRIES);
    if (lock < 0 && errno == EWOULDBLOCK && !pid) {
        errno = EBUSY;
        return -1;
    }
    if (lock >= 0)
        sweep(lock, path);
    fchmod(fd, 0600); // the mode that the file gets
    int rc = faultFails(FAULT_NAME) ? -1 : bind(fd, reinterpret_cast<sockaddr *>(&address), sizeof address);
    if (rc != 0 && errno == EADDRINUSE) {
        if (refused(path) && unlink(path) == 0)
            rc = bind(fd, reinterpret_cast<sockaddr *>(&address), sizeof address);
        else
            errno = EADDRINUSE;
    }
    const int error = errno;
    if (rc == 0)
        shareSocket(path);
    if (lock >= 0)
        close(lock);
    errno = error;
    return rc;
}

void remember(int fd, const char *path)
{
    static const bool at_exit = atexit(runCleanup) == 0;
    (void)at_exit;
    // A descriptor that comes again was closed by other means: its old file is no longer ours to remove.
    std::erase_if(bound, [fd](const bound_t &old) { return old.fd == fd; });
    bound_t entry = {fd, getpid(), {}, {}, false};
    snprintf(entry.path, sizeof entry.path, "%s", path);
    lstat(path, &entry.is);
    bound.push_back(entry);
}

bool hasName(const bound_t &entry)
{
    struct stat now;
    return lstat(entry.path, &now) == 0 && now.st_dev == entry.is.st_dev && now.st_ino == entry.is.st_ino;
}

void removeOwn(const bound_t &entry)
{
    if (entry.owner == getpid() && hasName(entry))
        unlink(entry.path);
}

void copyOption(int from, int to, int option, int divided_by)
{
    int value = 0;
    socklen_t length = sizeof value;
    if (getsockopt(from, SOL_SOCKET, option, &value, &length) != 0)
        return;
    value /= divided_by; // the kernel doubles what it is given
    setsockopt(to, SOL_SOCKET, option, &value, sizeof value);
}

// A socket cannot be given a name again, so another one takes its place. False with errno.
bool replaceSocket(bound_t *entry)
{
    const int fresh = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    const int old = entry->fd;
    if (fresh >= 0)
        peerAsk(fresh); // ahead of its first datagram
    bool done = fresh >= 0 && bindLocked(fresh, entry->path, runOwner(entry->path) != 0) == 0;
    if (done) {
        for (const int option : {SO_SNDTIMEO, SO_RCVTIMEO}) {
            timeval limit = {};
            socklen_t length = sizeof limit;
            if (getsockopt(old, SOL_SOCKET, option, &limit, &length) == 0)
                setsockopt(fresh, SOL_SOCKET, option, &limit, sizeof limit);
        }
        copyOption(old, fresh, SO_RCVBUF, 2);
        copyOption(old, fresh, SO_SNDBUF, 2);
        fcntl(fresh, F_SETFL, fcntl(old, F_GETFL));
        lstat(entry->path, &entry->is);
        done = dup3(fresh, old, O_CLOEXEC) >= 0;
    }
    const int error = errno;
    if (fresh >= 0)
        close(fresh);
    errno = error;
    return done;
}

// Binds and remembers in one, so that the end of the process meets either a file that it knows or none.
int bindAndRemember(int fd, const char *path, bool pid)
{
    {
        const std::lock_guard<std::mutex> lock(bound_lock);
        if (!closed) {
            const int rc = bindLocked(fd, path, pid);
            if (rc == 0)
                remember(fd, path);
            return rc;
        }
    }
    for (;;)
        pause();
}

} // namespace

bool runAddress(sockaddr_un *address, const char *path)
{
    *address = {};
    address->sun_family = AF_UNIX;
    const size_t length = strlen(path);
    if (length >= sizeof address->sun_path)
        return false;
    memcpy(address->sun_path, path, length + 1);
    return true;
}

int runBind(int fd, const char *folder, const char *name, bool pid, char *path, size_t size)
{
    const int tries = pid ? MAX_SAME_KIND : 1;
    for (int k = 1; k <= tries; ++k) {
        char full[PATH_ROOM];
        if (!pid)
            snprintf(full, sizeof full, "%s", name);
        else if (k == 1)
            snprintf(full, sizeof full, "%s.%d", name, static_cast<int>(getpid()));
        else
            snprintf(full, sizeof full, "%s.%d.%d", name, static_cast<int>(getpid()), k);
        if (velmar_run_path(path, size, folder, full) != 0)
            return -1;
        if (bindAndRemember(fd, path, pid) == 0)
            return 0;
        if (errno != EADDRINUSE)
            return -1;
    }
    return -1;
}

void runShare(int fd)
{
    if (readers != NO_GROUP && giveGroup(fd, "", AT_EMPTY_PATH, readers))
        (void)fchmod(fd, 0640);
}

bool runIsReader()
{
    return is_reader;
}

int runOpen(const char *path, int flags, const char **why)
{
    // Without a wait, so that a FIFO holds nobody up; a regular file knows no difference.
    const bool fails = (flags & O_CREAT) && access(path, F_OK) != 0 && faultFails(FAULT_NAME);
    const int fd = fails ? -1 : open(path, flags | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC, 0600);
    struct stat found;
    if (fd >= 0 && fstat(fd, &found) == 0 && S_ISREG(found.st_mode) && (found.st_uid == geteuid() || found.st_uid == 0))
        return fd;
    int error = errno;
    *why = nullptr;
    if (fd >= 0) {
        error = S_ISDIR(found.st_mode) ? EISDIR : S_ISREG(found.st_mode) ? EPERM : EINVAL;
        if (error == EPERM)
            *why = "it belongs to somebody else";
        if (error == EINVAL)
            *why = "it is not a regular file";
        close(fd);
    } else if (error == ELOOP) {
        *why = "it is a link";
    } else if (error == ENXIO) {
        *why = "it is not a regular file"; // a FIFO or a socket
    }
    if (!*why)
        *why = strerror(error);
    errno = error;
    return -1;
}

void runForget(int fd)
{
    const std::lock_guard<std::mutex> lock(bound_lock);
    for (size_t i = 0; i < bound.size(); ++i) {
        if (bound[i].fd != fd)
            continue;
        removeOwn(bound[i]);
        bound.erase(bound.begin() + static_cast<std::ptrdiff_t>(i));
        return;
    }
}

int runOwner(const char *name)
{
    // The last two all-digit parts are PID.K, a single one is PID. No process has a number that does not fit.
    int numbers[2] = {0, 0};
    const char *end = name + strlen(name);
    for (int &number : numbers) {
        const char *dot = end;
        while (dot > name && dot[-1] >= '0' && dot[-1] <= '9')
            --dot;
        if (dot == end || dot == name || dot[-1] != '.')
            break;
        errno = 0;
        const long value = strtol(dot, nullptr, 10);
        number = errno == 0 && value <= INT_MAX ? static_cast<int>(value) : 0;
        end = dot - 1;
    }
    return numbers[1] ? numbers[1] : numbers[0];
}

bool runAlive(int pid)
{
    return kill(pid, 0) == 0 || errno == EPERM;
}

bool runRemoveStale(const char *path)
{
    const char *slash = strrchr(path, '/');
    const int owner = runOwner(slash ? slash + 1 : path);
    struct stat found;
    if (stat(path, &found) != 0)
        return errno == ENOENT;
    // A file from the future was made before the clock was set back; but a file's time is finer than time(), and may be
    // a second ahead of it where that is just about to begin.
    const time_t age = time(nullptr) - found.st_mtime;
    if ((owner == 0 || runAlive(owner)) && age >= -1 && age < YOUNG_SECONDS)
        return false;
    const int lock = lockFolder(path, 1);
    if (lock < 0)
        return false;
    const bool gone = refused(path) && unlink(path) == 0;
    close(lock);
    return gone;
}

bool runKeepNames()
{
    bool any = false;
    const std::lock_guard<std::mutex> lock(bound_lock);
    for (bound_t &entry : bound) {
        int type = 0;
        socklen_t length = sizeof type;
        if (closed || entry.owner != getpid() || hasName(entry) ||
            getsockopt(entry.fd, SOL_SOCKET, SO_TYPE, &type, &length) != 0 || type != SOCK_DGRAM)
            continue;
        const bool done = replaceSocket(&entry);
        const int error = errno;
        if (done || !entry.told)
            rasLog("socket: the name %s was removed or replaced, it %s%s", entry.path,
                   done ? "is made anew" : "cannot be made anew: ", done ? "" : strerror(error));
        entry.told = !done;
        any = any || done;
    }
    return any;
}

void runCleanup()
{
    const std::lock_guard<std::mutex> lock(bound_lock);
    closed = true;
    for (const bound_t &entry : bound)
        removeOwn(entry);
    bound.clear();
}

const char *velmar_run_dir(char *error, size_t size)
{
    const std::lock_guard<std::mutex> lock(run_lock);
    char wanted[PATH_MAX];
    chooseDir(wanted, sizeof wanted);
    if (strcmp(wanted, run_dir) == 0)
        return run_dir;
    if (!makeTree(wanted, error, size))
        return nullptr;
    snprintf(run_dir, sizeof run_dir, "%s", wanted);
    return run_dir;
}

bool velmar_run_as_reader()
{
    const std::lock_guard<std::mutex> lock(run_lock);
    const char *const given = getenv("VELMAR_RUN");
    struct stat found;
    if (!given || !*given || geteuid() == 0 || strlen(given) + LONGEST_NAME >= PATH_ROOM || lstat(given, &found) != 0 ||
        !S_ISDIR(found.st_mode) || found.st_uid == geteuid() || (found.st_mode & (S_IWGRP | S_IWOTH)) != 0 ||
        (found.st_mode & 0050) != 0050 || !isMember(found.st_gid))
        return false;
    char path[PATH_ROOM + 16];
    snprintf(path, sizeof path, "%s/%s", given, READERS);
    if (access(path, W_OK | X_OK) != 0)
        return false;
    snprintf(run_dir, sizeof run_dir, "%s", given);
    peerSetOwner(found.st_uid);
    is_reader = true;
    return true;
}

int velmar_run_path(char *path, size_t size, const char *folder, const char *name)
{
    char error[PATH_MAX];
    const char *dir = velmar_run_dir(error, sizeof error);
    if (!dir)
        return -1;
    const int length = snprintf(path, size, "%s/%s/%s", dir, folder, name);
    if (length < 0 || static_cast<size_t>(length) >= size || static_cast<size_t>(length) >= PATH_ROOM) {
        errno = ENAMETOOLONG;
        return -1;
    }
    return 0;
}

int velmar_run_bind(const char *folder, const char *name, bool pid, char *path, size_t size)
{
    const int fd = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    if (fd < 0)
        return -1;
    peerAsk(fd);
    if (is_reader) {
        folder = READERS;
        name = "r";
        pid = true;
    }
    // Whoever gets there may send: what comes is looked at.
    if (runBind(fd, folder, name, pid, path, size) != 0 || (is_reader && chmod(path, 0666) != 0)) {
        const int error = errno;
        close(fd);
        errno = error;
        return -1;
    }
    return fd;
}

void velmar_run_close(int fd)
{
    runForget(fd);
    close(fd);
}

static ssize_t receive(int fd, void *buffer, size_t size, velmar_sender_t *from, int *file, bool readers_too)
{
    for (;;) {
        peer_room_t room;
        iovec vector = {buffer, size};
        msghdr message = {};
        *from = {};
        message.msg_name = &from->address;
        message.msg_namelen = sizeof from->address - 1; // what it leaves ends the path
        message.msg_iov = &vector;
        message.msg_iovlen = 1;
        message.msg_control = room.bytes;
        message.msg_controllen = file ? PEER_ROOM_WITH_FILE : PEER_ROOM_ALONE;
        const ssize_t got = recvmsg(fd, &message, MSG_DONTWAIT | MSG_TRUNC | MSG_CMSG_CLOEXEC);
        if (got < 0)
            return -1;
        from->length = message.msg_namelen;
        from->user = peerUser(&message);
        const int came = peerFile(&message);
        const bool may = peerMaySend(fd, &message, readers_too ? &from->reader : nullptr);
        if (came >= 0 && (!may || !file))
            close(came);
        if (file)
            *file = came;
        if (may)
            return got;
    }
}

ssize_t velmar_run_receive(int fd, void *buffer, size_t size, velmar_sender_t *from, int *file)
{
    return receive(fd, buffer, size, from, file, false);
}

bool runAnswerTo(const velmar_sender_t &client, sockaddr_un *to, int *held)
{
    *to = client.address;
    *held = -1;
    if (!client.reader)
        return true;
    const char *const slash = strrchr(client.address.sun_path, '/');
    char path[PATH_ROOM];
    struct stat found;
    if (!slash || velmar_run_path(path, sizeof path, READERS, slash + 1) != 0)
        return false;
    *held = open(path, O_PATH | O_NOFOLLOW | O_CLOEXEC);
    if (*held >= 0 && fstat(*held, &found) == 0 && S_ISSOCK(found.st_mode) && found.st_uid == client.user) {
        *to = {};
        to->sun_family = AF_UNIX;
        snprintf(to->sun_path, sizeof to->sun_path, "/proc/self/fd/%d", *held);
        return true;
    }
    if (*held >= 0)
        close(*held);
    *held = -1;
    return false;
}

ssize_t velmar_run_answer(int fd, const velmar_sender_t *to, const void *bytes, size_t size)
{
    sockaddr_un address;
    int held;
    if (!runAnswerTo(*to, &address, &held)) {
        errno = EACCES;
        return -1;
    }
    const ssize_t sent = sendto(fd, bytes, size, MSG_DONTWAIT | MSG_NOSIGNAL,
                                reinterpret_cast<const sockaddr *>(&address), sizeof address);
    const int error = errno;
    if (held >= 0)
        close(held);
    errno = error;
    return sent;
}

ssize_t velmar_run_serve(int fd, void *buffer, size_t size, velmar_sender_t *from)
{
    return receive(fd, buffer, size, from, nullptr, true);
}

unsigned velmar_run_refused()
{
    return peersRefused();
}
