// The bodies of statistics requests and clears.
//
// A request is as long as its reply, which the back end fills in place. A counter that only passes through has no name
// but its offset in the body: pri48 holds a value for each priority, flag120 one bit in a byte, val56 anything else,
// pair72 values that move as two words each.
#ifndef AGENT_MESSAGES_STATISTICS_H
#define AGENT_MESSAGES_STATISTICS_H

#include <cstdint>

#include "agent/messages/codes.h"
#include "agent/messages/layout.h"

// Codes 41, 70. Clear statistics.
struct qosClearStatsMsg_t {
    sbe32 status;
    be32 ifindex; // or QOS_ALL_CHIPS_IFINDEX
    sbe32 clearAll;
    be32 chip; // flat chip number; counts only during the agent's own walk over its chips
};
QOS_LAYOUT(qosClearStatsMsg_t,
           sizeof(R) == 16 && offsetof(R, ifindex) == 4 && offsetof(R, clearAll) == 8 && offsetof(R, chip) == 12);

// What most of them begin with: all of a body that is looked at before it is filled.
struct qosStatsHead_t {
    be32 ifindex;
    sbe32 status;
    uint8_t selector[4]; // forwarded to the driver by the TMC and VOQ requests
};
QOS_LAYOUT(qosStatsHead_t, sizeof(R) == 12 && offsetof(R, status) == 4 && offsetof(R, selector) == 8);

// Code 48. The TMC behind a chip.
struct qosGetTmcInfoMsg_t {
    sbe32 status;
    be32 chip_ifindex;
    sbe32 tsl_id; // flat chip number
    sbe32 tmc_id;
    be32 tmc_type;
};
QOS_LAYOUT(qosGetTmcInfoMsg_t, sizeof(R) == 20 && offsetof(R, chip_ifindex) == 4 && offsetof(R, tsl_id) == 8 &&
                                   offsetof(R, tmc_id) == 12 && offsetof(R, tmc_type) == 16);

// Codes 25 to 27, 69. Receive queue and send queue.
struct qosRcvQueueStatsMsg_t {
    be32 ifindex;
    sbe32 status;
    be32 log_port_bufs;  // buffers in use
    be32 port_threshold; // bytes; the buffer budget, on the way in and out
    uint8_t reserved0[4];
    be32 port_pri_bufs[8]; // buffers in use by priority
    be32 threshold[8];     // by traffic class, bytes
    uint8_t reserved1[65];
    char drop_total[33]; // decimal text that more than one source adds to; 32 bytes are used
};
QOS_LAYOUT(qosRcvQueueStatsMsg_t, sizeof(R) == 182 && offsetof(R, status) == 4 && offsetof(R, log_port_bufs) == 8 &&
                                      offsetof(R, port_threshold) == 12 && offsetof(R, port_pri_bufs) == 20 &&
                                      offsetof(R, threshold) == 52 && offsetof(R, drop_total) == 149);

// Code 28. Multicast receive queues of a chip.
struct qosMcastRcvQueueStatsMsg_t {
    be32 chip_ifindex;
    sbe32 status;
    uint8_t reserved0[92];
    char counter[8][33]; // decimal text by queue
};
QOS_LAYOUT(qosMcastRcvQueueStatsMsg_t, sizeof(R) == 364 && offsetof(R, status) == 4 && offsetof(R, counter) == 100);

// Code 29. Flow control of a port; counters are decimal texts.
struct qosFlowControlStatsMsg_t {
    be32 ifindex;
    sbe32 status;
    uint8_t reserved0[201];
    char global[33];
    char global2[33];
    char pri[8][33];
};
QOS_LAYOUT(qosFlowControlStatsMsg_t, sizeof(R) == 539 && offsetof(R, status) == 4 && offsetof(R, global) == 209 &&
                                         offsetof(R, global2) == 242 && offsetof(R, pri) == 275);

// Code 30. Queues of a port; counters are decimal texts.
struct qosQueueStatsMsg_t {
    be32 ifindex;
    sbe32 status;
    uint8_t reserved0[65];
    char counter1[8][33]; // by priority, as the next three
    char counter2[8][33];
    char counter3[8][33];
    char counter4[8][33];
    char total[4][33];
};
QOS_LAYOUT(qosQueueStatsMsg_t, sizeof(R) == 1261 && offsetof(R, status) == 4 && offsetof(R, counter1) == 73 &&
                                   offsetof(R, counter2) == 337 && offsetof(R, counter3) == 601 &&
                                   offsetof(R, counter4) == 865 && offsetof(R, total) == 1129);

