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
    memcpy(address.service, service, strnlen(service, sizeof address.service));
    address.flags = flags;
    address.slot_mask = mask;
    return address;
}

inline int openMi6(const char *service, uint16_t mask)
{
    const mi6_addr_t local = mi6Address(service, 0, mask), peer = {};
    return mi6_open(&local, &peer);
}

inline int sendMi6(int fd, const char *service, uint8_t flags, uint16_t mask, const std::string &data)
{
    const mi6_addr_t to = mi6Address(service, flags, mask);
    // Two vectors, so that the payload's parts keep their order behind the address.
    char *const bytes = const_cast<char *>(data.data());
    const size_t half = data.size() / 2;
    const iovec vectors[] = {{bytes, half}, {bytes + half, data.size() - half}};
    int out_flags = 0;
    return mi6_send(fd, &to, vectors, 2, &out_flags);
}

#endif
