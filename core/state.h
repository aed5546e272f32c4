// SPDX-License-Identifier: Apache-2.0
// The one process-wide record, what the start arguments were, and the result numbers that every layer reads.
#ifndef CORE_STATE_H
#define CORE_STATE_H

#include <cstdint>

#include "velmar/ha.h"
#include "velmar/msgq.h"
#include "velmar/process.h"
#include "velmar/stages.h"

struct lib_instance_t;
struct thread;

// Receiver of every manager buffer: 0 to go on reading.
using qosMiReceiver_t = int (*)(int sock, uint16_t slot, unsigned char *buffer, uint32_t length);

struct qosVelmarState_t {
    const char *progname; // base name of argv[0]
    uint32_t debug;       // set by -d
    char service[16];     // switch service name from -S
    giot_t *giot;
    ioss_t *ipc_ioss;
    ioss_t *timer_ioss;
    uint32_t stage; // a qosStage_t
    MSG_Q_ID msgq;
    lib_instance_t *lib; // its member `master` is the scheduler
    int32_t mi_sock;
    int32_t mi_stats_sock;
    thread *mi_thread;
    thread *mi_stats_thread;
    uint32_t mi_sent;
    uint32_t mi_rcvd;
    uint32_t mi_send_errors;
    uint32_t mi_eintr_errors;
    uint32_t mi_ewouldblock_errors;
    uint32_t mi_rcv_timeouts;
    uint32_t mi_rcv_errors;
    uint32_t mi_rcv_eof;
    qosMiReceiver_t mi_callback;
    uint32_t is_agent; // 1 agent, 0 manager role
    uint32_t model;    // sysconModel()
    uint32_t instance; // switch number from -s
    ha_hndl_t ha;
    ha_hndl_t vss_handle;
    uint32_t dump_sent; // 1 after the first full dump went out
    uint32_t trace_module;
};
extern qosVelmarState_t qos_velmar_state;

// The start arguments as text for the platform.
struct qosSaid_t {
    char service[16];
    char instance[16];
    uint32_t segment; // from -g
    char progname[16];
};
extern qosSaid_t qos_said;

// Result codes of the process frame.
enum qosFrameResult_t : int {
    QOS_OK = 0,
    QOS_FAILED = 1,
    QOS_NO_MEMORY = 2,
    QOS_LIB_START_FAILED = 5,
    QOS_ASP_INIT_FAILED = 6,
    QOS_VELMAR_INIT_FAILED = 7,
    QOS_MSGQ_REFUSED = 8,
    QOS_TIMED_OUT = 28,
};

// Hands every replicated change made so far to the standbys: the bytes sent, negative on failure. What did not go goes
// with the next one.
inline int qosHaSync()
{
    return ha_sync(qos_velmar_state.ha, -1, 1);
}

// The same record or part of one, to be written at once: the store then need not find out by itself what changed. A
// link may be written through it, but none may lead to it: its address is not the record's. Nothing goes wrong without
// it, but a standby costs more.
template <typename Record>
Record &qosEdit(Record &record)
{
    return *static_cast<Record *>(ha_edit(qos_velmar_state.ha, &record, sizeof record));
}

// Blocks until `fd` is readable: 0, 1 if the wait failed (an interrupted one included), 28 after `seconds`.
[[nodiscard]] int qosWaitForResponse(int fd, int seconds);

#endif
