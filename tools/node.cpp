// SPDX-License-Identifier: Apache-2.0
// Asks the processes of a node over their control sockets.
#include "tools/node.h"

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstring>
#include <dirent.h>
#include <iomanip>
#include <poll.h>
#include <set>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include "tools/error.h"
#include "tools/link.h"
#include "tools/text.h"
#include "velmar/run.h"
#include "velmar/stages.h"

namespace {

constexpr size_t LONGEST_DATAGRAM = 1 << 20; // bytes
constexpr size_t LONGEST_ANSWER =
    (64 << 20) + 8192; // in a memory file: the most that a process prints, and its last line
constexpr size_t LONGEST_STAT = 65536;
constexpr size_t LONGEST_ERROR = 512; // of what a process says in place of its "stat"
constexpr int SILENT_ONES = 4;        // processes whose silence is waited for to the end

std::string controlFolder()
{
    return ctlRunDir() + "/ctl";
}

sockaddr_un addressOf(const std::string &path)
{
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    if (path.size() >= sizeof address.sun_path)
        throw ctlError_t{CTL_SILENT, path + " is too long for a socket address; choose a shorter VELMAR_RUN"};
    path.copy(address.sun_path, sizeof address.sun_path - 1);
    return address;
}

// Whether a living process holds the socket. A path that no address can hold is nobody's.
bool isAlive(const std::string &path)
{
    if (path.size() >= sizeof(sockaddr_un::sun_path))
        return false;
    const sockaddr_un address = addressOf(path);
    const int fd = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    const bool alive = fd >= 0 && connect(fd, reinterpret_cast<const sockaddr *>(&address), sizeof address) == 0;
    if (fd >= 0)
        close(fd);
    return alive;
}

// The pid itself, which a further number of the socket may follow.
uint64_t firstNumber(const std::string &pid)
{
    return ctlParseNumber(pid.substr(0, pid.find('.')), INT_MAX).value_or(0);
}

// A bound socket of our own for the answer, closed with the scope.
struct answerSocket {
    int fd;
    answerSocket()
    {
        char path[128];
        fd = velmar_run_bind("ctl", "dorvctl", true, path, sizeof path);
        if (fd < 0)
            throw ctlError_t{CTL_SILENT, std::string("cannot open a socket for the answer: ") + std::strerror(errno)};
    }
    ~answerSocket() { velmar_run_close(fd); }
    answerSocket(const answerSocket &) = delete;
    answerSocket &operator=(const answerSocket &) = delete;
};

// A descriptor that came along with a datagram, or -1; it closes with the scope.
struct passedFile {
    int fd = -1;
    ~passedFile()
    {
        if (fd >= 0)
            close(fd);
    }
};

// What a memory file holds, nothing if it is none or too long. A descriptor that is no file could be waited on for
// ever.
std::optional<std::string> contentsOf(int file)
{
    struct stat about {};
    if (fstat(file, &about) != 0 || !S_ISREG(about.st_mode) || lseek(file, 0, SEEK_SET) != 0)
        return std::nullopt;
    std::string fault;
    return ctlReadAll(file, LONGEST_ANSWER, fault);
}

// Takes one datagram off the socket, if it is one of `from`. A datagram that could not hold the whole answer brings it
// in a memory file; where that is of no use, what stands in the datagram is the answer.
bool takeAnswer(int fd, const std::string &from, std::string &answer)
{
    velmar_sender_t sender;
    passedFile file;
    answer.resize(LONGEST_DATAGRAM);
    const ssize_t got = velmar_run_receive(fd, answer.data(), answer.size(), &sender, &file.fd);
    if (got < 0 || from != sender.address.sun_path)
        return false; // none, or a late answer of another process
    answer.resize(std::min(answer.size(), static_cast<size_t>(got)));
    if (file.fd >= 0)
        answer = contentsOf(file.fd).value_or(answer);
    else if (static_cast<size_t>(got) > LONGEST_DATAGRAM)
        throw ctlError_t{CTL_SILENT, "the answer is longer than " + std::to_string(LONGEST_DATAGRAM) + " bytes"};
    return true;
}

std::string receiveAnswer(int fd, const std::string &from, ctlClock::time_point deadline)
{
    while (!ctlInterrupted()) {
        const auto left = std::chrono::ceil<std::chrono::milliseconds>(deadline - ctlClock::now()).count();
        pollfd readable = {fd, POLLIN, 0};
        if (left < 0 || (poll(&readable, 1, static_cast<int>(left)) == 0))
            break;
        std::string answer;
        if (takeAnswer(fd, from, answer))
            return answer;
    }
    throw ctlError_t{CTL_SILENT, "no answer came in time; a process at work on a long request answers after it"};
}

// What stands behind the "ok" of an answer.
std::string withoutOk(const std::string &answer)
{
    if (answer.rfind("ok", 0) != 0)
        return answer;
    return answer.substr(answer.size() > 2 ? 3 : 2);
}

ctlJson pidOf(const ctlProcess_t &process)
{
    const auto pid = ctlParseNumber(process.pid, INT_MAX);
    return pid ? ctlJson(*pid) : ctlJson(process.pid);
}

ctlJson askStat(const ctlProcess_t &process, double seconds)
{
    try {
        return ctlStatRow(process, ctlAsk(process, "stat", seconds));
    } catch (const ctlError_t &error) {
        return {{"process", process.name}, {"pid", pidOf(process)}, {"error", error.text}};
    }
}

std::string cell(const ctlJson &row, const char *key)
{
    if (!row.contains(key))
        return "-";
    return ctlShown(row[key].is_string() ? row[key].get<std::string>() : row[key].dump());
}

// Whatever else a process says of itself, or why it says nothing.
std::string further(const ctlJson &row)
{
    static const std::set<std::string> columns = {"process",       "pid",
                                                  "role",          "stage",
                                                  "stage_name",    "since",
                                                  "driver",        "driver_since",
                                                  "driver_error",  "driver_error_since",
                                                  "service",       "driver_pending",
                                                  "host",          "mirror",
                                                  "mirror_trouble"};
    std::string text;
    for (const auto &[key, value] : row.items())
        if (columns.count(key) == 0 && !key.ends_with("_time"))
            text += "  " + ctlShown(key) + " " + cell(row, key.c_str());
    return text;
}

// What a process tells with "stat", and what is said of it; null where it has no such thing.
constexpr const char *STAT_KEYS[] = {
    "process", "pid",   "role",     "stage",          "stage_name",     "since",        "blocks",
    "bytes",   "syncs", "standbys", "requests",       "events",         "errors",       "chips",
    "version", "error", "driver",   "driver_since",   "driver_pending", "driver_error", "driver_error_since",
    "service", "host",  "mirror",   "mirror_trouble", "refused"};

// Ages, each with its time beside it in the row: that of the answer tells it, not that of the print.
constexpr const char *AGES[] = {"since", "driver_since", "driver_pending", "driver_error_since"};

void addTimes(ctlJson *row)
{
    for (const std::string age : AGES) {
        (*row)[age + "_time"] = ctlJson();
        if (row->contains(age) && (*row)[age].is_number_unsigned() && (*row)[age] <= UINT32_MAX)
            (*row)[age + "_time"] =
                ctlUtc(std::chrono::system_clock::now() - std::chrono::seconds((*row)[age].get<uint32_t>()));
    }
}

std::string textIn(const ctlJson &row, const char *key)
{
    return row.contains(key) && row[key].is_string() ? ctlShown(row[key].get<std::string>()) : "";
}

std::string timeOf(const ctlJson &row, const std::string &age)
{
    return textIn(row, (age + "_time").c_str());
}

// What else a person should know of an agent, a line each.
std::string below(const ctlJson &row)
{
    std::string text;
    const auto add = [&text](const std::string &line) { text += "    " + line + "\n"; };
    const std::string service = textIn(row, "service"), pending = timeOf(row, "driver_pending"),
                      error = textIn(row, "driver_error"), driver = textIn(row, "driver"),
                      mirror = textIn(row, "mirror"), trouble = textIn(row, "mirror_trouble");
    if (!service.empty())
        add("service " + service + " on " + textIn(row, "host") + ", " + cell(row, "role") + " since " +
            timeOf(row, "since"));
    if (!driver.empty())
        add("driver " + driver + (timeOf(row, "driver_since").empty() ? "" : " since " + timeOf(row, "driver_since")) +
            (error.empty() ? "" : "; last error " + timeOf(row, "driver_error_since") + ": " + error));
    if (!pending.empty())
        add("waits for the driver's answer to a request since " + pending + ", and does nothing else");
    if (!mirror.empty())
        add("copy of the store: " + mirror);
    if (!trouble.empty())
        add("mirroring: " + trouble);
    return text;
}

ctlJson statJson(const ctlJson &row)
{
    ctlJson json;
    for (const char *key : STAT_KEYS)
        json[key] = row.contains(key) ? row[key] : ctlJson();
    for (const std::string age : AGES)
        json[age + "_time"] = ctlJson();
    json.update(row);
    return json;
}

std::string pidsOf(const std::vector<ctlProcess_t> &processes)
{
    std::string pids;
    for (const ctlProcess_t &process : processes)
        pids += " " + process.pid;
    return pids;
}

} // namespace

