// SPDX-License-Identifier: Apache-2.0
// How much buffer a port's traffic classes get: the pause reserve, the tail-drop split and the two global queue depths.
// Congestion control and the chip back ends both ask here. Thresholds are bytes of chip buffer; nothing is stored and
// no request buffer is touched.
#ifndef AGENT_MODEL_THRESHOLDS_H
#define AGENT_MODEL_THRESHOLDS_H

#include <cstdint>

#include "inventory/records.h"

extern uint32_t ingrQueueDepth; // of all ingress queues, in bytes
extern uint32_t egrQueueDepth;  // of all egress queues, in bytes

// Eight thresholds, by traffic class.
using qaCcbThresholds_t = uint32_t[QOS_NUM_COS];

// X: where a lossless queue stops asking for pause.
uint32_t qaCcbPauseDeAssertGet(const qosIf_t *interface);
// What a pause or PFC record tells: X, and X + 9600 as its assert threshold.
void qaCcbGetPauseThresholds(const qosIf_t *interface, uint32_t *de_assert, uint32_t *assert_threshold);
// A: where it starts asking, rounded up to whole allotments.
uint32_t qaCcbPauseAssertGet(const qosIf_t *interface);
// A while pause or PFC is configured, else 0.
uint32_t qaCcbGetEmerGencyPauseTh(const qosIf_t *interface);

// How many CoS map to each traffic class, and how many classes have none.
void qaCcbGetUnUsedTcs(const uint8_t tc_map[QOS_NUM_COS], uint8_t usage[QOS_NUM_COS], uint8_t *unused);

// Splits a port's budget among its traffic classes: by the configured weights, for legacy pause, or by the PFC rule of
// the switch model. 0. With legacy pause on a Mirelle model only the first threshold is written.
qosMsgStatus_t qaCcbGetPriTailDropThresholds(const qosIf_t *interface, const uint8_t tc_map[QOS_NUM_COS],
                                             uint32_t budget, qaCcbThresholds_t thresholds);

// The three PFC rules, with the same arguments.
void qaCcbGetLarkinPfcTailDropThresholds(const qosIf_t *interface, const uint8_t tc_map[QOS_NUM_COS], uint32_t budget,
                                         qaCcbThresholds_t thresholds);
void qaCcbGetMirellePfcTailDropThresholds(const qosIf_t *interface, const uint8_t tc_map[QOS_NUM_COS], uint32_t budget,
                                          qaCcbThresholds_t thresholds);
void qaCcbGetCommonPfcTailDropThresholds(const qosIf_t *interface, const uint8_t tc_map[QOS_NUM_COS], uint32_t budget,
                                         qaCcbThresholds_t thresholds);

// A quotient that is 0 for a zero divisor, so that a configuration that leaves nothing to divide by cannot trap.
constexpr uint32_t qaQuotient(uint32_t dividend, uint32_t divisor)
{
    return divisor ? dividend / divisor : 0;
}

#endif
