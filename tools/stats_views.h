// SPDX-License-Identifier: Apache-2.0
// What a person may ask statistics of: for each view the message that carries it, how its request is filled, and which
// fields of the reply make rows and columns. Data only; tools/stats.cpp reads it. Relies on agent/messages/.
#ifndef TOOLS_STATS_VIEWS_H
#define TOOLS_STATS_VIEWS_H

#include <cstdint>
#include <span>
#include <string>

struct ctlStatsColumn_t {
    const char *name;
    const char *unit;
    bool counter;         // grows, so that two reads make a rate; else a state
    bool setting = false; // stays what it is whatever happens: a row with nothing else is as good as zero
};

// One cell of a run of rows: element `first` + n of the field in row n. Without a field the cell stays empty.
struct ctlStatsField_t {
    const char *field;
    uint16_t first;
};

// A run of rows under the view's columns.
struct ctlStatsRows_t {
    const char *label;  // ahead of the row's number, or alone if there is one row
    const char *labels; // the field that names each row, else null
    uint16_t rows;
    const char *count;  // the field with the number of rows that are filled, else null: all
    const char *unless; // these rows stand only where this field is 0
    std::span<const ctlStatsField_t> cells;
};

struct ctlStatsView_t {
    const char *kind, *side, *source; // the words that choose it; empty where there is no choice
    bool named;                       // only if its side is named
    uint8_t code;
    // Fields of the request that take the port's index, its chip's index, the flat chip number and ids; null for none.
    const char *port, *chip, *number, *ids;
    const char *request; // further fields as `dorvctl send` takes them, with blanks between
    const char *by;      // what a row stands for
    std::span<const ctlStatsColumn_t> columns;
    std::span<const ctlStatsRows_t> rows; // none: every field of the reply is a row, in the chip's own units
    const char *budget = nullptr;         // the field of the request that takes the port's buffer budget, null for none
};

std::span<const ctlStatsView_t> ctlStatsViews();

// What the row of a field says, of a view without rows: its name, or its place in words, "word 80 by priority".
std::string ctlStatsRowName(const ctlStatsView_t &view, const std::string &label);

#endif
