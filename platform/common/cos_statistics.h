// SPDX-License-Identifier: Apache-2.0
// What the statistics of Tessel and both Mirelle types have in common: reads of a block of state, of port counters and
// of TMCs as rows of data, and the clears.
//
// A row is run for a named function, whose name stands in the lines. Relies on platform/common/stat_copy.h for what
// goes where in a reply, on agent/model/clear_walk.h for the chip of a clear.
#ifndef PLATFORM_COMMON_COS_STATISTICS_H
#define PLATFORM_COMMON_COS_STATISTICS_H

#include <cstdint>
#include <cstring>
#include <initializer_list>
#include <span>
#include <type_traits>

#include "agent/messages/codes.h"
#include "agent/messages/statistics.h"
#include "core/text.h"
#include "inventory/records.h"
#include "platform/common/port.h"
#include "platform/common/stat_copy.h"
#include "platform/records/statistics_blocks.h"

// What a request names: a port or the PLC as a whole, or with the body's selector one of the TMCs behind the chip or of
// the output queues of a port.
enum class cosStatForm_t : uint8_t { Port, Plc, TmcChip, TmcPort, Voq };

namespace cosStatDetail {
void theStepsRunPastTheBody(); // never defined: reaching it is the compiler's error
}

// A read of one block, and what of it goes where.
struct cosStatRow_t {
    uint32_t command;
    uint16_t size; // of the block
    cosStatForm_t form;
    qosText_t<const char *, uint32_t> failed; // with the port's name
    std::span<const statStep_t> steps;
};

// A row of platform/records/statistics.def; the request names what its form says.
template <typename Block, cosStatForm_t Form>
constexpr cosStatRow_t cosStatRow(uint32_t command, qosText_t<const char *, uint32_t> failed,
                                  std::span<const statStep_t> steps)
{
    constexpr bool of_chip = Form == cosStatForm_t::Plc || Form == cosStatForm_t::TmcChip;
    static_assert(std::is_same_v<decltype(Block::head), std::conditional_t<of_chip, cosStatChip_t, cosStatPort_t>>);
    return {command, sizeof(Block), Form, failed, steps};
}

// A read of port counters; the steps count from the word that gives the number of ports.
struct cosPortRow_t {
    qosWhere_t copy_function; // null: the response's number of ports is not looked at
    cosPortKind_t kind;
    portMiss_t missing;                       // Config or Statistics
    qosText_t<const char *, uint32_t> failed; // with the port's name
    std::span<const statStep_t> steps;
};

// An answer to a read. The bytes are those from the steps' origin on and are gone with the next request.
struct cosStatAnswer_t {
    qosDriverStatus_t rc; // what also stands in the body's status; the rest counts only if it is 0
    const qosIf_t *interface;
    const unsigned char *bytes;
    uint32_t length;
};

// Sends the request of a row to the chip of the body's interface and runs the steps. A failed read leaves the reply as
// it came. A response that counts other than one port is reported and taken.
cosStatAnswer_t cosStatRead(qosWhere_t where, const cosStatRow_t &row, qosStatsHead_t *body);
cosStatAnswer_t cosStatRead(qosWhere_t where, const cosPortRow_t &row, qosStatsHead_t *body);

// A back-end entry out of a row, called with its body: runs the row, then `more` for what is not a step.
template <typename Body, typename Row>
struct cosStatEntry_t {
    using more_t = void(const cosStatAnswer_t &answer, Body *body);

    qosWhere_t where;
    Row row;
    more_t *more;

    constexpr cosStatEntry_t(qosWhere_t entry, const Row &read, more_t *rest = nullptr)
        : where(entry), row(read), more(rest)
    {
        if (statReach(row.steps) > sizeof(Body))
            cosStatDetail::theStepsRunPastTheBody();
    }

    qosDriverStatus_t operator()(Body *body) const
    {
        const cosStatAnswer_t answer = cosStatRead(where, row, reinterpret_cast<qosStatsHead_t *>(body));
        if (answer.rc != QOS_MSG_DONE)
            return answer.rc;
        if constexpr (requires { body->selector_echo; })
            memcpy(body->selector_echo, body->selector, sizeof body->selector_echo);
        if (more)
            more(answer, body);
        return answer.rc;
    }
};

// Runs the steps of a clear in turn; the first failure ends it and is the result.
using cosClearStep_t = qosDriverStatus_t (*)(qosClearStatsMsg_t *body);
qosDriverStatus_t cosClearStats(qosClearStatsMsg_t *body, std::initializer_list<cosClearStep_t> steps);

// Clears of port and drop reason counters, of one interface or with clearAll of the walk's chip: the transport's
// status, or 25 without a target. The second leaves that in the body's status.
qosDriverStatus_t cosClearSwmStats(qosWhere_t function, const qosClearStatsMsg_t *body);
qosDriverStatus_t cosClearDropRsnStats(qosWhere_t function, qosClearStatsMsg_t *body);

#endif
