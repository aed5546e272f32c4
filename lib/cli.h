// The command tree of the manager role: commands by mode, found and run by their words. There is no terminal in front
// of it; commands run by text.
#ifndef LIB_CLI_H
#define LIB_CLI_H

#include <cstdint>

#include "core/print.h"

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
    bool has_default;          // the mode takes the default commands
};

struct cli_tree_t {
    cli_mode_t mode[MAX_MODE + 1];
    tnx_list_t *if_list; // the contexts' own interfaces, null while there are none
    bool config_started;
};

// Makes the instance's command tree if it has none. 0 or -1.
int host_vty_init(lib_instance_t *lib);
// Marks the tree as ready for configuration. 0, or -1 without a tree.
int host_config_start(lib_instance_t *lib);
void cli_tree_free(cli_tree_t *tree);

// Installs give 0, or -1 for a null tree, a mode above 138, or want of memory. `element` is kept by address.
int cli_install_gen(cli_tree_t *tree, int mode, int level, uint64_t flags, const cli_element_t *element);
int cli_install_config(cli_tree_t *tree, int mode, cli_writer_t writer); // replaces an older writer
int cli_install_default(cli_tree_t *tree, int mode);

constexpr int CLI_ARGS_MAX = 16;  // words of a command
constexpr int CLI_TEXT_MAX = 256; // characters of one, terminator included
constexpr int CLI_NO_COMMAND = -1;

// The command of a mode that these words name, the first installed of several, or null.
const cli_installed_t *cli_lookup(const cli_tree_t *tree, int mode, int argc, const char *const *argv);
// Runs a command of the context's mode by its text, the handler getting the words that stand for arguments. Gives the
// handler's result, or CLI_NO_COMMAND.
int cli_execute(const cli_tree_t *tree, cli_t *cli, const char *text);

// The interface list of a context: names that it holds on to and that no command of it deletes.
int cli_if_add(cli_tree_t *tree, const cli_t *cli, const char *name); // 0 or -1
bool cli_if_has(const cli_tree_t *tree, const cli_t *cli, const char *name);
void cli_if_clear(cli_tree_t *tree, const cli_t *cli); // called when a context ends

// A decimal number with an optional sign. *error is 0, or negative for a text that is not one or does not fit.
int cmd_str2int(const char *text, int *error);

#endif
