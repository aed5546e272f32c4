// Handlers and back-end entries are typed functions of their body; the tables hold them in one untyped form.
#ifndef CORE_HANDLER_H
#define CORE_HANDLER_H

#include <cstdint>

namespace qaHandlerDetail {

template <auto Fn>
struct wrapped;

template <typename Body, uint32_t (*Fn)(Body *)>
struct wrapped<Fn> {
    static uint32_t call(void *body) { return Fn(static_cast<Body *>(body)); }
};

} // namespace qaHandlerDetail

// `uint32_t f(Body *)` as a function of an untyped body.
template <auto Fn>
constexpr uint32_t (*qaUntyped)(void *) = qaHandlerDetail::wrapped<Fn>::call;

// Leaves the outcome in a body's status and gives it: how handlers and back-end entries end.
template <typename Body>
uint32_t qosAnswer(Body *body, uint32_t status)
{
    body->status = static_cast<int32_t>(status);
    return status;
}

#endif
