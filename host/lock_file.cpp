// SPDX-License-Identifier: Apache-2.0
// The lock file. It comes into being with its list already in it, so a file without one has been cut or written over.
//
// Who has a lock on a file that has lost its name holds nothing. A standby finds out when it gets such a lock, and goes
// on to the file that has the name. The owner finds out on a timer, takes the lock of that file as well, and lets go of
// the old one. A process that starts in between and makes the file looks whether another one still has a removed one
// open, and leaves it the time to do so.
#include "host/lock_file.h"

#include <atomic>
#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <dirent.h>
#include <fcntl.h>
#include <mutex>
#include <string>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <time.h>
#include <unistd.h>

#include "host/fault.h"
#include "host/holders.h"
#include "host/raslog.h"
#include "host/run.h"
#include "velmar/run.h"

namespace {

constexpr timespec OPEN_RETRY = {1, 0};

struct lock_file_t {
    char path[sizeof(sockaddr_un::sun_path)];
    char atom[sizeof(ha_register_t::atom) + 1];
    std::mutex change; // of the descriptor
    std::atomic<int> fd{-1};
    struct stat root;     // the run directory
    holder_t leader_then; // at lockFileOpen
    bool free_then;       // and he had ended, or there was none
    bool doubtful;
};
lock_file_t file;

// The kernel closes a dead process's descriptors from the highest down and waits some 10 ms for an inotify one: the
// lock stands above all others, so that nobody waits for those. A limit that forbids it leaves the lock where it is.
constexpr int ABOVE_OTHERS = 1000;

int raised(int fd)
{
    const int high = fcntl(fd, F_DUPFD_CLOEXEC, ABOVE_OTHERS);
    if (high < 0)
        return fd;
    close(fd);
    return high;
}

bool isSame(const struct stat &a, const struct stat &b)
{
    return a.st_dev == b.st_dev && a.st_ino == b.st_ino;
}

bool hasName(int fd)
{
    struct stat open_one;
    struct stat named;
    return fstat(fd, &open_one) == 0 && lstat(file.path, &named) == 0 && isSame(open_one, named);
}

std::string folder()
{
    return std::string(file.path, strrchr(file.path, '/'));
}

// False with errno. Where no file can be without a name it stands there empty for a moment. The descriptor is not kept:
// what its link in /proc says would not be the name.
bool makeFile()
{
    if (faultFails(FAULT_NAME))
        return false;
    int fd = open(folder().c_str(), O_TMPFILE | O_RDWR | O_CLOEXEC, 0600);
    if (fd >= 0) {
        holdersBlank(fd);
        char self[32];
        snprintf(self, sizeof self, "/proc/self/fd/%d", fd);
        const bool done = linkat(AT_FDCWD, self, AT_FDCWD, file.path, AT_SYMLINK_FOLLOW) == 0;
        const int error = errno;
        close(fd);
        errno = error;
        if (done || error == EEXIST)
            return done;
    }
    fd = open(file.path, O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, 0600);
    if (fd < 0)
        return false;
    holdersBlank(fd);
    close(fd);
    return true;
}

// The file that has the name, or one made anew: -1 with errno.
int openFile(bool *made)
{
    *made = false;
    mkdir(folder().c_str(), 0700); // it may have gone with the file
    for (;;) {
        const int fd = open(file.path, O_RDWR | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK);
        struct stat found;
        if (fd >= 0 && fstat(fd, &found) == 0 && S_ISREG(found.st_mode))
            return fd;
        if (fd >= 0) {
            close(fd);
            errno = EINVAL;
        }
        if (errno != ENOENT)
            return -1;
        if (makeFile())
            *made = true;
        else if (errno != EEXIST)
            return -1;
    }
}

bool says(const holders_t &list)
{
    return list.known && (list.leader.pid != 0 || !list.listed.empty());
}

// What a descriptor leads to is a lock file that had our name and was removed, or one that was given another name.
bool isLostFile(const std::string &link)
{
    const std::string before = folder() + "/";
    if (link.compare(0, before.size(), before) != 0 || link[before.size()] == '#') // one that is being made
        return false;
    return link == std::string(file.path) + " (deleted)" || link.find(".lock", before.size()) == std::string::npos ||
           (link.compare(link.size() - 5, 5, ".lock") != 0 && link.find(".lock (deleted)") == std::string::npos);
}

bool hasLostFile(int pid)
{
    const std::string all = "/proc/" + std::to_string(pid) + "/fd/";
    DIR *dir = opendir(all.c_str());
    bool found = false;
    while (const dirent *entry = dir && !found ? readdir(dir) : nullptr) {
        char target[PATH_MAX];
        const ssize_t length = readlink((all + entry->d_name).c_str(), target, sizeof target);
        found = length > 0 && isLostFile(std::string(target, static_cast<size_t>(length)));
    }
    if (dir)
        closedir(dir);
    return found;
}

// Processes of the same atom have their control sockets only after they opened their lock files.
bool otherHasLostFile()
{
    char path[sizeof(sockaddr_un::sun_path)];
    DIR *dir = velmar_run_path(path, sizeof path, "ctl", "") == 0 ? opendir(path) : nullptr;
    const size_t length = strlen(file.atom);
    bool found = false;
    while (const dirent *entry = dir && !found ? readdir(dir) : nullptr) {
        const int pid = runOwner(entry->d_name);
        found = strncmp(entry->d_name, file.atom, length) == 0 && entry->d_name[length] == '.' && pid > 0 &&
                pid != getpid() && hasLostFile(pid);
    }
    if (dir)
        closedir(dir);
    return found;
}

void exchange(int next)
{
    const int old = file.fd.exchange(next);
    holdersOpen(next);
    close(old);
}

bool lockWaiting(int fd)
{
    while (flock(fd, LOCK_EX) != 0)
        if (errno != EINTR) {
            rasLog("election: cannot lock: %s", strerror(errno));
            return false;
        }
    return true;
}

} // namespace

