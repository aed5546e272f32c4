// SPDX-License-Identifier: Apache-2.0
// The bodies of statistics requests and clears.
//
// A request is as long as its reply, which the back end fills in place. A counter that only passes through has no name
// but its offset in the body: pri48 holds a value for each priority, flag120 one bit in a byte, val56 anything else,
// pair72 values that move as two words each.
#ifndef AGENT_MESSAGES_STATISTICS_H
#define AGENT_MESSAGES_STATISTICS_H

#include <cstdint>

#include "agent/messages/codes.h"
#include "velmar/members.h"

// Codes 41, 70. Clear statistics.
struct qosClearStatsMsg_t {
    sbe32 status;
    be32 ifindex; // or QOS_ALL_CHIPS_IFINDEX
    sbe32 clearAll;
    be32 chip; // flat chip number; counts only during the agent's own walk over its chips
};
QOS_MEMBERS(qosClearStatsMsg_t, 16, F(0, status), F(4, ifindex), F(8, clearAll), F(12, chip));

// What most of them begin with: all of a body that is looked at before it is filled.
struct qosStatsHead_t {
    be32 ifindex;
    sbe32 status;
    uint8_t selector[4]; // forwarded to the driver by the TMC and VOQ requests
};
QOS_MEMBERS(qosStatsHead_t, 12, F(0, ifindex), F(4, status), F(8, selector));

// Code 48. The TMC behind a chip.
struct qosGetTmcInfoMsg_t {
    sbe32 status;
    be32 chip_ifindex;
    sbe32 tsl_id; // flat chip number
    sbe32 tmc_id;
    be32 tmc_type;
};
QOS_MEMBERS(qosGetTmcInfoMsg_t, 20, F(0, status), F(4, chip_ifindex), F(8, tsl_id), F(12, tmc_id), F(16, tmc_type));

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
QOS_MEMBERS(qosRcvQueueStatsMsg_t, 182, F(0, ifindex), F(4, status), F(8, log_port_bufs), F(12, port_threshold),
            PAD(16, reserved0), F(20, port_pri_bufs), F(52, threshold), PAD(84, reserved1), F(149, drop_total));

// Code 28. Multicast receive queues of a chip.
struct qosMcastRcvQueueStatsMsg_t {
    be32 chip_ifindex;
    sbe32 status;
    uint8_t reserved0[92];
    char counter[8][33]; // decimal text by queue
};
QOS_MEMBERS(qosMcastRcvQueueStatsMsg_t, 364, F(0, chip_ifindex), F(4, status), PAD(8, reserved0), F(100, counter));

// Code 29. Flow control of a port; counters are decimal texts.
struct qosFlowControlStatsMsg_t {
    be32 ifindex;
    sbe32 status;
    uint8_t reserved0[201];
    char global[33];
    char global2[33];
    char pri[8][33];
};
QOS_MEMBERS(qosFlowControlStatsMsg_t, 539, F(0, ifindex), F(4, status), PAD(8, reserved0), F(209, global),
            F(242, global2), F(275, pri));

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
QOS_MEMBERS(qosQueueStatsMsg_t, 1261, F(0, ifindex), F(4, status), PAD(8, reserved0), F(73, counter1), F(337, counter2),
            F(601, counter3), F(865, counter4), F(1129, total));

// One priority of a Tessel port.
struct qosRedStatsRec_t {
    uint8_t rsp_priority; // as the driver gave it
    uint8_t reserved0[3];
    be32 priority;   // as the request gave it
    be64 counter[8]; // first and second group alternate, drop level by drop level
    uint8_t reserved1[16];
};
QOS_MEMBERS(qosRedStatsRec_t, 88, F(0, rsp_priority), PAD(1, reserved0), F(4, priority), F(8, counter),
            PAD(72, reserved1));

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
QOS_MEMBERS(qosRedStatsMsg_t, 836, F(0, chip_ifindex), F(4, status), F(8, num_records), F(12, priority), F(28, ifindex),
            F(32, single_record), F(36, stats_valid), F(37, records_valid), PAD(38, reserved0), F(76, records),
            PAD(780, reserved1), F(788, mrl_counter));

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
QOS_MEMBERS(qosIngQueStatsMsg_t, 145, F(0, ifindex), F(4, status), F(8, selector), PAD(12, reserved0), F(48, pri48),
            F(112, val112), F(120, flag120), F(121, pri121), F(129, pri129), F(137, pri137));

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
QOS_MEMBERS(qosEgrQueStatsMsg_t, 148, F(0, ifindex), F(4, status), F(8, selector), PAD(12, reserved0), F(48, pri48),
            F(56, val56), F(60, flag60), PAD(61, reserved1), F(64, val64), F(68, val68), F(72, val72), F(73, pri73),
            PAD(81, reserved2), F(84, pri84), F(116, pri116));

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
QOS_MEMBERS(qosIngBufStatsMsg_t, 289, F(0, ifindex), F(4, status), F(8, selector), PAD(12, reserved0), F(48, pri48),
            F(56, pri56), F(64, val64), F(80, pri80), F(112, pri112), F(144, pri144), F(176, pri176), F(208, pri208),
            F(240, pri240), F(272, pri272), F(280, pri280), F(288, flag288));

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
QOS_MEMBERS(qosEgrBufStatsMsg_t, 160, F(0, ifindex), F(4, status), F(8, selector), PAD(12, reserved0), F(48, pri48),
            F(80, pri80), F(112, pri112), F(144, pri144), F(152, pri152));

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
QOS_MEMBERS(qosPlcIngQueStatsMsg_t, 156, F(0, ifindex), F(4, status), F(8, selector), PAD(12, reserved0), F(48, pri48),
            F(80, pri80), F(112, flag112), F(113, pri113), PAD(121, reserved1), F(132, val132));

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
QOS_MEMBERS(qosPlcEgrQueStatsMsg_t, 240, F(0, ifindex), F(4, status), F(8, selector), PAD(12, reserved0), F(48, pri48),
            F(80, pri80), F(112, pri112), F(144, pri144), F(176, pri176), F(208, pri208));

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
QOS_MEMBERS(qosPlcIngBufStatsMsg_t, 226, F(0, ifindex), F(4, status), F(8, selector), PAD(12, reserved0), F(48, val48),
            F(72, pri72), F(104, pri104), F(136, pri136), F(168, pri168), F(200, val200), F(208, pri208),
            F(216, pri216), F(224, flag224), F(225, flag225));

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
QOS_MEMBERS(qosPlcEgrBufStatsMsg_t, 168, F(0, ifindex), F(4, status), F(8, selector), PAD(12, reserved0), F(48, val48),
            F(64, pri64), F(96, pri96), F(128, pri128), F(160, pri160));

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
QOS_MEMBERS(qosTmcIngChipQueStatsMsg_t, 72, F(0, ifindex), F(4, status), F(8, selector), PAD(12, reserved0),
            F(52, flag52), F(53, flag53), F(54, flag54), F(55, flag55), F(56, flag56), F(57, flag57),
            PAD(58, reserved1), F(60, val60), F(64, val64), F(68, val68), F(70, val70));

