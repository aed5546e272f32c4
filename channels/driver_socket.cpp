// SPDX-License-Identifier: Apache-2.0
// Socket records and framing of the driver channel.
#include "channels/driver_socket.h"

#include <cerrno>
#include <cstring>

#include "core/state.h"
#include "core/strings.h"
#include "core/trace.h"
#include "lib/thread.h"

qosNLSock_t qosHslEventSock;
qosNLSock_t qosHslCmdSock;
qosNLSock_t qosHslMgrSock;

// No less than what those who see the declarations alone may take long arrays to have.
alignas(16) unsigned char qosNLMsgBuf[NL_MSG_BUF_SIZE];
alignas(16) unsigned char qosNLRspBuf[NL_RSP_BUF_SIZE];

namespace {

constexpr int RESPONSE_SECONDS = 15; // the only time limit of this channel
constexpr int SOCKET_BUFFER = 8192;  // small, since requests go strictly one at a time

constexpr uint32_t group(uint32_t client_type)
{
    return client_type == NL_CLIENT_CMD ? 1 : client_type == NL_CLIENT_EVENT ? 6 : 8;
}

constexpr int64_t align4(uint32_t length)
{
    return (static_cast<int64_t>(length) + 3) & ~int64_t{3};
}

void setBufferSizes(int fd, uint32_t client_type)
{
    if (pal_sock_set_recvbuf(fd, SOCKET_BUFFER) < 0)
        QOS_ERR_AT("qosNLSocket", "Error setting rcv buf size for socket type: %d", client_type);
    int size = 0;
    pal_sock_get_recvbuf(fd, &size);
    QOS_DBG_AT("qosNLSocket", "Initialized Netlink socket type: %d, desc: %d, buf_sz: %d", client_type, fd, size);
    if (pal_sock_set_sendbuf(fd, SOCKET_BUFFER) < 0)
        QOS_ERR_AT("qosNLSocket", "Error setting send buf size for socket type: %d", client_type);
}

// Waits for the socket and reads one datagram into `buffer`; its bytes through `got`.
int receiveDatagram(qosNLSock_t *sock, unsigned char *buffer, uint32_t size, uint32_t *got)
{
    const int waited = qosWaitForResponse(sock->fd, RESPONSE_SECONDS);
    if (waited == QOS_TIMED_OUT) {
        QOS_ERR_AT("qosNLRecvMsgBlock", "Critical Error: Timeout while getting a response on sockId: %d", sock->fd);
        return QOS_TIMED_OUT;
    }
    if (waited != QOS_OK) {
        QOS_ERR_AT("qosNLRecvMsgBlock", "Unknown error occured on sockId: %d", sock->fd);
        return QOS_FAILED;
    }
    struct iovec vector = {buffer, size};
    struct msghdr message = {};
    message.msg_iov = &vector;
    message.msg_iovlen = 1;
    ssize_t length;
    do
        length = velmar_recvmsg(sock->fd, &message, 0);
    while (length < 0 && (errno == EINTR || errno == EAGAIN));
    if (length < 0) {
        const int error = errno;
        QOS_ERR_AT("qosNLRecvMsgBlock", "Failed to receive message from sock, errno: %s(%d), sock: %s", strerror(error),
                   error, sock->name);
        return QOS_NL_RECV_FAILED;
    }
    if (length == 0) {
        QOS_ERR_AT("qosNLRecvMsgBlock", "Did not receive anything from socket: %s", sock->name);
        return QOS_NL_NOTHING;
    }
    if (message.msg_flags & MSG_TRUNC) {
        QOS_ERR_AT("qosNLRecvMsgBlock", "Received a truncated message from socket: %s", sock->name);
        return QOS_NL_RECV_FAILED;
    }
    *got = static_cast<uint32_t>(length);
    return QOS_OK;
}

// A message is a data frame and, 4-aligned behind it, an end frame; what follows that is tolerated.
int checkFrames(const qosNLSock_t *sock, const unsigned char *buffer, uint32_t got)
{
    const auto *data = reinterpret_cast<const qosNLHdr_t *>(buffer);
    if (got < sizeof *data || data->length < sizeof *data || data->length > got) {
        QOS_ERR_AT("qosNLRecvMsgBlock", "Message length (%d) sanity check failed, socket: %s", got, sock->name);
        return QOS_NL_RECV_FAILED;
    }
    const int64_t offset = align4(data->length);
    const int64_t rest = static_cast<int64_t>(got) - offset;
    const auto *end = reinterpret_cast<const qosNLHdr_t *>(buffer + offset);
    if (rest < static_cast<int64_t>(sizeof *end) || end->length < sizeof *end || end->length > rest) {
        QOS_ERR_AT("qosNLRecvMsgBlock", "Message length (%d) sanity check failed, socket: %s", static_cast<int>(rest),
                   sock->name);
        return QOS_NL_RECV_FAILED;
    }
    if (end->type != NLM_DONE) {
        QOS_ERR_AT("qosNLRecvMsgBlock", "Message type is not NLMSG_DONE, socket: %s", sock->name);
        return QOS_NL_RECV_FAILED;
    }
    const int trailer = static_cast<int>(rest - align4(end->length));
    if (trailer != 0)
        QOS_DBG_AT("qosNLRecvMsgBlock", "Message has trailer (%d), socket: %s", trailer, sock->name);
    return QOS_OK;
}

void traceErrorFrame(const qosNLSock_t *sock, const unsigned char *buffer)
{
    const auto *data = reinterpret_cast<const qosNLHdr_t *>(buffer);
    const uint32_t length = data->length;
    if (length >= sizeof *data) {
        be32 error = {};
        if (length >= sizeof *data + sizeof error)
            memcpy(&error, buffer + sizeof *data, sizeof error);
        QOS_ERR_AT("qosNLRecvMsgBlock", "Received error message, error: %d, msg_type: %d, seq: %d, socket: %s",
                   static_cast<int>(static_cast<uint32_t>(error)), static_cast<uint16_t>(data->type),
                   static_cast<uint32_t>(data->seq), sock->name);
    } else {
        QOS_ERR_AT("qosNLRecvMsgBlock", "Message length (%d) is less than message header length (%d), socket: %s",
                   length, static_cast<int>(sizeof *data), sock->name);
    }
}

int qosNLRecvMsgThread_read(thread *event);

int armRead(qosNLSock_t *sock, qosWhere_t where)
{
    sock->read_thread = thread_add_read_high(qos_velmar_state.lib, qosNLRecvMsgThread_read, sock, sock->fd);
    if (!sock->read_thread) {
        QOS_ERR_AT(where, "Unable to add to read thread, socket: %s", sock->name);
        return QOS_NL_NOT_ARMED;
    }
    return QOS_OK;
}

int qosNLRecvMsgThread_read(thread *event)
{
    auto *sock = static_cast<qosNLSock_t *>(thread_arg(event));
    sock->read_thread = nullptr;
    unsigned char *payload = sock->rx_buf;
    uint32_t length = sock->rx_len;
    uint16_t type = 0;
    if (qosNLRecvMsgBlock(sock, &payload, &length, nullptr, &type) == QOS_OK && sock->rx_cb)
        sock->rx_cb(payload, length, sock->rx_arg, type);
    return armRead(sock, "qosNLRecvMsgThread_read");
}

int openSocket(qosNLSock_t *sock, const char *name, uint32_t client_type, qosNLCallback_t handler)
{
    if (qosNLSocketInit(sock, name, nullptr) != QOS_OK || qosNLSocket(sock, client_type) != QOS_OK ||
        qosNLRecvMsgThread(sock, qosNLRspBuf, sizeof qosNLRspBuf, handler, 0) != QOS_OK)
        return -1;
    return QOS_OK;
}

} // namespace

