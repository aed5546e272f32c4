// SPDX-License-Identifier: Apache-2.0
// Draws the queues that drop most.
#include "tools/top.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <iterator>
#include <poll.h>
#include <set>
#include <sstream>
#include <sys/ioctl.h>
#include <termios.h>
#include <tuple>
#include <unistd.h>

#include "tools/drops.h"
#include "tools/error.h"
#include "tools/link.h"
#include "tools/report.h"
#include "tools/text.h"
#include "tools/values.h"

namespace {

constexpr unsigned LINES_OFF_TERMINAL = 24;
constexpr unsigned FRAME_LINES = 4; // two above the queues, a fault, and the line that the cursor rests on
constexpr double MBIT_OF_BYTES = 8e-6;

// Keys one at a time and unseen, and no cursor, as long as it lives.
class rawKeys {
public:
    rawKeys(const ctlScreen_t &screen, std::ostream &out) : screen_(screen), out_(out)
    {
        if (!screen_.terminal)
            return;
        saved_ = tcgetattr(screen_.keys, &before_) == 0;
        termios raw = before_;
        raw.c_lflag &= ~static_cast<tcflag_t>(ICANON | ECHO);
        if (saved_)
            tcsetattr(screen_.keys, TCSANOW, &raw);
        out_ << "\033[2J\033[?25l";
    }
    ~rawKeys()
    {
        if (!screen_.terminal)
            return;
        out_ << "\033[?25h" << std::flush;
        if (saved_)
            tcsetattr(screen_.keys, TCSAFLUSH, &before_);
    }
    rawKeys(const rawKeys &) = delete;
    rawKeys &operator=(const rawKeys &) = delete;

private:
    const ctlScreen_t screen_;
    std::ostream &out_;
    termios before_{};
    bool saved_ = false;
};

constexpr const char *const ORDERS[] = {"drops", "tail", "red", "pause", "used", "bytes", "name"};
constexpr const char *HELP[] = {"sort by: d drops", "t tail drops", "r RED drops", "p pause frames",  "u bytes used",
                                "b bytes moved",    "n name",       "h no help",   "q or Ctrl-C ends"};

// A queue, or a reason for which a port drops.
struct line {
    std::vector<std::string> cells;
    double weight; // what the order asked for goes by
    double drops, bytes;
};

struct view {
    std::vector<line> queues, reasons;
    size_t dropping = 0; // of the queues
    size_t measured = 0; // ports that there are rates of
};

std::string decimals(double value, int digits)
{
    char text[64];
    std::snprintf(text, sizeof text, "%.*f", digits, value);
    return text;
}

double rateOf(const ctlStatsRow_t &row, size_t column)
{
    return row.cells[column].rate.value_or(0);
}

double dropsOf(const ctlStatsRow_t &row)
{
    return std::max(rateOf(row, CTL_DROPS), rateOf(row, CTL_TAIL) + rateOf(row, CTL_RED));
}

double weightOf(const ctlStatsRow_t &row, char order)
{
    switch (order) {
    case 't':
        return rateOf(row, CTL_TAIL);
    case 'r':
        return rateOf(row, CTL_RED);
    case 'p':
        return rateOf(row, CTL_PAUSE_SENT) + rateOf(row, CTL_PAUSE_RECEIVED);
    case 'u':
        return static_cast<double>(row.cells[CTL_USED].value.value_or(0));
    case 'b':
        return rateOf(row, CTL_SENT) + rateOf(row, CTL_RECEIVED);
    case 'n':
        return 0;
    default:
        return dropsOf(row);
    }
}

std::string figure(const ctlStatsRow_t &row, size_t column)
{
    const ctlStatsCell_t &cell = row.cells[column];
    if (!cell.value || (cell.counter && !cell.rate))
        return "-";
    if (column == CTL_FULL)
        return *cell.value != 0 ? "yes" : "no";
    if (!cell.counter)
        return std::to_string(*cell.value);
    return column >= CTL_SENT ? decimals(*cell.rate * MBIT_OF_BYTES, 1) : decimals(*cell.rate, 1);
}

// The queues of a port that hold or move anything, and the port itself where it drops and its family tells no queue.
void addQueues(const ctlStatsTable_t &table, char order, view &found)
{
    for (const ctlStatsRow_t &row : table.rows) {
        double moves = static_cast<double>(row.cells[CTL_USED].value.value_or(0));
        for (const ctlStatsCell_t &cell : row.cells)
            moves += cell.rate.value_or(0);
        const bool port = &row == &table.rows.back();
        if (port ? table.rows[0].cells[CTL_DROPS].value || dropsOf(row) <= 0 : moves <= 0)
            continue;
        line each{{ctlShowInterface(table.ifindex), row.label}, weightOf(row, order), dropsOf(row), weightOf(row, 'b')};
        for (size_t column = 0; column < CTL_DROP_COLUMNS; column++)
            each.cells.push_back(figure(row, column));
        found.dropping += each.drops > 0;
        found.queues.push_back(std::move(each));
    }
}

view viewOf(const ctlStatsReading_t &reading, char order)
{
    view found;
    for (const ctlStatsTable_t &table : reading.tables) {
        if (table.view == &ctlDropsView) {
            addQueues(table, order, found);
            found.measured += table.seconds > 0;
        } else
            for (const ctlStatsRow_t &row : table.rows)
                if (rateOf(row, 0) > 0 && row.label.rfind("total ", 0) != 0)
                    found.reasons.push_back({{ctlShowInterface(table.ifindex), row.label, decimals(rateOf(row, 0), 1)},
                                             0,
                                             rateOf(row, 0),
                                             0});
    }
    const auto before = [order](const line &a, const line &b) {
        return order == 'n' ? false : std::tie(b.weight, b.drops, b.bytes) < std::tie(a.weight, a.drops, a.bytes);
    };
    std::stable_sort(found.queues.begin(), found.queues.end(), before);
    std::stable_sort(found.reasons.begin(), found.reasons.end(), before);
    return found;
}

using table_t = std::vector<std::vector<std::string>>;

// Leaves out the columns on the right that a line has no room for, whole ones, but for the first.
void fitColumns(table_t &table, unsigned room)
{
    size_t width = 0, kept = 0;
    for (; kept < table[0].size(); kept++) {
        size_t widest = 0;
        for (const auto &row : table)
            widest = std::max(widest, row[kept].size());
        width += widest + (kept > 0 ? 2 : 0);
        if (room != 0 && kept > 0 && width > room)
            break;
    }
    for (auto &row : table)
        row.resize(kept);
}

void printLines(std::ostream &out, table_t table, const std::vector<line> &lines, size_t most, unsigned room)
{
    for (size_t i = 0; i < std::min(lines.size(), most); i++)
        table.push_back(lines[i].cells);
    fitColumns(table, room);
    ctlPrintColumns(out, std::move(table));
}

// What went wrong, empty if nothing did; `exit` becomes what the program would end with.
std::string faultOf(const ctlStatsReading_t &reading, int &exit)
{
    exit = reading.fault.empty() ? CTL_DONE : CTL_SILENT;
    std::string text = reading.fault;
    for (const ctlStatsTable_t &table : reading.tables)
        if (!table.fault.empty() && exit == CTL_DONE) {
            exit = CTL_FAILED;
            text = ctlShowInterface(table.ifindex) + ": " + table.fault;
        }
    return text;
}

struct state {
    char order;
    bool help = false, ended = false;
};

size_t portsOf(const std::vector<ctlStatsQuery_t> &queries)
{
    std::set<uint32_t> ports;
    for (const ctlStatsQuery_t &query : queries)
        ports.insert(query.ifindex);
    return ports.size();
}

std::string orderName(char order)
{
    return *std::find_if(std::begin(ORDERS), std::end(ORDERS), [&](const char *name) { return name[0] == order; });
}

// As many lines as the screen's width asks for.
std::vector<std::string> helpLines(unsigned room)
{
    std::vector<std::string> lines = {HELP[0]};
    for (size_t i = 1; i < std::size(HELP); i++) {
        const std::string more = std::string("  ") + HELP[i];
        if (room != 0 && lines.back().size() + more.size() > room)
            lines.emplace_back(HELP[i]);
        else
            lines.back() += more;
    }
    return lines;
}

std::string frameOf(const ctlStatsReading_t &reading, size_t ports, double seconds, const state &now,
                    const ctlScreen_t &screen, const std::string &fault)
{
    const view found = viewOf(reading, now.order);
    size_t most = screen.lines > FRAME_LINES ? screen.lines - FRAME_LINES : 1;
    const bool reasons = !found.reasons.empty() && most > 6;
    const size_t below = reasons ? std::min(found.reasons.size(), most / 3) : 0;
    const std::vector<std::string> help = now.help ? helpLines(screen.columns) : std::vector<std::string>();
    most -= std::min(most - 1, (reasons ? below + 2 : 0) + help.size());
    std::ostringstream text;
    text << ctlUtc().substr(11) << "  ";
    if (found.measured == 0)
        text << "no figures of " << ctlCounted(ports, "port");
    else
        text << ctlCounted(found.dropping, "queue") << (found.dropping == 1 ? " drops" : " drop") << ", "
             << found.queues.size() << " in use, on " << ctlCounted(found.measured, "port") << ", over "
             << decimals(seconds, 1) << " s";
    if (found.measured != 0 && found.measured < ports)
        text << ", no figures of " << ports - found.measured;
    text << ", by " << orderName(now.order) << (screen.terminal ? "; h for help" : "") << "\n";
    for (const std::string &line : help)
        text << line << "\n";
    table_t head = {{"port", "queue", "used [B]", "bound [B]", "full", "tail [/s]", "RED [/s]", "drops [/s]",
                     "pause sent [/s]", "received [/s]", "sent [Mbit/s]", "received [Mbit/s]"}};
    printLines(text, head, found.queues, most, screen.columns);
    if (reasons) {
        text << "\n";
        printLines(text, {{"port", "dropped for", "frames/s"}}, found.reasons, below, screen.columns);
    }
    if (!fault.empty())
        text << fault << "\n";
    return text.str();
}

// Over the frame before it, without a flicker: each line wipes what is left of the old one, and ends where the screen
// does, as one that wrapped would push the others down.
void draw(const std::string &frame, const ctlScreen_t &screen, std::ostream &out)
{
    if (!screen.terminal) {
        out << frame << std::flush;
        return;
    }
    out << "\033[H";
    unsigned column = 0;
    for (const char c : frame) {
        if (c == '\n')
            out << "\033[K\n";
        else if (screen.columns == 0 || column < screen.columns)
            out << c;
        column = c == '\n' ? 0 : column + 1;
    }
    out << "\033[J" << std::flush;
}

void obey(char key, state &now)
{
    if (key == 'q')
        now.ended = true;
    else if (key == 'h' || key == '?')
        now.help = !now.help;
    else if (std::any_of(std::begin(ORDERS), std::end(ORDERS), [&](const char *name) { return name[0] == key; }))
        now.order = key;
}

// Waits for the interval to pass, or for a key that changes something: then true. Reads what agents send meanwhile.
bool keyWithin(const ctlLink_t &link, int &keys, ctlClock::time_point deadline, state &now)
{
    while (!ctlInterrupted()) {
        const auto left = std::chrono::ceil<std::chrono::milliseconds>(deadline - ctlClock::now()).count();
        if (left <= 0)
            return false;
        pollfd ready[] = {{link.fd, POLLIN, 0}, {keys, POLLIN, 0}};
        if (poll(ready, 2, static_cast<int>(left)) <= 0)
            continue;
        if (ready[0].revents != 0)
            ctlReceive(link, ctlClock::now());
        char key;
        if (ready[1].revents != 0 && read(keys, &key, 1) == 1) {
            obey(key, now);
            return true;
        }
        if (ready[1].revents != 0)
            keys = -1; // nobody is left to press one
    }
    now.ended = true;
    return true;
}

// Takes over the size that the terminal has now: a person may change it while the tables come.
void measure(ctlScreen_t &screen)
{
    winsize size{};
    if (screen.display < 0 || ioctl(screen.display, TIOCGWINSZ, &size) != 0)
        return;
    if (size.ws_row > FRAME_LINES)
        screen.lines = size.ws_row;
    screen.columns = size.ws_col;
}

double secondsOf(const ctlStatsReading_t &reading)
{
    for (const ctlStatsTable_t &table : reading.tables)
        if (table.seconds > 0)
            return table.seconds;
    return 0;
}

} // namespace