std::optional<ctlProcess_t> ctlProcessOf(const std::string &file)
{
    // A name may hold dots of its own; the numbers begin behind its last letter.
    const size_t last = file.find_last_not_of("0123456789.");
    const size_t dot = last == std::string::npos ? last : file.find('.', last);
    if (dot == std::string::npos)
        return std::nullopt;
    for (size_t at = dot; at < file.size(); at = std::min(file.find('.', at + 1), file.size()))
        if (!ctlParseNumber(file.substr(at + 1, file.find('.', at + 1) - at - 1), INT_MAX))
            return std::nullopt;
    return ctlProcess_t{file.substr(0, dot), file.substr(dot + 1), ""};
}

ctlJson ctlStatRow(const ctlProcess_t &process, const std::string &answer)
{
    ctlJson row = {{"process", process.name}, {"pid", pidOf(process)}}, stat;
    try {
        if (answer.size() <= LONGEST_STAT)
            stat = ctlParseJson(withoutOk(answer));
    } catch (const ctlJson::exception &) {
    } catch (const ctlError_t &) {
    }
    if (stat.is_object())
        row.update(stat);
    else
        row["error"] = answer.substr(0, LONGEST_ERROR);
    if (row.contains("stage") && row["stage"].is_number_unsigned())
        row["stage_name"] = qosVssStageName(row["stage"].get<uint64_t>());
    addTimes(&row);
    return row;
}