int qosNLSocketInit(qosNLSock_t *sock, const char *name, uint32_t *header_size)
{
    sock->fd = -1;
    qosCopyText(sock->name, name);
    if (header_size)
        *header_size = sizeof(qosNLHdr_t);
    return QOS_OK;
}

int qosNLSocket(qosNLSock_t *sock, uint32_t client_type)
{
    if (!sock) {
        QOS_ERR("Passed NULL socket for socket type: %d", client_type);
        return QOS_FAILED;
    }
    if (sock->fd != -1) {
        QOS_ERR("sockId is not -1 (but %d), for socket type: %d", sock->fd, client_type);
        return QOS_FAILED;
    }
    const int fd = velmar_socket(AF_QOS, SOCK_RAW, 0);
    if (fd < 0) {
        QOS_ERR("Failed to create AF_QOS socket (rc: %d) for: %s", fd, sock->name);
        return QOS_NL_NOTHING;
    }
    QOS_INF("AF_QOS socket for sockId %d created successfully", fd);
    setBufferSizes(fd, client_type);
    if (client_type > NL_CLIENT_MGR) {
        QOS_ERR("Unknown client type (%d) for socket: %s", client_type, sock->name);
        return QOS_FAILED;
    }
    qosSockAddr_t address = {};
    address.family = static_cast<uint16_t>(AF_QOS);
    address.group = group(client_type);
    if (velmar_bind(fd, &address, sizeof address) < 0) {
        QOS_ERR("Unable to bind netlink socket (errno: %d), socket: %s", errno, sock->name);
        velmar_close(fd);
        return QOS_NL_NOTHING;
    }
    sock->fd = fd;
    sock->local_addr = address;
    QOS_DBG("Activated netlink socket type: %d, socket: %s", client_type, sock->name);
    return QOS_OK;
}

