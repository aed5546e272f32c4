// SPDX-License-Identifier: Apache-2.0
// The contexts that are open on a command tree, and the commands that lead them from mode to mode.
#include <cstdlib>

#include "lib/cli.h"
#include "lib/lib_instance.h"
#include "lib/linklist.h"
#include "lib/views.h"

namespace {

// "exit" goes one mode up; the current interface stays what it is until a command names another or deletes it.
int exitMode(cli_t *cli, int, char **)
{
    if (cli->mode == EXEC_MODE)
        return CLI_SESSION_ENDED;
    cli->mode = cli->mode == CONFIG_MODE ? EXEC_MODE : CONFIG_MODE;
    return 0;
}

int endModes(cli_t *cli, int, char **)
{
    cli->mode = EXEC_MODE;
    return 0;
}

int configureTerminal(cli_t *cli, int, char **)
{
    cli->mode = CONFIG_MODE;
    return 0;
}

const char *const exit_help[] = {"Leave the current mode", nullptr};
const char *const end_help[] = {"Return to the execution mode", nullptr};
const char *const exec_exit_help[] = {"Leave the terminal", nullptr};
const char *const configure_help[] = {"Enter the configuration mode", "Configure from the terminal", nullptr};

const cli_element_t exec_exit_cmd = {"exit", exitMode, exec_exit_help};
const cli_element_t configure_cmd = {"configure terminal", configureTerminal, configure_help};

// Level and flags of the tree's own commands: anyone may use them.
constexpr int OWN_LEVEL = 1;
constexpr uint64_t OWN_FLAGS = 0;

} // namespace

const cli_element_t cli_default_cmds[2] = {{"exit", exitMode, exit_help}, {"end", endModes, end_help}};

lib_result_t host_vty_init(lib_instance_t *lib)
{
    if (!lib->ctree)
        lib->ctree = static_cast<cli_tree_t *>(calloc(1, sizeof(cli_tree_t)));
    return cli_install_gen(lib->ctree, EXEC_MODE, OWN_LEVEL, OWN_FLAGS, &exec_exit_cmd);
}

lib_result_t host_config_start(lib_instance_t *lib)
{
    return cli_install_gen(lib->ctree, EXEC_MODE, OWN_LEVEL, OWN_FLAGS, &configure_cmd);
}

lib_result_t cli_open(cli_tree_t *tree, cli_t *cli)
{
    if (!tree)
        return LIB_FAILED;
    if (!tree->contexts)
        tree->contexts = list_new();
    return listnode_add_nodup(tree->contexts, cli) ? LIB_DONE : LIB_FAILED;
}

void cli_close(cli_tree_t *tree, cli_t *cli)
{
    if (!tree)
        return;
    cli_if_clear(tree, cli);
    (void)listnode_delete(tree->contexts, cli); // a context that was never opened is in no list
}

void cli_forget_if(cli_tree_t *tree, const void *ifp)
{
    for (cli_t &cli : listView<cli_t>(tree ? tree->contexts : nullptr))
        if (cli.ifindex_obj == ifp)
            cli.ifindex_obj = nullptr;
}