// One priority of a Tessel port.
struct qosRedStatsRec_t {
    uint8_t rsp_priority; // as the driver gave it
    uint8_t reserved0[3];
    be32 priority;   // as the request gave it
    be64 counter[8]; // first and second group alternate, drop level by drop level
    uint8_t reserved1[16];
};
QOS_LAYOUT(qosRedStatsRec_t, sizeof(R) == 88 && offsetof(R, priority) == 4 && offsetof(R, counter) == 8);

// Code 35. RED counters. Tessel fills records, one or eight; Mirelle fills mrl_counter.
struct qosRedStatsMsg_t {
    be32 chip_ifindex;
    sbe32 status;
    be32 num_records; // Mirelle: goes to records_valid
    be16 priority[8]; // Tessel: of each record
    be32 ifindex;
    be32 single_record;  // 1, as a word or in its first byte alone, asks Tessel for one record, else eight
    uint8_t stats_valid; // 1 once filled
    uint8_t records_valid;
    uint8_t reserved0[38];
    qosRedStatsRec_t records[8];
    uint8_t reserved1[8];
    be64 mrl_counter[6]; // first and second group alternate
};
QOS_LAYOUT(qosRedStatsMsg_t, sizeof(R) == 836 && offsetof(R, status) == 4 && offsetof(R, num_records) == 8 &&
                                 offsetof(R, priority) == 12 && offsetof(R, ifindex) == 28 &&
                                 offsetof(R, single_record) == 32 && offsetof(R, stats_valid) == 36 &&
                                 offsetof(R, records_valid) == 37 && offsetof(R, records) == 76 &&
                                 offsetof(R, mrl_counter) == 788);

// Whether one record is asked for. The mark is a byte in one reading and a word in another; both count.
inline bool qosRedStatsSingle(const qosRedStatsMsg_t *body)
{
    return body->single_record.bytes[0] == 1 || body->single_record == 1;
}

// Code 49. Ingress queues of a port.
struct qosIngQueStatsMsg_t {
    be32 ifindex;
    sbe32 status;
    uint8_t selector[4];
    uint8_t reserved0[36];
    be64 pri48[8];
    be64 val112;
    uint8_t flag120;
    uint8_t pri121[8];
    uint8_t pri129[8];
    uint8_t pri137[8];
};
QOS_LAYOUT(qosIngQueStatsMsg_t, sizeof(R) == 145 && offsetof(R, status) == 4 && offsetof(R, selector) == 8 &&
                                    offsetof(R, pri48) == 48 && offsetof(R, val112) == 112 &&
                                    offsetof(R, flag120) == 120 && offsetof(R, pri121) == 121 &&
                                    offsetof(R, pri129) == 129 && offsetof(R, pri137) == 137);

// Code 50. Egress queues of a port.
struct qosEgrQueStatsMsg_t {
    be32 ifindex;
    sbe32 status;
    uint8_t selector[4];
    uint8_t reserved0[36];
    uint8_t pri48[8];
    be32 val56;
    uint8_t flag60;
    uint8_t reserved1[3];
    be32 val64;
    be32 val68;
    uint8_t val72; // low byte of a word; the next field begins right behind
    uint8_t pri73[8];
    uint8_t reserved2[3];
    be32 pri84[8];
    be32 pri116[8];
};
QOS_LAYOUT(qosEgrQueStatsMsg_t, sizeof(R) == 148 && offsetof(R, status) == 4 && offsetof(R, selector) == 8 &&
                                    offsetof(R, pri48) == 48 && offsetof(R, val56) == 56 && offsetof(R, flag60) == 60 &&
                                    offsetof(R, val64) == 64 && offsetof(R, val68) == 68 && offsetof(R, val72) == 72 &&
                                    offsetof(R, pri73) == 73 && offsetof(R, pri84) == 84 && offsetof(R, pri116) == 116);

// Code 51. Ingress buffers of a port.
struct qosIngBufStatsMsg_t {
    be32 ifindex;
    sbe32 status;
    uint8_t selector[4];
    uint8_t reserved0[36];
    uint8_t pri48[8];
    uint8_t pri56[8];
    be32 val64[4];
    be32 pri80[8];
    be32 pri112[8];
    be32 pri144[8];
    be32 pri176[8];
    be32 pri208[8];
    be32 pri240[8];
    uint8_t pri272[8];
    uint8_t pri280[8];
    uint8_t flag288;
};
QOS_LAYOUT(qosIngBufStatsMsg_t,
           sizeof(R) == 289 && offsetof(R, status) == 4 && offsetof(R, selector) == 8 && offsetof(R, pri48) == 48 &&
               offsetof(R, pri56) == 56 && offsetof(R, val64) == 64 && offsetof(R, pri80) == 80 &&
               offsetof(R, pri112) == 112 && offsetof(R, pri144) == 144 && offsetof(R, pri176) == 176 &&
               offsetof(R, pri208) == 208 && offsetof(R, pri240) == 240 && offsetof(R, pri272) == 272 &&
               offsetof(R, pri280) == 280 && offsetof(R, flag288) == 288);

