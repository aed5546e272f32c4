// SPDX-License-Identifier: Apache-2.0
// A writer of pcapng, and a reader of what it wrote. What is written is big-endian: a file says its own byte order, and
// the tags of exported PDUs have no other.
#include "tools/pcapng.h"

#include <algorithm>

namespace {

constexpr uint32_t SECTION = 0x0a0d0d0a, INTERFACE = 1, PACKET = 6;
constexpr uint32_t ORDER_MARK = 0x1a2b3c4d;
constexpr uint16_t EXPORTED_PDU = 252;
constexpr uint16_t IF_NAME = 2, IF_TSRESOL = 9; // options of an interface
constexpr uint16_t COMMENT = 1, FLAGS = 2;      // and of a packet
constexpr uint32_t INBOUND = 1, OUTBOUND = 2;
constexpr uint16_t TAG_DISSECTOR = 12;
constexpr size_t LONGEST_OPTION = 65532;
constexpr size_t LEAST_BLOCK = 12;   // bytes of its type and its two lengths
constexpr size_t PACKET_HEAD = 20;   // bytes ahead of a packet's data
constexpr size_t INTERFACE_HEAD = 8; // and ahead of an interface's options

void put(std::string &to, unsigned width, uint64_t value)
{
    while (width-- > 0)
        to += static_cast<char>(value >> width * 8);
}

void pad(std::string &to)
{
    to.resize((to.size() + 3) / 4 * 4);
}

// An option: number, length of the value alone, value, and zeros up to a multiple of four.
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

// ---- Reading

struct reader_t {
    std::span<const uint8_t> bytes;
    bool little;

    // A number at `at`, 0 behind the end.
    uint64_t number(size_t at, unsigned width) const
    {
        uint64_t value = 0;
        for (unsigned i = 0; i < width && at + width <= bytes.size(); ++i)
            value = value << 8 | bytes[at + (little ? width - 1 - i : i)];
        return value;
    }
    std::span<const uint8_t> part(size_t at, size_t length) const
    {
        return bytes.subspan(std::min(at, bytes.size()), std::min(length, bytes.size() - std::min(at, bytes.size())));
    }
    // The value of an option or tag from `at` on, up to the end of the list; empty if it is not there. `behind` is
    // where the list ends.
    std::string option(size_t at, uint16_t wanted, size_t *behind = nullptr) const
    {
        std::string value;
        while (at + 4 <= bytes.size()) {
            const auto kind = static_cast<uint16_t>(number(at, 2));
            const size_t length = number(at + 2, 2);
            at += 4;
            if (kind == 0)
                break;
            if (const auto found = part(at, length); kind == wanted)
                value.assign(found.begin(), found.end());
            at += (length + 3) / 4 * 4;
        }
        if (behind)
            *behind = at;
        return value;
    }
};

struct interface_t {
    std::string name;
    bool exported;
    uint64_t per_second; // of its times
};

interface_t interfaceIn(const reader_t &body)
{
    const std::string resolution = body.option(INTERFACE_HEAD, IF_TSRESOL);
    const unsigned exponent = resolution.empty() ? 6 : static_cast<uint8_t>(resolution[0]);
    uint64_t per_second = 1;
    for (unsigned i = 0; i < std::min(exponent, 18U); ++i)
        per_second *= 10;
    return {body.option(INTERFACE_HEAD, IF_NAME), body.number(0, 2) == EXPORTED_PDU, per_second};
}

pcapngRead_t packetIn(const reader_t &body, const interface_t &interface)
{
    const uint64_t ticks = body.number(4, 4) << 32 | body.number(8, 4);
    const size_t length = body.number(12, 4), behind = PACKET_HEAD + (length + 3) / 4 * 4;
    const reader_t data = {body.part(PACKET_HEAD, length), false};
    size_t begin = 0;
    std::string dissector = data.option(0, TAG_DISSECTOR, &begin);
    dissector.erase(std::find(dissector.begin(), dissector.end(), '\0'), dissector.end());
    const std::string flags = body.option(behind, FLAGS);
    const std::span<const uint8_t> bytes = data.part(begin, data.bytes.size());
    const uint64_t seconds = ticks / interface.per_second, rest = ticks % interface.per_second;
    const auto fraction = static_cast<uint64_t>(static_cast<long double>(rest) * 1e9L / interface.per_second);
    const reader_t word = {std::span(reinterpret_cast<const uint8_t *>(flags.data()), flags.size()), body.little};
    return {seconds * 1000000000 + fraction,
            (word.number(0, 4) & 3) == OUTBOUND,
            interface.name,
            body.option(behind, COMMENT),
            dissector,
            {bytes.begin(), bytes.end()}};
}

} // namespace

std::vector<pcapngRead_t> pcapngRead(std::span<const uint8_t> file, std::string &fault)
{
    std::vector<pcapngRead_t> packets;
    std::vector<interface_t> interfaces;
    bool little = false;
    fault.clear();
    for (size_t at = 0; at < file.size();) {
        const reader_t rest = {file.subspan(at), false};
        const bool section = rest.number(0, 4) == SECTION;
        if (at == 0 && !section) {
            fault = "it is no pcapng file";
            return packets;
        }
        if (section) {
            little = rest.number(8, 4) != ORDER_MARK;
            interfaces.clear();
        }
        const reader_t block = {rest.bytes, little};
        const size_t length = block.number(4, 4);
        if (length < LEAST_BLOCK || length % 4 != 0 || length > rest.bytes.size() ||
            (section && block.number(8, 4) != ORDER_MARK)) {
            fault = "it is cut or broken at byte " + std::to_string(at);
            return packets;
        }
        const reader_t body = {rest.bytes.subspan(8, length - LEAST_BLOCK), little};
        const size_t number = body.number(0, 4);
        if (block.number(0, 4) == INTERFACE)
            interfaces.push_back(interfaceIn(body));
        if (block.number(0, 4) == PACKET && number < interfaces.size() && interfaces[number].exported)
            packets.push_back(packetIn(body, interfaces[number]));
        at += length;
    }
    return packets;
}

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
    std::string data, name = packet.dissector;
    pad(name); // a tag is like an option, but its length counts the zeros
    putOption(data, TAG_DISSECTOR, name);
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
