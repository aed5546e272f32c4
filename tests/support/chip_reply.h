// SPDX-License-Identifier: Apache-2.0
// A chip for policer and drop monitor tests: answers the driver's requests as an idle chip does, with the ports and
// counters that a test has set.
#ifndef TESTS_SUPPORT_CHIP_REPLY_H
#define TESTS_SUPPORT_CHIP_REPLY_H

#include "tests/support/node.h"

struct ChipState {
    std::mutex lock;
    std::map<uint32_t, uint16_t> ports; // group by port
    std::map<uint32_t, uint64_t> violations;
    std::map<uint32_t, uint64_t> drops;
    std::map<uint32_t, uint32_t> statuses; // by command, for a driver that refuses
    void set(std::map<uint32_t, uint64_t> ChipState::*counters, uint32_t key, uint64_t value)
    {
        const std::lock_guard<std::mutex> guard(lock);
        (this->*counters)[key] = value;
    }
};

Bytes recordOf(const Bytes &request);               // what stands behind both headers
Bytes answerTo(const Bytes &request, Bytes record); // a response with this record
Driver::Reply with(const Bytes &response);          // these bytes and no more, the request's own head ahead
Driver::Reply chipReply(const std::shared_ptr<ChipState> &chip); // for Driver::always

// Type 6 ports of CHIP, numbered from 1.
constexpr uint32_t portNumber(uint32_t n)
{
    return 0x18400000 | n << 15;
}

Bytes policerAddBody(uint32_t ifindex, uint32_t id, uint8_t type = 1);
Bytes bumBody(uint32_t ifindex, uint32_t id, uint32_t poll = 1, uint8_t type = 1); // the same of a BUM policer
Bytes policerDelBody(uint32_t ifindex, uint32_t id, uint8_t type = 1);
constexpr size_t POL_IS_BUM = 75, POL_POLL = 71, POL_STATUS = 147;

#endif
