// SPDX-License-Identifier: Apache-2.0
// The internal queue "qos_mq": how anything off the main thread reaches it.
#ifndef CORE_MSGQ_H
#define CORE_MSGQ_H

#include <cstddef>
#include <cstdint>

#include "core/print.h"
#include "velmar/msgq.h"

constexpr uint8_t QOS_MSGQ_TYPE = 11; // the agent's own messages

// One message between threads.
struct qosMsgQMsg_t {
    uint32_t posted_ms; // low word of the time base at the post
    uint8_t type;
    uint8_t reserved_5[7];
    uint8_t module;
    uint8_t reserved_13[3];
    uint32_t arg_b;
    uint32_t arg_c;
    uint32_t arg_a;
    uint8_t reserved_28[1044];
};
static_assert(sizeof(qosMsgQMsg_t) == MSGQ_MESSAGE_LENGTH);
static_assert(offsetof(qosMsgQMsg_t, type) == MSGQ_TYPE_OFFSET && offsetof(qosMsgQMsg_t, module) == 12);
static_assert(offsetof(qosMsgQMsg_t, arg_b) == 16 && offsetof(qosMsgQMsg_t, arg_c) == 20 &&
              offsetof(qosMsgQMsg_t, arg_a) == 24);

void qosRegisterMsgQModule();
int qosMsgQInit();                // init hook; 0 also if the queue could not be made
[[nodiscard]] int qosMsgQStart(); // 0 or 2
MSG_Q_ID qosMsgQGet();

// Posts a message for `module`, whose msgq_cb is called with (a, b, c) on the main thread. 0, or 8 if the queue is
// full. May run on any thread.
[[nodiscard]] int qosMsgQSend(uint8_t module, uint32_t a, uint32_t b, uint32_t c);

// The scheduler's default receiver of queue messages. The buffer stays the caller's.
void qosMsgQServer(void *message);

int qos_msgq_show(cli_t *cli);
extern const cli_element_t qos_msgq_show_cmd; // for a debugger's call: nothing installs it

#endif
