// SPDX-License-Identifier: Apache-2.0
// The trace ring: a mapped file RUN/trace/NAME.PID that stays when the process is gone. A file that is cut short is
// made anew at the next line; while that cannot be, the lines stay in memory.
//
// File, native byte order: a head of 64 bytes, then `lines` slots of `slot_size` bytes. `lines` is a power of two; line
// number n (the first is 0) lies in slot n mod lines. A slot is valid for line n if its sequence is n + 1 before and
// after it was copied; the writer clears the sequence first and stores it last, so a reader never holds it up. Several
// threads may store lines; two could meet in one slot only if one of them stood still while the whole ring went by.
//
// Between head and slots stand the formats of lines that are kept as their arguments, each terminated and there before
// the first line that names it. Such a slot has PACKED in its level, and holds the place of its format in four bytes
// and the arguments behind each other. A ring of magic 2 has no formats and no such lines.
#include "host/trace.h"

#include <algorithm>
#include <atomic>
#include <bit>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <dirent.h>
#include <fcntl.h>
#include <new>
#include <string>
#include <sys/mman.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <time.h>
#include <unistd.h>
#include <utility>
#include <vector>

#include "host/clock.h"
#include "host/complain.h"
#include "host/fault.h"
#include "host/mapped.h"
#include "host/raslog.h"
#include "host/run.h"
#include "host/trace_text.h"
#include "velmar/run.h"
#include "velmar/trace.h"

namespace {

constexpr char MAGIC[8] = {'t', 'r', 'c', 'r', 'i', 'n', 'g', '3'};
constexpr char OLD_MAGIC[8] = {'t', 'r', 'c', 'r', 'i', 'n', 'g', '2'};
constexpr uint32_t FORMATS_ROOM = 1U << 16; // bytes
constexpr uint32_t FORMATS_MOST = 1U << 20; // that a reader takes from a file
constexpr uint16_t PACKED = 0x8000;
constexpr uint32_t LINES_MAX = 1U << 20;
constexpr uint32_t RECORD_MAX = 4096;
constexpr int RINGS_MAX = 8;
constexpr size_t DEAD_RINGS_KEPT = 7;

struct ring_head_t {
    char magic[8];
    uint32_t lines;
    uint32_t slot_size;
    uint32_t record_length;
    uint32_t module;
    uint32_t pid;
    std::atomic<uint32_t> next; // lines stored so far
    char name[16];
    uint32_t formats; // bytes of them ahead of the slots
    unsigned char reserved[12];
};
static_assert(sizeof(ring_head_t) == 64);

struct ring_slot_t {
    std::atomic<uint32_t> sequence;
    uint16_t level;
    uint16_t length;
    uint32_t id;
    uint32_t time_high; // milliseconds of the monotonic clock, two words
    uint32_t time_low;
    uint32_t wall_high; // milliseconds since 1970 by the machine's clock, which steps do not move
    uint32_t wall_low;
    // record_length bytes of text follow.
};
static_assert(sizeof(ring_slot_t) == 28);

// What is known of a format, found by its address.
struct format_t {
    std::atomic<const char *> format;
    uint32_t at; // its place among the ring's formats, or NOT_KEPT
    trace_kinds_t kinds;
};
constexpr uint32_t NOT_KEPT = UINT32_MAX;
constexpr size_t FORMAT_PLACES = 2048; // of a table by address
constexpr size_t FORMAT_TRIES = 16;

// The process's own copy of what stands in the file, which may be cut short.
struct formats_t {
    format_t places[FORMAT_PLACES];
    char text[FORMATS_ROOM];
    uint32_t used;
    std::atomic_flag adding = ATOMIC_FLAG_INIT;
};

struct ring_t {
    ring_head_t *head;  // null for a free row
    formats_t *formats; // null for want of memory
    unsigned char *slots;
    size_t size; // of the map
    uint32_t mask;
    uint32_t slot_size;
    uint32_t record_length;
    char path[sizeof(sockaddr_un::sun_path)];
    ring_head_t shape;                            // what stands in the head of a new file
    std::atomic<bool> lost;                       // the map is no file's any more
    std::atomic_flag remaking = ATOMIC_FLAG_INIT; // what follows is its holder's
    uint32_t next_try;                            // the line that has the next try of a new file
    bool told;
};
ring_t rings[RINGS_MAX];
std::atomic<int> copy_fd = -1; // the file named by VELMAR_TRACE

// Removes the oldest rings `name` of processes that are gone.
void removeOld(const char *name)
{
    char folder[sizeof(sockaddr_un::sun_path)];
    DIR *dir = velmar_run_path(folder, sizeof folder, "trace", "") == 0 ? opendir(folder) : nullptr;
    if (!dir)
        return;
    std::vector<std::pair<time_t, std::string>> dead;
    const size_t length = strlen(name);
    while (const dirent *entry = readdir(dir)) {
        if (strncmp(entry->d_name, name, length) != 0 || entry->d_name[length] != '.')
            continue;
        const int owner = runOwner(entry->d_name);
        struct stat found;
        if (owner > 0 && !runAlive(owner) && fstatat(dirfd(dir), entry->d_name, &found, 0) == 0)
            dead.emplace_back(found.st_mtime, entry->d_name);
    }
    std::sort(dead.begin(), dead.end());
    for (size_t i = 0; i + DEAD_RINGS_KEPT < dead.size(); ++i)
        unlinkat(dirfd(dir), dead[i].second.c_str(), 0);
    closedir(dir);
}

// Makes and maps the file with all its blocks in place: a full disk is met here and not by a store into the map.
void *makeFile(const char *path, size_t size)
{
    if (faultFails(FAULT_NAME))
        return nullptr;
    unlink(path);
    const int fd = open(path, O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, 0600);
    if (fd < 0)
        return nullptr;
    runShare(fd);
    void *map = MAP_FAILED;
    int error = faultFails(FAULT_WRITE) ? errno : posix_fallocate(fd, 0, static_cast<off_t>(size));
    if (error == 0) {
        map = mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_SHARED, fd, 0);
        error = errno;
    }
    close(fd);
    if (map == MAP_FAILED) {
        unlink(path);
        errno = error;
        return nullptr;
    }
#ifdef MADV_POPULATE_WRITE
    madvise(map, size, MADV_POPULATE_WRITE);
#endif
    return map;
}

