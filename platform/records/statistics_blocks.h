// SPDX-License-Identifier: Apache-2.0
// What state and counter reads of Tessel and Mirelle return: a block for each, its request's head included.
//
// A value that only passes through has no name but its offset in the block: pri36 holds a value for each priority,
// pair44 one of 64 bits in two words for each, val100 anything else; bits109 is a bit for each priority, the lowest the
// first, and word40 or byte34 hold several fields.
#ifndef PLATFORM_RECORDS_STATISTICS_BLOCKS_H
#define PLATFORM_RECORDS_STATISTICS_BLOCKS_H

#include <cstddef>
#include <cstdint>

#include "platform/records/statistics.h"

// ---- Ports

struct cosIngQuePort_t {
    cosStatPort_t head;
    be64 pri36[8];
    be64 val100;
    uint8_t byte108;
    uint8_t bits109;
    uint8_t bits110;
    uint8_t bits111;
};
QOS_MEMBERS(cosIngQuePort_t, 112, F(0, head), F(36, pri36), F(100, val100), F(108, byte108), F(109, bits109),
            F(110, bits110), F(111, bits111));

struct cosEgrQuePort_t {
    cosStatPort_t head;
    uint8_t reserved_36;
    uint8_t bits37;
    be16 val38;
    be32 word40; // a flag, 11 bits and 20 bits
    be32 val44;
    uint8_t pri48[8];
    be16 pri56[8];
    be16 pri72[8];
};
QOS_MEMBERS(cosEgrQuePort_t, 88, F(0, head), PAD(36, reserved_36), F(37, bits37), F(38, val38), F(40, word40),
            F(44, val44), F(48, pri48), F(56, pri56), F(72, pri72));

struct cosIngBufPort_t {
    cosStatPort_t head;
    uint8_t bits36;
    uint8_t reserved_37[2];
    uint8_t bits39;
    be32 val40[4];
    be32 pri56[8];
    be32 pri88[8];
    be32 pri120[8];
    uint8_t reserved_152[64];
    be32 pri216[8];
    be32 pri248[8];
    be32 pri280[8];
    uint8_t pri312[8];
    uint8_t reserved_320;
    uint8_t bits321;
    uint8_t reserved_322[5];
    uint8_t byte327;
};
QOS_MEMBERS(cosIngBufPort_t, 328, F(0, head), F(36, bits36), PAD(37, reserved_37), F(39, bits39), F(40, val40),
            F(56, pri56), F(88, pri88), F(120, pri120), PAD(152, reserved_152), F(216, pri216), F(248, pri248),
            F(280, pri280), F(312, pri312), PAD(320, reserved_320), F(321, bits321), PAD(322, reserved_322),
            F(327, byte327));

// The same block of a Mirelle, whose buffers in use begin ahead of where Tessel has its flags.
struct cosBusyBufPort_t {
    cosStatPort_t head;
    be32 log_port_bufs;
    uint8_t reserved_40[12];
    be32 port_pri_bufs[8];
    uint8_t reserved_84[4];
    be32 pri88[8];
    be32 pri120[8];
    uint8_t reserved_152[64];
    be32 pri216[8];
    be32 pri248[8];
    be32 pri280[8];
    uint8_t pri312[8];
    uint8_t reserved_320;
    uint8_t bits321;
    uint8_t reserved_322[5];
    uint8_t byte327;
};
QOS_MEMBERS(cosBusyBufPort_t, 328, F(0, head), F(36, log_port_bufs), PAD(40, reserved_40), F(52, port_pri_bufs),
            PAD(84, reserved_84), F(88, pri88), F(120, pri120), PAD(152, reserved_152), F(216, pri216), F(248, pri248),
            F(280, pri280), F(312, pri312), PAD(320, reserved_320), F(321, bits321), PAD(322, reserved_322),
            F(327, byte327));

struct cosEgrBufPort_t {
    cosStatPort_t head;
    be32 pri36[8];
    be32 pri68[8];
    be32 pri100[8];
    uint8_t reserved_132[2];
    uint8_t bits134;
    uint8_t bits135;
    uint8_t reserved_136[52];
};
QOS_MEMBERS(cosEgrBufPort_t, 188, F(0, head), F(36, pri36), F(68, pri68), F(100, pri100), PAD(132, reserved_132),
            F(134, bits134), F(135, bits135), PAD(136, reserved_136));

