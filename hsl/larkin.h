// SPDX-License-Identifier: Apache-2.0
// What a Larkin does with traffic in its own way. Scheduler, RED curve and multicast limits are told to the chip and
// hold for all its ports; flow control and RED name wire priorities, which the port's register map turns into the
// chip's; a port's queues share its budget, and the lossless ones a reserve.
#ifndef HSL_LARKIN_H
#define HSL_LARKIN_H

#include "hsl/model.h"

// The policer of a Larkin's multicast traffic; no policer that is told has this number.
constexpr uint32_t HSL_MCAST_LIMIT = 0xFFFFFFFF;

// Applies what chips and ports were told to the setup that the queues follow, and takes multicast flows to the chip's
// own queues, which stand as a port with the chip's interface index. For hslModelFollow, behind hslClassify.
void hslLarkinFollow(hslModel_t &model, int flat);

// Cuts the growth of a port's queues to what its budget and its reserve leave, behind hslSettlePort.
void hslLarkinShare(hslPort_t &port);

// The chip's priority of one of the wire: PFC and RED protect the queue that frames of the CoS go to.
unsigned hslLarkinQueue(const hslPort_t &port, unsigned wire);

// Counters of the family into a read's response behind its head; a clear sets what it names to 0. Other records are
// left alone.
void hslLarkinRead(hslModel_t &model, uint32_t target, const hslCommand_t &row, hslBytes record, hslBuffer &response);
void hslLarkinClear(hslModel_t &model, uint32_t target, const hslCommand_t &row, hslBytes record);

#endif