ring_slot_t *slotOf(unsigned char *slots, uint32_t slot_size, uint32_t index)
{
    return reinterpret_cast<ring_slot_t *>(slots + static_cast<size_t>(index) * slot_size);
}

char *textOf(ring_slot_t *slot)
{
    return reinterpret_cast<char *>(slot) + sizeof *slot;
}

// Line breaks become "\n", so a line stays a line.
size_t escape(char *to, const char *text, size_t length)
{
    size_t used = 0;
    for (size_t i = 0; i < length; ++i) {
        if (text[i] == '\n') {
            to[used++] = '\\';
            to[used++] = 'n';
        } else {
            to[used++] = text[i];
        }
    }
    return used;
}

void copyLine(int level, const char *text, size_t length)
{
    char line[16 + 2 * RECORD_MAX];
    size_t used = static_cast<size_t>(snprintf(line, 16, "%d\t", level));
    used += escape(line + used, text, length);
    line[used++] = '\n';
    if (!faultFails(FAULT_WRITE))
        (void)!write(copy_fd, line, used);
}

// Where a reader finds a ring: a file, which is read and not mapped, since its owner or a third may shrink it
// meanwhile, or the map of this process.
struct source_t {
    int fd;
    unsigned char *slots; // null for a file
    uint32_t lines;
    uint32_t slot_size;
    uint32_t record_length;
    uint32_t next;
    bool utc;       // what time the lines show
    uint32_t ahead; // bytes between head and slots
    const char *formats;
    size_t formats_bytes; // of those that could be read
};

struct line_t {
    unsigned char head[sizeof(ring_slot_t)];
    char text[RECORD_MAX];
};

bool takeFromMap(const source_t &source, uint32_t number, line_t *line)
{
    ring_slot_t *slot = slotOf(source.slots, source.slot_size, number & (source.lines - 1));
    if (slot->sequence.load(std::memory_order_acquire) != number + 1)
        return false;
    memcpy(line, static_cast<const void *>(slot), sizeof *slot + source.record_length);
    std::atomic_thread_fence(std::memory_order_acquire);
    return slot->sequence.load(std::memory_order_relaxed) == number + 1;
}

