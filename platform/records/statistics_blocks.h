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
static_assert(sizeof(cosIngQuePort_t) == 112 && offsetof(cosIngQuePort_t, val100) == 100);
static_assert(offsetof(cosIngQuePort_t, bits111) == 111);

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
static_assert(sizeof(cosEgrQuePort_t) == 88 && offsetof(cosEgrQuePort_t, word40) == 40);
static_assert(offsetof(cosEgrQuePort_t, pri72) == 72);

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
static_assert(sizeof(cosIngBufPort_t) == 328 && offsetof(cosIngBufPort_t, pri216) == 216);
static_assert(offsetof(cosIngBufPort_t, bits321) == 321);

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
static_assert(sizeof(cosBusyBufPort_t) == 328 && offsetof(cosBusyBufPort_t, port_pri_bufs) == 52);
static_assert(offsetof(cosBusyBufPort_t, pri88) == 88 && offsetof(cosBusyBufPort_t, bits321) == 321);

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
static_assert(sizeof(cosEgrBufPort_t) == 188 && offsetof(cosEgrBufPort_t, bits134) == 134);

struct cosSendQuePort_t {
    cosStatPort_t head;
    be32 port_pri_bufs[8]; // in use
    be32 threshold[8];     // all ones: none
    uint8_t reserved_100[32];
    be64 dropped;
    uint8_t reserved_140[188];
};
static_assert(sizeof(cosSendQuePort_t) == 328 && offsetof(cosSendQuePort_t, threshold) == 68);
static_assert(offsetof(cosSendQuePort_t, dropped) == 132);

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
static_assert(sizeof(cosIngQueChip_t) == 160 && offsetof(cosIngQueChip_t, word128) == 128);

struct cosEgrQueChip_t {
    cosStatChip_t head;
    be32 pri32[8];
    be32 pri64[8];
    be32 val96[2];
    be32 pri104[8];
    be32 pri136[8];
    be32 val168[2];
};
static_assert(sizeof(cosEgrQueChip_t) == 176 && offsetof(cosEgrQueChip_t, pri104) == 104);

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
static_assert(sizeof(cosIngBufChip_t) == 272 && offsetof(cosIngBufChip_t, byte199) == 199);

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
static_assert(sizeof(cosEgrBufChip_t) == 184 && offsetof(cosEgrBufChip_t, word145) == 145);

// ---- TMCs behind a Tessel

struct cosTmcIngQueChip_t {
    cosStatChip_t head;
    uint8_t reserved_32[2];
    uint8_t byte34; // four flags
    uint8_t byte35; // two flags and two fields of two bits
    be32 val36;
    be32 val40;
};
static_assert(sizeof(cosTmcIngQueChip_t) == 44 && offsetof(cosTmcIngQueChip_t, val36) == 36);

struct cosTmcEgrQueChip_t {
    cosStatChip_t head;
    be32 val32[17];
};
static_assert(sizeof(cosTmcEgrQueChip_t) == 100);

struct cosTmcIngBufChip_t {
    cosStatChip_t head;
    be32 val32[3];
    be32 pair44[8][2];
    be32 pair108[8][2];
    be32 pair172[8][2];
    be32 pair236[8][2];
    be32 val300[2];
};
static_assert(sizeof(cosTmcIngBufChip_t) == 308 && offsetof(cosTmcIngBufChip_t, pair236) == 236);

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
static_assert(sizeof(cosTmcEgrBufChip_t) == 952 && offsetof(cosTmcEgrBufChip_t, pair644) == 644);

struct cosTmcIngQuePort_t {
    cosStatPort_t head;
    be32 val36;
    be32 val40;
    be32 val44;
    be32 val48;
    be16 pri52[8];
};
static_assert(sizeof(cosTmcIngQuePort_t) == 68 && offsetof(cosTmcIngQuePort_t, pri52) == 52);

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
static_assert(sizeof(cosTmcIngBufPort_t) == 448 && offsetof(cosTmcIngBufPort_t, pri116) == 116);
static_assert(offsetof(cosTmcIngBufPort_t, pri252) == 252 && offsetof(cosTmcIngBufPort_t, pri380) == 380);

struct cosTmcEgrBufPort_t {
    cosStatPort_t head;
    be32 val36;
    be32 pri40[8];
    uint8_t reserved_72[32];
    be32 pair104[12][8][2]; // twelve groups by priority
    uint8_t reserved_872[64];
};
static_assert(sizeof(cosTmcEgrBufPort_t) == 936 && offsetof(cosTmcEgrBufPort_t, pair104) == 104);

// The request ends behind the selector.
struct cosVoq_t {
    cosStatPort_t head;
    be64 counter[14];
};
static_assert(sizeof(cosVoq_t) == 148 && offsetof(cosVoq_t, counter) == 36);

// ---- Port counters of all three families, by kind. They stand at the same place behind the word that gives the number
// of ports: the first of a Larkin's body, the second of a device's.

struct statPortRmon_t {
    uint8_t reserved_0[0x188];
    be64 discarded; // received frames without a buffer
};
static_assert(offsetof(statPortRmon_t, discarded) == 0x188);
static_assert(offsetof(statPortRmon_t, discarded) + offsetof(cosPortStats_t, num_ports) ==
              offsetof(cosPortStats_t, ifindex) + offsetof(cosPortCounters_t, discarded));

struct statPortFlow_t {
    uint8_t reserved_0[0x58];
    be64 global;
    be64 pri[8];
    be64 global2;
};
static_assert(offsetof(statPortFlow_t, pri) == 0x60 && offsetof(statPortFlow_t, global2) == 0xa0);

struct statPortQueue_t {
    uint8_t reserved_0[0x18];
    be64 counter1[8]; // by priority, as the next three; the second and fourth in the chip's own unit
    be64 counter2[8];
    be64 counter3[8];
    be64 counter4[8];
    be64 total[4];
};
static_assert(offsetof(statPortQueue_t, counter3) == 0x98 && offsetof(statPortQueue_t, total) == 0x118);

#endif
