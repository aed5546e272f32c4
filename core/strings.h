// SPDX-License-Identifier: Apache-2.0
// Texts in fields of fixed size.
#ifndef CORE_STRINGS_H
#define CORE_STRINGS_H

#include <algorithm>
#include <cstddef>
#include <cstring>

// Copies the terminated `text` into a field: cut to what fits, terminated, the rest zero.
template <size_t N>
void qosCopyText(char (&field)[N], const char *text)
{
    const size_t length = std::min(strlen(text), N - 1);
    memcpy(field, text, length);
    memset(field + length, 0, N - length);
}

#endif
