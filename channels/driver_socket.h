// SPDX-License-Identifier: Apache-2.0
// The sockets to the ASIC driver: their records, the framing, and every check of a received frame.
#ifndef CHANNELS_DRIVER_SOCKET_H
#define CHANNELS_DRIVER_SOCKET_H

#include <cstdint>

#include "platform/records/frame.h"
#include "velmar/socket.h"

struct thread;

// Receiver of a frame's payload; its result is not used.
using qosNLCallback_t = int (*)(unsigned char *payload, uint32_t length, uint32_t arg, uint16_t frame_type);

struct qosNLSock_t {
    int32_t fd = -1; // -1 while closed
    char name[32];
    uint32_t seq;             // of the last frame sent; wraps
    qosSockAddr_t local_addr; // what was bound, kept as the destination of every send
    thread *read_thread;      // the armed read event
    unsigned char *rx_buf;
    uint32_t rx_len;
    qosNLCallback_t rx_cb;
    uint32_t rx_arg;
};

extern qosNLSock_t qosHslEventSock; // group 6, chip events
extern qosNLSock_t qosHslCmdSock;   // group 1, requests of the agent role
extern qosNLSock_t qosHslMgrSock;   // group 8, requests of the manager role

// The one outgoing frame, and the one receive buffer of all three sockets.
extern unsigned char qosNLMsgBuf[NL_MSG_BUF_SIZE];
extern unsigned char qosNLRspBuf[NL_RSP_BUF_SIZE];

enum qosNLClientType_t : uint32_t { NL_CLIENT_CMD = 0, NL_CLIENT_EVENT = 1, NL_CLIENT_MGR = 2 };

// Results of the driver channel; 0, 1 and 28 are the frame's.
enum qosNLResult_t : int {
    QOS_NL_NOTHING = 12, // nothing received, an error frame, or no socket
    QOS_NL_SEND_FAILED = 13,
    QOS_NL_RECV_FAILED = 14, // receive failed, or the message is malformed
    QOS_NL_SHORT_EVENT = 15,
    QOS_NL_NOT_ARMED = 16, // the read event could not be added
};

// Names a record and marks it closed; the size of a frame header through `header_size`, which may be null. 0.
int qosNLSocketInit(qosNLSock_t *sock, const char *name, uint32_t *header_size);
// Opens the record's socket in the group of a client type: 0, 1 for a null or open record or an unknown type, 12 if the
// platform refused.
[[nodiscard]] int qosNLSocket(qosNLSock_t *sock, uint32_t client_type);
// Closes it and takes its read event back: 0, or 1 if it is not open.
[[nodiscard]] int qosNLClose(qosNLSock_t *sock);

// Sends the frame that `payload_length` bytes behind its header complete; 0 or 13. `seq` may be null.
[[nodiscard]] int qosNLSendMsg(qosNLSock_t *sock, unsigned char *frame, uint32_t payload_length, uint32_t *seq,
                               uint16_t type);

// Waits up to 15 seconds for one message. On entry *buffer and *length are the buffer and its size, on a result of 0
// the payload and its length. `seq` may be null. 0, 1, 12, 14 or 28.
[[nodiscard]] int qosNLRecvMsgBlock(qosNLSock_t *sock, unsigned char **buffer, uint32_t *length, uint32_t *seq,
                                    uint16_t *type);

// Hands every later message of the socket to `handler`; 0 or 16.
[[nodiscard]] int qosNLRecvMsgThread(qosNLSock_t *sock, unsigned char *buffer, uint32_t length, qosNLCallback_t handler,
                                     uint32_t arg);

// Opens one of the three sockets whole: 0 or -1.
[[nodiscard]] int qosInitHSLCmdSock();
[[nodiscard]] int qosInitHSLMgrSock();
[[nodiscard]] int qosInitHSLEventSock(qosNLCallback_t handler);

// Handler of the two request sockets: drops what it is given; 0.
int qosProcessHslResp(unsigned char *payload, uint32_t length, uint32_t arg, uint16_t frame_type);

#endif
