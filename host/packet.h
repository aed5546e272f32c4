// SPDX-License-Identifier: Apache-2.0
// Inside the host library: datagrams between the active process and a standby, on a connection that keeps their
// boundaries. What is too long for one goes along as a sealed file, so a dump holds nobody up.
#ifndef HOST_PACKET_H
#define HOST_PACKET_H

#include <cstddef>
#include <cstdint>
#include <sys/types.h>

enum packet_kind_t : uint16_t {
    PACKET_HELLO = 1, // standby's first: `number` is the hash of its descriptions, `type` how it describes them
                      // (describeFormat), the payload its version as text. Also its answer to a description that it can
                      // translate, with the number and type that came with that
    PACKET_DUMP = 2,  // `number` is the sequence
    PACKET_DELTA = 3, // likewise
    PACKET_UPDATE = 4,
    PACKET_MESSAGE = 5,
    PACKET_REFUSED = 6, // the reason as text; a standby's, if it cannot translate what the active process described
    PACKET_LAYOUT = 7, // host/layout.h, for a standby whose hello was another; number and type as in a hello of its own
};

struct packet_t {
    uint32_t magic;
    uint16_t version;
    uint16_t kind;
    uint64_t number;
    uint32_t type;   // of an update; of a dump the number that its copy goes by; see also above
    uint32_t length; // bytes of the payload, behind this or in the file
};
static_assert(sizeof(packet_t) == 24);

constexpr size_t PACKET_INLINE = 32000; // longer payloads go as a file

int packetSocket();            // -1 with errno
void packetSetBacklog(int fd); // of a connection: how far the other side may be behind

// Sends without waiting: bytes sent, or -1 with errno, EAGAIN if the other side is too far behind.
ssize_t packetSend(int fd, packet_kind_t kind, uint64_t number, uint32_t type, const void *payload, size_t length);
// A payload that is in a file already. Appends to one, which is made if it is -1: false with errno. Sent, it is sealed.
bool packetFile(int *file, const void *bytes, size_t length);
struct payload_t {
    const void *bytes;
    size_t length;
    int file; // that holds it; -1 for the bytes
};
ssize_t packetSend(int fd, packet_kind_t kind, uint64_t number, uint32_t type, payload_t payload);

// A received one. The payload is aligned to words, and stays until packetFree.
struct received_t {
    packet_t head;
    const void *payload;
    void *mapped; // null if the payload stands in the buffer
};
// 1, 0 at the connection's end, or -1 with errno: EAGAIN if there is none, EPROTO if it is malformed, ENOEXEC if its
// numbers are in another byte order, EMFILE or ENOMEM if this process has no descriptor or no address space for it.
int packetReceive(int fd, received_t *received);
void packetFree(received_t *received);

#endif
