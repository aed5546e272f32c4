// SPDX-License-Identifier: Apache-2.0
// The ring of batches. What costs is left to the reader: to keep a batch takes a walk over its headers and no memory.
#include "host/batches.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <mutex>
#include <time.h>

namespace {

constexpr uint32_t KEPT = 1024; // batches of configuration, and batches in which something failed
constexpr unsigned MESSAGES = 8, REFUSALS = 4;

struct refusal_t {
    uint32_t command;
    uint32_t number; // the driver's, 0 where there was no answer
    int error;       // errno where the request did not leave or got no answer
};

// A batch with more failed messages than fit goes on in the next one, under the same number.
struct batch_t {
    int64_t at_ms; // since 1970
    uint32_t number;
    char service[16];
    uint16_t messages, failed; // of the whole batch so far
    uint8_t code, seq;         // of its first message
    uint8_t num_messages;      // that failed, in this record
    uint8_t num_refusals;
    ctl_message_t message[MESSAGES];
    refusal_t refusal[REFUSALS];
};

const ctl_log_t *readers;
std::mutex ring_lock; // the ring
batch_t ring[KEPT];
uint64_t stored;
uint32_t numbers;

// Of the batch at work, the main thread's.
refusal_t refusals[REFUSALS];
unsigned refused;
uint32_t asked; // the command that has no answer yet, 0 for none

void refuse(uint32_t number, int error)
{
    if (refused < REFUSALS)
        refusals[refused++] = {asked, number, error};
    asked = 0;
}

void store(const batch_t &batch)
{
    const std::lock_guard<std::mutex> lock(ring_lock);
    ring[stored++ % KEPT] = batch;
}

bool failed(const ctl_message_t &message)
{
    return message.ack == 0 || (message.has_status && message.status != 0);
}

int64_t wallMs()
{
    timespec now;
    clock_gettime(CLOCK_REALTIME_COARSE, &now);
    return static_cast<int64_t>(now.tv_sec) * 1000 + now.tv_nsec / 1000000;
}

} // namespace

void batchesOffer(const ctl_log_t *offered)
{
    readers = offered;
}

void batchesAsked(const iovec *vector, size_t count)
{
    if (readers && count > 0)
        asked = readers->command(static_cast<const unsigned char *>(vector[0].iov_base), vector[0].iov_len);
}

void batchesAnswered(const iovec *vector, size_t count, size_t length)
{
    if (!readers || count == 0 || asked == 0)
        return;
    const uint32_t number = readers->refusal(static_cast<const unsigned char *>(vector[0].iov_base),
                                             std::min(length, vector[0].iov_len), asked);
    if (number != 0)
        refuse(number, 0);
    asked = 0;
}

void batchesFailed(int error)
{
    if (readers && asked != 0)
        refuse(0, error);
}

bool batchesOnlyRead(const void *payload, size_t length)
{
    ctl_message_t message;
    const auto *at = static_cast<const unsigned char *>(payload);
    size_t left = length;
    for (; readers && left > 0 && readers->message(at, left, &message) && message.reads; left -= message.length)
        at += message.length;
    return readers && length > 0 && left == 0;
}

void batchesSent(const char *service, const iovec *vector, size_t count)
{
    if (!readers || count != 1)
        return;
    if (asked != 0)
        refuse(0, ETIMEDOUT);
    batch_t batch = {};
    batch.at_ms = wallMs();
    memcpy(batch.service, service, strnlen(service, sizeof batch.service - 1));
    const auto *at = static_cast<const unsigned char *>(vector[0].iov_base);
    bool echo = false;
    ctl_message_t message;
    batch.num_refusals = static_cast<uint8_t>(refused);
    memcpy(batch.refusal, refusals, sizeof refusals);
    refused = 0;
    for (size_t left = vector[0].iov_len; left > 0 && readers->message(at, left, &message); left -= message.length) {
        if (batch.messages++ == 0) {
            batch.code = message.code;
            batch.seq = message.seq;
            batch.number = numbers + 1;
        }
        echo = echo || message.ack != 0 || message.seq != 0 || batch.messages > 1;
        if (failed(message)) {
            if (batch.num_messages == MESSAGES) {
                store(batch);
                batch.num_messages = batch.num_refusals = 0;
            }
            batch.message[batch.num_messages++] = message;
            ++batch.failed;
        }
        at += message.length;
    }
    if (!echo)
        return; // what the process sends by itself
    numbers = batch.number;
    // Reads of statistics come every second where somebody looks on, and would be all that is left.
    if (batch.failed > 0 || batch.num_refusals > 0 || !strstr(service, "Stats"))
        store(batch);
}

std::string batchesShow(unsigned most)
{
    std::string text = "[";
    char part[256];
    const std::lock_guard<std::mutex> lock(ring_lock);
    const uint64_t count = std::min<uint64_t>({most, KEPT, stored});
    for (uint64_t n = stored - count; n < stored; ++n) {
        const batch_t &batch = ring[n % KEPT];
        snprintf(
            part, sizeof part,
            "%s{\"at_ms\":%lld,\"batch\":%u,\"service\":\"%s\",\"messages\":%u,\"failed\":%u,\"code\":%u,\"seq\":%u",
            text.size() > 1 ? ",\n" : "", static_cast<long long>(batch.at_ms), batch.number, batch.service,
            batch.messages, batch.failed, batch.code, batch.seq);
        text += part;
        text += ",\"failures\":[";
        for (unsigned i = 0; i < batch.num_messages; ++i) {
            const ctl_message_t &each = batch.message[i];
            snprintf(part, sizeof part, "%s{\"code\":%u,\"seq\":%u,\"ack\":%u,\"ifindex\":%u,\"status\":", i ? "," : "",
                     each.code, each.seq, each.ack, each.port);
            text += part + (each.has_status ? std::to_string(each.status) : "null") + "}";
        }
        text += "],\"refusals\":[";
        for (unsigned i = 0; i < batch.num_refusals; ++i) {
            const refusal_t &each = batch.refusal[i];
            snprintf(part, sizeof part, "%s{\"command\":%u,\"number\":%u,\"error\":", i ? "," : "", each.command,
                     each.number);
            text += part + (each.error != 0 ? '"' + std::string(strerror(each.error)) + '"' : "null") + "}";
        }
        text += "]}";
    }
    return text + "]";
}
