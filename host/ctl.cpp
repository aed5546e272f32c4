// SPDX-License-Identifier: Apache-2.0
// The control socket RUN/ctl/ATOM.PID: one command a datagram, one answer to the sender's path.
//
// Commands that touch the process's own data wait in a table, and a message of type 21 with their number brings the
// main thread to them. The rest is answered where the engine runs.
//
// What a printing function has to say it says part by part, SLICE_NS at a time with the main loop's other work in
// between, and several of them in turn. Commands of others overtake it, those of its own client wait.
//
// An answer that is too long for a datagram is cut behind a line, and says so. The datagram then carries a descriptor
// of a memory file with the whole answer; a client that does not take it loses nothing else.
#include "velmar/ctl.h"

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <climits>
#include <cmath>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <deque>
#include <map>
#include <mutex>
#include <string>
#include <string_view>
#include <sys/mman.h>
#include <sys/socket.h>
#include <time.h>
#include <unistd.h>

#include "host/batches.h"
#include "host/clock.h"
#include "host/complain.h"
#include "host/ctl.h"
#include "host/driver.h"
#include "host/election.h"
#include "host/fault.h"
#include "host/peer.h"
#include "host/process.h"
#include "host/raslog.h"
#include "host/replica.h"
#include "host/run.h"
#include "host/store.h"
#include "host/tap.h"
#include "host/tp.h"
#include "host/trace.h"
#include "velmar/ha.h"
#include "velmar/run.h"
#include "velmar/trace.h"
#include "velmar/version.h"

