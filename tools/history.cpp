// SPDX-License-Identifier: Apache-2.0
// Reads the event log and the trace rings.
#include "tools/history.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <dirent.h>
#include <fcntl.h>
#include <poll.h>
#include <sys/stat.h>
#include <unistd.h>

#include "tools/error.h"
#include "tools/link.h"
#include "tools/node.h"
#include "tools/text.h"
#include "velmar/trace.h"

namespace {

constexpr size_t LONGEST_LOG = 8 << 20; // bytes; the log begins a new file at 1 MiB
constexpr size_t RING_ROOM = 64u << 20; // bytes of lines
constexpr size_t RING_STEP = 300;       // bytes that a line has at most as a rule
constexpr unsigned FOLLOW_LINES = 500;
constexpr double TRACE_SECONDS = 3;
constexpr int PAUSE_MS = 200;

// A file's text; nothing where there is no file.
std::string textOf(const std::string &path, ino_t *inode)
{
    const int fd = open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK);
    if (fd < 0 && errno == ENOENT)
        return "";
    std::string fault = std::strerror(errno);
    struct stat about {};
    std::optional<std::string> text;
    if (fd >= 0) {
        fault = "it is no file";
        if (fstat(fd, &about) == 0 && S_ISREG(about.st_mode))
            text = ctlReadAll(fd, LONGEST_LOG, fault);
        close(fd);
    }
    if (!text)
        throw ctlError_t{CTL_SILENT, path + ": " + fault};
    *inode = about.st_ino;
    return *text;
}

// Whole lines alone: the last one may be under way.
std::vector<std::string> wholeLines(const std::string &text)
{
    return ctlLinesOf(text.substr(0, text.rfind('\n') + 1));
}

// The log as it stands, the older file ahead of the newer one.
std::vector<std::string> logLines()
{
    const std::string path = ctlRunDir() + "/trace/raslog";
    for (int turn = 0;; turn++) {
        ino_t old = 0, now = 0, again = 0;
        std::vector<std::string> lines = wholeLines(textOf(path + ".1", &old));
        const std::vector<std::string> newer = wholeLines(textOf(path, &now));
        textOf(path + ".1", &again);
        if (old != again && turn < 3)
            continue; // the newer one became the older one meanwhile
        lines.insert(lines.end(), newer.begin(), newer.end());
        return lines;
    }
}

std::vector<std::string> newest(const std::vector<std::string> &lines, size_t most)
{
    return {lines.end() - static_cast<std::ptrdiff_t>(std::min(lines.size(), most)), lines.end()};
}

// Shows what there is, and what comes, until interrupted.
template <typename Read>
int show(const Read &read, ctlJson row(const std::string &), const ctlHistory_t &asked, std::ostream &out)
{
    std::vector<std::string> seen = read();
    const auto print = [&](const std::vector<std::string> &lines) {
        if (!asked.json || !asked.follow)
            return ctlPrintLines(lines, asked.json, row, out);
        for (const std::string &line : lines)
            ctlPrintJson(out, row(line));
    };
    print(newest(seen, asked.lines));
    while (asked.follow && !ctlInterrupted()) {
        poll(nullptr, 0, PAUSE_MS);
        if (ctlInterrupted())
            break;
        std::vector<std::string> now = read();
        bool lost = false;
        const std::vector<std::string> fresh = ctlNewLines(seen, now, lost);
        if (lost && !asked.json)
            out << "... lines lost ...\n";
        print(fresh);
        out.flush();
        seen = std::move(now);
    }
    return CTL_DONE;
}

// A process of an older build knows no time of day.
std::vector<std::string> askTrace(const ctlProcess_t &process, unsigned lines)
{
    const std::string command = "trace show " + std::to_string(lines);
    try {
        return ctlAskLines(process, command + " utc", TRACE_SECONDS);
    } catch (const ctlError_t &error) {
        if (error.exit != CTL_FAILED)
            throw;
        return ctlAskLines(process, command, TRACE_SECONDS);
    }
}

bool isPid(const std::string &who)
{
    return !who.empty() && who.find_first_not_of("0123456789") == std::string::npos;
}

bool runs(const std::string &pid)
{
    const std::vector<ctlProcess_t> all = ctlProcesses("");
    return std::any_of(all.begin(), all.end(), [&](const ctlProcess_t &each) { return each.pid == pid; });
}

// The newest of the rings that nobody writes to any more; empty if there is none.
std::string lastRing()
{
    const std::string folder = ctlRunDir() + "/trace/";
    std::pair<timespec, std::string> last{};
    DIR *directory = opendir(folder.c_str());
    while (const dirent *entry = directory != nullptr ? readdir(directory) : nullptr) {
        const std::string name = entry->d_name, pid = name.substr(name.rfind('.') + 1);
        struct stat about {};
        if (pid == name || !isPid(pid) || name.rfind("raslog", 0) == 0 || runs(pid) ||
            stat((folder + name).c_str(), &about) != 0)
            continue;
        const auto is = [](const timespec &t) { return std::pair(t.tv_sec, t.tv_nsec); };
        if (last.second.empty() || is(last.first) < is(about.st_mtim))
            last = {about.st_mtim, folder + name};
    }
    if (directory != nullptr)
        closedir(directory);
    return last.second;
}