std::vector<ctlJson> ctlStatRows(const std::vector<ctlProcess_t> &processes, double seconds)
{
    std::vector<ctlJson> rows;
    const auto deadline = ctlDeadline(SILENT_ONES * seconds);
    for (const ctlProcess_t &process : processes)
        rows.push_back(askStat(process, std::min(ctlLeft(deadline), seconds)));
    return rows;
}

std::vector<ctlProcess_t> ctlProcesses(const std::string &name)
{
    std::vector<ctlProcess_t> processes;
    bool dead = false;
    const std::string folder = controlFolder();
    DIR *directory = opendir(folder.c_str());
    if (directory == nullptr)
        throw ctlError_t{CTL_SILENT, folder + ": " + std::strerror(errno)};
    while (const dirent *entry = readdir(directory)) {
        std::optional<ctlProcess_t> process = ctlProcessOf(entry->d_name);
        if (!process || process->name == "dorvctl" || (!name.empty() && process->name != name))
            continue;
        process->path = folder + "/" + entry->d_name;
        if (isAlive(process->path))
            processes.push_back(std::move(*process));
        else
            dead = true;
    }
    closedir(directory);
    char path[128]; // who binds beside a dead daemon's socket removes it, and tells the event log
    if (dead)
        velmar_run_close(velmar_run_bind("ctl", "dorvctl", true, path, sizeof path));
    std::sort(processes.begin(), processes.end(), [](const ctlProcess_t &a, const ctlProcess_t &b) {
        return std::pair(a.name, firstNumber(a.pid)) < std::pair(b.name, firstNumber(b.pid));
    });
    return processes;
}

