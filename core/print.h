// SPDX-License-Identifier: Apache-2.0
// The context of a show function or command: where it prints, and what a configuring command works on.
#ifndef CORE_PRINT_H
#define CORE_PRINT_H

#include "velmar/ctl.h"

struct qosJson_t;

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

// A printing function in the form that the control socket takes.
template <qosShow_t Show>
int qosCtlShow(ctl_print_t out, void *arg)
{
    cli_t cli = {out, arg, nullptr, 0, nullptr};
    return Show(&cli);
}

#endif