namespace {

constexpr size_t COMMAND_MAX = 4096;
constexpr size_t ANSWER_MAX = 200000;    // bytes; below what a datagram takes with the buffer asked for
constexpr size_t PRINTED_MAX = 64 << 20; // bytes that a printing function may print
constexpr int SEND_BUFFER = 512 * 1024;
constexpr unsigned SHOWN_LINES = 20;
constexpr double STEP_MAX = 1e6;    // seconds
constexpr size_t WAITING_MOST = 64; // commands for the main thread
constexpr size_t READERS_MOST = 8;
constexpr unsigned POSTED_MOST = 4;   // of them in its queue, so that a pass of its loop has messages to see to as well
constexpr size_t PRINTED_AT_ONCE = 8; // answers that are being printed; more wait for their turn
constexpr size_t FILED_FROM = 65536;  // bytes of an answer from which on it goes into a file as well
constexpr int64_t SLICE_NS = 200000;  // printing in one pass of the main loop
constexpr uint32_t WORD_PRINT_ON = 0; // in place of a command's number
constexpr unsigned RUN_OFFSET = PROCESS_WORD_OFFSET + sizeof(uint32_t); // of the row of messages that it belongs to

struct waiting_t {
    velmar_sender_t client;
    std::string command;
};

int ctl_fd = -1;
std::atomic<const ctl_ops_t *> offered;
std::mutex waiting_lock;
std::map<uint32_t, waiting_t> waiting;
uint32_t last_number;
uint32_t last_posted; // of the numbers
unsigned posted;      // not yet taken

// The main thread's: an answer that is being printed, or a command that waits for one to its own client.
struct printing_t {
    velmar_sender_t client;
    std::string command;  // one that waits; empty for an answer
    const ctl_cli_t *row; // of an answer
    ctl_cursor_t cursor;
    std::string text;  // of an answer that a datagram takes all, else what is not in the file yet
    std::string begin; // what the datagram takes of an answer that is longer, once it is
    int file;          // -1 for none
    size_t filed;      // bytes of the text that are in the file
    size_t printed;    // bytes
    bool complete;
    uint64_t slices;
};
std::deque<printing_t> printings;     // in the order in which they came
std::atomic<size_t> printing_count;   // of them
std::atomic<size_t> printing_readers; // likewise, of those who may only read
uint32_t print_run;                   // the row of messages that brings the main thread back to them; others are over

// Appends the text to a memory file. -1, and no file is left, if that fails.
int appendTo(int fd, std::string_view text)
{
    for (size_t done = 0; fd >= 0 && done < text.size();) {
        const ssize_t written = write(fd, text.data() + done, text.size() - done);
        if (written <= 0) {
            close(fd);
            return -1;
        }
        done += static_cast<size_t>(written);
    }
    return fd;
}

// A memory file with all of the text, -1 if there is none to be had.
int memoryFile(const std::string &text)
{
    return appendTo(memfd_create("answer", MFD_CLOEXEC), text);
}

// `file` is a descriptor to send along, or -1.
bool sendFrom(int fd, const velmar_sender_t &client, const std::string &text, int file)
{
    iovec data = {const_cast<char *>(text.data()), text.size()};
    alignas(cmsghdr) char control[CMSG_SPACE(sizeof file)] = {};
    sockaddr_un to;
    int held;
    if (!runAnswerTo(client, &to, &held))
        return false;
    msghdr message = {};
    message.msg_name = &to;
    message.msg_namelen = held >= 0 ? static_cast<socklen_t>(sizeof to) : client.length;
    message.msg_iov = &data;
    message.msg_iovlen = 1;
    if (file >= 0) {
        message.msg_control = control;
        message.msg_controllen = sizeof control;
        cmsghdr *rights = CMSG_FIRSTHDR(&message);
        rights->cmsg_level = SOL_SOCKET;
        rights->cmsg_type = SCM_RIGHTS;
        rights->cmsg_len = CMSG_LEN(sizeof file);
        memcpy(CMSG_DATA(rights), &file, sizeof file);
    }
    const bool sent = sendmsg(fd, &message, MSG_DONTWAIT | MSG_NOSIGNAL) >= 0;
    const int error = errno;
    if (held >= 0)
        close(held);
    errno = error;
    return sent;
}

// Answers that a client does not read are charged to the socket that they came from. When those fill the control
// socket's buffer the answer goes out from a socket of its own. A client that is full itself, or connected and so deaf
// to any other socket, is given up.
void sendAnswer(const velmar_sender_t &client, const std::string &text, int file)
{
    if (client.length <= sizeof(sa_family_t) || sendFrom(ctl_fd, client, text, file))
        return;
    if (errno == ETOOMANYREFS && sendFrom(ctl_fd, client, text, -1))
        return; // too many files are under way already
    if (errno != EAGAIN)
        return;
    const int fd = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    if (fd < 0)
        return;
    setsockopt(fd, SOL_SOCKET, SO_SNDBUF, &SEND_BUFFER, sizeof SEND_BUFFER);
    (void)sendFrom(fd, client, text, file);
    close(fd);
}

// What a datagram takes of a longer text.
std::string cutOff(const std::string &text)
{
    const size_t line = text.rfind('\n', ANSWER_MAX - 1);
    return text.substr(0, line == std::string::npos ? ANSWER_MAX : line + 1) +
           "(cut: the output is longer than an answer takes)\n";
}

void answer(const velmar_sender_t &client, const std::string &text)
{
    if (text.size() <= ANSWER_MAX) {
        sendAnswer(client, text, -1);
        return;
    }
    const int file = memoryFile(text);
    sendAnswer(client, cutOff(text), file);
    if (file >= 0)
        close(file);
}

// If `text` is `word`, alone or with something behind it: what follows, without leading blanks. Else null.
const char *after(const char *text, const char *word)
{
    const size_t length = strlen(word);
    if (strncmp(text, word, length) != 0 || (text[length] && text[length] != ' '))
        return nullptr;
    return text + length + strspn(text + length, " ");
}

// Takes one unsigned number off the text: false if there is none, or if it does not fit `most`.
bool takeNumber(const char **text, uint32_t most, uint32_t *value)
{
    if (**text < '0' || **text > '9')
        return false;
    char *end;
    errno = 0;
    const unsigned long long number = strtoull(*text, &end, 0);
    if (errno || number > most || (*end && *end != ' '))
        return false;
    *value = static_cast<uint32_t>(number);
    *text = end + strspn(end, " ");
    return true;
}

bool takeOnly(const char *text, uint32_t most, uint32_t *value)
{
    return takeNumber(&text, most, value) && !*text;
}

std::string formatted(const char *format, ...) __attribute__((format(printf, 1, 2)));
std::string formatted(const char *format, ...)
{
    char text[COMMAND_MAX + 128];
    va_list args;
    va_start(args, format);
    vsnprintf(text, sizeof text, format, args);
    va_end(args);
    return text;
}

// A text as a member of JSON, null for an empty one.
std::string member(const char *key, std::string text)
{
    std::replace_if(
        text.begin(), text.end(), [](unsigned char c) { return c < ' ' || c >= 0x7f || c == '"' || c == '\\'; }, '?');
    return std::string(",\"") + key + "\":" + (text.empty() ? "null" : '"' + text + '"');
}

// Whose copy of the store this is: of a standby alone.
std::string mirrorState(const char *role)
{
    if (strcmp(role, "standby") != 0)
        return "";
    if (!replicaIsConnected())
        return "no active process is followed";
    return replicaHoldsCopy() ? "a complete copy" : "no copy yet";
}

// What came later stands behind, so that the first members stay where they are.
std::string laterStat(const char *role)
{
    char host[256] = "";
    (void)gethostname(host, sizeof host - 1);
    return driverStat() + member("service", replicaService()) + member("host", host) +
           member("mirror", mirrorState(role)) + member("mirror_trouble", replicaTrouble());
}

// The stage is read when it is asked for, as a stage may be waiting in the middle of its work.
std::string stat(const char *arg)
{
    if (*arg)
        return formatted("error: stat takes no argument, '%s' was given", arg);
    const ctl_ops_t *ops = offered.load();
    const election_role_t role = electionRole();
    return formatted("ok {\"stage\":%d,\"pid\":%d,\"role\":\"%s\",\"since\":%u,\"blocks\":%u,\"bytes\":%u,"
                     "\"syncs\":%u,\"standbys\":%u,\"refused\":%u,\"version\":\"%s\"%s}",
                     ops && ops->stage_index ? ops->stage_index() : -1, static_cast<int>(getpid()), role.name,
                     role.seconds, store_totals.blocks.load(), store_totals.bytes.load(), store_totals.syncs.load(),
                     replicaStandbys(), peersRefused(), VELMAR_VERSION, laterStat(role.name).c_str());
}

std::string traceShow(const char *arg)
{
    uint32_t lines = SHOWN_LINES;
    const char *rest = arg;
    if (*rest)
        (void)takeNumber(&rest, UINT_MAX, &lines);
    const bool utc = strcmp(rest, "utc") == 0; // the time of day, in place of seconds since an arbitrary start
    if (*rest && !utc)
        return formatted("error: '%s' is no number of lines", arg);
    if (!traceFirstFile())
        return "error: there is no trace ring";
    std::string text(ANSWER_MAX, '\0');
    const int used = traceReadFirst(lines, utc, text.data(), text.size());
    text.resize(static_cast<size_t>(used));
    return "ok\n" + text;
}

std::string batches(const char *arg)
{
    uint32_t most = UINT_MAX;
    if (*arg && !takeOnly(arg, UINT_MAX, &most))
        return formatted("error: '%s' is no number of batches", arg);
    return "ok " + batchesShow(most);
}

std::string reopen(const char *arg)
{
    if (*arg)
        return formatted("error: reopen takes no argument, '%s' was given", arg);
    return traceReopen() ? "ok" : formatted("error: the trace goes on where it was: %s", strerror(errno));
}

std::string step(const char *arg)
{
    char *end;
    const double seconds = strtod(arg, &end);
    if (end == arg || *end || !std::isfinite(seconds) || seconds < 0 || seconds > STEP_MAX)
        return formatted("error: '%s' is no number of seconds from 0 to %.0f", arg, STEP_MAX);
    if (!clockStep(std::llround(seconds * 1000)))
        return "error: all steps together would be too far";
    return "ok";
}

int print(void *arg, const char *format, ...) __attribute__((format(printf, 2, 3)));
int print(void *arg, const char *format, ...)
{
    printing_t *printing = static_cast<printing_t *>(arg);
    char text[4096];
    va_list args;
    va_start(args, format);
    const int length = vsnprintf(text, sizeof text, format, args);
    va_end(args);
    if (length < 0 || printing->printed >= PRINTED_MAX)
        return length;
    const size_t before = printing->text.size();
    printing->text += text;
    printing->printed += printing->text.size() - before;
    return length;
}

bool isSame(const velmar_sender_t &a, const velmar_sender_t &b)
{
    return a.length == b.length && memcmp(&a.address, &b.address, a.length) == 0;
}

// Of the client of an answer under way: to its name somebody listens. One that is connected elsewhere refuses this,
// too.
bool isThere(const velmar_sender_t &client)
{
    sockaddr_un to;
    int held;
    if (!runAnswerTo(client, &to, &held))
        return false;
    const socklen_t length = held >= 0 ? static_cast<socklen_t>(sizeof to) : client.length;
    const int fd = length > sizeof(sa_family_t) ? socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0) : -1;
    const bool gone = fd >= 0 && connect(fd, reinterpret_cast<const sockaddr *>(&to), length) != 0 &&
                      (errno == ECONNREFUSED || errno == ENOENT);
    for (const int each : {fd, held})
        if (each >= 0)
            close(each);
    return !gone;
}

