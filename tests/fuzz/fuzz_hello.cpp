// SPDX-License-Identifier: Apache-2.0
// Packets of the replication as either side reads them, with a file along that is sealed or not: what is taken has the
// length that it says, and behind it comes the hello of a standby.
#include <fcntl.h>
#include <sys/mman.h>

#include "host/packet.h"
#include "tests/fuzz/fuzz.h"

namespace {

enum kind_t : uint8_t { WITH_FILE = 1, SEALED = 2, RIGHT_HEAD = 4 };

void sendPacket(int to, uint8_t kind, const fuzzBuffer_t &bytes, const fuzzBuffer_t &content)
{
    iovec vector = {const_cast<uint8_t *>(bytes.data()), bytes.size()};
    alignas(cmsghdr) char control[CMSG_SPACE(sizeof(int))] = {};
    msghdr message = {};
    message.msg_iov = &vector;
    message.msg_iovlen = 1;
    const int file = memfd_create("fuzz", MFD_CLOEXEC | MFD_ALLOW_SEALING);
    (void)!write(file, content.data(), content.size());
    if (kind & SEALED)
        fcntl(file, F_ADD_SEALS, F_SEAL_SHRINK | F_SEAL_GROW | F_SEAL_WRITE | F_SEAL_SEAL);
    if (kind & WITH_FILE) {
        message.msg_control = control;
        message.msg_controllen = sizeof control;
        cmsghdr *rights = CMSG_FIRSTHDR(&message);
        rights->cmsg_level = SOL_SOCKET;
        rights->cmsg_type = SCM_RIGHTS;
        rights->cmsg_len = CMSG_LEN(sizeof file);
        memcpy(CMSG_DATA(rights), &file, sizeof file);
    }
    sendmsg(to, &message, MSG_DONTWAIT | MSG_NOSIGNAL);
    close(file);
}

void receive(int fd)
{
    received_t received;
    if (packetReceive(fd, &received) != 1)
        return;
    const auto bytes = static_cast<const uint8_t *>(received.payload);
    const fuzzBuffer_t all(bytes, bytes + received.head.length); // reads each of them
    FUZZ_CHECK(all.size() <= PACKET_INLINE || received.mapped, std::to_string(all.size()));
    packetFree(&received);
}

} // namespace

void fuzzOne(const uint8_t *data, size_t size)
{
    static constexpr uint8_t RIGHT[] = {0x61, 0x48, 0x76, 0x44, 1, 0}; // magic and version
    int pair[2];
    FUZZ_CHECK(socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_NONBLOCK, 0, pair) == 0, "");
    fuzzBytes_t in{data, size};
    for (unsigned n = 0; in.left > 0 && n < 8; n++) {
        const uint8_t kind = in.byte();
        fuzzBuffer_t packet = in.take(in.half());
        if (kind & RIGHT_HEAD)
            std::copy_n(RIGHT, std::min(sizeof RIGHT, packet.size()), packet.begin());
        sendPacket(pair[0], kind, packet, in.take(in.byte()));
        receive(pair[1]);
    }
    received_t hello;
    packetSend(pair[0], PACKET_HELLO, 7, 0, nullptr, 0);
    FUZZ_CHECK(packetReceive(pair[1], &hello) == 1 && hello.head.number == 7 && hello.head.length == 0, "");
    close(pair[0]);
    close(pair[1]);
}

void fuzzSeeds(const fuzzAdd_t &add)
{
    for (char kind = 0; kind < 8; kind++)
        for (const uint8_t flags : {0, +RIGHT_HEAD, RIGHT_HEAD | WITH_FILE, RIGHT_HEAD | WITH_FILE | SEALED}) {
            std::string packet(24, '\0');
            packet[6] = kind;
            packet[20] = flags & WITH_FILE ? 5 : 0;
            add(static_cast<char>(flags) + fuzzHalf(packet.size()) + packet + "\5abcde");
        }
}
