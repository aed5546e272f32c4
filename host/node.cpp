// SPDX-License-Identifier: Apache-2.0
// The node file: `key = value` lines, "#" starts a comment. Keys: model, slot, slot_base, instance, group.
#include "host/node.h"

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <grp.h>

#include "host/run.h"
#include "velmar/process.h"
#include "velmar/run.h"

namespace {

int node_model = 1000;
int my_switch;
constexpr size_t SHOWN_MAX = 100; // characters of a malformed line

struct node_key_t {
    const char *name;
    long most;
};
constexpr node_key_t KEYS[] = {{"model", INT_MAX}, {"slot", 16}, {"slot_base", INT_MAX}, {"instance", INT_MAX}};

char *trim(char *text)
{
    text += strspn(text, " \t\r\n");
    char *end = text + strlen(text);
    while (end > text && strchr(" \t\r\n", end[-1]))
        *--end = '\0';
    return text;
}

void store(size_t key, long value)
{
    uint32_t *const words[] = {nullptr, &__expm.slot, &__expm.slot_base, &__expm.instance};
    if (words[key])
        *words[key] = static_cast<uint32_t>(value);
    else
        node_model = static_cast<int>(value);
}

// A group's number, -1 if there is none of that name.
gid_t groupOf(const char *name)
{
    char text[16384]; // with all of its members
    group about;
    group *found = nullptr;
    return getgrnam_r(name, &about, text, sizeof text, &found) == 0 && found ? about.gr_gid : static_cast<gid_t>(-1);
}

// Null, or what is wrong with the line. The group is taken too, if there is room for it.
const char *takeLine(char *line, gid_t *readers)
{
    if (char *comment = strchr(line, '#'))
        *comment = '\0';
    line = trim(line);
    if (!*line)
        return nullptr;
    char *equals = strchr(line, '=');
    if (!equals)
        return "expected key = value";
    *equals = '\0';
    const char *name = trim(line);
    const char *text = trim(equals + 1);
    if (strcmp(name, "group") == 0) {
        const gid_t named = groupOf(text);
        if (readers)
            *readers = named;
        return named == static_cast<gid_t>(-1) ? "there is no such group" : nullptr;
    }
    for (size_t key = 0; key < sizeof KEYS / sizeof *KEYS; ++key) {
        if (strcmp(name, KEYS[key].name) != 0)
            continue;
        char *end;
        errno = 0;
        const long value = strtol(text, &end, 10);
        if (end == text || *end || errno)
            return "the value is not a number";
        if (value < 0 || value > KEYS[key].most)
            return "the value is out of range";
        if (!readers)
            store(key, value);
        return nullptr;
    }
    return "unknown key; known are model, slot, slot_base, instance and group";
}

} // namespace

expm_t __expm = {{0, 0}, 1, 1, {0, 0, 0, 0, 0}, 0, {0, 0}};

static std::string takeFile(FILE *file, gid_t *readers)
{
    std::string wrong;
    char *line = nullptr;
    size_t room = 0;
    ssize_t length;
    for (int number = 1; wrong.empty() && (length = getline(&line, &room, file)) >= 0; ++number) {
        const bool whole = strlen(line) == static_cast<size_t>(length);
        const std::string shown(line, std::min(strcspn(line, "\r\n"), SHOWN_MAX));
        if (const char *why = whole ? takeLine(line, readers) : "there is a NUL byte in it")
            wrong = "line " + std::to_string(number) + ": " + why + ": '" + shown + "'";
    }
    free(line);
    return wrong;
}

std::string nodeTake(FILE *file)
{
    return takeFile(file, nullptr);
}

gid_t nodeReaders(const char *run_dir)
{
    char path[PATH_MAX + 8];
    snprintf(path, sizeof path, "%s/node", run_dir);
    const char *why;
    gid_t readers = static_cast<gid_t>(-1);
    const int fd = runOpen(path, O_RDONLY, &why);
    FILE *const file = fd < 0 ? nullptr : fdopen(fd, "r");
    if (!file)
        return readers;
    (void)takeFile(file, &readers);
    fclose(file);
    return readers;
}

void nodeLoad(const char *progname)
{
    char text[2 * PATH_MAX];
    const char *dir = velmar_run_dir(text, sizeof text);
    if (!dir) {
        fprintf(stderr, "%s: %s\n", progname, text);
        exit(1);
    }
    char path[PATH_MAX + 8];
    snprintf(path, sizeof path, "%s/node", dir);
    const char *why;
    const int fd = runOpen(path, O_RDONLY, &why);
    FILE *file = fd < 0 ? nullptr : fdopen(fd, "r");
    if (!file) {
        if (errno == ENOENT)
            return;
        fprintf(stderr, "%s: cannot read %s: %s\n", progname, path, fd < 0 ? why : strerror(errno));
        exit(1);
    }
    const std::string wrong = nodeTake(file);
    if (!wrong.empty()) {
        fprintf(stderr, "%s: %s %s\n", progname, path, wrong.c_str());
        exit(1);
    }
    if (ferror(file)) {
        fprintf(stderr, "%s: cannot read %s: %s\n", progname, path, strerror(errno));
        exit(1);
    }
    fclose(file);
}

int sysconModel()
{
    return node_model;
}

void setMySwitch(int n)
{
    my_switch = n;
}
