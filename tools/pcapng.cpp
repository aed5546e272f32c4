// SPDX-License-Identifier: Apache-2.0
// A writer of pcapng. Everything is big-endian: a file says its own byte order, and the tags of exported PDUs have no
// other.
#include "tools/pcapng.h"

namespace {

constexpr uint32_t SECTION = 0x0a0d0d0a, INTERFACE = 1, PACKET = 6;
constexpr uint32_t ORDER_MARK = 0x1a2b3c4d;
constexpr uint16_t EXPORTED_PDU = 252;
constexpr uint16_t IF_NAME = 2, IF_TSRESOL = 9; // options of an interface
constexpr uint16_t COMMENT = 1, FLAGS = 2;      // and of a packet
constexpr uint32_t INBOUND = 1, OUTBOUND = 2;
constexpr uint16_t TAG_DISSECTOR = 12;
constexpr size_t LONGEST_OPTION = 65532;

void put(std::string &to, unsigned width, uint64_t value)
{
    while (width-- > 0)
        to += static_cast<char>(value >> width * 8);
}

void pad(std::string &to)
{
    to.resize((to.size() + 3) / 4 * 4);
}

// An option, and likewise a tag: number, length of the value alone, value, and zeros up to a multiple of four.
void putOption(std::string &to, uint16_t number, const std::string &value)
{
    const std::string cut = value.substr(0, LONGEST_OPTION);
    put(to, 2, number);
    put(to, 2, cut.size());
    to += cut;
    pad(to);
}

std::string block(uint32_t type, const std::string &body)
{
    std::string all;
    put(all, 4, type);
    put(all, 4, body.size() + 12);
    all += body;
    put(all, 4, body.size() + 12);
    return all;
}

} // namespace

std::string pcapngBegin()
{
    std::string body;
    put(body, 4, ORDER_MARK);
    put(body, 2, 1); // version 1.0
    put(body, 2, 0);
    put(body, 8, UINT64_MAX); // of no known length
    return block(SECTION, body);
}

std::string pcapngInterface(const std::string &name)
{
    std::string body;
    put(body, 2, EXPORTED_PDU);
    put(body, 2, 0);
    put(body, 4, 0); // packets of any length
    putOption(body, IF_NAME, name);
    putOption(body, IF_TSRESOL, std::string(1, 9)); // times in 10^-9 seconds
    put(body, 4, 0);
    return block(INTERFACE, body);
}

std::string pcapngPacket(const pcapngPacket_t &packet)
{
    std::string data;
    putOption(data, TAG_DISSECTOR, packet.dissector);
    put(data, 4, 0);
    data.append(packet.bytes.begin(), packet.bytes.end());
    std::string body;
    put(body, 4, packet.interface);
    put(body, 8, packet.time_ns);
    put(body, 4, data.size()); // as many as were captured,
    put(body, 4, data.size()); // which are all
    body += data;
    pad(body);
    std::string flags;
    put(flags, 4, packet.outbound ? OUTBOUND : INBOUND);
    putOption(body, FLAGS, flags);
    if (!packet.comment.empty())
        putOption(body, COMMENT, packet.comment);
    put(body, 4, 0);
    return block(PACKET, body);
}
