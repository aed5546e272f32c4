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
static_assert(sizeof(cosTdMonitor_t) == 448 && offsetof(cosTdMonitor_t, drop_packets) == 432);

// ---- Statistics, Tessel and Mirelle

constexpr uint8_t STAT_SELECT = 0x80; // in the first byte of a selector: the whole port or PLC

// What a state or counter read is about; the record goes on, zero, to the size of its response.
struct cosStatPort_t {
    cosHdr_t hdr;
    be32 ifindex;
    uint8_t selector[4];
};
static_assert(sizeof(cosStatPort_t) == 36 && offsetof(cosStatPort_t, selector) == 32);

struct cosStatChip_t {
    cosHdr_t hdr;
    uint8_t selector[4];
};
static_assert(sizeof(cosStatChip_t) == 32 && offsetof(cosStatChip_t, selector) == 28);

struct cosTmcInfo_t {
    cosHdr_t hdr;
    sbe32 tmc_id;  // in the response
    be32 tmc_type; // in the response
};
static_assert(sizeof(cosTmcInfo_t) == 36 && offsetof(cosTmcInfo_t, tmc_type) == 32);

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
static_assert(sizeof(cosPortStats_t) == 504 && offsetof(cosPortStats_t, num_ports) == 32);
static_assert(offsetof(cosPortStats_t, kind) == 40 && offsetof(cosPortStats_t, ifindex) == 48);

// What device 49 holds of one port, end to end behind the word at 44 and beginning with the interface index.
struct cosPortCounters_t {
    be32 ifindex;
    uint8_t reserved_4[372];
    be64 discarded; // RMON: received frames without a buffer
    uint8_t reserved_384[72];
};
static_assert(sizeof(cosPortCounters_t) == 456 && offsetof(cosPortCounters_t, discarded) == 376);
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
static_assert(sizeof(cosPortStatsClear_t) == 44 && offsetof(cosPortStatsClear_t, ifindex) == 40);

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
static_assert(sizeof(cosAsicStats_t) == 592 && offsetof(cosAsicStats_t, sum32) == 32);
static_assert(offsetof(cosAsicStats_t, val136) == 136 && offsetof(cosAsicStats_t, val440) == 440);

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
static_assert(sizeof(cosDropRsn_t) == 56 && offsetof(cosDropRsn_t, num_requests) == 34);
static_assert(offsetof(cosDropRsn_t, ifindex) == sizeof(cosStats_t));

struct cosDropRsnResponse_t {
    cosDropRsn_t request;
    be32 bitmap;
    uint8_t reserved_60[8];
    be64 counter[QOS_DROP_REASONS];
    be64 total[7];
};
static_assert(sizeof(cosDropRsnResponse_t) == 1148 && offsetof(cosDropRsnResponse_t, counter) == 68);
static_assert(offsetof(cosDropRsnResponse_t, total) == 1092);

#endif
