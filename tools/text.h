// SPDX-License-Identifier: Apache-2.0
// What comes in and what goes out, each at one place: bounded reading, numbers with their range, text fit for a
// terminal, complaints of one line.
#ifndef TOOLS_TEXT_H
#define TOOLS_TEXT_H

#include <chrono>
#include <cstdint>
#include <functional>
#include <optional>
#include <ostream>
#include <string>
#include <string_view>
#include <vector>

// Text as it may be shown on one line: control characters, bytes that are no UTF-8 and marks that turn the direction of
// writing become \x1b and the like. Tabs stay; in ctlShownLines ends of lines too.
std::string ctlShown(std::string_view text);
std::string ctlShownLines(std::string_view text);

// The same for a text in JSON, where they become \u001b.
std::string ctlShownJson(std::string_view text);

// Writes "dorvctl: TEXT" as one line, cut where it is endless.
void ctlComplain(std::ostream &err, const std::string &text);

// Runs a command and gives its exit status. Whatever it throws is one line on `err`; what is not a ctlError_t ends with
// CTL_SILENT.
int ctlGuard(std::ostream &err, const std::function<int()> &command);

// The number that the text is as a whole, without sign; nothing for any other text and for one above `most`.
std::optional<uint64_t> ctlParseNumber(std::string_view text, uint64_t most, int base = 10);

// Everything from where the descriptor stands, at most `most` bytes. Nothing if it cannot be read or is longer; then
// `fault` says which.
std::optional<std::string> ctlReadAll(int fd, size_t most, std::string &fault);

std::vector<std::string> ctlLinesOf(const std::string &text);

// A time as 2026-11-23T14:05:09Z, now if none is given; with milliseconds on request.
std::string ctlUtc(std::chrono::system_clock::time_point at = std::chrono::system_clock::now(),
                   bool milliseconds = false);

#endif