struct cosSendQuePort_t {
    cosStatPort_t head;
    be32 port_pri_bufs[8]; // in use
    be32 threshold[8];     // all ones: none
    uint8_t reserved_100[32];
    be64 dropped;
    uint8_t reserved_140[188];
};
QOS_MEMBERS(cosSendQuePort_t, 328, F(0, head), F(36, port_pri_bufs), F(68, threshold), PAD(100, reserved_100),
            F(132, dropped), PAD(140, reserved_140));

// ---- The chip as a whole

struct cosIngQueChip_t {
    cosStatChip_t head;
    be32 pri32[8];
    uint8_t reserved_64[32];
    be32 pri96[8];
    be32 word128; // a flag, and 18 bits whose lowest eight count, above one that does not
    be32 val132[6];
    uint8_t reserved_156[4];
};
QOS_MEMBERS(cosIngQueChip_t, 160, F(0, head), F(32, pri32), PAD(64, reserved_64), F(96, pri96), F(128, word128),
            F(132, val132), PAD(156, reserved_156));

struct cosEgrQueChip_t {
    cosStatChip_t head;
    be32 pri32[8];
    be32 pri64[8];
    be32 val96[2];
    be32 pri104[8];
    be32 pri136[8];
    be32 val168[2];
};
QOS_MEMBERS(cosEgrQueChip_t, 176, F(0, head), F(32, pri32), F(64, pri64), F(96, val96), F(104, pri104), F(136, pri136),
            F(168, val168));

struct cosIngBufChip_t {
    cosStatChip_t head;
    be32 val32[6];
    be32 pri56[8];
    be32 pri88[8];
    be32 pri120[8];
    be32 pri152[8];
    be32 val184[2];
    uint8_t reserved_192;
    uint8_t bits193;
    uint8_t bits194;
    uint8_t reserved_195[4];
    uint8_t byte199;
    uint8_t reserved_200[72];
};
QOS_MEMBERS(cosIngBufChip_t, 272, F(0, head), F(32, val32), F(56, pri56), F(88, pri88), F(120, pri120), F(152, pri152),
            F(184, val184), PAD(192, reserved_192), F(193, bits193), F(194, bits194), PAD(195, reserved_195),
            F(199, byte199), PAD(200, reserved_200));

struct cosEgrBufChip_t {
    cosStatChip_t head;
    be32 val32[4];
    be32 pri48[8];
    be32 pri80[8];
    be32 pri112[8];
    uint8_t reserved_144;
    be16 word145; // a bit for each priority from the fourth bit on
    uint8_t reserved_147[37];
};
QOS_MEMBERS(cosEgrBufChip_t, 184, F(0, head), F(32, val32), F(48, pri48), F(80, pri80), F(112, pri112),
            PAD(144, reserved_144), F(145, word145), PAD(147, reserved_147));

// ---- TMCs behind a Tessel

struct cosTmcIngQueChip_t {
    cosStatChip_t head;
    uint8_t reserved_32[2];
    uint8_t byte34; // four flags
    uint8_t byte35; // two flags and two fields of two bits
    be32 val36;
    be32 val40;
};
QOS_MEMBERS(cosTmcIngQueChip_t, 44, F(0, head), PAD(32, reserved_32), F(34, byte34), F(35, byte35), F(36, val36),
            F(40, val40));

struct cosTmcEgrQueChip_t {
    cosStatChip_t head;
    be32 val32[17];
};
QOS_MEMBERS(cosTmcEgrQueChip_t, 100, F(0, head), F(32, val32));

struct cosTmcIngBufChip_t {
    cosStatChip_t head;
    be32 val32[3];
    be32 pair44[8][2];
    be32 pair108[8][2];
    be32 pair172[8][2];
    be32 pair236[8][2];
    be32 val300[2];
};
QOS_MEMBERS(cosTmcIngBufChip_t, 308, F(0, head), F(32, val32), F(44, pair44), F(108, pair108), F(172, pair172),
            F(236, pair236), F(300, val300));