// A text that may become too long for a datagram goes into a file as it comes, so that no slice has it all to write.
// Once it is, only the begin is kept in memory. Without a file the client is left with that.
void putAside(printing_t *printing)
{
    if (printing->begin.empty() && printing->text.size() < FILED_FROM)
        return;
    if (printing->file < 0 && printing->filed == 0 && printing->begin.empty())
        printing->file = memfd_create("answer", MFD_CLOEXEC);
    printing->file = appendTo(printing->file, std::string_view(printing->text).substr(printing->filed));
    printing->filed = printing->text.size();
    if (printing->begin.empty() && printing->text.size() <= ANSWER_MAX)
        return;
    if (printing->begin.empty())
        printing->begin = cutOff(printing->text);
    printing->text.clear();
    printing->filed = 0;
}

int64_t nanoseconds()
{
    timespec now;
    clock_gettime(CLOCK_MONOTONIC, &now);
    return static_cast<int64_t>(now.tv_sec) * 1000000000 + now.tv_nsec;
}

// Prints for one slice: true if that was all, and the client has it. To send much is a slice of its own.
bool printOn(printing_t *printing)
{
    const int64_t end = nanoseconds() + SLICE_NS;
    const bool was_complete = printing->complete;
    while (!printing->complete && nanoseconds() < end)
        printing->complete = !printing->row->show(print, printing, &printing->cursor);
    if (!was_complete)
        putAside(printing);
    if (!printing->complete || (!was_complete && printing->filed > 0) || (!was_complete && !printing->begin.empty()))
        return false;
    if (printing->begin.empty())
        sendAnswer(printing->client, printing->text, -1);
    else
        sendAnswer(printing->client, printing->begin, printing->file);
    return true;
}