// Code 52. Egress buffers of a port.
struct qosEgrBufStatsMsg_t {
    be32 ifindex;
    sbe32 status;
    uint8_t selector[4];
    uint8_t reserved0[36];
    be32 pri48[8];
    be32 pri80[8];
    be32 pri112[8];
    uint8_t pri144[8];
    uint8_t pri152[8];
};
QOS_LAYOUT(qosEgrBufStatsMsg_t, sizeof(R) == 160 && offsetof(R, status) == 4 && offsetof(R, selector) == 8 &&
                                    offsetof(R, pri48) == 48 && offsetof(R, pri80) == 80 &&
                                    offsetof(R, pri112) == 112 && offsetof(R, pri144) == 144 &&
                                    offsetof(R, pri152) == 152);

// Code 53. PLC ingress queues.
struct qosPlcIngQueStatsMsg_t {
    be32 ifindex;
    sbe32 status;
    uint8_t selector[4];
    uint8_t reserved0[36];
    be32 pri48[8];
    be32 pri80[8];
    uint8_t flag112;
    uint8_t pri113[8];
    uint8_t reserved1[11];
    be32 val132[6];
};
QOS_LAYOUT(qosPlcIngQueStatsMsg_t, sizeof(R) == 156 && offsetof(R, status) == 4 && offsetof(R, selector) == 8 &&
                                       offsetof(R, pri48) == 48 && offsetof(R, pri80) == 80 &&
                                       offsetof(R, flag112) == 112 && offsetof(R, pri113) == 113 &&
                                       offsetof(R, val132) == 132);

// Code 54. PLC egress queues.
struct qosPlcEgrQueStatsMsg_t {
    be32 ifindex;
    sbe32 status;
    uint8_t selector[4];
    uint8_t reserved0[36];
    be32 pri48[8];
    be32 pri80[8];
    be32 pri112[8];
    be32 pri144[8];
    be32 pri176[8];
    be32 pri208[8];
};
QOS_LAYOUT(qosPlcEgrQueStatsMsg_t, sizeof(R) == 240 && offsetof(R, status) == 4 && offsetof(R, selector) == 8 &&
                                       offsetof(R, pri48) == 48 && offsetof(R, pri80) == 80 &&
                                       offsetof(R, pri112) == 112 && offsetof(R, pri144) == 144 &&
                                       offsetof(R, pri176) == 176 && offsetof(R, pri208) == 208);

// Code 55. PLC ingress buffers.
struct qosPlcIngBufStatsMsg_t {
    be32 ifindex;
    sbe32 status;
    uint8_t selector[4];
    uint8_t reserved0[36];
    be32 val48[6];
    be32 pri72[8];
    be32 pri104[8];
    be32 pri136[8];
    be32 pri168[8];
    be32 val200[2];
    uint8_t pri208[8];
    uint8_t pri216[8];
    uint8_t flag224;
    uint8_t flag225;
};
QOS_LAYOUT(qosPlcIngBufStatsMsg_t,
           sizeof(R) == 226 && offsetof(R, status) == 4 && offsetof(R, selector) == 8 && offsetof(R, val48) == 48 &&
               offsetof(R, pri72) == 72 && offsetof(R, pri104) == 104 && offsetof(R, pri136) == 136 &&
               offsetof(R, pri168) == 168 && offsetof(R, val200) == 200 && offsetof(R, pri208) == 208 &&
               offsetof(R, pri216) == 216 && offsetof(R, flag224) == 224 && offsetof(R, flag225) == 225);

// Code 56. PLC egress buffers.
struct qosPlcEgrBufStatsMsg_t {
    be32 ifindex;
    sbe32 status;
    uint8_t selector[4];
    uint8_t reserved0[36];
    be32 val48[4];
    be32 pri64[8];
    be32 pri96[8];
    be32 pri128[8];
    uint8_t pri160[8];
};
QOS_LAYOUT(qosPlcEgrBufStatsMsg_t, sizeof(R) == 168 && offsetof(R, status) == 4 && offsetof(R, selector) == 8 &&
                                       offsetof(R, val48) == 48 && offsetof(R, pri64) == 64 &&
                                       offsetof(R, pri96) == 96 && offsetof(R, pri128) == 128 &&
                                       offsetof(R, pri160) == 160);