bool takeFromFile(const source_t &source, uint32_t number, line_t *line)
{
    const off_t at = static_cast<off_t>(sizeof(ring_head_t) + source.ahead) +
                     static_cast<off_t>(number & (source.lines - 1)) * static_cast<off_t>(source.slot_size);
    const size_t length = sizeof line->head + source.record_length;
    uint32_t first;
    uint32_t sequence;
    if (pread(source.fd, line, length, at) != static_cast<ssize_t>(length))
        return false;
    memcpy(&first, line->head, sizeof first);
    std::atomic_thread_fence(std::memory_order_acquire);
    return first == number + 1 && pread(source.fd, &sequence, sizeof sequence, at) == sizeof sequence &&
           sequence == number + 1;
}

uint64_t joined(uint32_t high, uint32_t low)
{
    return static_cast<uint64_t>(high) << 32 | low;
}

// "SECONDS.mmm", or the time of day.
void formatTime(const ring_slot_t *slot, bool utc, char (&to)[40])
{
    const uint64_t ms = utc ? joined(slot->wall_high, slot->wall_low) : joined(slot->time_high, slot->time_low);
    const unsigned part = static_cast<unsigned>(ms % 1000);
    const time_t seconds = static_cast<time_t>(ms / 1000);
    tm date = {};
    if (utc && gmtime_r(&seconds, &date) && date.tm_year < 8000) {
        const size_t used = strftime(to, sizeof to, "%Y-%m-%dT%H:%M:%S", &date);
        snprintf(to + used, 8, ".%03uZ", part);
    } else {
        snprintf(to, sizeof to, "%llu.%03u", static_cast<unsigned long long>(ms / 1000), part);
    }
}

// The text of a line that was kept as its arguments: its length, or -1 for one that names no format.
int unpack(const source_t &source, const line_t &line, size_t length, char *to)
{
    uint32_t at;
    if (length < sizeof at)
        return -1;
    memcpy(&at, line.text, sizeof at);
    if (at >= source.formats_bytes || !memchr(source.formats + at, '\0', source.formats_bytes - at))
        return -1;
    return static_cast<int>(traceUnpack(to, source.record_length, source.formats + at,
                                        reinterpret_cast<const unsigned char *>(line.text) + sizeof at,
                                        length - sizeof at));
}

// Copies line `number` as "SECONDS.mmm LEVEL TEXT\n", or with the time of day; 0 if the writer has it in hand.
size_t formatLine(const source_t &source, uint32_t number, char *to)
{
    alignas(ring_slot_t) line_t line;
    if (!(source.slots ? takeFromMap(source, number, &line) : takeFromFile(source, number, &line)))
        return 0;
    const ring_slot_t *slot = reinterpret_cast<const ring_slot_t *>(line.head);
    const size_t length = std::min<size_t>(slot->length, source.record_length);
    char time[40];
    formatTime(slot, source.utc, time);
    char text[RECORD_MAX];
    const bool packed = source.ahead != 0 && (slot->level & PACKED) != 0;
    const int unpacked = packed ? unpack(source, line, length, text) : 0;
    if (unpacked < 0)
        return 0;
    const unsigned level = packed ? slot->level & ~unsigned{PACKED} : slot->level;
    size_t used = static_cast<size_t>(snprintf(to, 48, "%s %u ", time, level));
    if (packed)
        used += escape(to + used, text, static_cast<size_t>(unpacked));
    else
        used += escape(to + used, line.text, length);
    to[used++] = '\n';
    return used;
}

// The slots need not all be there: those of a file that was cut short read as empty.
bool isRing(const ring_head_t *head)
{
    const bool is_old = memcmp(head->magic, OLD_MAGIC, sizeof OLD_MAGIC) == 0 && head->formats == 0;
    return (is_old || memcmp(head->magic, MAGIC, sizeof MAGIC) == 0) && head->formats <= FORMATS_MOST &&
           std::has_single_bit(head->lines) && head->lines <= LINES_MAX && head->record_length <= RECORD_MAX &&
           head->slot_size >= sizeof(ring_slot_t) + head->record_length && head->slot_size <= 2 * sizeof(line_t);
}