// Whose turn it is: a command that nothing of its client's is ahead of, or of the answers that may be printed the one
// that has had least.
std::deque<printing_t>::iterator nextTurn()
{
    size_t answers = 0;
    auto next = printings.end();
    for (auto at = printings.begin(); at != printings.end() && answers < PRINTED_AT_ONCE; ++at) {
        if (std::any_of(printings.begin(), at,
                        [at](const printing_t &other) { return isSame(other.client, at->client); }))
            continue;
        if (!at->command.empty())
            return at;
        ++answers;
        if (next == printings.end() || at->slices < next->slices)
            next = at;
    }
    return next;
}

void countPrintings()
{
    printing_count.store(printings.size());
    printing_readers.store(static_cast<size_t>(
        std::count_if(printings.begin(), printings.end(), [](const printing_t &each) { return each.client.reader; })));
}

void drop(std::deque<printing_t>::iterator at)
{
    if (at->file >= 0)
        close(at->file);
    printings.erase(at);
    countPrintings();
}

void begin(const velmar_sender_t &client, const std::string &command, const ctl_cli_t *row)
{
    const uint64_t slices = printings.empty() ? 0 : nextTurn()->slices; // not ahead of those that wait
    printings.push_back({client, command, row, {}, "ok\n", "", -1, 0, 0, false, slices});
    countPrintings();
}

// Comes to an answer only if there is nothing to print.
std::string cli(const char *arg, const velmar_sender_t &client)
{
    std::string words;
    for (const char *c = arg; *c; ++c)
        if (*c != ' ' || (!words.empty() && words.back() != ' '))
            words += *c;
    while (!words.empty() && words.back() == ' ')
        words.pop_back();
    const ctl_ops_t *ops = offered.load();
    for (const ctl_cli_t *row = ops ? ops->cli : nullptr; row && row->text; ++row) {
        if (words != row->text)
            continue;
        begin(client, "", row);
        return "";
    }
    return formatted("error: no printing function '%s'", words.c_str());
}

std::string stage(const char *arg)
{
    uint32_t number;
    if (!takeOnly(arg, UINT_MAX, &number))
        return formatted("error: '%s' is no stage number", arg);
    std::string ran = "ok";
    const char *const refused = electionDriveByHand(number, &ran);
    return refused ? formatted("error: %s", refused) : ran;
}