// Code 57. Ingress queues of a TMC chip.
struct qosTmcIngChipQueStatsMsg_t {
    be32 ifindex;
    sbe32 status;
    uint8_t selector[4];
    uint8_t reserved0[40];
    uint8_t flag52;
    uint8_t flag53;
    uint8_t flag54;
    uint8_t flag55;
    uint8_t flag56;
    uint8_t flag57;
    uint8_t reserved1[2];
    be32 val60;
    be32 val64;
    be16 val68;
    be16 val70;
};
QOS_LAYOUT(qosTmcIngChipQueStatsMsg_t,
           sizeof(R) == 72 && offsetof(R, status) == 4 && offsetof(R, selector) == 8 && offsetof(R, flag52) == 52 &&
               offsetof(R, flag53) == 53 && offsetof(R, flag54) == 54 && offsetof(R, flag55) == 55 &&
               offsetof(R, flag56) == 56 && offsetof(R, flag57) == 57 && offsetof(R, val60) == 60 &&
               offsetof(R, val64) == 64 && offsetof(R, val68) == 68 && offsetof(R, val70) == 70);

// Code 58. Egress queues of a TMC chip.
struct qosTmcEgrChipQueStatsMsg_t {
    be32 ifindex;
    sbe32 status;
    uint8_t selector[4];
    uint8_t reserved0[40];
    be32 val52[17];
};
QOS_LAYOUT(qosTmcEgrChipQueStatsMsg_t,
           sizeof(R) == 120 && offsetof(R, status) == 4 && offsetof(R, selector) == 8 && offsetof(R, val52) == 52);

// Code 59. Ingress buffers of a TMC chip.
struct qosTmcIngChipBufStatsMsg_t {
    be32 ifindex;
    sbe32 status;
    uint8_t selector[4];
    uint8_t reserved0[44];
    be32 val56[3];
    uint8_t reserved1[4];
    be32 pair72[8][2];
    be32 pair136[8][2];
    be32 pair200[8][2];
    be32 pair264[8][2];
    be32 val328[2];
};
QOS_LAYOUT(qosTmcIngChipBufStatsMsg_t, sizeof(R) == 336 && offsetof(R, status) == 4 && offsetof(R, selector) == 8 &&
                                           offsetof(R, val56) == 56 && offsetof(R, pair72) == 72 &&
                                           offsetof(R, pair136) == 136 && offsetof(R, pair200) == 200 &&
                                           offsetof(R, pair264) == 264 && offsetof(R, val328) == 328);

// Code 60. Egress buffers of a TMC chip.
struct qosTmcEgrChipBufStatsMsg_t {
    be32 ifindex;
    sbe32 status;
    uint8_t selector[4];
    uint8_t reserved0[44];
    uint8_t pri56[8];
    be32 pri64[9][16]; // the first eight of each sixteen are filled
    be32 val640;
    uint8_t reserved1[4];
    be32 pair648[8][2];
    be32 pair712[8][2];
    be32 pair776[8][2];
    be32 pair840[8][2];
    be32 val904[13];
};
QOS_LAYOUT(qosTmcEgrChipBufStatsMsg_t, sizeof(R) == 956 && offsetof(R, status) == 4 && offsetof(R, selector) == 8 &&
                                           offsetof(R, pri56) == 56 && offsetof(R, pri64) == 64 &&
                                           offsetof(R, val640) == 640 && offsetof(R, pair648) == 648 &&
                                           offsetof(R, pair712) == 712 && offsetof(R, pair776) == 776 &&
                                           offsetof(R, pair840) == 840 && offsetof(R, val904) == 904);

