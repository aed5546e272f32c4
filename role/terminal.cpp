// SPDX-License-Identifier: Apache-2.0
// Terminal sessions: keys in, lines run, text out.
#include "role/terminal.h"

#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <iterator>
#include <memory>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>
#include <vector>

#include "core/state.h"
#include "lib/lib_instance.h"

namespace {

enum Key : char {
    CTRL_C = 3,
    CTRL_D = 4,
    BELL = 7,
    CTRL_H = 8,
    CTRL_U = 21,
    CTRL_W = 23,
    CTRL_Z = 26,
    ESC = 27,
    DEL = 127
};

struct Session {
    int in, out;
    std::function<void()> ended;
    cli_t cli;
    std::string line;
    std::string pending;           // said and not written yet
    std::vector<std::string> past; // lines, the oldest first
    size_t shown;                  // which of them an arrow key has brought back
    std::string escape;            // a key's sequence, as far as it has come
    bool after_return;             // a line feed now belongs to the return
    bool over;
};

void say(Session *session, const std::string &text)
{
    for (const char c : text)
        session->pending += c == '\n' ? "\r\n" : std::string(1, c);
}

__attribute__((format(printf, 2, 3))) int print(void *arg, const char *format, ...)
{
    char text[1024];
    va_list args;
    va_start(args, format);
    const int length = vsnprintf(text, sizeof text, format, args);
    va_end(args);
    say(static_cast<Session *>(arg), text);
    return length;
}

std::string prompt(const Session *session)
{
    const int mode = session->cli.mode;
    if (mode == EXEC_MODE)
        return "dorvmd# ";
    if (mode == CONFIG_MODE)
        return "dorvmd(config)# ";
    const auto *ifp = static_cast<const interface_t *>(session->cli.ifindex_obj);
    return ifp ? std::string("dorvmd(config-if-") + ifp->name + ")# " : "dorvmd(config-if)# ";
}

// Draws the line anew where the cursor stands.
void redraw(Session *session)
{
    say(session, "\r\033[K" + prompt(session) + session->line);
}

// What became of a line whose command has not said it itself.
void report(Session *session, int rc)
{
    switch (rc) {
    case 0:
        break;
    case CLI_NO_COMMAND:
        say(session, "% Unknown command\n");
        break;
    case CLI_AMBIGUOUS:
        say(session, "% Ambiguous command\n");
        break;
    case CLI_INCOMPLETE:
        say(session, "% Incomplete command\n");
        break;
    case CLI_SESSION_ENDED:
        session->over = true;
        break;
    default:
        say(session, "% Result " + std::to_string(rc) + "\n");
    }
}

void enter(Session *session)
{
    say(session, "\n");
    if (session->line.find_first_not_of(' ') != std::string::npos) {
        session->past.push_back(session->line);
        const size_t before = session->pending.size();
        const int rc = cli_execute(qos_velmar_state.lib->ctree, &session->cli, session->line.c_str());
        const bool told = rc > 0 && session->pending.size() > before;
        report(session, told ? 0 : rc);
    }
    session->shown = session->past.size();
    session->line.clear();
    if (!session->over)
        redraw(session);
}

void help(Session *session)
{
    cli_choice_t choices[64];
    const int count = cli_choices(qos_velmar_state.lib->ctree, session->cli.mode, session->line.c_str(), choices,
                                  static_cast<int>(std::size(choices)));
    say(session, "\n");
    if (count == 0)
        report(session, CLI_NO_COMMAND);
    else if (count < 0)
        report(session, count);
    for (int i = 0; i < count; ++i)
        print(session, "  %-20.*s  %s\n", static_cast<int>(choices[i].length), choices[i].word, choices[i].help);
    redraw(session);
}

void complete(Session *session)
{
    char tail[CLI_TEXT_MAX];
    if (cli_complete(qos_velmar_state.lib->ctree, session->cli.mode, session->line.c_str(), tail, sizeof tail) == 0)
        session->pending.push_back(BELL);
    else if (session->line.size() + std::string(tail).size() < CLI_TEXT_MAX)
        say(session, tail), session->line += tail;
}

void bringBack(Session *session, bool older)
{
    if (older ? session->shown == 0 : session->shown == session->past.size())
        return;
    session->shown += older ? -1 : 1;
    session->line = session->shown < session->past.size() ? session->past[session->shown] : "";
    redraw(session);
}

// A byte of a key's sequence; only the arrows up and down mean something.
void escaped(Session *session, char c)
{
    session->escape += c;
    if (session->escape.size() == 2 && (c == '[' || c == 'O'))
        return;
    if (session->escape.size() > 2 && (c < '@' || c > '~'))
        return;
    session->escape.clear();
    if (c == 'A' || c == 'B')
        bringBack(session, c == 'A');
}

void leaveModes(Session *session)
{
    session->cli.mode = EXEC_MODE;
    session->line.clear();
    say(session, "\n");
    redraw(session);
}

void eraseWord(Session *session)
{
    std::string &line = session->line;
    while (!line.empty() && line.back() == ' ')
        line.pop_back();
    line.erase(line.rfind(' ') + 1); // the whole line if it has no blank
    redraw(session);
}

void key(Session *session, char c)
{
    const bool line_feed = c == '\n' && session->after_return;
    session->after_return = c == '\r';
    if (!session->escape.empty())
        return escaped(session, c);
    switch (c) {
    case ESC:
        session->escape.push_back(c);
        return;
    case '\r':
    case '\n':
        return line_feed ? void() : enter(session);
    case '?':
        return help(session);
    case '\t':
        return complete(session);
    case CTRL_D:
        session->over = session->line.empty();
        return;
    case CTRL_Z:
        return leaveModes(session);
    case CTRL_W:
        return eraseWord(session);
    case CTRL_C:
        say(session, "^C\n");
        [[fallthrough]];
    case CTRL_U:
        session->line.clear();
        return redraw(session);
    case CTRL_H:
    case DEL:
        if (!session->line.empty())
            session->line.pop_back();
        return redraw(session);
    default:
        if (static_cast<unsigned char>(c) < ' ' || session->line.size() >= CLI_TEXT_MAX - 1)
            return;
        session->line += c;
        session->pending += c;
    }
}

int readable(thread *event);
int writable(thread *event);

// Writes what it can, then waits for what comes next: more room, more keys, or nothing.
void proceed(Session *session)
{
    lib_instance_t *lib = qos_velmar_state.lib;
    while (!session->pending.empty()) {
        const ssize_t put = write(session->out, session->pending.data(), session->pending.size());
        if (put >= 0) {
            session->pending.erase(0, static_cast<size_t>(put));
        } else if (errno == EAGAIN) {
            thread_add_write(lib, writable, session, session->out);
            return;
        } else if (errno != EINTR) {
            session->over = true;
            break;
        }
    }
    if (!session->over) {
        thread_add_read(lib, readable, session, session->in);
        return;
    }
    cli_close(lib->ctree, &session->cli);
    const std::function<void()> ended = std::move(session->ended);
    delete session;
    ended();
}

int readable(thread *event)
{
    Session *session = static_cast<Session *>(thread_arg(event));
    char bytes[256];
    const ssize_t got = read(session->in, bytes, sizeof bytes);
    session->over = got == 0 || (got < 0 && errno != EAGAIN && errno != EINTR);
    for (ssize_t i = 0; i < got && !session->over; ++i)
        key(session, bytes[i]);
    proceed(session);
    return 0;
}

int writable(thread *event)
{
    proceed(static_cast<Session *>(thread_arg(event)));
    return 0;
}

int connected(thread *event)
{
    const int listener = thread_fd(event);
    thread_add_read(qos_velmar_state.lib, connected, nullptr, listener);
    const int fd = accept4(listener, nullptr, nullptr, SOCK_NONBLOCK | SOCK_CLOEXEC);
    if (fd >= 0)
        terminalOpen(fd, fd, [fd] { close(fd); });
    return 0;
}

} // namespace

void terminalOpen(int in, int out, std::function<void()> ended)
{
    auto *session = new Session{in, out, std::move(ended), {}, {}, {}, {}, 0, {}, false, false};
    session->cli = {print, session, nullptr, EXEC_MODE};
    // One that does not take part keeps an interface that goes away, until it is left.
    (void)cli_open(qos_velmar_state.lib->ctree, &session->cli);
    redraw(session);
    proceed(session);
}

bool terminalListen(const std::string &path)
{
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    if (path.size() >= sizeof address.sun_path) {
        errno = ENAMETOOLONG;
        return false;
    }
    path.copy(address.sun_path, path.size());
    const auto *place = reinterpret_cast<const sockaddr *>(&address);
    const int probe = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    const bool served = connect(probe, place, sizeof address) == 0;
    const bool stale = !served && errno == ECONNREFUSED;
    close(probe);
    if (stale)
        unlink(path.c_str());
    const int fd = socket(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
    return bind(fd, place, sizeof address) == 0 && listen(fd, 4) == 0 &&
           thread_add_read(qos_velmar_state.lib, connected, nullptr, fd);
}
