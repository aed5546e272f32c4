// SPDX-License-Identifier: Apache-2.0
// Tables that a printing function writes once and that come out in two forms: as lines of text, to the byte as people
// and scripts know them, or as JSON, an array of one object a record. Which one it is stands in the context.
//
//     qosPrintRecord(cli);
//     qosPrintField(cli, "chip", "Chip %d", chip->chip_id);
//     qosPrintField(cli, "slot", " (%d/", chip->slot_id);
//
// The formats are checked against their values as printf's are, which is why these are macros; each value is one.
#ifndef CORE_TABLE_H
#define CORE_TABLE_H

#include <concepts>
#include <cstdint>
#include <type_traits>

#include "core/print.h"

// The JSON form. A null key is an item of a list; a null text is null. Bytes that are no UTF-8 become U+FFFD.
void qosJsonBegin(cli_t *cli);
void qosJsonRecord(cli_t *cli); // ends the one before
void qosJsonNumber(cli_t *cli, const char *key, int64_t number);
void qosJsonTruth(cli_t *cli, const char *key, bool truth);
void qosJsonText(cli_t *cli, const char *key, const char *text);
void qosJsonList(cli_t *cli, const char *key);
void qosJsonListEnd(cli_t *cli);
void qosJsonEnd(cli_t *cli);

inline void qosJsonValue(cli_t *cli, const char *key, const char *text)
{
    qosJsonText(cli, key, text);
}

template <std::integral T>
requires(!std::is_same_v<T, bool>) void qosJsonValue(cli_t *cli, const char *key, T number)
{
    qosJsonNumber(cli, key, static_cast<int64_t>(number));
}

// Begins a record; the text has nothing for it.
#define qosPrintRecord(cli) ((cli)->json ? qosJsonRecord(cli) : void())

// A value in both forms, with its key in the one and its format in the other.
#define qosPrintField(cli, key, format, value)                                                                         \
    ((cli)->json ? qosJsonValue(cli, key, value) : (void)cli_out(cli, format, value))

// A truth, which the text says in a word.
#define qosPrintTruth(cli, key, format, truth, yes, no)                                                                \
    ((cli)->json ? qosJsonTruth(cli, key, truth) : (void)cli_out(cli, format, (truth) ? (yes) : (no)))

// A text that may be missing: null in JSON, nothing in the text.
#define qosPrintOptional(cli, key, format, value)                                                                      \
    ((cli)->json ? qosJsonText(cli, key, value) : (value) ? (void)cli_out(cli, format, value) : void())

// Lists of values without keys.
#define qosPrintList(cli, key) ((cli)->json ? qosJsonList(cli, key) : void())
#define qosPrintItem(cli, format, value) qosPrintField(cli, nullptr, format, value)
#define qosPrintListEnd(cli) ((cli)->json ? qosJsonListEnd(cli) : void())

// What only one form has: words of the text; a value that stands elsewhere in the text.
#define qosPrintText(cli, ...) ((cli)->json ? void() : (void)cli_out(cli, __VA_ARGS__))
#define qosPrintKey(cli, key, value) ((cli)->json ? qosJsonValue(cli, key, value) : void())

// A printing function's JSON, likewise part by part.
template <qosShowPart_t Part>
bool qosShowJson(cli_t *cli, qosCursor_t *at)
{
    cli->json = &at->json;
    if (!at->has_begun)
        qosJsonBegin(cli);
    at->has_begun = true;
    const bool more = Part(cli, at);
    if (!more)
        qosJsonEnd(cli);
    return more;
}

#endif
