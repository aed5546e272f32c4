// SPDX-License-Identifier: Apache-2.0
// Page tracking by write faults. A fault and its two changes of protection cost ten times the comparison of a page, and
// one message makes several syncs: so a few written pages stay open, their twins brought up to date instead, until
// others are written or nothing is for a while.
//
// The twin of a page lies at the page's own place in the store's shadow, so the handler needs no table and takes no
// lock. Only the main thread writes to the arena.
#include "host/track.h"

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <sys/mman.h>
#include <unistd.h>

#include "host/fault.h"
#include "host/point.h"
#include "host/raslog.h"
#include "host/store.h"

namespace {

constexpr size_t OPEN_MOST = 4;        // pages that stay open
constexpr size_t EDITS_MOST = 4096;    // from one settle to the next
constexpr size_t KEPT_MOST = 1U << 18; // bytes
constexpr size_t PLACES = 1024;        // of the table that finds the last edit of a place
constexpr uint32_t IDLE_MOST = 32;     // settles

struct track_t {
    bool runs;
    size_t page;
    unsigned char *twins;
    uint32_t *open; // pages, with room for every page of the arena
    size_t count;
    uint32_t *written; // those of them that differ from their twins, likewise
    size_t differing;
    uint32_t idle; // settles in a row without any
    bool lost;     // the arena was opened as a whole
    bool no_edits;
    track_edit_t *edits;
    size_t edited;
    unsigned char *kept; // what the edits' places held
    size_t kept_bytes;
    uint16_t last[PLACES]; // number of the last edit that begins in a place
    struct sigaction before;
};
track_t track;

void *reserve(size_t size)
{
    void *map = mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
    return map == MAP_FAILED ? nullptr : map;
}

bool protectAll(int protection)
{
    return storeCommitted() == 0 || mprotect(storeBase(), storeCommitted(), protection) == 0;
}

// Opens one page. A machine that has no mapping left to split off gets the whole arena opened: then what is written is
// not known any more.
bool openPage(unsigned char *page)
{
    if (!faultFails(FAULT_PAGE) && mprotect(page, track.page, PROT_READ | PROT_WRITE) == 0)
        return true;
    track.lost = protectAll(PROT_READ | PROT_WRITE);
    return track.lost;
}

// A fault that is not ours goes to whoever had it before: the write is tried again and meets him. The code is not
// looked at: emulators of other processors give that of a hole for a page that is protected.
void onFault(int, siginfo_t *info, void *)
{
    const int error = errno;
    unsigned char *const base = storeBase();
    const size_t offset = static_cast<size_t>(static_cast<unsigned char *>(info->si_addr) - base);
    const size_t start = offset / track.page * track.page;
    if (info->si_code <= 0) { // sent by somebody, and not by a write
        sigaction(SIGSEGV, &track.before, nullptr);
        raise(SIGSEGV);
    } else if (!track.runs || offset >= storeCommitted() || !openPage(base + start)) {
        sigaction(SIGSEGV, &track.before, nullptr);
    } else if (!track.lost) {
        memcpy(track.twins + start, base + start, track.page);
        track.open[track.count++] = static_cast<uint32_t>(start / track.page);
        hostPoint();
    }
    errno = error;
}

// Builds for tests compare the whole arena with a copy of their own at each settle: a change that neither a fault nor
// an edit has found ends the process. Of the edits they leave every fourth to the protection, so that both are met.
#ifdef VELMAR_KILL_POINTS
constexpr bool AUDITS = true;
#else
constexpr bool AUDITS = false;
#endif
unsigned char *audited;

void auditBegin()
{
    if (!AUDITS)
        return;
    if (!audited)
        audited = static_cast<unsigned char *>(reserve(storeReserved()));
    memcpy(audited, storeBase(), storeCommitted());
}

void auditSettle()
{
    if (!AUDITS)
        return;
    for (size_t i = 0; i < track.differing; ++i)
        memcpy(audited + track.written[i] * track.page, storeBase() + track.written[i] * track.page, track.page);
    for (const track_edit_t &edit : trackEdits())
        memcpy(audited + edit.offset, storeBase() + edit.offset, edit.size);
    if (memcmp(audited, storeBase(), storeCommitted()) == 0)
        return;
    rasLog("store: something has changed in a way that no standby is told");
    abort();
}

void auditTaken(size_t offset, size_t size)
{
    if (AUDITS)
        memset(audited + offset, 0, size);
}

bool leavesEdit()
{
    static unsigned edits;
    return AUDITS && ++edits % 4 == 0;
}

bool takeFaults()
{
    struct sigaction action = {};
    action.sa_sigaction = onFault;
    action.sa_flags = SA_SIGINFO | SA_RESTART;
    sigemptyset(&action.sa_mask);
    return sigaction(SIGSEGV, &action, &track.before) == 0;
}

} // namespace

