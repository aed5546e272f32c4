// SPDX-License-Identifier: Apache-2.0
// The manager channel: the two MI6 sockets, what is read from them, and how a buffer goes out. It knows nothing of what
// a buffer holds: a received one goes to the receiver given at registration.
#ifndef CHANNELS_MANAGER_H
#define CHANNELS_MANAGER_H

#include <cstdint>

#include "core/print.h"
#include "core/state.h"
#include "velmar/mi6.h"

constexpr uint32_t MI_RXMSG_SIZE = 8192;

// Results of this channel.
enum qosMiResult_t : int {
    QOS_MI_OPEN_FAILED = 17,
    QOS_MI_SEND_FAILED = 18,
    QOS_MI_RECV_FAILED = 19,
};

void qosRegisterMiModule(qosMiReceiver_t receiver);
[[nodiscard]] int qosMiInit(); // init hook: 0 or 17
[[nodiscard]] int qosInitMiSock(int32_t *sock, const char *name);
int qosRcvMi6Msg(thread *event); // read event of both sockets

// Reads a socket until it is dry: 0, 19 after a receive error or end of file, or the receiver's result that ended it.
[[nodiscard]] int qosReadMiMsg(int sock);

// The slot that a message came from, 0 for the manager; always 0.
int qosGetMi6SrcSlotId(const mi6_addr_t *address, uint16_t *slot);

// Reads one notice of the error queue and traces it: 0, or 19 if it is none.
[[nodiscard]] int qosProcessMiErrQueue(int sock);

// Sends one buffer: 0, or 18. `slot` names the destination in the manager role only.
[[nodiscard]] int qosSendMi6Msg(int sock, uint16_t slot, const void *buffer, uint32_t length, int a, int b);

int qosMiStart(uint32_t stage, uint32_t arg);
int qosMiRecon(uint32_t stage, uint32_t arg);

int qos_show_miStats(cli_t *cli);

#endif
