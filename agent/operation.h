// SPDX-License-Identifier: Apache-2.0
// The call of a chip's operation, the same for all modules: a row says which operation it is, what a chip type without
// it answers, and what is said before and after.
#ifndef AGENT_OPERATION_H
#define AGENT_OPERATION_H

#include <cstdint>
#include <type_traits>

#include "core/handler.h"
#include "core/text.h"
#include "core/trace.h"
#include "inventory/ifindex.h"
#include "platform/qa_ioctl.h"

// What the lines of a call may speak of.
struct qaAbout_t {
    qosWhere_t where; // the handler
    const qosChip_t *chip;
    const char *name = "";            // of the port
    uint32_t ifindex = 0;             // as the request gave it
    uint32_t chip_ifindex = 0;        // likewise
    qosMsgStatus_t rc = QOS_MSG_DONE; // of the call; ahead of it that of an earlier one, which the call's is joined to
};

// The arguments of lines.
inline const char *qaName(const qaAbout_t &about)
{
    return about.name;
}
inline uint32_t qaIfindex(const qaAbout_t &about)
{
    return about.ifindex;
}
inline uint32_t qaChipAsked(const qaAbout_t &about)
{
    return about.chip_ifindex;
}
inline uint32_t qaRc(const qaAbout_t &about)
{
    return about.rc;
}
inline int32_t qaChipId(const qaAbout_t &about)
{
    return about.chip->chip_id;
}
inline uint32_t qaChipIfindex(const qaAbout_t &about)
{
    return about.chip->chip_ifindex;
}
inline uint32_t qaChipType(const qaAbout_t &about)
{
    return about.chip->chip_type;
}
inline int32_t qaChipSlot(const qaAbout_t &about)
{
    return qaIfindexSlot(about.chip->chip_ifindex);
}
inline int32_t qaChipPort(const qaAbout_t &about)
{
    return qaIfindexPort(about.chip->chip_ifindex);
}

// A line and where its arguments come from.
template <auto... Arguments>
struct qaLine_t {
    qosText_t<std::invoke_result_t<decltype(Arguments), const qaAbout_t &>...> text;

    void write(const qaAbout_t &about) const { qosTrace(about.where, text, Arguments(about)...); }
};
struct qaNoLine_t {
    void write(const qaAbout_t &) const {}
};

// Whether the result of a call goes into the body's status: the entry has done it, the caller does, or only of a
// failure.
enum class qaStatus_t : uint8_t { OfEntry, Stored, StoredIfFailed };

// No null_answer makes an optional step: a missing entry is left out and nothing is stored.
template <typename Body, typename Null, typename Failed, typename Done, typename Before = qaNoLine_t>
struct qaCall_t {
    qaOperation_t<Body> operation;
    Null null_entry;
    qosMsgStatus_t null_answer; // also goes into the body's status
    Failed failed;
    Done done;
    qaStatus_t status = qaStatus_t::OfEntry;
    Before before = {};
};
template <typename B, typename N, typename F, typename D>
qaCall_t(qaOperation_t<B>, N, qosMsgStatus_t, F, D) -> qaCall_t<B, N, F, D>;
template <typename B, typename N, typename F, typename D>
qaCall_t(qaOperation_t<B>, N, qosMsgStatus_t, F, D, qaStatus_t) -> qaCall_t<B, N, F, D>;
template <typename B, typename N, typename F, typename D, typename P>
qaCall_t(qaOperation_t<B>, N, qosMsgStatus_t, F, D, qaStatus_t, P) -> qaCall_t<B, N, F, D, P>;

// An optional step.
template <typename Body, typename Failed, typename Done = qaNoLine_t, typename Before = qaNoLine_t>
constexpr qaCall_t<Body, qaNoLine_t, Failed, Done, Before> qaOptional(qaOperation_t<Body> operation, Before before,
                                                                      Failed failed, Done done = {})
{
    return {operation, {}, QOS_MSG_DONE, failed, done, qaStatus_t::OfEntry, before};
}

// How a call ended: `rc` is the row's null answer where the chip type lacks the operation.
struct [[nodiscard]] qaCalled_t {
    bool made;
    qosMsgStatus_t rc;
};

// Runs a row: `call(entry)` calls the entry, once or more, and gives the result.
template <typename Row, typename Body, typename Call>
qaCalled_t qaRunWith(const Row &row, qaAbout_t about, Body *body, Call &&call)
{
    const auto entry = qaEntry(about.chip, row.operation);
    if (!entry) {
        row.null_entry.write(about);
        if constexpr (requires { body->status; })
            if (row.null_answer != QOS_MSG_DONE)
                qosSetStatus(body, row.null_answer);
        return {false, row.null_answer};
    }
    row.before.write(about);
    about.rc |= call(entry);
    const bool failed = about.rc != QOS_MSG_DONE;
    if (failed)
        row.failed.write(about);
    else
        row.done.write(about);
    if constexpr (requires { body->status; })
        if (row.status == qaStatus_t::Stored || (failed && row.status == qaStatus_t::StoredIfFailed))
            qosSetStatus(body, about.rc);
    return {true, about.rc};
}

template <typename Row, typename Body>
qaCalled_t qaRun(const Row &row, const qaAbout_t &about, Body *body)
{
    return qaRunWith(row, about, body, [body](const auto &entry) { return entry(body); });
}

#endif
