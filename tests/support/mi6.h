// SPDX-License-Identifier: Apache-2.0
// Ends of the manager channel by the platform's own calls.
#ifndef TESTS_SUPPORT_MI6_H
#define TESTS_SUPPORT_MI6_H

#include "tests/support/peer.h"
#include "velmar/mi6.h"
#include "velmar/socket.h"

inline mi6_addr_t mi6Address(const char *service, uint8_t flags, uint16_t mask)
{
    mi6_addr_t address = {};
    address.family = AF_MI6;
    memcpy(address.service, service, std::min(strlen(service), sizeof address.service));
    address.flags = flags;
    address.slot_mask = mask;
    return address;
}

// The same by hand, as it stands ahead of a datagram.
inline Bytes mi6Head(const std::string &service, uint8_t flags, uint16_t mask)
{
    Bytes head = Bytes(2) + text(service, 14) + Bytes{0, 0, 0, flags};
    putNative(head, 0, 2, 58);
    putNative(head, 16, 2, mask);
    return head;
}

// A notice of the error queue about an address, as its datagram.
inline Bytes notice(uint32_t code, uint8_t flags, uint16_t mask)
{
    Bytes bytes(32);
    putNative(bytes, 0, 2, 0xffff);
    putNative(bytes, 20, 4, code);
    return bytes + mi6Head("qosMI", flags, mask);
}

// What a receiving call gave, by two vectors.
struct Received {
    ssize_t got;
    int error, flags;
    std::string data;
    mi6_addr_t from;
    size_t control;
    alignas(cmsghdr) unsigned char cmsg[CMSG_SPACE(32)];
};

inline Received receive(int fd, int flags = MSG_DONTWAIT, size_t size = 60000, size_t control = 0)
{
    Received r = {};
    r.data.resize(size);
    iovec vectors[] = {{r.data.data(), std::min<size_t>(3, size)}, {r.data.data() + 3, size > 3 ? size - 3 : 0}};
    msghdr message = {&r.from, sizeof r.from, vectors, 2, r.cmsg, control, 0};
    r.got = velmar_recvmsg(fd, &message, flags);
    r.error = errno;
    r.flags = message.msg_flags;
    r.control = message.msg_controllen;
    r.data.resize(r.got < 0 ? 0 : static_cast<size_t>(r.got));
    return r;
}

// An end of the service "svc", for a scope.
class Mi6 {
public:
    explicit Mi6(uint16_t mask)
    {
        const mi6_addr_t local = mi6Address("svc", 0, mask), peer = {};
        fd = mi6_open(&local, &peer);
    }
    ~Mi6() { velmar_close(fd); }
    Mi6(const Mi6 &) = delete;
    operator int() const { return fd; }
    int send(uint8_t flags, uint16_t mask, const std::string &data) const
    {
        const mi6_addr_t to = mi6Address("svc", flags, mask);
        // Two vectors, so that the payload's parts keep their order behind the address.
        char *const bytes = const_cast<char *>(data.data());
        const size_t half = data.size() / 2;
        const iovec vectors[] = {{bytes, half}, {bytes + half, data.size() - half}};
        int out_flags = 0;
        return mi6_send(fd, &to, vectors, 2, &out_flags);
    }

private:
    int fd;
};

#endif