ctlProcess_t ctlFindProcess(const std::string &who)
{
    std::vector<ctlProcess_t> found;
    std::set<std::string> names;
    for (const ctlProcess_t &process : ctlProcesses("")) {
        names.insert(process.name);
        if (who == process.name || who == process.pid || who == process.name + "." + process.pid)
            found.push_back(process);
    }
    if (found.size() == 1)
        return found[0];
    if (!found.empty())
        ctlRefuse(std::to_string(found.size()) + " processes are called " + who +
                  "; name one by its pid:" + pidsOf(found));
    if (names.empty())
        throw ctlError_t{CTL_SILENT, "no process runs with " + controlFolder() + "; start dorvald, or set VELMAR_RUN"};
    if (who.find_first_not_of("0123456789.") == std::string::npos)
        throw ctlError_t{CTL_SILENT, "no process has the pid '" + who + "'; 'dorvctl node' lists them"};
    throw ctlError_t{CTL_SILENT, "no process is called " + who + "; the nearest is " +
                                     ctlNearest(who, {names.begin(), names.end()}) + " ('dorvctl node' lists all)"};
}

std::vector<ctlProcess_t> ctlNeedAgent()
{
    const std::vector<ctlProcess_t> agents = ctlProcesses("dorvald");
    if (agents.empty())
        throw ctlError_t{CTL_SILENT, "no dorvald runs with " + controlFolder() + "; start one, or set VELMAR_RUN"};
    return agents;
}

ctlProcess_t ctlFindAgent(const std::string &pid, double seconds)
{
    const std::vector<ctlProcess_t> agents = ctlNeedAgent();
    std::vector<ctlProcess_t> meant;
    for (const ctlProcess_t &agent : agents)
        if (pid.empty() || pid == agent.pid)
            meant.push_back(agent);
    if (meant.empty())
        throw ctlError_t{CTL_SILENT, "no dorvald has the pid " + pid + "; there is" + pidsOf(agents)};
    if (meant.size() == 1)
        return meant[0];
    const std::vector<ctlJson> rows = ctlStatRows(meant, seconds);
    std::vector<ctlProcess_t> active;
    for (size_t i = 0; i < rows.size(); i++)
        if (cell(rows[i], "role") == "active")
            active.push_back(meant[i]);
    if (active.size() != 1)
        ctlRefuse(std::to_string(agents.size()) + " agents run, and " +
                  (active.empty() ? "none" : std::to_string(active.size())) +
                  " of them active; name one with --pid:" + pidsOf(agents));
    return active[0];
}

std::string ctlAsk(const ctlProcess_t &process, const std::string &command, double seconds)
{
    const answerSocket own;
    const sockaddr_un to = addressOf(process.path);
    const auto deadline = ctlDeadline(seconds);
    // No time at all would mean for ever.
    const auto whole = static_cast<time_t>(seconds);
    const timeval patience = {
        whole, std::max<suseconds_t>(static_cast<suseconds_t>((seconds - static_cast<double>(whole)) * 1e6), 1000)};
    setsockopt(own.fd, SOL_SOCKET, SO_SNDTIMEO, &patience, sizeof patience);
    if (sendto(own.fd, command.data(), command.size(), 0, reinterpret_cast<const sockaddr *>(&to), sizeof to) < 0)
        throw ctlError_t{CTL_SILENT, process.name + "." + process.pid + " takes no command: " + std::strerror(errno)};
    return receiveAnswer(own.fd, process.path, deadline);
}