int qosNLClose(qosNLSock_t *sock)
{
    if (!sock) {
        QOS_ERR("NULL sockp for close");
        return QOS_FAILED;
    }
    if (sock->fd == -1) {
        QOS_ERR("Invalid sock fd (%d) in socket: %s", sock->fd, sock->name);
        return QOS_FAILED;
    }
    if (sock->read_thread) {
        thread_cancel(sock->read_thread);
        sock->read_thread = nullptr;
    }
    velmar_close(sock->fd);
    sock->fd = -1;
    QOS_DBG("Close netlink socket: %s", sock->name);
    return QOS_OK;
}

int qosNLSendMsg(qosNLSock_t *sock, unsigned char *frame, uint32_t payload_length, uint32_t *seq, uint16_t type)
{
    auto *header = reinterpret_cast<qosNLHdr_t *>(frame);
    const uint32_t length = payload_length + static_cast<uint32_t>(sizeof *header);
    header->length = length;
    header->type = type;
    header->flags = 0;
    header->seq = ++sock->seq;
    header->sender = 0;
    QOS_DBG("Sending ioctl message, len: %d, type: %d, seq: %d, sock: %s", length, type, sock->seq, sock->name);
    struct iovec vector = {frame, length};
    struct msghdr message = {};
    message.msg_name = &sock->local_addr;
    message.msg_namelen = sizeof sock->local_addr;
    message.msg_iov = &vector;
    message.msg_iovlen = 1;
    if (velmar_sendmsg(sock->fd, &message, 0) < 0) {
        QOS_ERR("Failed to send msg to netlink socket, errno: %d, sock: %s", errno, sock->name);
        return QOS_NL_SEND_FAILED;
    }
    if (seq)
        *seq = sock->seq;
    return QOS_OK;
}

int qosNLRecvMsgBlock(qosNLSock_t *sock, unsigned char **buffer, uint32_t *length, uint32_t *seq, uint16_t *type)
{
    uint32_t got = 0;
    int rc = receiveDatagram(sock, *buffer, *length, &got);
    if (rc == QOS_OK)
        rc = checkFrames(sock, *buffer, got);
    if (rc != QOS_OK)
        return rc;
    const auto *data = reinterpret_cast<const qosNLHdr_t *>(*buffer);
    if (data->type == NLM_ERROR) {
        traceErrorFrame(sock, *buffer);
        return QOS_NL_NOTHING;
    }
    const uint32_t frame_length = data->length;
    const uint32_t frame_seq = data->seq;
    *type = data->type;
    QOS_DBG("Receive netlink message, len: %d, msg type: %d, seq: %d, name: %s", frame_length, *type, frame_seq,
            sock->name);
    *buffer += sizeof *data;
    *length = frame_length - static_cast<uint32_t>(sizeof *data);
    if (seq)
        *seq = frame_seq;
    return QOS_OK;
}

int qosNLRecvMsgThread(qosNLSock_t *sock, unsigned char *buffer, uint32_t length, qosNLCallback_t handler, uint32_t arg)
{
    sock->rx_buf = buffer;
    sock->rx_len = length;
    sock->rx_cb = handler;
    sock->rx_arg = arg;
    return armRead(sock, "qosNLRecvMsgThread");
}

int qosInitHSLCmdSock()
{
    return openSocket(&qosHslCmdSock, "qosHslCmd", NL_CLIENT_CMD, qosProcessHslResp);
}

int qosInitHSLMgrSock()
{
    return openSocket(&qosHslMgrSock, "qosHslMgr", NL_CLIENT_MGR, qosProcessHslResp);
}

int qosInitHSLEventSock(qosNLCallback_t handler)
{
    return openSocket(&qosHslEventSock, "qosHslEvent", NL_CLIENT_EVENT, handler);
}

// What no request waited for, such as a response after its time limit, is read and dropped.
int qosProcessHslResp(unsigned char *, uint32_t, uint32_t, uint16_t)
{
    return QOS_OK;
}
