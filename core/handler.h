// SPDX-License-Identifier: Apache-2.0
// Handlers and back-end entries: typed functions of their body, or rows of data that are called like one. The tables
// hold both in one untyped form.
#ifndef CORE_HANDLER_H
#define CORE_HANDLER_H

#include <cstdint>
#include <type_traits>

#include "agent/messages/codes.h"

using qaUntyped_t = qosMsgStatus_t (*)(void *body);

namespace qaHandlerDetail {

template <typename Called>
struct bodyOf : bodyOf<decltype(&Called::operator())> {
};
template <typename Body>
struct bodyOf<qosMsgStatus_t(Body *)> {
    using type = Body;
};
template <typename Row, typename Body>
struct bodyOf<qosMsgStatus_t (Row::*)(Body *) const> {
    using type = Body;
};

} // namespace qaHandlerDetail

// The body that a function or row takes.
template <const auto &Fn>
using qaBodyOf = typename qaHandlerDetail::bodyOf<std::remove_cvref_t<decltype(Fn)>>::type;

// `qosMsgStatus_t f(Body *)`, or a row, as a function of an untyped body.
template <const auto &Fn>
constexpr qaUntyped_t qaUntyped = [](void *body) { return Fn(static_cast<qaBodyOf<Fn> *>(body)); };

// Leaves an outcome in a body's status.
template <typename Body>
void qosSetStatus(Body *body, qosMsgStatus_t status)
{
    body->status = static_cast<int32_t>(status);
}

// The same, and gives it: how handlers and back-end entries end.
template <typename Body>
qosMsgStatus_t qosAnswer(Body *body, qosMsgStatus_t status)
{
    qosSetStatus(body, status);
    return status;
}

#endif