std::string ctlBehindOk(const std::string &answer)
{
    if (answer.rfind("ok", 0) != 0)
        throw ctlError_t{CTL_FAILED, answer};
    return withoutOk(answer);
}

std::vector<std::string> ctlAskLines(const ctlProcess_t &process, const std::string &command, double seconds)
{
    return ctlLinesOf(ctlBehindOk(ctlAsk(process, command, seconds)));
}

int ctlShowNode(bool json, double seconds, std::ostream &out, std::ostream &err)
{
    std::vector<ctlProcess_t> processes;
    for (const char *name : {"dorvald", "hsld"})
        for (ctlProcess_t &process : ctlProcesses(name))
            processes.push_back(std::move(process));
    if (processes.empty()) {
        ctlComplain(err, "neither dorvald nor hsld runs with " + controlFolder() + "; set VELMAR_RUN for another node");
        return CTL_SILENT;
    }
    return ctlPrintNode(ctlStatRows(processes, seconds), json, out);
}

int ctlPrintNode(const std::vector<ctlJson> &rows, bool json, std::ostream &out)
{
    ctlJson list = ctlJson::array();
    if (!json)
        out << "PROCESS  PID        ROLE     STAGE                       SINCE\n";
    bool silent = false;
    for (const ctlJson &row : rows) {
        silent = silent || row.contains("error");
        if (json) {
            list.push_back(statJson(row));
            continue;
        }
        out << std::left << std::setw(8) << cell(row, "process") << " " << std::setw(10) << cell(row, "pid") << " "
            << std::setw(8) << cell(row, "role") << " " << std::setw(27) << cell(row, "stage_name") << " "
            << cell(row, "since") << (row.contains("since") ? " s" : "") << further(row) << "\n"
            << below(row);
    }
    if (json)
        ctlPrintJson(out, list);
    return silent ? CTL_SILENT : CTL_DONE;
}

int ctlCommand(const std::string &who, const std::vector<std::string> &words, double seconds, bool json,
               std::ostream &out)
{
    std::string command;
    for (const std::string &word : words)
        command += (command.empty() ? "" : " ") + word;
    const std::string whole = ctlAsk(ctlFindProcess(who), command, seconds);
    const bool data = whole.rfind("ok", 0) == 0 && whole.size() > 3 && (whole[3] == '{' || whole[3] == '[');
    const std::string answer = json && data ? withoutOk(whole) : whole;
    out << ctlShownLines(answer) << (answer.empty() || answer.back() != '\n' ? "\n" : "");
    return answer.rfind("error:", 0) == 0 ? CTL_FAILED : CTL_DONE;
}

std::vector<std::string> ctlNewLines(const std::vector<std::string> &before, const std::vector<std::string> &now,
                                     bool &lost)
{
    // How many lines at the end of `before` are those at the beginning of `now`. Lines repeat, so where a match breaks
    // off it goes on with the longest shorter one: `shorter[n]` is that of the first n + 1 lines of `now`.
    std::vector<size_t> shorter(now.size());
    const auto longer = [&](size_t shared, const std::string &line) {
        while (shared > 0 && (shared == now.size() || now[shared] != line))
            shared = shorter[shared - 1];
        return shared + (shared < now.size() && now[shared] == line);
    };
    for (size_t n = 1; n < now.size(); n++)
        shorter[n] = longer(shorter[n - 1], now[n]);
    size_t shared = 0;
    for (const std::string &line : before)
        shared = longer(shared, line);
    lost = shared == 0 && !before.empty();
    return {now.begin() + static_cast<std::ptrdiff_t>(shared), now.end()};
}
