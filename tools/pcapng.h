// SPDX-License-Identifier: Apache-2.0
// Capture files that any reader of pcapng opens: what a socket carried, as an exported PDU with the name of the
// dissector that takes it apart. The pieces are written one behind another: begin, interfaces, packets.
#ifndef TOOLS_PCAPNG_H
#define TOOLS_PCAPNG_H

#include <cstdint>
#include <span>
#include <string>
#include <vector>

// The dissectors: one datagram of the manager channel, and one datagram of frames of the driver channel.
constexpr const char *PCAPNG_MI = "dorvald_mi";
constexpr const char *PCAPNG_DRIVER = "dorvald_drv";

struct pcapngPacket_t {
    uint64_t time_ns;   // since 1970
    unsigned interface; // its number
    bool outbound;
    std::string comment; // "" for none
    std::string dissector;
    std::span<const uint8_t> bytes;
};

std::string pcapngBegin();
// Interfaces have numbers from 0 in the order in which they are written.
std::string pcapngInterface(const std::string &name);
std::string pcapngPacket(const pcapngPacket_t &packet);

// A packet of such a file, of either byte order. Packets of other kinds than exported PDUs are left out.
struct pcapngRead_t {
    uint64_t time_ns;
    bool outbound;
    std::string interface, comment, dissector;
    std::vector<uint8_t> bytes;
};
// The packets as far as the file is whole; `fault` says what is wrong with the rest, empty if nothing is.
std::vector<pcapngRead_t> pcapngRead(std::span<const uint8_t> file, std::string &fault);

#endif