// Code 61. Ingress buffers of a TMC port.
struct qosIngTmcPortBufStatsMsg_t {
    be32 ifindex;
    sbe32 status;
    uint8_t selector[4];
    uint8_t reserved0[40];
    uint8_t val52;
    uint8_t val53;
    uint8_t reserved1[2];
    be32 val56;
    be32 pri60[8];
    be32 pri92[8];
    be32 val124;
    be32 pri128[8];
    be32 pri160[8];
    be32 pri192[8];
    be32 pri224[8];
    be32 val256;
    be32 pair260[4][2];
};
QOS_LAYOUT(qosIngTmcPortBufStatsMsg_t,
           sizeof(R) == 292 && offsetof(R, status) == 4 && offsetof(R, selector) == 8 && offsetof(R, val52) == 52 &&
               offsetof(R, val53) == 53 && offsetof(R, val56) == 56 && offsetof(R, pri60) == 60 &&
               offsetof(R, pri92) == 92 && offsetof(R, val124) == 124 && offsetof(R, pri128) == 128 &&
               offsetof(R, pri160) == 160 && offsetof(R, pri192) == 192 && offsetof(R, pri224) == 224 &&
               offsetof(R, val256) == 256 && offsetof(R, pair260) == 260);

// Code 62. Egress buffers of a TMC port.
struct qosEgrTmcPortBufStatsMsg_t {
    be32 ifindex;
    sbe32 status;
    uint8_t selector[4];
    uint8_t reserved0[40];
    be32 val52;
    be32 pri56[8];
    uint8_t reserved1[4];
    be32 pair92[12][8][2]; // twelve groups by priority
};
QOS_LAYOUT(qosEgrTmcPortBufStatsMsg_t, sizeof(R) == 860 && offsetof(R, status) == 4 && offsetof(R, selector) == 8 &&
                                           offsetof(R, val52) == 52 && offsetof(R, pri56) == 56 &&
                                           offsetof(R, pair92) == 92);

// Code 63. Ingress queues of a TMC port.
struct qosIngTmcPortQueStatsMsg_t {
    be32 ifindex;
    sbe32 status;
    uint8_t selector[4];
    uint8_t reserved0[40];
    uint8_t val52;
    uint8_t val53;
    uint8_t val54;
    uint8_t reserved1[1];
    be32 val56;
    be16 pri60[8];
};
QOS_LAYOUT(qosIngTmcPortQueStatsMsg_t, sizeof(R) == 76 && offsetof(R, status) == 4 && offsetof(R, selector) == 8 &&
                                           offsetof(R, val52) == 52 && offsetof(R, val53) == 53 &&
                                           offsetof(R, val54) == 54 && offsetof(R, val56) == 56 &&
                                           offsetof(R, pri60) == 60);

// Code 64. Virtual output queues.
struct qosVoqStatsMsg_t {
    be32 ifindex;
    sbe32 status;
    uint8_t selector[4];
    uint8_t reserved0[40];
    be64 counter[14];
    uint8_t selector_echo[4];
};
QOS_LAYOUT(qosVoqStatsMsg_t, sizeof(R) == 168 && offsetof(R, status) == 4 && offsetof(R, selector) == 8 &&
                                 offsetof(R, counter) == 52 && offsetof(R, selector_echo) == 164);

// One drop reason.
struct qosDropRsnRec_t {
    char text[45]; // not terminated when full
    uint8_t reserved0[3];
    be64 counter;
};
QOS_LAYOUT(qosDropRsnRec_t, sizeof(R) == 56 && offsetof(R, counter) == 48);

// Code 65. Reasons that occurred fill the records from the front.
struct qosDropRsnStatsMsg_t {
    be32 ifindex;
    sbe32 status;
    uint8_t selector[4];
    uint8_t reserved0[36];
    be32 num_reasons;
    uint8_t reserved1[4];
    qosDropRsnRec_t records[128];
    be64 total[7];
};
QOS_LAYOUT(qosDropRsnStatsMsg_t, sizeof(R) == 7280 && offsetof(R, status) == 4 && offsetof(R, selector) == 8 &&
                                     offsetof(R, num_reasons) == 48 && offsetof(R, records) == 56 &&
                                     offsetof(R, total) == 7224);

// Code 77. Internal counters of a chip.
struct qosAsicIntStatsMsg_t {
    be32 chip_ifindex;
    sbe32 status;
    uint8_t reserved0[8];
    be64 val16[9];
    uint8_t reserved1[8];
    be64 val96;
    be64 val104[32];
    be64 val360[3];
    uint8_t reserved2[8];
    be64 val392[8];
    uint8_t reserved3[8];
    be64 val464[8];
};
QOS_LAYOUT(qosAsicIntStatsMsg_t, sizeof(R) == 528 && offsetof(R, status) == 4 && offsetof(R, val16) == 16 &&
                                     offsetof(R, val96) == 96 && offsetof(R, val104) == 104 &&
                                     offsetof(R, val360) == 360 && offsetof(R, val392) == 392 &&
                                     offsetof(R, val464) == 464);

#endif
