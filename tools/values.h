// SPDX-License-Identifier: Apache-2.0
// Field values as a person writes them and as they stand in a body.
//
// Integers are decimal or hexadecimal (0x), arrays are lists: "0,1,2", "7*8" for a repeated value, "0..7" and
// "te1/1..te1/8" for a range. "x:00ff12" gives bytes as they are. Interface indexes may be written as ports ("te1/3",
// "te1/3@1" on chip 1, ge and fo likewise), chips ("chip1/0") or "all". Everything that is shown can be typed.
#ifndef TOOLS_VALUES_H
#define TOOLS_VALUES_H

#include <optional>
#include <string>
#include <vector>

#include "tools/names.h"

// Bytes from hexadecimal text; blanks, colons and line breaks between bytes do not count. Refuses any other text.
ctlBytes ctlParseHex(const std::string &text);
std::string ctlFormatHex(const uint8_t *data, size_t size);

// An interface by its written name, nothing if the text is no such name. Refuses one whose numbers do not fit.
std::optional<uint32_t> ctlParseInterface(const std::string &text);

// The written name of an index; empty for an index that has none.
std::string ctlFormatInterface(uint32_t ifindex);

// The same as it is shown: an index without a name in hexadecimal.
std::string ctlShowInterface(uint32_t ifindex);

// A list with its repeats and ranges written out.
std::vector<std::string> ctlExpandList(const std::string &text);

// Writes a field: `text` as typed, or one text for each element. The body must have room for the whole field.
void ctlSetText(const wireBody &body, ctlBytes &data, const ctlFieldRef_t &to, const std::string &text);
void ctlSetElements(const wireBody &body, ctlBytes &data, const ctlFieldRef_t &to,
                    const std::vector<std::string> &elements);

// The elements that ctlSetText would write, for a caller who has to make room for them first.
std::vector<std::string> ctlElementsOf(const ctlFieldRef_t &to, const std::string &text);

// Element n of an integer field, sign-extended where the field is signed.
uint64_t ctlReadInteger(const wireField &field, const ctlBytes &data, size_t n);
void ctlWriteInteger(const wireField &field, ctlBytes &data, size_t n, uint64_t value);

// Element n of a Chars field up to its first zero byte.
std::string ctlReadChars(const wireField &field, const ctlBytes &data, size_t n);

// Element n of any field, as shown.
std::string ctlFormatElement(const wireField &field, const ctlBytes &data, size_t n);

#endif
