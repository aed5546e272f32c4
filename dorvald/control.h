// SPDX-License-Identifier: Apache-2.0
// What the daemon offers to its control socket.
#ifndef DORVALD_CONTROL_H
#define DORVALD_CONTROL_H

void qosOfferControl(); // once, before the platform may post

#endif
