// Lines of the agent's printing functions taken apart by patterns. Knows nothing of any table.
#ifndef TOOLS_SHOW_LINES_H
#define TOOLS_SHOW_LINES_H

#include <string>
#include <vector>

#include "tools/report.h"

// How often a line stands in its record, and for the last two, that it holds a list.
enum class ctlTimes_t { Once, Optional, Many, Eight, Dscp };

// A line as it is printed, with {key} where a value stands: a number in decimal or hexadecimal, True, False, Enabled or
// Disabled as a truth, else a text. {key$} is a text whatever it looks like, {} a value without a key. A value goes on
// to the text behind it. Blanks match any number of blanks.
//
// Optional: the key is null where the line is missing. Many: any number of such lines, the key is a list. Eight: the
// value is a list of numbers. Dscp: eight rows of cells "{index} -> {value}", 64 values with null for those that no
// cell shows; the text is what stands ahead of a cell's value, and the key behind it.
struct ctlLine_t {
    const char *text;
    ctlTimes_t times = ctlTimes_t::Once;
};

// Takes one record off the lines, from `at` on. Throws CTL_FAILED at a line that is not the expected one.
ctlJson ctlTakeRecord(const std::vector<ctlLine_t> &record, const std::vector<std::string> &lines, size_t &at);

// One line by one pattern; false, with `row` as it was, if it is another line.
bool ctlTakeLine(const char *pattern, const std::string &line, ctlJson &row);

#endif
