// SPDX-License-Identifier: Apache-2.0
// The words of command lines: which command they name, what may come next, how a half-typed one goes on.
#include <algorithm>
#include <cstdio>
#include <cstring>
#include <iterator>

#include "lib/cli.h"

namespace {

// A word inside a text; of length 0 behind the last.
struct word_t {
    const char *at;
    size_t length;
};

// The words of a line, and the command words that they stand for as far as they were looked up.
struct path_t {
    word_t typed[CLI_ARGS_MAX];
    word_t meant[CLI_ARGS_MAX];
    int count;
};

bool operator==(const word_t &a, const word_t &b)
{
    return a.length == b.length && memcmp(a.at, b.at, a.length) == 0;
}

bool begins(const word_t &part, const word_t &whole)
{
    return part.length <= whole.length && memcmp(part.at, whole.at, part.length) == 0;
}

bool isParameter(const word_t &word)
{
    return word.at[0] == '<' ||
           std::any_of(word.at, word.at + word.length, [](char c) { return c >= 'A' && c <= 'Z'; });
}

word_t nextWord(const char *text)
{
    text += strspn(text, " ");
    return {text, strcspn(text, " ")};
}

// Splits a line; false if it has more words than any command.
bool split(const char *line, path_t *path)
{
    path->count = 0;
    for (word_t word = nextWord(line); word.length; word = nextWord(word.at + word.length)) {
        if (path->count == CLI_ARGS_MAX)
            return false;
        path->typed[path->count++] = word;
    }
    return true;
}

// Calls `visit` for each command of the mode whose first `depth` words are those of the path: with the command and its
// next word, of length 0 at the end.
template <typename Visit>
void eachAlong(const cli_tree_t *tree, int mode, const path_t &path, int depth, Visit visit)
{
    if (!tree || mode < 0 || mode > MAX_MODE)
        return;
    const auto step = [&](const cli_element_t *element) {
        word_t word = nextWord(element->text);
        for (int i = 0; i < depth; ++i, word = nextWord(word.at + word.length))
            if (!(word == path.meant[i]))
                return;
        visit(element, word);
    };
    for (const cli_installed_t *installed = tree->mode[mode].head; installed; installed = installed->next)
        step(installed->element);
    if (tree->mode[mode].has_default)
        for (const cli_element_t &element : cli_default_cmds)
            step(&element);
}

// Looks up the first `count` words of the path: 0, CLI_NO_COMMAND or CLI_AMBIGUOUS.
int lookUp(const cli_tree_t *tree, int mode, path_t *path, int count)
{
    for (int i = 0; i < count; ++i) {
        const word_t &typed = path->typed[i];
        word_t whole = {}, longer = {}, parameter = {};
        bool several = false;
        eachAlong(tree, mode, *path, i, [&](const cli_element_t *, const word_t &word) {
            if (word.length == 0)
                return;
            if (isParameter(word))
                parameter = parameter.length ? parameter : word;
            else if (word == typed)
                whole = word;
            else if (begins(typed, word)) {
                several = several || (longer.length && !(longer == word));
                longer = word;
            }
        });
        if (whole.length == 0 && several)
            return CLI_AMBIGUOUS;
        path->meant[i] = whole.length ? whole : longer.length ? longer : parameter;
        if (path->meant[i].length == 0)
            return CLI_NO_COMMAND;
    }
    return 0;
}

// The first installed command that ends where the path ends, or null.
const cli_element_t *commandAt(const cli_tree_t *tree, int mode, const path_t &path)
{
    const cli_element_t *found = nullptr;
    eachAlong(tree, mode, path, path.count, [&](const cli_element_t *element, const word_t &word) {
        if (word.length == 0 && !found)
            found = element;
    });
    return found;
}

// The help text of a command's word; a table may be short.
const char *helpOf(const cli_element_t *element, int index)
{
    for (int i = 0; element->help && element->help[i]; ++i)
        if (i == index)
            return element->help[i];
    return "";
}

} // namespace

int cli_execute(const cli_tree_t *tree, cli_t *cli, const char *text)
{
    char copy[CLI_TEXT_MAX]; // the handler gets terminated words
    const int length = snprintf(copy, sizeof copy, "%s", text);
    path_t path;
    if (length < 0 || length >= CLI_TEXT_MAX || !split(copy, &path) || path.count == 0)
        return CLI_NO_COMMAND;
    const int rc = lookUp(tree, cli->mode, &path, path.count);
    if (rc != 0)
        return rc;
    const cli_element_t *element = commandAt(tree, cli->mode, path);
    if (!element)
        return CLI_INCOMPLETE;
    char *argv[CLI_ARGS_MAX + 1] = {};
    int argc = 0;
    for (int i = 0; i < path.count; ++i) {
        char *word = copy + (path.typed[i].at - copy);
        word[path.typed[i].length] = '\0';
        if (isParameter(path.meant[i]))
            argv[argc++] = word;
    }
    return element->handler(cli, argc, argv);
}

int cli_choices(const cli_tree_t *tree, int mode, const char *line, cli_choice_t *choices, int room)
{
    path_t path;
    if (!split(line, &path))
        return CLI_NO_COMMAND;
    const size_t length = strlen(line);
    const bool half = length > 0 && line[length - 1] != ' ';
    const int depth = half ? path.count - 1 : path.count;
    const int rc = lookUp(tree, mode, &path, depth);
    if (rc != 0)
        return rc;
    int count = 0;
    eachAlong(tree, mode, path, depth, [&](const cli_element_t *element, const word_t &word) {
        const bool ends = word.length == 0;
        if (half && (ends || (!isParameter(word) && !begins(path.typed[depth], word))))
            return;
        const word_t shown = ends ? word_t{"<cr>", 4} : word;
        const bool known = std::any_of(choices, choices + count, [&](const cli_choice_t &c) {
            return word_t{c.word, c.length} == shown;
        });
        if (!known && count < room)
            choices[count++] = {shown.at, shown.length, ends ? "" : helpOf(element, depth), ends || isParameter(word)};
    });
    return count;
}

size_t cli_complete(const cli_tree_t *tree, int mode, const char *line, char *tail, size_t size)
{
    tail[0] = '\0';
    const size_t length = strlen(line);
    if (length == 0 || line[length - 1] == ' ')
        return 0;
    const char *blank = strrchr(line, ' ');
    const size_t typed = blank ? strlen(blank + 1) : length;
    cli_choice_t choices[32];
    const int count = cli_choices(tree, mode, line, choices, static_cast<int>(std::size(choices)));
    const cli_choice_t *first = nullptr;
    size_t common = 0;
    int words = 0;
    for (int i = 0; i < count; ++i) {
        if (choices[i].is_parameter)
            continue;
        if (words++ == 0) {
            first = &choices[i];
            common = first->length;
        } else {
            const size_t shorter = std::min(common, choices[i].length);
            common = static_cast<size_t>(std::mismatch(first->word, first->word + shorter, choices[i].word).first -
                                         first->word);
        }
    }
    if (words == 0 || common - typed + 2 > size)
        return 0;
    const int put =
        snprintf(tail, size, "%.*s%s", static_cast<int>(common - typed), first->word + typed, words == 1 ? " " : "");
    return put > 0 ? static_cast<size_t>(put) : 0;
}
