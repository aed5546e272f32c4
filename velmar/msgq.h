// SPDX-License-Identifier: Apache-2.0
// The platform's message queue: messages of fixed length, first in first out, posted by any thread.
#ifndef VELMAR_MSGQ_H
#define VELMAR_MSGQ_H

#include <atomic>
#include <cstdint>

constexpr uint32_t MSGQ_MESSAGE_LENGTH = 1072;

// What every queue shows of itself.
struct msgq_t {
    char name[16];
    uint32_t max_messages;
    uint32_t message_length;
    std::atomic<uint32_t> queued;
    std::atomic<uint32_t> high_water;
};
using MSG_Q_ID = msgq_t *;

// Message types that the platform keeps to itself; the scheduler hands them on.
constexpr uint8_t MSGQ_TYPE_VSS = 15;
constexpr uint8_t MSGQ_TYPE_ISC = 18;
constexpr uint8_t MSGQ_TYPE_SMI = 21;
constexpr uint32_t MSGQ_TYPE_OFFSET = 4;

MSG_Q_ID msgQCreate(uint32_t max_messages, uint32_t message_length, int options, const char *name); // null on failure
// Posts a copy of `length` bytes, at most the queue's message length; not 0 if the queue is full. Calls the wake-up.
int msgQSend(MSG_Q_ID queue, const void *message, uint32_t length, int timeout, int priority);
// Takes the first message: its length, or -1 if there is none.
int msgQReceive(MSG_Q_ID queue, void *buffer, uint32_t size, int timeout);
// A message type's own receiver, or null.
using msgq_cb_t = void (*)(void *message);
msgq_cb_t msgQGetcb(MSG_Q_ID queue, uint8_t type);
// `wakeup(arg)` runs after every post, on the posting thread.
void msgQSetWakeup(MSG_Q_ID queue, void (*wakeup)(void *arg), void *arg);

#endif
