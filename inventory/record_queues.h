// SPDX-License-Identifier: Apache-2.0
// The queues that records hang in, as the store knows them.
#ifndef INVENTORY_RECORD_QUEUES_H
#define INVENTORY_RECORD_QUEUES_H

#include "inventory/tailq.h"
#include "velmar/members.h"

struct qosChip_t;
struct qosIf_t;
struct qosUpdEntry_t;

#define QOS_QUEUES_OF(record)                                                                                          \
    QOS_RECORD_NAMED(tailqHead<record>, "struct th_" #record, 8, F(tqh_first), F(tqh_last));                           \
    QOS_RECORD_NAMED(tailqEntry<record>, "struct te_" #record, 8, F(tqe_next), F(tqe_prev))
QOS_QUEUES_OF(qosIf_t);
QOS_QUEUES_OF(qosChip_t);
QOS_QUEUES_OF(qosUpdEntry_t);
#undef QOS_QUEUES_OF

#endif
