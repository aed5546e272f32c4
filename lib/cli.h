// SPDX-License-Identifier: Apache-2.0
// The command tree of the manager role: commands by mode, found by the unique beginnings of their words and run on a
// context; and what a terminal asks it, which words may come next and how a half-typed one goes on.
//
// lib/cli.cpp holds the tree and its installs, lib/cli_match.cpp the words, lib/cli_session.cpp contexts and the tree's
// own commands. Main thread only.
#ifndef LIB_CLI_H
#define LIB_CLI_H

#include <cstddef>
#include <cstdint>

#include "core/print.h"
#include "lib/result.h"

struct lib_instance_t;
struct tnx_list_t;

// Modes that commands are installed in.
constexpr int EXEC_MODE = 4;
constexpr int CONFIG_MODE = 5;
constexpr int INTERFACE_MODE = 16; // external port
constexpr int VLAN_INTERFACE_MODE = 17;
constexpr int PORT_CHANNEL_MODE = 18;
constexpr int MAX_MODE = 138;

using cli_writer_t = int (*)(cli_t *cli);

struct cli_installed_t {
    cli_installed_t *next;
    const cli_element_t *element;
    uint64_t flags;
    int level;
};

struct cli_mode_t {
    cli_installed_t *head; // in the order of installation
    cli_installed_t *tail;
    cli_writer_t config_write; // null without one
    bool has_default;          // the mode takes the default commands, behind its own
};

struct cli_tree_t {
    cli_mode_t mode[MAX_MODE + 1];
    tnx_list_t *contexts; // those that are open; null before the first
    tnx_list_t *if_list;  // the contexts' own interfaces, null while there are none
};

// Makes the instance's command tree, with "exit" in the execution mode, if it has none. 0 or -1.
lib_result_t host_vty_init(lib_instance_t *lib);
// Opens the way into the configuration: "configure terminal" in the execution mode. 0, or -1 without a tree.
lib_result_t host_config_start(lib_instance_t *lib);
void cli_tree_free(cli_tree_t *tree);

// Installs give 0, or -1 for a null tree, a mode above 138, or want of memory. `element` is kept by address; one that
// the mode has already is not installed again, so that a start hook may run twice. A command for which there was no
// memory is missing from the tree, and nothing else is: start hooks go on.
lib_result_t cli_install_gen(cli_tree_t *tree, int mode, int level, uint64_t flags, const cli_element_t *element);
lib_result_t cli_install_config(cli_tree_t *tree, int mode, cli_writer_t writer); // replaces an older writer
// The default commands: "exit", one mode up, and "end", to the execution mode.
lib_result_t cli_install_default(cli_tree_t *tree, int mode);
extern const cli_element_t cli_default_cmds[2];

constexpr int CLI_ARGS_MAX = 16;  // words of a command
constexpr int CLI_TEXT_MAX = 256; // characters of one, terminator included

// Results beside those of the handlers.
constexpr int CLI_NO_COMMAND = -1;
constexpr int CLI_AMBIGUOUS = -2;     // a word begins several commands
constexpr int CLI_INCOMPLETE = -3;    // words are missing
constexpr int CLI_SESSION_ENDED = -4; // of "exit" in the execution mode: the terminal is to close

// Runs a command of the context's mode by its text, the handler getting the words that stand for arguments. A word may
// be cut short as long as one command word begins with it; a whole word wins over longer ones, a command word over an
// argument. Gives the handler's result, or one of the above.
int cli_execute(const cli_tree_t *tree, cli_t *cli, const char *text);

// A word that may come next.
struct cli_choice_t {
    const char *word; // not terminated; "<cr>" where the line is a whole command
    size_t length;
    const char *help;
    bool is_parameter; // stands for an argument
};
// What may stand at the end of `line`: behind a blank the next words, else those that its last word begins. Each word
// comes once, in the order of installation, `room` of them at most. Gives their number, or CLI_NO_COMMAND or
// CLI_AMBIGUOUS for the words before.
int cli_choices(const cli_tree_t *tree, int mode, const char *line, cli_choice_t *choices, int room);
// What completes the last word of `line` as far as all choices agree, with a blank if there is but one: the characters
// put into `tail`, which is terminated; 0 for none.
size_t cli_complete(const cli_tree_t *tree, int mode, const char *line, char *tail, size_t size);

// A context takes part from cli_open (0 or -1) to cli_close.
lib_result_t cli_open(cli_tree_t *tree, cli_t *cli);
void cli_close(cli_tree_t *tree, cli_t *cli);
// The interface is going away: it is no context's current one any more.
void cli_forget_if(cli_tree_t *tree, const void *ifp);

// The interface list of a context: names that it holds on to and that no command of it deletes.
lib_result_t cli_if_add(cli_tree_t *tree, const cli_t *cli, const char *name); // 0 or -1
bool cli_if_has(const cli_tree_t *tree, const cli_t *cli, const char *name);
void cli_if_clear(cli_tree_t *tree, const cli_t *cli);

// A decimal number with an optional sign. *error is 0, or negative for a text that is not one or does not fit.
int cmd_str2int(const char *text, int *error);

#endif