void lockFileMakeRoom()
{
    const int any = open("/", O_PATH | O_CLOEXEC);
    const int high = fcntl(any, F_DUPFD_CLOEXEC, ABOVE_OTHERS);
    for (const int fd : {any, high})
        if (fd >= 0)
            close(fd);
}

bool lockFileOpen(const ha_register_t *record)
{
    char name[sizeof record->service + sizeof record->instance + 8];
    snprintf(name, sizeof name, "%.*s.%.*s.lock", static_cast<int>(sizeof record->service), record->service,
             static_cast<int>(sizeof record->instance), record->instance);
    snprintf(file.path, sizeof file.path, "%s", name);
    snprintf(file.atom, sizeof file.atom, "%.*s", static_cast<int>(sizeof record->atom), record->atom);
    if (velmar_run_path(file.path, sizeof file.path, "ha", name) != 0)
        return false;
    char error[PATH_MAX];
    const char *const root = velmar_run_dir(error, sizeof error);
    bool made;
    const int fd = root && stat(root, &file.root) == 0 ? openFile(&made) : -1;
    if (fd < 0)
        return false;
    file.fd = raised(fd);
    holdersOpen(file.fd);
    const holders_t list = holdersIn(file.fd);
    file.doubtful = made ? otherHasLostFile() : !list.known;
    file.leader_then = list.leader;
    file.free_then = list.known && !file.doubtful && (list.leader.pid == 0 || !holderExists(list.leader));
    return true;
}

const char *lockFilePath()
{
    return file.path;
}

bool lockFileIsOpen()
{
    return file.fd >= 0;
}

bool lockFileWasFree()
{
    const holder_t now = holdersMine().leader;
    return file.free_then && holdersMine().known && now.pid == file.leader_then.pid &&
           now.started == file.leader_then.started;
}

bool lockFileIsDoubtful()
{
    return file.doubtful && !says(holdersMine());
}

bool lockFileTake()
{
    holders_t before = {};
    for (bool moved = false;; moved = true) {
        if (!lockWaiting(file.fd))
            return false;
        const holders_t list = holdersIn(file.fd);
        if (hasName(file.fd)) {
            const bool carries = moved && !says(list);
            holdersTake(carries ? before : list);
            if (carries && before.known)
                holdersMend();
            return true;
        }
        if (!moved || says(list))
            before = list;
        rasLog("election: the lock file was removed or replaced, this process goes over to the one of that name");
        bool made;
        int next = openFile(&made);
        for (; next < 0; next = openFile(&made))
            nanosleep(&OPEN_RETRY, nullptr);
        const std::lock_guard<std::mutex> lock(file.change);
        exchange(raised(next));
    }
}

void lockFileRelease()
{
    flock(file.fd, LOCK_UN);
}

name_t lockFileKeep()
{
    const std::lock_guard<std::mutex> lock(file.change);
    if (hasName(file.fd))
        return name_t::KEPT;
    bool made;
    const int next = openFile(&made);
    if (next < 0)
        return name_t::HELD;
    if (flock(next, LOCK_EX | LOCK_NB) == 0 && hasName(next)) {
        exchange(raised(next));
        holdersMend();
        return name_t::MADE_ANEW;
    }
    const holders_t list = holdersIn(next);
    close(next);
    const bool is_led = list.known && list.leader.pid != 0 && !holderIsSelf(list.leader) && holderExists(list.leader);
    return is_led ? name_t::LOST : name_t::HELD;
}

bool lockFileDirectoryLost()
{
    char error[PATH_MAX];
    const char *const root = velmar_run_dir(error, sizeof error);
    struct stat now;
    if (!root)
        return false;
    return stat(root, &now) == 0 ? !isSame(now, file.root) : errno == ENOENT || errno == ENOTDIR;
}