std::string traceLevel(const char *arg)
{
    uint32_t level;
    const ctl_ops_t *ops = offered.load();
    if (!takeOnly(arg, INT_MAX, &level) || !ops || !ops->trace_level || ops->trace_level(static_cast<int>(level)) != 0)
        return formatted("error: '%s' is no trace level", arg);
    return "ok";
}

std::string testPoint(const char *arg)
{
    const std::string name(arg, strcspn(arg, " "));
    const char *rest = arg + name.size() + strspn(arg + name.size(), " ");
    uint32_t number = 0;
    if (*rest && !takeOnly(rest, UINT_MAX, &number))
        return formatted("error: '%s' is no number", rest);
    int result;
    if (!tpRun(name.c_str(), *rest != '\0', number, &result))
        return formatted("error: no test point action '%s'", name.c_str());
    return formatted("ok %d", result);
}

// Posts a raw message: type at 4, module at 12, B at 16, C at 20, A at 24.
std::string post(const char *arg)
{
    uint32_t type;
    uint32_t module;
    uint32_t a;
    uint32_t b;
    uint32_t c;
    if (!takeNumber(&arg, 255, &type) || !takeNumber(&arg, 255, &module) || !takeNumber(&arg, UINT_MAX, &a) ||
        !takeNumber(&arg, UINT_MAX, &b) || !takeNumber(&arg, UINT_MAX, &c) || *arg)
        return "error: usage: msgq TYPE MODULE A B C";
    unsigned char message[MSGQ_MESSAGE_LENGTH] = {};
    message[MSGQ_TYPE_OFFSET] = static_cast<unsigned char>(type);
    message[12] = static_cast<unsigned char>(module);
    memcpy(message + 16, &b, sizeof b);
    memcpy(message + 20, &c, sizeof c);
    memcpy(message + 24, &a, sizeof a);
    return msgQSend(processQueue(), message, sizeof message, 0, 1) == 0 ? "ok" : "error: the message queue is full";
}

struct command_t {
    const char *words;
    std::string (*run)(const char *arg);
    bool main_thread;
    bool reads = false; // changes nothing: for those who may only read too
};
const command_t COMMANDS[] = {
    {"stat", stat, false, true},
    {"trace show", traceShow, false, true},
    {"log", batches, false, true},
    {"reopen", reopen, false},
    {"clock step", step, false},
    {"fault", faultCommand, false},
    {"capture", tapCommand, false},
    {"stage", stage, true},
    {"trace level", traceLevel, true},
    {"tp", testPoint, true},
    {"msgq", post, true},
    {"cli", nullptr, true, true}, // in its own way
};

const command_t *findCommand(const char *text, const char **arg)
{
    for (const command_t &command : COMMANDS) {
        *arg = after(text, command.words);
        if (*arg)
            return &command;
    }
    return nullptr;
}

// Brings the main thread to the next commands in their order.
void postWaiting()
{
    for (;;) {
        velmar_sender_t refused;
        {
            const std::lock_guard<std::mutex> lock(waiting_lock);
            const auto next = waiting.upper_bound(last_posted);
            if (next == waiting.end() || posted >= POSTED_MOST)
                return;
            last_posted = next->first;
            if (processPost(MSGQ_TYPE_SMI, next->first) == 0) {
                ++posted;
                continue;
            }
            refused = next->second.client;
            waiting.erase(next);
        }
        answer(refused, "error: the message queue is full");
    }
}

void handOver(const velmar_sender_t &client, const char *text)
{
    if (!processQueue()) {
        answer(client, "error: the main loop is not running yet");
        return;
    }
    bool room;
    {
        const std::lock_guard<std::mutex> lock(waiting_lock);
        room = waiting.size() + printing_count.load() < WAITING_MOST;
        if (room)
            waiting[++last_number] = {client, text};
        if (posted >= POSTED_MOST) // should the loop have dropped them all, none would bring it here again
            (void)processPost(MSGQ_TYPE_SMI, last_posted);
    }
    if (room)
        postWaiting();
    else
        answer(client, "error: too many commands are waiting");
}

// Those who may only read do not fill the table.
bool tooManyReaders()
{
    const std::lock_guard<std::mutex> lock(waiting_lock);
    const auto count =
        std::count_if(waiting.begin(), waiting.end(), [](const auto &each) { return each.second.client.reader; });
    return static_cast<size_t>(count) + printing_readers.load() >= READERS_MOST;
}

