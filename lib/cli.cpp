// The command tree.
#include "lib/cli.h"

#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "lib/lib_instance.h"
#include "lib/linklist.h"

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

bool isParameter(const char *word, size_t length)
{
    if (word[0] == '<')
        return true;
    for (size_t i = 0; i < length; ++i)
        if (word[i] >= 'A' && word[i] <= 'Z')
            return true;
    return false;
}

// The next word of a command's text: its length, 0 at the end. `at` is moved to its start.
size_t nextWord(const char *&at)
{
    at += strspn(at, " ");
    return strcspn(at, " ");
}

// Compares words with a command's text; stores the arguments among them. -1, or the number of arguments.
int match(const char *text, int argc, const char *const *argv, const char **args)
{
    int count = 0;
    for (int i = 0; i < argc; ++i) {
        const size_t length = nextWord(text);
        if (length == 0)
            return -1;
        if (isParameter(text, length)) {
            if (args)
                args[count] = argv[i];
            ++count;
        } else if (strlen(argv[i]) != length || memcmp(argv[i], text, length) != 0) {
            return -1;
        }
        text += length;
    }
    return nextWord(text) == 0 ? count : -1;
}

} // namespace

int host_vty_init(lib_instance_t *lib)
{
    if (!lib->ctree)
        lib->ctree = static_cast<cli_tree_t *>(calloc(1, sizeof(cli_tree_t)));
    return lib->ctree ? 0 : -1;
}

int host_config_start(lib_instance_t *lib)
{
    if (!lib->ctree)
        return -1;
    lib->ctree->config_started = true;
    return 0;
}

void cli_tree_free(cli_tree_t *tree)
{
    if (!tree)
        return;
    for (cli_mode_t &mode : tree->mode)
        while (cli_installed_t *installed = mode.head) {
            mode.head = installed->next;
            free(installed);
        }
    list_delete(tree->if_list);
    free(tree);
}

int cli_install_gen(cli_tree_t *tree, int mode, int level, uint64_t flags, const cli_element_t *element)
{
    cli_mode_t *place = modeOf(tree, mode);
    if (!place || !element)
        return -1;
    cli_installed_t *installed = static_cast<cli_installed_t *>(calloc(1, sizeof(cli_installed_t)));
    if (!installed)
        return -1;
    *installed = {nullptr, element, flags, level};
    (place->tail ? place->tail->next : place->head) = installed;
    place->tail = installed;
    return 0;
}

int cli_install_config(cli_tree_t *tree, int mode, cli_writer_t writer)
{
    cli_mode_t *place = modeOf(tree, mode);
    if (!place)
        return -1;
    place->config_write = writer;
    return 0;
}

int cli_install_default(cli_tree_t *tree, int mode)
{
    cli_mode_t *place = modeOf(tree, mode);
    if (!place)
        return -1;
    place->has_default = true;
    return 0;
}

const cli_installed_t *cli_lookup(const cli_tree_t *tree, int mode, int argc, const char *const *argv)
{
    const cli_mode_t *place = modeOf(const_cast<cli_tree_t *>(tree), mode);
    const cli_installed_t *installed = place ? place->head : nullptr;
    while (installed && match(installed->element->text, argc, argv, nullptr) < 0)
        installed = installed->next;
    return installed;
}

int cli_execute(const cli_tree_t *tree, cli_t *cli, const char *text)
{
    char copy[CLI_TEXT_MAX];
    const int length = snprintf(copy, sizeof copy, "%s", text);
    if (length < 0 || length >= CLI_TEXT_MAX)
        return CLI_NO_COMMAND;
    const char *words[CLI_ARGS_MAX];
    int count = 0;
    char *rest = nullptr;
    for (char *word = strtok_r(copy, " ", &rest); word; word = strtok_r(nullptr, " ", &rest)) {
        if (count == CLI_ARGS_MAX)
            return CLI_NO_COMMAND;
        words[count++] = word;
    }
    const cli_installed_t *installed = cli_lookup(tree, cli->mode, count, words);
    if (!installed)
        return CLI_NO_COMMAND;
    const char *args[CLI_ARGS_MAX];
    const int argc = match(installed->element->text, count, words, args);
    char *argv[CLI_ARGS_MAX + 1] = {};
    for (int i = 0; i < argc; ++i)
        argv[i] = copy + (args[i] - copy);
    return installed->element->handler(cli, argc, argv);
}

int cli_if_add(cli_tree_t *tree, const cli_t *cli, const char *name)
{
    if (!tree || strlen(name) > IFG_NAME_MAX)
        return -1;
    if (!tree->if_list)
        tree->if_list = list_create(nullptr, free);
    cli_if_t *entry = static_cast<cli_if_t *>(calloc(1, sizeof(cli_if_t)));
    if (!entry)
        return -1;
    entry->cli = cli;
    snprintf(entry->name, sizeof entry->name, "%s", name);
    if (listnode_add(tree->if_list, entry))
        return 0;
    free(entry);
    return -1;
}

bool cli_if_has(const cli_tree_t *tree, const cli_t *cli, const char *name)
{
    if (!tree || !tree->if_list)
        return false;
    for (const tnx_listnode_t *node = tree->if_list->head; node; node = node->next) {
        const cli_if_t *entry = static_cast<const cli_if_t *>(node->data);
        if (entry->cli == cli && strcmp(entry->name, name) == 0)
            return true;
    }
    return false;
}

void cli_if_clear(cli_tree_t *tree, const cli_t *cli)
{
    for (tnx_listnode_t *node = tree && tree->if_list ? tree->if_list->head : nullptr; node;) {
        tnx_listnode_t *next = node->next;
        if (static_cast<const cli_if_t *>(node->data)->cli == cli)
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