// As ctlFindProcess; where nobody is meant it names the ring that may be.
ctlProcess_t findTraced(const std::string &who)
{
    try {
        return ctlFindProcess(who);
    } catch (const ctlError_t &error) {
        const std::string ring = error.exit == CTL_SILENT ? lastRing() : "";
        if (ring.empty())
            throw;
        throw ctlError_t{error.exit, error.text + "; the last that ended left 'dorvctl trace --file " + ring + "'"};
    }
}

} // namespace

ctlJson ctlEventJson(const std::string &line)
{
    ctlJson json = {{"time", nullptr}, {"service", nullptr}, {"tag", nullptr}, {"pid", nullptr}, {"text", line}};
    const size_t service = line.find(' '), tag = line.find(' ', service + 1), pid = line.find('[', tag + 1),
                 text = line.find("]: ", pid + 1);
    if (service == std::string::npos || tag == std::string::npos || pid == std::string::npos ||
        text == std::string::npos)
        return json;
    const auto number = ctlParseNumber(std::string_view(line).substr(pid + 1, text - pid - 1), INT32_MAX);
    if (!number)
        return json;
    json["time"] = line.substr(0, service);
    json["service"] = line.substr(service + 1, tag - service - 1);
    json["tag"] = line.substr(tag + 1, pid - tag - 1);
    json["pid"] = *number;
    json["text"] = line.substr(text + 3);
    return json;
}

ctlJson ctlTraceJson(const std::string &line)
{
    const size_t level = line.find(' '), text = line.find(' ', level + 1);
    ctlJson json = {{"time", nullptr}, {"level", nullptr}, {"text", line}};
    if (level == std::string::npos || text == std::string::npos)
        return json;
    json["time"] = line.substr(0, level);
    if (const auto number = ctlParseNumber(std::string_view(line).substr(level + 1, text - level - 1), UINT16_MAX))
        json["level"] = *number;
    json["text"] = line.substr(text + 1);
    return json;
}

void ctlPrintLines(const std::vector<std::string> &lines, bool json, ctlJson row(const std::string &),
                   std::ostream &out)
{
    ctlJson list = ctlJson::array();
    for (const std::string &line : lines)
        if (json)
            list.push_back(row(line));
        else
            out << ctlShown(line) << "\n";
    if (json)
        ctlPrintJson(out, list);
    out.flush();
}

ctlJson ctlEventRows(size_t most)
{
    ctlJson rows = ctlJson::array();
    for (const std::string &line : newest(logLines(), most))
        rows.push_back(ctlEventJson(line));
    return rows;
}

// A look for processes tells the log of daemons that were killed since.
int ctlShowEvents(const ctlHistory_t &asked, std::ostream &out)
{
    const std::string folder = ctlRunDir() + "/ctl";
    const auto read = [&] {
        if (access(folder.c_str(), F_OK) == 0)
            ctlProcesses("");
        return logLines();
    };
    return show(read, ctlEventJson, asked, out);
}

std::vector<std::string> ctlRingLines(const std::string &path, unsigned lines)
{
    std::string text(std::min(RING_ROOM, (lines + size_t{100}) * RING_STEP), '\0');
    const int used = velmar_trace_read(path.c_str(), lines, text.data(), text.size(), true);
    if (used < 0 && errno == EINVAL)
        throw ctlError_t{CTL_FAILED, path + " is no trace ring, or one of another build"};
    if (used < 0)
        throw ctlError_t{CTL_SILENT, path + ": " + std::strerror(errno)};
    text.resize(static_cast<size_t>(used));
    return ctlLinesOf(text);
}

std::vector<std::string> ctlRingsOf(const std::string &pid)
{
    std::vector<std::string> rings;
    const std::string folder = ctlRunDir() + "/trace";
    DIR *directory = opendir(folder.c_str());
    while (const dirent *entry = directory != nullptr ? readdir(directory) : nullptr)
        if (std::string_view(entry->d_name).ends_with("." + pid))
            rings.push_back(folder + "/" + entry->d_name);
    if (directory != nullptr)
        closedir(directory);
    std::sort(rings.begin(), rings.end());
    return rings;
}

int ctlShowTrace(const std::string &who, const std::string &file, const ctlHistory_t &asked, std::ostream &out)
{
    if (!file.empty())
        return show([&] { return ctlRingLines(file, asked.lines); }, ctlTraceJson, asked, out);
    if (isPid(who) && !runs(who))
        if (const std::vector<std::string> rings = ctlRingsOf(who); !rings.empty()) {
            std::vector<std::string> lines;
            for (const std::string &ring : rings)
                for (std::string &line : ctlRingLines(ring, asked.lines))
                    lines.push_back(std::move(line));
            ctlPrintLines(newest(lines, asked.lines), asked.json, ctlTraceJson, out);
            return CTL_DONE;
        }
    const ctlProcess_t process = findTraced(who);
    if (process.name == "hsld")
        ctlRefuse("hsld keeps no trace; 'dorvctl ctl hsld log' shows its requests");
    // Following needs more than a person asked for, so that a burst between two looks is not missed.
    const unsigned reach = asked.follow ? std::max(asked.lines, FOLLOW_LINES) : asked.lines;
    return show([&] { return askTrace(process, reach); }, ctlTraceJson, asked, out);
}