// Walks back from the newest line until `lines` are found or the room is used, then writes them oldest first.
size_t readRing(const source_t &source, unsigned lines, char *out, size_t size)
{
    const uint32_t next = source.next;
    const uint32_t most = std::min<uint32_t>({lines, source.lines, next});
    char line[48 + 2 * RECORD_MAX];
    uint32_t first = next;
    for (size_t room = size; first != next - most; --first) {
        const size_t length = formatLine(source, first - 1, line);
        if (length > room)
            break;
        room -= length;
    }
    size_t used = 0;
    for (; first != next; ++first) {
        const size_t length = formatLine(source, first, line);
        if (used + length > size)
            break;
        memcpy(out + used, line, length);
        used += length;
    }
    return used;
}

unsigned char *formatsOf(const ring_t &ring)
{
    return ring.slots - ring.shape.formats;
}

void putHead(const ring_t &ring, ring_head_t *head)
{
    const uint32_t next = head->next.load();
    memcpy(static_cast<void *>(head), static_cast<const void *>(&ring.shape), sizeof *head);
    head->next.store(next);
    if (ring.formats)
        memcpy(formatsOf(ring), ring.formats->text, FORMATS_ROOM);
}

format_t *placeOf(formats_t *formats, const char *format)
{
    size_t at = reinterpret_cast<uintptr_t>(format) * 0x9e3779b97f4a7c15 >> 40;
    for (size_t i = 0; i < FORMAT_TRIES; ++i, ++at) {
        format_t *const place = &formats->places[at % FORMAT_PLACES];
        const char *const has = place->format.load(std::memory_order_acquire);
        if (has == format || !has)
            return place;
    }
    return nullptr;
}

// Notes a format at its first line. Who comes while another thread does that leaves it to a later line.
void addFormat(ring_t *ring, const char *format)
{
    formats_t *const formats = ring->formats;
    if (formats->adding.test_and_set(std::memory_order_acquire))
        return;
    format_t *const place = placeOf(formats, format);
    if (place && !place->format.load(std::memory_order_relaxed)) {
        const size_t length = strlen(format) + 1;
        place->at = NOT_KEPT;
        if (traceKinds(format, &place->kinds) && length <= FORMATS_ROOM - formats->used) {
            place->at = formats->used;
            memcpy(formats->text + formats->used, format, length);
            memcpy(formatsOf(*ring) + formats->used, format, length);
            formats->used += static_cast<uint32_t>(length);
        }
        place->format.store(format, std::memory_order_release);
    }
    formats->adding.clear(std::memory_order_release);
}

// What is known of a format, or null if its lines are not kept as their arguments.
const format_t *findFormat(ring_t *ring, const char *format)
{
    if (!ring->formats)
        return nullptr;
    const format_t *place = placeOf(ring->formats, format);
    if (place && !place->format.load(std::memory_order_acquire)) {
        addFormat(ring, format);
        place = placeOf(ring->formats, format);
    }
    return place && place->format.load(std::memory_order_acquire) && place->at != NOT_KEPT ? place : nullptr;
}

// A new file with what the memory holds takes its place. Lines that other threads store meanwhile may be left out.
void remake(ring_t *ring, uint32_t number)
{
    if (ring->remaking.test_and_set(std::memory_order_acquire))
        return;
    formats_t *const formats =
        ring->formats; // none may be added to the old file meanwhile: then a later line does this
    const bool free = !formats || !formats->adding.test_and_set(std::memory_order_acquire);
    if (free && ring->lost.load() && static_cast<int32_t>(number - ring->next_try) >= 0) {
        putHead(*ring, ring->head);
        void *map = makeFile(ring->path, ring->size);
        if (map) {
            memcpy(map, static_cast<const void *>(ring->head), ring->size);
            ring->lost.store(false);
            mremap(map, ring->size, ring->size, MREMAP_MAYMOVE | MREMAP_FIXED, static_cast<void *>(ring->head));
            rasLog("trace: %s was cut short and is made anew", ring->path);
        } else if (!ring->told) {
            rasLog("trace: %s cannot be made anew, its lines stay in memory: %s", ring->path, strerror(errno));
        }
        ring->told = !map;
        ring->next_try = map ? 0 : number + ring->mask + 1;
    }
    if (free && formats)
        formats->adding.clear(std::memory_order_release);
    ring->remaking.clear(std::memory_order_release);
}

