// The run directory: where it lies, its folders, and the socket files in it.
//
// Who binds or removes a socket file holds a lock on its folder. A file that refuses a connect under that lock has no
// owner, since an owner that is just binding holds the lock until it can be reached.
#include "host/run.h"

#include <algorithm>
#include <cerrno>
#include <climits>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <fcntl.h>
#include <mutex>
#include <sys/file.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

#include "velmar/run.h"

namespace {

constexpr const char *FOLDERS[] = {"mi6", "qos", "ctl", "ha", "trace"};
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
constexpr time_t YOUNG_SECONDS = 2; // a refused file of a living process this young may still be in its bind

struct bound_t {
    int fd;
    pid_t owner; // a forked child must not remove its parent's files
    char path[PATH_ROOM];
    struct stat is; // the file: the name may be another's by now
};

std::mutex run_lock;
char run_dir[PATH_MAX];
std::vector<bound_t> bound;

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
    else if (stat(path, &found) != 0)
        snprintf(error, size, "cannot use run directory %s: %s", path, strerror(errno));
    else if (!S_ISDIR(found.st_mode)) {
        errno = ENOTDIR;
        snprintf(error, size, "cannot use run directory %s: it is not a directory", path);
    } else if (found.st_uid != geteuid() && geteuid() != 0) {
        errno = EPERM;
        snprintf(error, size, "cannot use run directory %s: it belongs to somebody else", path);
    } else if (access(path, W_OK | X_OK) != 0)
        snprintf(error, size, "cannot write to run directory %s: %s", path, strerror(errno));
    else
        return true;
    return false;
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
    return true;
}

// Locks the folder of `path`: a descriptor to close, or -1.
int lockFolder(const char *path)
{
    char folder[PATH_ROOM];
    snprintf(folder, sizeof folder, "%s", path);
    char *slash = strrchr(folder, '/');
    if (!slash)
        return -1;
    *slash = '\0';
    const int fd = open(folder, O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    while (fd >= 0 && flock(fd, LOCK_EX) != 0 && errno == EINTR)
        ;
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

// 0, or -1 with errno; a file without owner is replaced.
int bindLocked(int fd, const char *path)
{
    sockaddr_un address;
    if (!runAddress(&address, path)) {
        errno = ENAMETOOLONG;
        return -1;
    }
    const int lock = lockFolder(path);
    int rc = bind(fd, reinterpret_cast<sockaddr *>(&address), sizeof address);
    if (rc != 0 && errno == EADDRINUSE) {
        if (refused(path) && unlink(path) == 0)
            rc = bind(fd, reinterpret_cast<sockaddr *>(&address), sizeof address);
        else
            errno = EADDRINUSE;
    }
    const int error = errno;
    if (lock >= 0)
        close(lock);
    errno = error;
    return rc;
}

void remember(int fd, const char *path)
{
    const std::lock_guard<std::mutex> lock(run_lock);
    static const bool at_exit = atexit(runCleanup) == 0;
    (void)at_exit;
    // A descriptor that comes again was closed by other means: its old file is no longer ours to remove.
    std::erase_if(bound, [fd](const bound_t &old) { return old.fd == fd; });
    bound_t entry = {fd, getpid(), {}, {}};
    snprintf(entry.path, sizeof entry.path, "%s", path);
    lstat(path, &entry.is);
    bound.push_back(entry);
}

void removeOwn(const bound_t &entry)
{
    struct stat now;
    if (entry.owner == getpid() && lstat(entry.path, &now) == 0 && now.st_dev == entry.is.st_dev &&
        now.st_ino == entry.is.st_ino)
        unlink(entry.path);
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
        if (bindLocked(fd, path) == 0) {
            remember(fd, path);
            return 0;
        }
        if (errno != EADDRINUSE)
            return -1;
    }
    return -1;
}

void runForget(int fd)
{
    const std::lock_guard<std::mutex> lock(run_lock);
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
    const int lock = lockFolder(path);
    const bool gone = refused(path) && unlink(path) == 0;
    if (lock >= 0)
        close(lock);
    return gone;
}

void runCleanup()
{
    const std::lock_guard<std::mutex> lock(run_lock);
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
    if (runBind(fd, folder, name, pid, path, size) != 0) {
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
