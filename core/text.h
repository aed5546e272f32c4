// SPDX-License-Identifier: Apache-2.0
// Trace texts that stand in tables: a text together with its level and the types of its arguments, checked against its
// conversions when the table is compiled, as the macros' own formats are.
#ifndef CORE_TEXT_H
#define CORE_TEXT_H

#include <cstddef>
#include <type_traits>

#include "core/trace.h"

namespace qosTextDetail {

// Whether `letter` prints an argument of type T.
template <typename T>
constexpr bool prints(char letter)
{
    if constexpr (std::is_same_v<T, const char *>)
        return letter == 's';
    else
        return letter == 'd' || letter == 'u' || letter == 'x' || letter == 'X';
}

// The conversion letter at or behind `at`, which is moved past it; 0 at the end of the text.
constexpr char nextConversion(const char *text, size_t &at)
{
    for (; text[at]; ++at) {
        if (text[at] != '%')
            continue;
        ++at;
        while (text[at] == '0' || (text[at] >= '1' && text[at] <= '9') || text[at] == '-')
            ++at;
        return text[at++];
    }
    return '\0';
}

void conversionsDoNotMatchTheArguments(); // never defined: reaching it is the compiler's error

} // namespace qosTextDetail

// A text as it is written down, before the types of its arguments are known.
struct qosLiteral_t {
    int level;
    const char *text;
};

#define QOS_ERR_TEXT(text)                                                                                             \
    qosLiteral_t                                                                                                       \
    {                                                                                                                  \
        VELMAR_DCEDBG_LVL_ERR, "ERR(%s:%d): " text                                                                     \
    }
#define QOS_INF_TEXT(text)                                                                                             \
    qosLiteral_t                                                                                                       \
    {                                                                                                                  \
        VELMAR_DCEDBG_LVL_INF, "INF(%s:%d): " text                                                                     \
    }
#define QOS_DBG_TEXT(text)                                                                                             \
    qosLiteral_t                                                                                                       \
    {                                                                                                                  \
        VELMAR_DCEDBG_LVL_DBG, "DBG(%s:%d): " text                                                                     \
    }

// A line of the form PREFIX(function:line): text, with arguments of the types Args.
template <typename... Args>
struct qosText_t {
    int level;
    const char *text;

    consteval qosText_t(const qosLiteral_t &literal) : level(literal.level), text(literal.text)
    {
        size_t at = 0;
        const bool head =
            qosTextDetail::nextConversion(text, at) == 's' && qosTextDetail::nextConversion(text, at) == 'd';
        const bool body = (qosTextDetail::prints<Args>(qosTextDetail::nextConversion(text, at)) && ...);
        if (!head || !body || qosTextDetail::nextConversion(text, at) != '\0')
            qosTextDetail::conversionsDoNotMatchTheArguments();
    }
};

// Writes a line whose text stands in a table.
template <typename... Args>
void qosTrace(qosWhere_t where, const qosText_t<Args...> &text, std::type_identity_t<Args>... args)
{
    if (!qosTraceOn(text.level))
        return;
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
    dce_trace_lasting(trace_state.id & 0xffff, text.level, VELMAR_DCEDBG_AREA_QOS, text.text, where.function,
                      where.line, args...);
#pragma GCC diagnostic pop
}

#endif