// The ring's first map: a file's, or memory where the disk or a limit leaves no room for a file. Null with errno.
void *firstMap(ring_t *ring)
{
    if (void *map = makeFile(ring->path, ring->size))
        return map;
    const int error = errno;
    complain("cannot make trace ring %s: %s", ring->path, strerror(error));
    errno = error;
    if (error != ENOSPC && error != EFBIG && error != EDQUOT)
        return nullptr;
    void *map = mmap(nullptr, ring->size, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (map == MAP_FAILED)
        return nullptr;
    ring->lost.store(true);
    ring->told = true;
    ring->next_try = ring->mask + 1;
    return map;
}

// The file named by VELMAR_TRACE, -1 with errno if it cannot be opened; without a name -1 and 0.
int openCopy()
{
    const char *path = getenv("VELMAR_TRACE");
    errno = 0;
    if (!path || !*path)
        return -1;
    const int fd = open(path, O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC, 0600);
    if (fd < 0)
        complain("cannot open VELMAR_TRACE file %s: %s", path, strerror(errno));
    return fd;
}

} // namespace

// The new file takes the old one's number, so a line that is just written goes into either.
bool traceReopen()
{
    const int fd = openCopy();
    if (fd < 0)
        return errno == 0;
    int none = -1;
    if (copy_fd.compare_exchange_strong(none, fd))
        return true;
    const bool done = dup3(fd, copy_fd, O_CLOEXEC) >= 0;
    close(fd);
    return done;
}

int trace_module_init(int32_t *handle, uint16_t module, uint32_t size, const char *name, const trace_params_t *params)
{
    int row = 0;
    while (row < RINGS_MAX && rings[row].head)
        ++row;
    if (row == RINGS_MAX || size == 0 || size > LINES_MAX || params->record_length < 2 ||
        params->record_length > RECORD_MAX)
        return -EINVAL;
    ring_t &ring = rings[row];
    char file[32];
    snprintf(file, sizeof file, "%.15s.%d", name, static_cast<int>(getpid()));
    if (velmar_run_path(ring.path, sizeof ring.path, "trace", file) != 0)
        return -errno;
    removeOld(name);
    const uint32_t lines = std::bit_ceil(size);
    ring.mask = lines - 1;
    ring.record_length = params->record_length;
    ring.slot_size = (static_cast<uint32_t>(sizeof(ring_slot_t)) + params->record_length + 7) & ~7U;
    ring.size = sizeof(ring_head_t) + static_cast<size_t>(lines) * ring.slot_size;
    ring.formats = new (std::nothrow) formats_t{};
    ring.shape.formats = ring.formats ? FORMATS_ROOM : 0;
    ring.size += ring.shape.formats;
    memcpy(ring.shape.magic, MAGIC, sizeof MAGIC);
    ring.shape.lines = lines;
    ring.shape.slot_size = ring.slot_size;
    ring.shape.record_length = ring.record_length;
    ring.shape.module = module;
    ring.shape.pid = static_cast<uint32_t>(getpid());
    snprintf(ring.shape.name, sizeof ring.shape.name, "%s", name);
    void *map = firstMap(&ring);
    if (!map) {
        delete ring.formats;
        ring.formats = nullptr;
        return -errno;
    }
    ring.slots = static_cast<unsigned char *>(map) + sizeof(ring_head_t) + ring.shape.formats;
    mappedGuard(map, ring.size, &ring.lost);
    ring.head = static_cast<ring_head_t *>(map);
    putHead(ring, ring.head);
    if (copy_fd < 0)
        copy_fd = openCopy();
    *handle = row + 1;
    return 0;
}

