// SPDX-License-Identifier: Apache-2.0
// The JSON of a printed table, written piece by piece as the values come.
#include "core/table.h"

#include <cstddef>

namespace {

// The bytes of the UTF-8 character at `at`; 0 if there is none. The terminator is never part of one.
size_t characterAt(const unsigned char *at)
{
    const unsigned char first = at[0];
    if (first < 0x80)
        return 1;
    const size_t length = first < 0xc2 ? 0 : first < 0xe0 ? 2 : first < 0xf0 ? 3 : first < 0xf5 ? 4 : 0;
    for (size_t i = 1; i < length; ++i)
        if ((at[i] & 0xc0) != 0x80)
            return 0;
    const bool overlong = (first == 0xe0 && at[1] < 0xa0) || (first == 0xf0 && at[1] < 0x90);
    const bool surrogate = first == 0xed && at[1] > 0x9f;
    const bool beyond = first == 0xf4 && at[1] > 0x8f;
    return overlong || surrogate || beyond ? 0 : length;
}

bool isEscaped(unsigned char c)
{
    return c < 0x20 || c == '"' || c == '\\';
}

void quote(cli_t *cli, const char *text)
{
    const auto *at = reinterpret_cast<const unsigned char *>(text);
    cli_out(cli, "\"");
    while (*at) {
        const auto *plain = at;
        while (*at && !isEscaped(*at) && characterAt(at) > 0)
            at += characterAt(at);
        cli_out(cli, "%.*s", static_cast<int>(at - plain), reinterpret_cast<const char *>(plain));
        if (*at) {
            cli_out(cli, "\\u%04x", isEscaped(*at) ? *at : 0xfffdU);
            ++at;
        }
    }
    cli_out(cli, "\"");
}

// The comma ahead of a value, and its key.
void lead(cli_t *cli, const char *key)
{
    cli_out(cli, "%s", cli->json->has_values ? "," : "");
    cli->json->has_values = true;
    if (key)
        cli_out(cli, "\"%s\":", key);
}

} // namespace

void qosJsonBegin(cli_t *cli)
{
    cli_out(cli, "[");
}

void qosJsonRecord(cli_t *cli)
{
    cli_out(cli, "%s", cli->json->has_records ? "},\n{" : "{");
    *cli->json = {true, false};
}

void qosJsonNumber(cli_t *cli, const char *key, int64_t number)
{
    lead(cli, key);
    cli_out(cli, "%lld", static_cast<long long>(number));
}

void qosJsonTruth(cli_t *cli, const char *key, bool truth)
{
    lead(cli, key);
    cli_out(cli, "%s", truth ? "true" : "false");
}

void qosJsonText(cli_t *cli, const char *key, const char *text)
{
    lead(cli, key);
    if (text)
        quote(cli, text);
    else
        cli_out(cli, "null");
}

void qosJsonList(cli_t *cli, const char *key)
{
    lead(cli, key);
    cli_out(cli, "[");
    cli->json->has_values = false;
}

void qosJsonListEnd(cli_t *cli)
{
    cli_out(cli, "]");
    cli->json->has_values = true;
}

void qosJsonEnd(cli_t *cli)
{
    cli_out(cli, "%s", cli->json->has_records ? "}]\n" : "]\n");
}
