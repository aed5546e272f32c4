// SPDX-License-Identifier: Apache-2.0
// Draws the busiest queues.
#include "tools/top.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <poll.h>
#include <sstream>
#include <sys/ioctl.h>
#include <termios.h>
#include <unistd.h>

#include "tools/error.h"
#include "tools/link.h"
#include "tools/report.h"
#include "tools/stats.h"
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

struct line {
    std::string port, queue;
    double busy; // bytes a second
    std::vector<std::string> cells;
};

std::string decimals(double value, int digits)
{
    char text[64];
    std::snprintf(text, sizeof text, "%.*f", digits, value);
    return text;
}

bool isBytes(const ctlStatsColumn_t &column)
{
    return std::strcmp(column.unit, "bytes") == 0;
}

std::vector<line> linesOf(const ctlStatsReading_t &reading)
{
    std::vector<line> lines;
    for (const ctlStatsTable_t &table : reading.tables)
        for (const ctlStatsRow_t &row : table.rows) {
            if (row.label == "total")
                continue;
            line each{ctlShowInterface(table.ifindex), row.label, 0, {}};
            double sum = 0;
            for (size_t c = 0; c < row.cells.size(); c++) {
                const double rate = row.cells[c].rate.value_or(0);
                const bool bytes = isBytes(table.view->columns[c]);
                each.busy += bytes ? rate : 0;
                sum += rate;
                each.cells.push_back(decimals(bytes ? rate * MBIT_OF_BYTES : rate, bytes ? 3 : 1));
            }
            if (sum > 0)
                lines.push_back(std::move(each));
        }
    std::stable_sort(lines.begin(), lines.end(), [](const line &a, const line &b) { return a.busy > b.busy; });
    return lines;
}

std::vector<std::string> headings(const ctlStatsView_t &view)
{
    std::vector<std::string> texts = {"port", "queue"};
    for (const ctlStatsColumn_t &column : view.columns) {
        const std::string way = std::string(column.name).substr(0, 2);
        texts.push_back(way + (isBytes(column) ? " [Mbit/s]" : " [frames/s]"));
    }
    return texts;
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

std::string frameOf(const ctlStatsReading_t &reading, const std::vector<ctlStatsQuery_t> &queries, double seconds,
                    unsigned most, const std::string &fault)
{
    const std::vector<line> lines = linesOf(reading);
    std::ostringstream text;
    text << ctlCounted(lines.size(), "busy queue") << " on " << ctlCounted(queries.size(), "port") << ", over "
         << decimals(seconds, 1) << " s\n";
    std::vector<std::vector<std::string>> table = {headings(*queries[0].view)};
    for (size_t i = 0; i < std::min<size_t>(lines.size(), most); i++) {
        table.push_back({lines[i].port, lines[i].queue});
        table.back().insert(table.back().end(), lines[i].cells.begin(), lines[i].cells.end());
    }
    ctlPrintColumns(text, table);
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

// Whether a key came before the interval was over. Reads what agents send meanwhile.
bool keyWithin(const ctlLink_t &link, int &keys, double seconds)
{
    const auto deadline = ctlDeadline(seconds);
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
        if (ready[1].revents != 0 && read(keys, &key, 1) == 1)
            return true;
        if (ready[1].revents != 0)
            keys = -1; // nobody is left to press one
    }
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

int ctlTop(const ctlOptions_t &options, const ctlTop_t &top, ctlScreen_t screen, std::ostream &out, std::ostream &err)
{
    std::vector<std::string> words = {"queue"};
    words.insert(words.end(), top.words.begin(), top.words.end());
    const std::vector<ctlStatsQuery_t> queries = ctlPlanStats({words});
    const unsigned count = top.count == 0 && !screen.terminal ? 1 : top.count;
    int keys = screen.keys, exit = CTL_DONE;
    ctlLink_t link = ctlOpenLink("qosMIStats");
    {
        const rawKeys raw(screen, out);
        ctlStatsReading_t before = ctlReadStats(link, options, queries);
        std::string fault = faultOf(before, exit);
        for (unsigned drawn = 0; (count == 0 || drawn < count) && (exit != CTL_SILENT || screen.terminal); drawn++) {
            if (keyWithin(link, keys, top.interval))
                break;
            ctlStatsReading_t now = ctlReadStats(link, options, queries);
            ctlRateStats(before, now);
            fault = faultOf(now, exit);
            measure(screen);
            const unsigned most = screen.lines > FRAME_LINES ? screen.lines - FRAME_LINES : 1;
            if (screen.terminal || exit != CTL_SILENT)
                draw(frameOf(now, queries, secondsOf(now), most, screen.terminal ? fault : ""), screen, out);
            before = std::move(now);
        }
        if (!fault.empty() && !ctlInterrupted())
            ctlComplain(err, fault);
    }
    ctlCloseLink(link);
    return exit;
}
