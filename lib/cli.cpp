// SPDX-License-Identifier: Apache-2.0
// The command tree: installs, and the interfaces that contexts hold on to.
#include "lib/cli.h"

#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "lib/ifg.h"
#include "lib/linklist.h"
#include "lib/views.h"

namespace {

// An interface that a context holds on to.
struct cli_if_t {
    const cli_t *cli;
    char name[IFG_NAME_MAX + 1];
};

cli_mode_t *modeOf(cli_tree_t *tree, int mode)
{
    return tree && mode >= 0 && mode <= MAX_MODE ? &tree->mode[mode] : nullptr;
}

} // namespace

void cli_tree_free(cli_tree_t *tree)
{
    if (!tree)
        return;
    for (cli_mode_t &mode : tree->mode)
        while (cli_installed_t *installed = mode.head) {
            mode.head = installed->next;
            free(installed);
        }
    list_delete(tree->contexts);
    list_delete(tree->if_list);
    free(tree);
}

lib_result_t cli_install_gen(cli_tree_t *tree, int mode, int level, uint64_t flags, const cli_element_t *element)
{
    cli_mode_t *place = modeOf(tree, mode);
    if (!place || !element)
        return LIB_FAILED;
    for (const cli_installed_t *known = place->head; known; known = known->next)
        if (known->element == element)
            return LIB_DONE;
    cli_installed_t *installed = static_cast<cli_installed_t *>(calloc(1, sizeof(cli_installed_t)));
    if (!installed)
        return LIB_FAILED;
    *installed = {nullptr, element, flags, level};
    (place->tail ? place->tail->next : place->head) = installed;
    place->tail = installed;
    return LIB_DONE;
}

lib_result_t cli_install_config(cli_tree_t *tree, int mode, cli_writer_t writer)
{
    cli_mode_t *place = modeOf(tree, mode);
    if (!place)
        return LIB_FAILED;
    place->config_write = writer;
    return LIB_DONE;
}

lib_result_t cli_install_default(cli_tree_t *tree, int mode)
{
    cli_mode_t *place = modeOf(tree, mode);
    if (!place)
        return LIB_FAILED;
    place->has_default = true;
    return LIB_DONE;
}

lib_result_t cli_if_add(cli_tree_t *tree, const cli_t *cli, const char *name)
{
    if (!tree || strlen(name) > IFG_NAME_MAX)
        return LIB_FAILED;
    if (!tree->if_list)
        tree->if_list = list_create(nullptr, free);
    cli_if_t *entry = static_cast<cli_if_t *>(calloc(1, sizeof(cli_if_t)));
    if (!entry)
        return LIB_FAILED;
    entry->cli = cli;
    snprintf(entry->name, sizeof entry->name, "%s", name);
    if (listnode_add(tree->if_list, entry))
        return LIB_DONE;
    free(entry);
    return LIB_FAILED;
}

bool cli_if_has(const cli_tree_t *tree, const cli_t *cli, const char *name)
{
    for (const cli_if_t &entry : listView<const cli_if_t>(tree ? tree->if_list : nullptr))
        if (entry.cli == cli && strcmp(entry.name, name) == 0)
            return true;
    return false;
}

void cli_if_clear(cli_tree_t *tree, const cli_t *cli)
{
    for (tnx_listnode_t *node = listFirst(tree ? tree->if_list : nullptr); node;) {
        tnx_listnode_t *next = node->next;
        if (listPayload<const cli_if_t>(node)->cli == cli)
            list_delete_node(tree->if_list, node);
        node = next;
    }
}

int cmd_str2int(const char *text, int *error)
{
    char *end = nullptr;
    errno = 0;
    const long value = strtol(text, &end, 10);
    const bool number = (*text >= '0' && *text <= '9') || *text == '-' || *text == '+';
    *error = number && end != text && *end == '\0' && errno == 0 && value >= INT_MIN && value <= INT_MAX ? 0 : -1;
    return *error ? 0 : static_cast<int>(value);
}