struct cosTmcEgrBufChip_t {
    cosStatChip_t head;
    be32 pri32[8];
    be32 pri64[9][16]; // the first eight of each sixteen are filled
    be32 val640;
    be32 pair644[8][2];
    be32 pair708[8][2];
    be32 pair772[8][2];
    be32 pair836[8][2];
    be32 val900[13];
};
QOS_MEMBERS(cosTmcEgrBufChip_t, 952, F(0, head), F(32, pri32), F(64, pri64), F(640, val640), F(644, pair644),
            F(708, pair708), F(772, pair772), F(836, pair836), F(900, val900));

struct cosTmcIngQuePort_t {
    cosStatPort_t head;
    be32 val36;
    be32 val40;
    be32 val44;
    be32 val48;
    be16 pri52[8];
};
QOS_MEMBERS(cosTmcIngQuePort_t, 68, F(0, head), F(36, val36), F(40, val40), F(44, val44), F(48, val48), F(52, pri52));

struct cosTmcIngBufPort_t {
    cosStatPort_t head;
    be32 val36;
    be32 val40;
    be32 val44;
    uint8_t reserved_48[4];
    be32 pri52[8];
    uint8_t reserved_84[32];
    be32 pri116[8];
    uint8_t reserved_148[32];
    be32 val180;
    uint8_t reserved_184[4];
    be32 pri188[8];
    uint8_t reserved_220[32];
    be32 pri252[8];
    uint8_t reserved_284[32];
    be32 pri316[8];
    uint8_t reserved_348[32];
    be32 pri380[8];
    be32 val412;
    be32 pair416[4][2];
};
QOS_MEMBERS(cosTmcIngBufPort_t, 448, F(0, head), F(36, val36), F(40, val40), F(44, val44), PAD(48, reserved_48),
            F(52, pri52), PAD(84, reserved_84), F(116, pri116), PAD(148, reserved_148), F(180, val180),
            PAD(184, reserved_184), F(188, pri188), PAD(220, reserved_220), F(252, pri252), PAD(284, reserved_284),
            F(316, pri316), PAD(348, reserved_348), F(380, pri380), F(412, val412), F(416, pair416));

struct cosTmcEgrBufPort_t {
    cosStatPort_t head;
    be32 val36;
    be32 pri40[8];
    uint8_t reserved_72[32];
    be32 pair104[12][8][2]; // twelve groups by priority
    uint8_t reserved_872[64];
};
QOS_MEMBERS(cosTmcEgrBufPort_t, 936, F(0, head), F(36, val36), F(40, pri40), PAD(72, reserved_72), F(104, pair104),
            PAD(872, reserved_872));

// The request ends behind the selector.
struct cosVoq_t {
    cosStatPort_t head;
    be64 counter[14];
};
QOS_MEMBERS(cosVoq_t, 148, F(0, head), F(36, counter));

// ---- Port counters of all three families, by kind. They stand at the same place behind the word that gives the number
// of ports: the first of a Larkin's body, the second of a device's.

struct statPortRmon_t {
    uint8_t reserved_0[0x188];
    be64 discarded; // received frames without a buffer
};
QOS_MEMBERS(statPortRmon_t, 400, PAD(0, reserved_0), F(392, discarded));
static_assert(offsetof(statPortRmon_t, discarded) + offsetof(cosPortStats_t, num_ports) ==
              offsetof(cosPortStats_t, ifindex) + offsetof(cosPortCounters_t, discarded));

struct statPortFlow_t {
    uint8_t reserved_0[0x58];
    be64 global;
    be64 pri[8];
    be64 global2;
};
QOS_MEMBERS(statPortFlow_t, 168, PAD(0, reserved_0), F(88, global), F(96, pri), F(160, global2));

struct statPortQueue_t {
    uint8_t reserved_0[0x18];
    be64 counter1[8]; // by priority, as the next three; the second and fourth in the chip's own unit
    be64 counter2[8];
    be64 counter3[8];
    be64 counter4[8];
    be64 total[4];
};
QOS_MEMBERS(statPortQueue_t, 312, PAD(0, reserved_0), F(24, counter1), F(88, counter2), F(152, counter3),
            F(216, counter4), F(280, total));

#endif
