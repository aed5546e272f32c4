// SPDX-License-Identifier: Apache-2.0
// The context of a show function or command: where it prints, and what a configuring command works on.
#ifndef CORE_PRINT_H
#define CORE_PRINT_H

#include <cstdint>
#include <cstring>

#include "velmar/ctl.h"

// What has come out of a table in JSON so far, for the commas.
struct qosJson_t {
    bool has_records;
    bool has_values; // in the object or the list that is open
};

struct cli_t {
    ctl_print_t out_func;
    void *out_val;
    void *ifindex_obj; // the interface that the next commands configure, or null
    int mode;
    qosJson_t *json = nullptr; // tables come out as JSON (core/table.h); null for text
};

// A printing function, as a command's handler and as what the control socket runs.
using qosShow_t = int (*)(cli_t *cli);

// A command's handler, with the words that stand for arguments.
using cli_handler_t = int (*)(cli_t *cli, int argc, char **argv);

// A command. A word of the text that starts with '<' or holds a capital letter stands for one argument, the others for
// themselves.
struct cli_element_t {
    const char *text;
    cli_handler_t handler;
    const char *const *help; // a text for each word, ended by null
};

// A printing function as a command's handler.
template <qosShow_t Show>
int cliShow(cli_t *cli, int, char **)
{
    return Show(cli);
}

// Prints one piece of text through the context.
#define cli_out(cli, ...) (cli)->out_func((cli)->out_val, __VA_ARGS__)

// Long tables are printed part by part, and messages are seen to in between: a part is a row or a few. All zeros is the
// start. A row is named by its key and looked for anew, since it and its neighbours may be gone by then.
struct qosCursor_t {
    uint32_t stage;  // of the table
    uint32_t list;   // of a row
    uint32_t row;    // the key of the last row, once there is one
    uint32_t key[2]; // of the last entry of the list, likewise
    uint32_t place;  // at which that stood
    bool has_row;
    bool has_entry;
    bool has_begun;
    qosJson_t json;
};
using qosShowPart_t = bool (*)(cli_t *cli, qosCursor_t *at); // whether there is more

// A short table as the only part.
template <qosShow_t Show>
bool qosShowOnce(cli_t *cli, qosCursor_t *)
{
    Show(cli);
    return false;
}

// All parts at once.
template <qosShowPart_t Part>
int qosShowWhole(cli_t *cli)
{
    qosCursor_t at = {};
    while (Part(cli, &at))
        continue;
    return 0;
}

// Parts in the form that the control socket takes.
template <qosShowPart_t Part>
bool qosCtlShow(ctl_print_t out, void *arg, ctl_cursor_t *cursor)
{
    static_assert(sizeof(qosCursor_t) <= sizeof *cursor);
    qosCursor_t at;
    memcpy(&at, cursor, sizeof at);
    cli_t cli = {out, arg, nullptr, 0, nullptr};
    const bool more = Part(&cli, &at);
    memcpy(cursor, &at, sizeof at);
    return more;
}

#endif