// Code 58. Egress queues of a TMC chip.
struct qosTmcEgrChipQueStatsMsg_t {
    be32 ifindex;
    sbe32 status;
    uint8_t selector[4];
    uint8_t reserved0[40];
    be32 val52[17];
};
QOS_MEMBERS(qosTmcEgrChipQueStatsMsg_t, 120, F(0, ifindex), F(4, status), F(8, selector), PAD(12, reserved0),
            F(52, val52));

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
QOS_MEMBERS(qosTmcIngChipBufStatsMsg_t, 336, F(0, ifindex), F(4, status), F(8, selector), PAD(12, reserved0),
            F(56, val56), PAD(68, reserved1), F(72, pair72), F(136, pair136), F(200, pair200), F(264, pair264),
            F(328, val328));

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
QOS_MEMBERS(qosTmcEgrChipBufStatsMsg_t, 956, F(0, ifindex), F(4, status), F(8, selector), PAD(12, reserved0),
            F(56, pri56), F(64, pri64), F(640, val640), PAD(644, reserved1), F(648, pair648), F(712, pair712),
            F(776, pair776), F(840, pair840), F(904, val904));

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
QOS_MEMBERS(qosIngTmcPortBufStatsMsg_t, 292, F(0, ifindex), F(4, status), F(8, selector), PAD(12, reserved0),
            F(52, val52), F(53, val53), PAD(54, reserved1), F(56, val56), F(60, pri60), F(92, pri92), F(124, val124),
            F(128, pri128), F(160, pri160), F(192, pri192), F(224, pri224), F(256, val256), F(260, pair260));

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
QOS_MEMBERS(qosEgrTmcPortBufStatsMsg_t, 860, F(0, ifindex), F(4, status), F(8, selector), PAD(12, reserved0),
            F(52, val52), F(56, pri56), PAD(88, reserved1), F(92, pair92));

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
QOS_MEMBERS(qosIngTmcPortQueStatsMsg_t, 76, F(0, ifindex), F(4, status), F(8, selector), PAD(12, reserved0),
            F(52, val52), F(53, val53), F(54, val54), PAD(55, reserved1), F(56, val56), F(60, pri60));

// Code 64. Virtual output queues.
struct qosVoqStatsMsg_t {
    be32 ifindex;
    sbe32 status;
    uint8_t selector[4];
    uint8_t reserved0[40];
    be64 counter[14];
    uint8_t selector_echo[4];
};
QOS_MEMBERS(qosVoqStatsMsg_t, 168, F(0, ifindex), F(4, status), F(8, selector), PAD(12, reserved0), F(52, counter),
            F(164, selector_echo));

// One drop reason.
struct qosDropRsnRec_t {
    char text[45]; // not terminated when full
    uint8_t reserved0[3];
    be64 counter;
};
QOS_MEMBERS(qosDropRsnRec_t, 56, F(0, text), PAD(45, reserved0), F(48, counter));

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
QOS_MEMBERS(qosDropRsnStatsMsg_t, 7280, F(0, ifindex), F(4, status), F(8, selector), PAD(12, reserved0),
            F(48, num_reasons), PAD(52, reserved1), F(56, records), F(7224, total));

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
QOS_MEMBERS(qosAsicIntStatsMsg_t, 528, F(0, chip_ifindex), F(4, status), PAD(8, reserved0), F(16, val16),
            PAD(88, reserved1), F(96, val96), F(104, val104), F(360, val360), PAD(384, reserved2), F(392, val392),
            PAD(456, reserved3), F(464, val464));

#endif