namespace {

ring_t *ringOf(int32_t handle)
{
    return handle < 1 || handle > RINGS_MAX || !rings[handle - 1].head ? nullptr : &rings[handle - 1];
}

void storeLine(ring_t &ring, uint32_t id, unsigned level, const void *bytes, size_t length)
{
    const uint32_t number = ring.head->next.fetch_add(1, std::memory_order_relaxed);
    ring_slot_t *slot = slotOf(ring.slots, ring.slot_size, number & ring.mask);
    slot->sequence.store(0, std::memory_order_relaxed);
    std::atomic_thread_fence(std::memory_order_release);
    const uint64_t now = clockCoarseMs();
    timespec wall;
    clock_gettime(CLOCK_REALTIME_COARSE, &wall);
    const uint64_t wall_ms = static_cast<uint64_t>(wall.tv_sec) * 1000 + static_cast<uint64_t>(wall.tv_nsec) / 1000000;
    slot->level = static_cast<uint16_t>(level);
    slot->length = static_cast<uint16_t>(length);
    slot->id = id;
    slot->time_high = static_cast<uint32_t>(now >> 32);
    slot->time_low = static_cast<uint32_t>(now);
    slot->wall_high = static_cast<uint32_t>(wall_ms >> 32);
    slot->wall_low = static_cast<uint32_t>(wall_ms);
    memcpy(textOf(slot), bytes, length);
    slot->sequence.store(number + 1, std::memory_order_release);
    if (ring.lost.load(std::memory_order_relaxed)) [[unlikely]]
        remake(&ring, number + 1);
}

} // namespace

void trace_module_store_lvl(int32_t handle, uint16_t, uint32_t id, int level, const char *text)
{
    ring_t *const ring = ringOf(handle);
    if (!ring)
        return;
    const size_t length = strnlen(text, ring->record_length - 1);
    storeLine(*ring, id, static_cast<unsigned>(level) & ~unsigned{PACKED}, text, length);
    if (copy_fd >= 0)
        copyLine(level, text, length);
}

bool trace_module_store_args(int32_t handle, uint16_t, uint32_t id, int level, const char *format, va_list args)
{
    ring_t *const ring = ringOf(handle);
    if (!ring || copy_fd >= 0) // the copy's lines are texts
        return false;
    const format_t *const known = findFormat(ring, format);
    unsigned char bytes[RECORD_MAX];
    if (!known || ring->record_length < sizeof known->at)
        return false;
    memcpy(bytes, &known->at, sizeof known->at);
    const int packed = tracePack(bytes + sizeof known->at, ring->record_length - sizeof known->at, known->kinds, args);
    if (packed < 0)
        return false;
    storeLine(*ring, id, static_cast<unsigned>(level) | PACKED, bytes, sizeof known->at + static_cast<size_t>(packed));
    return true;
}

const char *traceFirstFile()
{
    return rings[0].head ? rings[0].path : nullptr;
}

int traceReadFirst(unsigned lines, bool utc, char *out, size_t size)
{
    const ring_t &ring = rings[0];
    const source_t source = {-1,
                             ring.slots,
                             ring.shape.lines,
                             ring.slot_size,
                             ring.record_length,
                             ring.head->next.load(std::memory_order_acquire),
                             utc,
                             ring.shape.formats,
                             ring.formats ? ring.formats->text : nullptr,
                             ring.shape.formats};
    return static_cast<int>(readRing(source, lines, out, size));
}

namespace {

// After the head, and ahead of the lines: they have no format that is not there yet.
std::vector<char> readFormats(int fd, const ring_head_t &head)
{
    std::vector<char> formats(head.formats);
    const ssize_t got = formats.empty() ? 0 : pread(fd, formats.data(), formats.size(), sizeof head);
    formats.resize(got < 0 ? 0 : static_cast<size_t>(got));
    return formats;
}

} // namespace

int velmar_trace_read(const char *path, unsigned lines, char *out, size_t size, bool utc)
{
    const int fd = open(path, O_RDONLY | O_CLOEXEC | O_NONBLOCK);
    if (fd < 0)
        return -1;
    struct stat found;
    ring_head_t head;
    const bool is_ring = fstat(fd, &found) == 0 && S_ISREG(found.st_mode) &&
                         pread(fd, static_cast<void *>(&head), sizeof head, 0) == sizeof head && isRing(&head);
    source_t source = {fd,           nullptr, head.lines, head.slot_size, head.record_length, head.next.load(), utc,
                       head.formats, nullptr, 0};
    const std::vector<char> formats = is_ring ? readFormats(fd, head) : std::vector<char>();
    source.formats = formats.data();
    source.formats_bytes = formats.size();
    const size_t used = is_ring ? readRing(source, lines, out, size) : 0;
    close(fd);
    if (!is_ring)
        errno = EINVAL;
    return is_ring ? static_cast<int>(used) : -1;
}