bool trackStart()
{
    if (track.runs)
        return true;
    track.page = static_cast<size_t>(sysconf(_SC_PAGESIZE));
    track.twins = storeShadow();
    for (uint32_t **table : {&track.open, &track.written})
        if (track.twins && !*table)
            *table = static_cast<uint32_t *>(reserve(storeReserved() / track.page * sizeof **table));
    if (!track.twins || !track.open || !track.written || !takeFaults())
        return false;
    if (!track.edits)
        track.edits = static_cast<track_edit_t *>(reserve(EDITS_MOST * sizeof *track.edits));
    if (!track.kept)
        track.kept = static_cast<unsigned char *>(reserve(KEPT_MOST));
    track.count = track.differing = track.idle = 0;
    track.edited = track.kept_bytes = 0;
    track.lost = false;
    track.runs = true;
    auditBegin();
    storeNote(true);
    if (protectAll(PROT_READ))
        return true;
    const int error = errno;
    trackStop();
    errno = error;
    return false;
}

void trackStop()
{
    if (!track.runs)
        return;
    protectAll(PROT_READ | PROT_WRITE);
    storeNote(false);
    sigaction(SIGSEGV, &track.before, nullptr);
    madvise(track.twins, storeCommitted(), MADV_DONTNEED);
    track.count = track.differing = track.edited = 0;
    track.runs = false;
}

unsigned char *trackTaken(size_t offset, size_t size)
{
    if (!track.runs || track.no_edits)
        return storeBase() + offset;
    auditTaken(offset, size);
    return storeBack() + offset;
}

bool trackRuns()
{
    return track.runs;
}

bool trackLost()
{
    return track.runs && track.lost;
}

size_t trackPage()
{
    return track.page;
}

std::span<const uint32_t> trackWritten(bool all)
{
    track.differing = 0;
    for (size_t i = 0; i < track.count; ++i) {
        const size_t start = size_t{track.open[i]} * track.page;
        if (all || memcmp(storeBase() + start, track.twins + start, track.page) != 0)
            track.written[track.differing++] = track.open[i];
    }
    return {track.written, track.differing};
}

const unsigned char *trackTwin(uint32_t page)
{
    return track.twins + size_t{page} * track.page;
}

// What begins where an earlier one does goes along with it, if it is no longer. One whose page is open is left to that:
// the page is compared as a whole.
void *trackEdit(void *address, size_t size)
{
    if (!track.runs || track.no_edits || !storeHolds(address) || storeBack() == storeBase() || !track.edits ||
        !track.kept)
        return address;
    const auto offset = static_cast<uint32_t>(static_cast<unsigned char *>(address) - storeBase());
    uint16_t &last = track.last[offset / sizeof(uint32_t) % PLACES];
    if (last < track.edited && track.edits[last].offset == offset && track.edits[last].size >= size)
        return storeBack() + offset;
    for (size_t i = 0; i < std::min(track.count, OPEN_MOST); ++i)
        if (offset / track.page == track.open[i])
            return address;
    const bool taken = storeTookAround(offset);
    if (leavesEdit() || track.edited == EDITS_MOST || (!taken && size > KEPT_MOST - track.kept_bytes))
        return address;
    track_edit_t edit = {offset, static_cast<uint32_t>(size), nullptr};
    if (!taken) {
        unsigned char *const before = track.kept + track.kept_bytes;
        edit.before = static_cast<unsigned char *>(memcpy(before, address, size));
        track.kept_bytes += size;
    }
    last = static_cast<uint16_t>(track.edited);
    track.edits[track.edited++] = edit;
    return storeBack() + offset;
}

void trackLetEdit(bool on)
{
    track.no_edits = !on;
}

std::span<const track_edit_t> trackEdits()
{
    return {track.edits, track.edited};
}

bool trackSettle()
{
    auditSettle();
    track.edited = track.kept_bytes = 0;
    if (track.count == 0)
        return true;
    track.idle = track.differing > 0 ? 0 : track.idle + 1;
    if (track.count <= OPEN_MOST && track.idle < IDLE_MOST) {
        for (size_t i = 0; i < track.differing; ++i) {
            const size_t start = size_t{track.written[i]} * track.page;
            memcpy(track.twins + start, storeBase() + start, track.page);
        }
        return true;
    }
    // One call from the first to the last: what lies between is protected already and costs next to nothing.
    const auto [first, last] = std::minmax_element(track.open, track.open + track.count);
    const bool done =
        mprotect(storeBase() + size_t{*first} * track.page, size_t{*last - *first + 1} * track.page, PROT_READ) == 0;
    track.count = track.differing = track.idle = 0;
    return done;
}
