// Trace texts that stand in tables: a text together with the types of its arguments, checked against its conversions
// when the table is compiled, as the macros' own formats are.
#ifndef CORE_TEXT_H
#define CORE_TEXT_H

#include <cstddef>
#include <type_traits>

#include "core/trace.h"

namespace qosTextDetail {

// Whether `letter` prints an argument of type T.
template <typename T>
consteval bool prints(char letter)
{
    if constexpr (std::is_same_v<T, const char *>)
        return letter == 's';
    else
        return letter == 'd' || letter == 'u' || letter == 'x' || letter == 'X';
}

// The conversion letter at or behind `at`, which is moved past it; 0 at the end of the text.
consteval char nextConversion(const char *text, size_t &at)
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

// A line of the form PREFIX(function:line): text, with arguments of the types Args.
template <typename... Args>
struct qosText_t {
    const char *text;

    template <size_t N>
    consteval qosText_t(const char (&literal)[N]) : text(literal)
    {
        size_t at = 0;
        const bool head =
            qosTextDetail::nextConversion(literal, at) == 's' && qosTextDetail::nextConversion(literal, at) == 'd';
        const bool body = (qosTextDetail::prints<Args>(qosTextDetail::nextConversion(literal, at)) && ...);
        if (!head || !body || qosTextDetail::nextConversion(literal, at) != '\0')
            qosTextDetail::conversionsDoNotMatchTheArguments();
    }
};

#define QOS_ERR_TEXT(text) "ERR(%s:%d): " text
#define QOS_INF_TEXT(text) "INF(%s:%d): " text
#define QOS_DBG_TEXT(text) "DBG(%s:%d): " text

// Writes a line whose text stands in a table. The level is the caller's and agrees with the text's prefix.
template <typename... Args>
void qosTrace(int level, const char *function, int line, const qosText_t<Args...> &text,
              std::type_identity_t<Args>... args)
{
    if (!qosTraceOn(level))
        return;
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
    dce_trace_vprintf(trace_state.id & 0xffff, level, VELMAR_DCEDBG_AREA_QOS, text.text, function, line, args...);
#pragma GCC diagnostic pop
}

#endif