void serveOne(const velmar_sender_t &client, const char *text)
{
    const char *arg;
    const command_t *command = findCommand(text, &arg);
    if (client.reader && (!command || !command->reads))
        return answer(client, "error: you may only read here: stat, trace show, log, cli");
    if (client.reader && command->main_thread && tooManyReaders())
        return answer(client, "error: too many commands are waiting");
    if (strcmp(text, "quit") == 0) {
        answer(client, "ok");
        processEnd(0, "as quit asked");
    }
    if (!command)
        answer(client, formatted("error: unknown command '%s'", text));
    else if (command->main_thread)
        handOver(client, text);
    else
        answer(client, command->run(arg));
}

} // namespace

int ctlOpen(const char *atom)
{
    if (ctl_fd >= 0)
        return 0;
    char path[sizeof(sockaddr_un::sun_path)] = "";
    ctl_fd = velmar_run_bind("ctl", atom, true, path, sizeof path);
    if (ctl_fd >= 0) {
        setsockopt(ctl_fd, SOL_SOCKET, SO_SNDBUF, &SEND_BUFFER, sizeof SEND_BUFFER);
        return 0;
    }
    const int error = errno;
    complain("cannot bind control socket %s: %s", *path ? path : atom, strerror(error));
    errno = error;
    return -1;
}

int ctlDescriptor()
{
    return ctl_fd;
}

void ctlServe()
{
    for (;;) {
        char text[COMMAND_MAX + 1];
        velmar_sender_t client;
        const ssize_t got = velmar_run_serve(ctl_fd, text, COMMAND_MAX, &client);
        if (got < 0)
            return;
        if (got > static_cast<ssize_t>(COMMAND_MAX)) {
            answer(client, "error: the command is too long");
            continue;
        }
        size_t length = static_cast<size_t>(got);
        while (length > 0 && strchr(" \t\r\n", text[length - 1]))
            --length;
        text[length] = '\0';
        serveOne(client, text);
    }
}

void ctl_offer(const ctl_ops_t *ops)
{
    offered.store(ops);
    batchesOffer(ops->log);
}

namespace {

void runCommand(const velmar_sender_t &client, const std::string &text)
{
    const char *arg;
    const command_t *const command = findCommand(text.c_str(), &arg);
    if (!command)
        return;
    const std::string said = command->run ? command->run(arg) : cli(arg, client);
    if (!said.empty())
        answer(client, said);
}

// The commands up to that number: the loop drops a message that it has no memory for.
void takeCommands(uint32_t last)
{
    for (;;) {
        waiting_t taken;
        {
            const std::lock_guard<std::mutex> lock(waiting_lock);
            const auto first = waiting.begin();
            if (first == waiting.end() || first->first > last)
                return;
            taken = first->second;
            waiting.erase(first);
            --posted;
        }
        postWaiting();
        if (std::any_of(printings.begin(), printings.end(),
                        [&taken](const printing_t &other) { return isSame(other.client, taken.client); }))
            begin(taken.client, taken.command, nullptr);
        else
            runCommand(taken.client, taken.command);
    }
}

void printNext()
{
    const auto at = nextTurn();
    ++at->slices;
    if (at->command.empty()) {
        if (!isThere(at->client) || printOn(&*at))
            drop(at);
        return;
    }
    const printing_t command = *at;
    drop(at);
    runCommand(command.client, command.command);
}

bool postPrintOn()
{
    unsigned char message[MSGQ_MESSAGE_LENGTH] = {};
    message[MSGQ_TYPE_OFFSET] = MSGQ_TYPE_SMI;
    memcpy(message + RUN_OFFSET, &print_run, sizeof print_run);
    return msgQSend(processQueue(), message, sizeof message, 0, 1) == 0;
}

} // namespace

// With a command's number, or to print on. A command begins a new row of messages, as the loop may have dropped one of
// the old row. A queue that is full takes none, and then all is printed at once.
void smi_process(void *message)
{
    uint32_t run;
    memcpy(&run, static_cast<const unsigned char *>(message) + RUN_OFFSET, sizeof run);
    if (processWord(message) != WORD_PRINT_ON) {
        takeCommands(processWord(message));
        ++print_run;
    } else if (run != print_run) {
        return;
    }
    while (!printings.empty()) {
        printNext();
        if (printings.empty() || postPrintOn())
            return;
    }
}
