// SPDX-License-Identifier: Apache-2.0
// The platform's message queue. Messages lie in chunks that are linked and recycled, so an empty queue of many possible
// messages takes little memory. The count is atomic: looking at an empty queue takes no lock.
#include "velmar/msgq.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <mutex>

namespace {

constexpr uint32_t CHUNK_MESSAGES = 32;

struct chunk_t {
    chunk_t *next;
    uint32_t lengths[CHUNK_MESSAGES];
    // CHUNK_MESSAGES messages of the queue's message length follow.
};

struct queue_t {
    msgq_t shown; // first: a MSG_Q_ID points here
    std::mutex lock;
    chunk_t *head;
    chunk_t *tail;
    chunk_t *spare; // one drained chunk, kept for the next post
    uint32_t read;  // position in the first chunk
    uint32_t write; // position in the last chunk
    void (*wakeup)(void *arg);
    void *wakeup_arg;
};

queue_t *inside(MSG_Q_ID id)
{
    return reinterpret_cast<queue_t *>(id);
}

unsigned char *message(const queue_t *queue, chunk_t *chunk, uint32_t position)
{
    return reinterpret_cast<unsigned char *>(chunk + 1) + static_cast<size_t>(position) * queue->shown.message_length;
}

// Makes sure that the last chunk has room; false if there is no memory.
bool makeRoom(queue_t *queue)
{
    if (queue->tail && queue->write < CHUNK_MESSAGES)
        return true;
    chunk_t *chunk = queue->spare;
    queue->spare = nullptr;
    if (!chunk)
        chunk = static_cast<chunk_t *>(
            malloc(sizeof(chunk_t) + static_cast<size_t>(CHUNK_MESSAGES) * queue->shown.message_length));
    if (!chunk)
        return false;
    chunk->next = nullptr;
    (queue->tail ? queue->tail->next : queue->head) = chunk;
    queue->tail = chunk;
    queue->write = 0;
    return true;
}

void dropFirst(queue_t *queue)
{
    chunk_t *chunk = queue->head;
    queue->head = chunk->next;
    if (!queue->head)
        queue->tail = nullptr;
    queue->read = 0;
    free(queue->spare);
    queue->spare = chunk;
}

} // namespace

MSG_Q_ID msgQCreate(uint32_t max_messages, uint32_t message_length, int, const char *name)
{
    if (max_messages == 0 || message_length == 0)
        return nullptr;
    queue_t *queue = new queue_t{};
    snprintf(queue->shown.name, sizeof queue->shown.name, "%s", name);
    queue->shown.max_messages = max_messages;
    queue->shown.message_length = message_length;
    return &queue->shown;
}

int msgQSend(MSG_Q_ID id, const void *data, uint32_t length, int, int)
{
    queue_t *queue = inside(id);
    if (!queue || length > queue->shown.message_length)
        return -1;
    void (*wakeup)(void *);
    void *arg;
    {
        const std::lock_guard<std::mutex> lock(queue->lock);
        const uint32_t queued = queue->shown.queued.load(std::memory_order_relaxed);
        if (queued >= queue->shown.max_messages || !makeRoom(queue))
            return -1;
        memcpy(message(queue, queue->tail, queue->write), data, length);
        queue->tail->lengths[queue->write++] = length;
        queue->shown.queued.store(queued + 1, std::memory_order_release);
        if (queued + 1 > queue->shown.high_water.load(std::memory_order_relaxed))
            queue->shown.high_water.store(queued + 1, std::memory_order_relaxed);
        wakeup = queue->wakeup;
        arg = queue->wakeup_arg;
    }
    if (wakeup)
        wakeup(arg);
    return 0;
}

int msgQReceive(MSG_Q_ID id, void *buffer, uint32_t size, int)
{
    queue_t *queue = inside(id);
    if (!queue || queue->shown.queued.load(std::memory_order_acquire) == 0)
        return -1;
    const std::lock_guard<std::mutex> lock(queue->lock);
    const uint32_t queued = queue->shown.queued.load(std::memory_order_relaxed);
    if (queued == 0)
        return -1;
    const uint32_t stored = queue->head->lengths[queue->read];
    const uint32_t length = stored < size ? stored : size;
    memcpy(buffer, message(queue, queue->head, queue->read), length);
    if (++queue->read == CHUNK_MESSAGES)
        dropFirst(queue);
    queue->shown.queued.store(queued - 1, std::memory_order_release);
    return static_cast<int>(length);
}

// No type has a receiver of its own on this host.
msgq_cb_t msgQGetcb(MSG_Q_ID, uint8_t)
{
    return nullptr;
}

void msgQSetWakeup(MSG_Q_ID id, void (*wakeup)(void *arg), void *arg)
{
    queue_t *queue = inside(id);
    if (!queue)
        return;
    const std::lock_guard<std::mutex> lock(queue->lock);
    queue->wakeup = wakeup;
    queue->wakeup_arg = arg;
}
