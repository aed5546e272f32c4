// SPDX-License-Identifier: Apache-2.0
// Statistics and drop monitor records of Tessel and Mirelle.
#ifndef PLATFORM_RECORDS_STATISTICS_H
#define PLATFORM_RECORDS_STATISTICS_H

#include <cstddef>
#include <cstdint>

#include "platform/records/frame.h"

// ---- Drop monitor, Tessel

// Ingress buffers of a port, of which the monitor reads what it dropped.
struct cosTdMonitor_t {
    cosHdr_t hdr;
    be32 ifindex;
    uint8_t reserved_32[400];
    be64 drop_packets;
    be64 drop_bytes;
};
QOS_MEMBERS(cosTdMonitor_t, 448, F(0, hdr), F(28, ifindex), PAD(32, reserved_32), F(432, drop_packets),
            F(440, drop_bytes));

// ---- Statistics, Tessel and Mirelle

constexpr uint8_t STAT_SELECT = 0x80; // in the first byte of a selector: the whole port or PLC

// What a state or counter read is about; the record goes on, zero, to the size of its response.
struct cosStatPort_t {
    cosHdr_t hdr;
    be32 ifindex;
    uint8_t selector[4];
};
QOS_MEMBERS(cosStatPort_t, 36, F(0, hdr), F(28, ifindex), F(32, selector));

struct cosStatChip_t {
    cosHdr_t hdr;
    uint8_t selector[4];
};
QOS_MEMBERS(cosStatChip_t, 32, F(0, hdr), F(28, selector));

struct cosTmcInfo_t {
    cosHdr_t hdr;
    sbe32 tmc_id;  // in the response
    be32 tmc_type; // in the response
};
QOS_MEMBERS(cosTmcInfo_t, 36, F(0, hdr), F(28, tmc_id), F(32, tmc_type));

enum cosPortKind_t : uint32_t { STAT_KIND_RMON = 0, STAT_KIND_FLOW_CONTROL = 1, STAT_KIND_QUEUE = 2 };

// Device 49. Of a response the data begin at num_ports.
struct cosPortStats_t {
    cosHdr_t hdr;
    be32 device;
    be32 num_ports;
    be32 reserved_36;
    be32 kind;
    be32 reserved_44;
    be32 ifindex;
    uint8_t reserved_52[452];
};
QOS_MEMBERS(cosPortStats_t, 504, F(0, hdr), F(28, device), F(32, num_ports), PAD(36, reserved_36), F(40, kind),
            PAD(44, reserved_44), F(48, ifindex), PAD(52, reserved_52));

// What device 49 holds of one port, end to end behind the word at 44 and beginning with the interface index.
struct cosPortCounters_t {
    be32 ifindex;
    uint8_t reserved_4[372];
    be64 discarded; // RMON: received frames without a buffer
    uint8_t reserved_384[72];
};
QOS_MEMBERS(cosPortCounters_t, 456, F(0, ifindex), PAD(4, reserved_4), F(376, discarded), PAD(384, reserved_384));
static_assert(offsetof(cosPortStats_t, ifindex) + sizeof(cosPortCounters_t) == sizeof(cosPortStats_t));

constexpr uint32_t STAT_CLEAR_ALL_PORTS = 0x40000000;
constexpr uint32_t STAT_CLEAR_PORT_LIST = 0; // bit 31 clear

// A clear of all ports ends ahead of the interface index.
struct cosPortStatsClear_t {
    cosHdr_t hdr;
    be32 device;
    be32 num_ports; // 0 for all
    be32 mode;
    be32 ifindex;
};
QOS_MEMBERS(cosPortStatsClear_t, 44, F(0, hdr), F(28, device), F(32, num_ports), F(36, mode), F(40, ifindex));

// Device 58, which has neither keys nor a bitmap.
struct cosAsicStats_t {
    cosHdr_t hdr;
    be32 device;
    be64 sum32[4]; // from here on in the response: counters by offset, and some of which only the sum counts
    be64 val64;
    be64 sum72[4];
    be64 sum104[4];
    be64 val136[5];
    be64 val176;
    be64 val184[32];
    be64 val440[3];
    be64 val464[8];
    be64 val528[8];
};
QOS_MEMBERS(cosAsicStats_t, 592, F(0, hdr), F(28, device), F(32, sum32), F(64, val64), F(72, sum72), F(104, sum104),
            F(136, val136), F(176, val176), F(184, val184), F(440, val440), F(464, val464), F(528, val528));

constexpr unsigned QOS_DROP_REASONS = 128;

// Device 42, whose request records are shorter than those of the others.
struct cosDropRsn_t {
    cosHdr_t hdr;
    be32 device;
    uint8_t reserved_32[2];
    be16 num_requests;
    be16 num_responses;
    be16 num_returned;
    uint8_t reserved_40[8];
    be32 ifindex;
    be32 flags; // bit 0 clear all
};
QOS_MEMBERS(cosDropRsn_t, 56, F(0, hdr), F(28, device), PAD(32, reserved_32), F(34, num_requests), F(36, num_responses),
            F(38, num_returned), PAD(40, reserved_40), F(48, ifindex), F(52, flags));
static_assert(offsetof(cosDropRsn_t, ifindex) == sizeof(cosStats_t));

struct cosDropRsnResponse_t {
    cosDropRsn_t request;
    be32 bitmap;
    uint8_t reserved_60[8];
    be64 counter[QOS_DROP_REASONS];
    be64 total[7];
};
QOS_MEMBERS(cosDropRsnResponse_t, 1148, F(0, request), F(56, bitmap), PAD(60, reserved_60), F(68, counter),
            F(1092, total));

#endif
