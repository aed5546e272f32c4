// Asks the processes of a node over their control sockets.
#include "tools/node.h"

#include <algorithm>
#include <cerrno>
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
#include "tools/report.h"
#include "velmar/run.h"
#include "velmar/stages.h"

namespace {

constexpr size_t LONGEST_ANSWER = 1 << 20;
constexpr double TRACE_SECONDS = 3;
constexpr int TRACE_PAUSE_MS = 200;
constexpr unsigned FOLLOW_LINES = 500;

std::string controlFolder()
{
    char error[256] = "";
    const char *run = velmar_run_dir(error, sizeof error);
    if (run == nullptr)
        throw ctlError_t{CTL_SILENT, error};
    return std::string(run) + "/ctl";
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

// Whether a living process holds the socket.
bool isAlive(const std::string &path)
{
    const sockaddr_un address = addressOf(path);
    const int fd = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    const bool alive = fd >= 0 && connect(fd, reinterpret_cast<const sockaddr *>(&address), sizeof address) == 0;
    if (fd >= 0)
        close(fd);
    return alive;
}

// NAME.PID or NAME.PID.K; a name may hold dots of its own.
bool splitName(const std::string &file, ctlProcess_t &process)
{
    const size_t last = file.find_last_not_of("0123456789.");
    const size_t dot = last == std::string::npos ? last : file.find('.', last);
    if (dot == std::string::npos || dot + 1 == file.size() || file[dot + 1] == '.')
        return false;
    process.name = file.substr(0, dot);
    process.pid = file.substr(dot + 1);
    return true;
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

// What a memory file holds; the descriptor is closed.
std::string contentsOf(int file)
{
    struct stat about {};
    std::string text;
    if (fstat(file, &about) == 0)
        text.resize(static_cast<size_t>(about.st_size));
    for (size_t done = 0; done < text.size();) {
        const ssize_t got = pread(file, text.data() + done, text.size() - done, static_cast<off_t>(done));
        if (got <= 0)
            text.resize(done);
        else
            done += static_cast<size_t>(got);
    }
    close(file);
    return text;
}

// Takes one datagram off the socket, if it is one of `from`. A datagram that could not hold the whole answer brings it
// in a memory file.
bool takeAnswer(int fd, const std::string &from, std::string &answer)
{
    sockaddr_un sender{};
    answer.resize(LONGEST_ANSWER);
    iovec data = {answer.data(), answer.size()};
    alignas(cmsghdr) char control[CMSG_SPACE(sizeof(int))];
    msghdr message{};
    message.msg_name = &sender;
    message.msg_namelen = sizeof sender;
    message.msg_iov = &data;
    message.msg_iovlen = 1;
    message.msg_control = control;
    message.msg_controllen = sizeof control;
    const ssize_t got = recvmsg(fd, &message, MSG_DONTWAIT | MSG_CMSG_CLOEXEC);
    if (got < 0)
        return false;
    answer.resize(static_cast<size_t>(got));
    const cmsghdr *rights = CMSG_FIRSTHDR(&message);
    if (rights != nullptr && rights->cmsg_level == SOL_SOCKET && rights->cmsg_type == SCM_RIGHTS) {
        int file = -1;
        std::memcpy(&file, CMSG_DATA(rights), sizeof file);
        answer = contentsOf(file);
    }
    return from == sender.sun_path; // else a late answer of another process
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

std::vector<std::string> linesOf(const std::string &text)
{
    std::vector<std::string> lines;
    for (size_t at = 0; at < text.size();) {
        const size_t end = std::min(text.find('\n', at), text.size());
        lines.push_back(text.substr(at, end - at));
        at = end + 1;
    }
    return lines;
}

ctlJson askStat(const ctlProcess_t &process, double seconds)
{
    ctlJson row = {{"process", process.name}, {"pid", process.pid}};
    try {
        const std::string answer = ctlAsk(process, "stat", seconds);
        const ctlJson stat = ctlJson::parse(withoutOk(answer), nullptr, false);
        if (stat.is_object())
            row.update(stat);
        else
            row["error"] = answer;
    } catch (const ctlError_t &error) {
        row["error"] = error.text;
    }
    if (row.contains("stage") && row["stage"].is_number_unsigned())
        row["stage_name"] = qosVssStageName(row["stage"].get<unsigned>());
    return row;
}

std::string cell(const ctlJson &row, const char *key)
{
    if (!row.contains(key))
        return "-";
    return row[key].is_string() ? row[key].get<std::string>() : row[key].dump();
}

// Whatever else a process says of itself, or why it says nothing.
std::string further(const ctlJson &row)
{
    static const std::set<std::string> columns = {"process", "pid", "role", "stage", "stage_name", "since"};
    std::string text;
    for (const auto &[key, value] : row.items())
        if (columns.count(key) == 0)
            text += "  " + key + " " + cell(row, key.c_str());
    return text;
}

// What a process tells with "stat", and what is said of it; null where it has no such thing.
constexpr const char *STAT_KEYS[] = {"process",  "pid",    "role",   "stage", "stage_name",
                                     "since",    "blocks", "bytes",  "syncs", "standbys",
                                     "requests", "events", "errors", "chips", "error"};

ctlJson statJson(const ctlJson &row)
{
    ctlJson json;
    for (const char *key : STAT_KEYS)
        json[key] = row.contains(key) ? row[key] : ctlJson();
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

std::vector<ctlProcess_t> ctlProcesses(const std::string &name)
{
    std::vector<ctlProcess_t> processes;
    const std::string folder = controlFolder();
    DIR *directory = opendir(folder.c_str());
    if (directory == nullptr)
        throw ctlError_t{CTL_SILENT, folder + ": " + std::strerror(errno)};
    while (const dirent *entry = readdir(directory)) {
        ctlProcess_t process;
        if (!splitName(entry->d_name, process) || process.name == "dorvctl" || (!name.empty() && process.name != name))
            continue;
        process.path = folder + "/" + entry->d_name;
        if (isAlive(process.path))
            processes.push_back(process);
    }
    closedir(directory);
    std::sort(processes.begin(), processes.end(), [](const ctlProcess_t &a, const ctlProcess_t &b) {
        return a.name != b.name ? a.name < b.name : std::stoul(a.pid) < std::stoul(b.pid);
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
    if (meant.size() > 1) {
        std::erase_if(meant,
                      [&](const ctlProcess_t &agent) { return askStat(agent, seconds).value("role", "") != "active"; });
        if (meant.size() != 1)
            ctlRefuse(std::to_string(agents.size()) + " agents run, and " +
                      (meant.empty() ? "none" : std::to_string(meant.size())) +
                      " of them active; name one with --pid:" + pidsOf(agents));
    }
    return meant[0];
}

std::string ctlAsk(const ctlProcess_t &process, const std::string &command, double seconds)
{
    const answerSocket own;
    const sockaddr_un to = addressOf(process.path);
    const auto limit = std::chrono::duration_cast<ctlClock::duration>(std::chrono::duration<double>(seconds));
    const auto deadline = ctlClock::now() + limit;
    timeval patience = {static_cast<time_t>(seconds) + 1, 0};
    setsockopt(own.fd, SOL_SOCKET, SO_SNDTIMEO, &patience, sizeof patience);
    if (sendto(own.fd, command.data(), command.size(), 0, reinterpret_cast<const sockaddr *>(&to), sizeof to) < 0)
        throw ctlError_t{CTL_SILENT, process.name + "." + process.pid + " takes no command: " + std::strerror(errno)};
    return receiveAnswer(own.fd, process.path, deadline);
}

std::vector<std::string> ctlAskLines(const ctlProcess_t &process, const std::string &command, double seconds)
{
    const std::string answer = ctlAsk(process, command, seconds);
    if (answer.rfind("ok", 0) != 0)
        throw ctlError_t{CTL_FAILED, answer};
    return linesOf(withoutOk(answer));
}

int ctlShowNode(bool json, double seconds, std::ostream &out, std::ostream &err)
{
    std::vector<ctlJson> rows;
    for (const char *name : {"dorvald", "hsld"})
        for (const ctlProcess_t &process : ctlProcesses(name))
            rows.push_back(askStat(process, seconds));
    if (rows.empty()) {
        err << "dorvctl: neither dorvald nor hsld runs with " << controlFolder()
            << "; set VELMAR_RUN for another node\n";
        return CTL_SILENT;
    }
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
            << cell(row, "since") << (row.contains("since") ? " s" : "") << further(row) << "\n";
    }
    if (json)
        ctlPrintJson(out, list);
    return silent ? CTL_SILENT : CTL_DONE;
}

int ctlCommand(const std::string &who, const std::vector<std::string> &words, double seconds, std::ostream &out)
{
    std::string command;
    for (const std::string &word : words)
        command += (command.empty() ? "" : " ") + word;
    const std::string answer = ctlAsk(ctlFindProcess(who), command, seconds);
    out << answer << (answer.empty() || answer.back() != '\n' ? "\n" : "");
    return answer.rfind("error:", 0) == 0 ? CTL_FAILED : CTL_DONE;
}

std::vector<std::string> ctlNewLines(const std::vector<std::string> &before, const std::vector<std::string> &now,
                                     bool &lost)
{
    lost = false;
    for (size_t skip = 0; skip < before.size(); skip++) {
        const size_t shared = before.size() - skip;
        if (shared <= now.size() &&
            std::equal(before.begin() + static_cast<std::ptrdiff_t>(skip), before.end(), now.begin()))
            return {now.begin() + static_cast<std::ptrdiff_t>(shared), now.end()};
    }
    lost = !before.empty();
    return now;
}

int ctlShowTrace(const std::string &who, unsigned lines, bool follow, std::ostream &out)
{
    const ctlProcess_t process = ctlFindProcess(who);
    if (process.name == "hsld")
        ctlRefuse("hsld keeps no trace; 'dorvctl ctl hsld log' shows its requests");
    // Following needs more than a person asked for, so that a burst between two looks is not missed.
    const unsigned reach = follow ? std::max(lines, FOLLOW_LINES) : lines;
    const std::string command = "trace show " + std::to_string(reach);
    std::vector<std::string> seen = ctlAskLines(process, command, TRACE_SECONDS);
    for (size_t i = seen.size() - std::min<size_t>(seen.size(), lines); i < seen.size(); i++)
        out << seen[i] << "\n";
    out.flush();
    while (follow && !ctlInterrupted()) {
        poll(nullptr, 0, TRACE_PAUSE_MS);
        if (ctlInterrupted())
            break;
        std::vector<std::string> now = ctlAskLines(process, command, TRACE_SECONDS);
        bool lost = false;
        const std::vector<std::string> fresh = ctlNewLines(seen, now, lost);
        if (lost)
            out << "... lines lost ...\n";
        for (const std::string &line : fresh)
            out << line << "\n";
        out.flush();
        seen = std::move(now);
    }
    return CTL_DONE;
}
