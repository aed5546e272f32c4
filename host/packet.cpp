// SPDX-License-Identifier: Apache-2.0
// Datagrams of the replication.
#include "host/packet.h"

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <sys/mman.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include "host/fault.h"
#include "host/peer.h"

namespace {

constexpr uint32_t MAGIC = 0x44764861;
constexpr uint16_t VERSION = 1;
constexpr int BACKLOG_BYTES = 1 << 20; // of a standby's connection; the machine may give less
constexpr int SEALS = F_SEAL_SHRINK | F_SEAL_GROW | F_SEAL_WRITE | F_SEAL_SEAL;

alignas(8) unsigned char buffer[sizeof(packet_t) + PACKET_INLINE];

void attach(msghdr *message, int file, char *control, size_t size)
{
    message->msg_control = control;
    message->msg_controllen = size;
    cmsghdr *head = CMSG_FIRSTHDR(message);
    head->cmsg_level = SOL_SOCKET;
    head->cmsg_type = SCM_RIGHTS;
    head->cmsg_len = CMSG_LEN(sizeof file);
    memcpy(CMSG_DATA(head), &file, sizeof file);
}

// A file that could still shrink or change under the mapping is not taken. False with errno.
bool mapFile(int file, received_t *received)
{
    errno = EPROTO;
    struct stat found;
    const size_t length = received->head.length;
    const int seals = fcntl(file, F_GET_SEALS);
    if (seals < 0 || (seals & SEALS) != SEALS || length == 0 || fstat(file, &found) != 0 ||
        found.st_size != static_cast<off_t>(length))
        return false;
    void *map = mmap(nullptr, length, PROT_READ, MAP_PRIVATE, file, 0);
    if (map == MAP_FAILED)
        return false;
    received->mapped = map;
    received->payload = map;
    return true;
}

// False with errno.
bool accepted(size_t got, int file, received_t *received)
{
    errno = EPROTO;
    if (got < sizeof received->head)
        return false;
    memcpy(&received->head, buffer, sizeof received->head);
    if (received->head.magic == __builtin_bswap32(MAGIC))
        errno = ENOEXEC;
    if (received->head.magic != MAGIC || received->head.version != VERSION)
        return false;
    if (file >= 0)
        return mapFile(file, received);
    received->payload = buffer + sizeof received->head;
    return received->head.length == got - sizeof received->head;
}

// The payload's file if it has one or is too long to go without.
bool sealFile(payload_t *payload)
{
    if (payload->file < 0 && payload->length <= PACKET_INLINE)
        return true;
    if (payload->file < 0 && !packetFile(&payload->file, payload->bytes, payload->length))
        return false;
    return fcntl(payload->file, F_GET_SEALS) == SEALS || fcntl(payload->file, F_ADD_SEALS, SEALS) == 0;
}

ssize_t sendOne(int fd, packet_kind_t kind, uint64_t number, uint32_t type, payload_t payload)
{
    packet_t head = {MAGIC, VERSION, kind, number, type, static_cast<uint32_t>(payload.length)};
    const int own = payload.file;
    ssize_t sent = -1;
    if (sealFile(&payload)) {
        iovec vectors[2] = {{&head, sizeof head}, {const_cast<void *>(payload.bytes), payload.length}};
        msghdr message = {};
        message.msg_iov = vectors;
        message.msg_iovlen = payload.file < 0 && payload.length > 0 ? 2 : 1;
        alignas(cmsghdr) char control[CMSG_SPACE(sizeof(int))] = {};
        if (payload.file >= 0)
            attach(&message, payload.file, control, sizeof control);
        sent = sendmsg(fd, &message, MSG_DONTWAIT | MSG_NOSIGNAL);
    }
    const int error = errno;
    if (payload.file >= 0 && payload.file != own)
        close(payload.file);
    errno = error;
    return sent < 0 ? -1 : static_cast<ssize_t>(sizeof head + payload.length);
}

} // namespace

int packetSocket()
{
    const int fd = socket(AF_UNIX, SOCK_SEQPACKET | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
    if (fd >= 0)
        packetSetBacklog(fd);
    return fd;
}

void packetSetBacklog(int fd)
{
    setsockopt(fd, SOL_SOCKET, SO_SNDBUF, &BACKLOG_BYTES, sizeof BACKLOG_BYTES);
}

bool packetFile(int *file, const void *bytes, size_t length)
{
    if (*file < 0)
        *file = memfd_create("replica", MFD_CLOEXEC | MFD_ALLOW_SEALING);
    const unsigned char *from = static_cast<const unsigned char *>(bytes);
    for (size_t done = 0; *file >= 0 && done < length;) {
        const ssize_t part = write(*file, from + done, length - done);
        if (part <= 0) {
            close(*file);
            *file = -1;
            return false;
        }
        done += static_cast<size_t>(part);
    }
    return *file >= 0;
}

ssize_t packetSend(int fd, packet_kind_t kind, uint64_t number, uint32_t type, const void *payload, size_t length)
{
    return packetSend(fd, kind, number, type, payload_t{payload, length, -1});
}

ssize_t packetSend(int fd, packet_kind_t kind, uint64_t number, uint32_t type, payload_t payload)
{
    const int wrong = kind == PACKET_DUMP ? faultAt(FAULT_DUMP) : kind == PACKET_DELTA ? faultAt(FAULT_DELTA) : 0;
    switch (wrong) {
    case FAULT_NOTHING:
        break;
    case FAULT_CUT:
        payload.length = payload.length / 2 / sizeof(uint32_t) * sizeof(uint32_t);
        if (payload.file >= 0 && ftruncate(payload.file, static_cast<off_t>(payload.length)) != 0)
            return -1;
        break;
    case FAULT_LOST:
        return static_cast<ssize_t>(payload.length);
    case FAULT_TWICE:
        (void)sendOne(fd, kind, number, type, payload);
        break;
    case FAULT_OVERTAKES:
        ++number;
        break;
    case FAULT_OLD_COPY:
        ++type;
        break;
    default:
        errno = wrong;
        return -1;
    }
    return sendOne(fd, kind, number, type, payload);
}

int packetReceive(int fd, received_t *received)
{
    (void)faultAt(FAULT_POINT);
    *received = {};
    iovec vector = {buffer, sizeof buffer};
    alignas(cmsghdr) char control[CMSG_SPACE(sizeof(int))] = {};
    msghdr message = {};
    message.msg_iov = &vector;
    message.msg_iovlen = 1;
    message.msg_control = control;
    message.msg_controllen = CMSG_LEN(sizeof(int)); // one descriptor; the kernel keeps any other
    const ssize_t got = faultReceive(FAULT_PACKET, fd, &message, MSG_DONTWAIT | MSG_CMSG_CLOEXEC);
    if (got < 0)
        return -1;
    const int file = peerFile(&message);
    if (got == 0) {
        if (file >= 0)
            close(file);
        return 0;
    }
    errno = message.msg_flags & MSG_CTRUNC ? EMFILE : EPROTO;
    const bool good =
        !(message.msg_flags & (MSG_CTRUNC | MSG_TRUNC)) && accepted(static_cast<size_t>(got), file, received);
    const int error = errno;
    if (file >= 0)
        close(file);
    errno = error;
    return good ? 1 : -1;
}

void packetFree(received_t *received)
{
    if (received->mapped)
        munmap(received->mapped, received->head.length);
    received->mapped = nullptr;
}