ctlScreen_t ctlOwnScreen()
{
    if (isatty(STDIN_FILENO) != 1 || isatty(STDOUT_FILENO) != 1)
        return {false, -1, LINES_OFF_TERMINAL};
    return {true, STDIN_FILENO, LINES_OFF_TERMINAL, 0, STDOUT_FILENO};
}

std::vector<std::string> ctlTopOrders()
{
    return {std::begin(ORDERS), std::end(ORDERS)};
}

int ctlTop(const ctlOptions_t &options, const ctlTop_t &top, ctlScreen_t screen, std::ostream &out, std::ostream &err)
{
    const std::vector<ctlStatsQuery_t> queries = ctlPlanDrops(top.words);
    screen.terminal = screen.terminal && !options.json;
    const unsigned count = top.count == 0 && !screen.terminal ? 1 : top.count;
    int keys = screen.terminal ? screen.keys : -1, exit = CTL_DONE;
    state now{top.sort[0]};
    ctlLink_t link = ctlOpenLink("qosMIStats");
    {
        const rawKeys raw(screen, out);
        ctlStatsReading_t before = ctlJoinDrops(ctlReadStats(link, options, queries)), last;
        std::string fault = faultOf(before, exit);
        const auto show = [&] {
            measure(screen);
            if (options.json)
                (void)ctlPrintStats(last, options, {{}, {}, {}, top.interval, true}, out, err);
            else if (screen.terminal || exit != CTL_SILENT)
                draw(frameOf(last, portsOf(queries), secondsOf(last), now, screen, screen.terminal ? fault : ""),
                     screen, out);
        };
        for (unsigned drawn = 0; (count == 0 || drawn < count) && (exit != CTL_SILENT || screen.terminal); drawn++) {
            const auto deadline = ctlDeadline(top.interval);
            while (keyWithin(link, keys, deadline, now) && !now.ended)
                show();
            if (now.ended)
                break;
            last = ctlJoinDrops(ctlReadStats(link, options, queries));
            ctlRateStats(before, last);
            fault = faultOf(last, exit);
            show();
            before = last;
        }
        if (!fault.empty() && !ctlInterrupted() && !(options.json && exit != CTL_SILENT))
            ctlComplain(err, fault);
    }
    ctlCloseLink(link);
    return exit;
}
