// SPDX-License-Identifier: Apache-2.0
// The module "QOS MI".
#include "channels/manager.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <sys/socket.h>

#include "core/module.h"
#include "core/strings.h"
#include "core/table.h"
#include "core/trace.h"
#include "lib/kor.h"
#include "lib/lib_instance.h"
#include "lib/thread.h"
#include "velmar/socket.h"

namespace {

constexpr const char *SERVICE_MI = "qosMI";
constexpr const char *SERVICE_MI_STATS = "qosMIStats";
constexpr int ERRNO_NOTICE = 68;      // a notice stands at the head of the queue
constexpr int ERRNO_RCV_TIMEOUT = 18; // MI6's own receive time-out

unsigned char qos_mi_rxmsg[MI_RXMSG_SIZE];

void setService(mi6_addr_t &address, const char *name)
{
    address.family = static_cast<uint16_t>(AF_MI6);
    qosCopyText(address.service, name);
}

// Bit n is slot n+1; slot 0 shares the first bit, and a slot above 16 has none.
uint16_t slotMask(uint16_t slot)
{
    if (slot == 0)
        return 1;
    return slot > 16 ? uint16_t{0} : static_cast<uint16_t>(1U << (slot - 1));
}

struct addressText_t {
    char text[28];
};

// "[am0 qosMI]": whose address, the slot mask as a signed 16-bit number in hexadecimal, the service.
addressText_t formatAddress(const mi6_addr_t &address)
{
    const uint8_t flags = address.flags;
    const char *letters = "*l";
    if ((flags & MI6_MANAGER) || ((flags & MI6_LINE_CARD) && (flags & MI6_MANAGER_STANDBY)))
        letters = "am";
    else if (flags & MI6_LINE_CARD)
        letters = "al";
    else if (flags & MI6_MANAGER_STANDBY)
        letters = "sm";
    else if (flags & MI6_LINE_CARD_STANDBY)
        letters = "sl";
    char service[sizeof address.service + 1] = {};
    memcpy(service, address.service, sizeof address.service);
    const int mask = static_cast<int16_t>(static_cast<uint16_t>(address.slot_mask));
    addressText_t result;
    snprintf(result.text, sizeof result.text, "[%c%c%X %s]", letters[0], letters[1], static_cast<unsigned>(mask),
             service);
    return result;
}

// Arms the read event of a socket, whose argument is the descriptor as well.
thread *addRead(int sock)
{
    return thread_add_read(qos_velmar_state.lib, qosRcvMi6Msg, reinterpret_cast<void *>(static_cast<intptr_t>(sock)),
                           sock);
}

// What a failed receive means for the drain: go on reading, or end it with a result.
struct readVerdict_t {
    bool go_on;
    int result;
};

readVerdict_t receiveFailed(int sock, int error)
{
    switch (error) {
    case ERRNO_NOTICE:
        (void)qosProcessMiErrQueue(sock); // a notice is traced, and the read goes on
        return {true, QOS_OK};
    case EINTR:
        ++qos_velmar_state.mi_eintr_errors;
        return {true, QOS_OK};
    case EAGAIN:
        ++qos_velmar_state.mi_ewouldblock_errors;
        return {false, QOS_OK};
    case ERRNO_RCV_TIMEOUT:
        ++qos_velmar_state.mi_rcv_timeouts;
        return {false, QOS_OK};
    default:
        ++qos_velmar_state.mi_rcv_errors;
        return {false, QOS_MI_RECV_FAILED};
    }
}

void traceNotice(const mi6_notice_t &notice)
{
    const addressText_t destination = formatAddress(notice.destination);
    const uint32_t code = notice.code;
    switch (code) {
    case MI6_THRESHOLD_HIGH:
        QOS_ERR_AT("qosProcessMiErrQueue", "MI6 Destination %s exceeded High threshold", destination.text);
        break;
    case MI6_THRESHOLD_NORMAL:
        QOS_DBG_AT("qosProcessMiErrQueue", "MI6 destination %s returned to normal threshold", destination.text);
        break;
    case MI6_DESTINATION_INVALID:
        QOS_ERR_AT("qosProcessMiErrQueue", "Invalid MI6 destination, addr = %s", destination.text);
        break;
    default:
        QOS_ERR_AT("qosProcessMiErrQueue", "Unknown MI6 error %d from %s", code, destination.text);
    }
}

const char *const qos_show_miStats_cmd_help[] = {"Show running system information", "DORVMD show commands",
                                                 "DORVMD MI subsytem", "DORVMD MI statistics", nullptr};
const cli_element_t qos_show_miStats_cmd = {"show dorvmd mi statistics", cliShow<qos_show_miStats>,
                                            qos_show_miStats_cmd_help};

} // namespace

void qosRegisterMiModule(qosMiReceiver_t receiver)
{
    QOS_FRAME();
    qosModuleRecord(QOS_MOD_MI, "QOS MI").init = qosMiInit;
    (void)qosVssStageRegister(QOS_MOD_MI, QOS_STAGE_CLIENT_INIT, qosMiStart, 0);
    (void)qosVssStageRegister(QOS_MOD_MI, QOS_STAGE_WARM_RECON, qosMiRecon, 0);
    qos_velmar_state.mi_callback = receiver;
}

int qosMiStart(uint32_t, uint32_t)
{
    return QOS_OK;
}

int qosMiRecon(uint32_t, uint32_t)
{
    return QOS_OK;
}

int qosInitMiSock(int32_t *sock, const char *name)
{
    mi6_addr_t local = {};
    const mi6_addr_t peer = {};
    setService(local, name);
    if (qos_velmar_state.is_agent)
        local.slot_mask = slotMask(static_cast<uint16_t>(__expm.slot));
    *sock = mi6_open(&local, &peer);
    if (*sock == -1) {
        QOS_ERR("Failed open MI socket");
        return QOS_MI_OPEN_FAILED;
    }
    QOS_INF("Initialized %s socket", name);
    return QOS_OK;
}

int qosMiInit()
{
    QOS_FRAME();
    qosVelmarState_t &state = qos_velmar_state;
    if (qosInitMiSock(&state.mi_sock, SERVICE_MI) != QOS_OK) {
        QOS_ERR("Failed open MI socket");
        return QOS_MI_OPEN_FAILED;
    }
    QOS_INF("Opened MI socket %d successfully", state.mi_sock);
    state.mi_thread = addRead(state.mi_sock);
    if (qosInitMiSock(&state.mi_stats_sock, SERVICE_MI_STATS) != QOS_OK) {
        QOS_ERR("Failed open MI Stats socket");
        return QOS_MI_OPEN_FAILED;
    }
    QOS_INF("opened MI stats socket %d successfully", state.mi_stats_sock);
    if (state.is_agent)
        state.mi_stats_thread = addRead(state.mi_stats_sock);
    else
        (void)cli_install_gen(state.lib->ctree, EXEC_MODE, QOS_CLI_LEVEL, QOS_CLI_FLAGS, &qos_show_miStats_cmd);
    QOS_INF("Initialized MI sockets");
    return QOS_OK;
}

int qosRcvMi6Msg(thread *event)
{
    // mi_thread follows whichever of the two sockets fired last; nothing cancels these events, so that does no harm.
    qos_velmar_state.mi_thread = nullptr;
    const int sock = thread_fd(event);
    (void)qosReadMiMsg(sock); // the socket is waited for again, whatever ended the read
    qos_velmar_state.mi_thread = addRead(sock);
    return QOS_OK;
}

int qosReadMiMsg(int sock)
{
    qosVelmarState_t &state = qos_velmar_state;
    for (;;) {
        mi6_addr_t from = {};
        memset(qos_mi_rxmsg, 0, sizeof qos_mi_rxmsg);
        struct iovec vector = {qos_mi_rxmsg, sizeof qos_mi_rxmsg};
        struct msghdr message = {};
        message.msg_name = &from;
        message.msg_namelen = sizeof from;
        message.msg_iov = &vector;
        message.msg_iovlen = 1;
        const ssize_t length = velmar_recvmsg(sock, &message, MSG_DONTWAIT);
        if (length < 0) {
            const readVerdict_t verdict = receiveFailed(sock, errno);
            if (verdict.go_on)
                continue;
            return verdict.result;
        }
        if (length == 0) {
            ++state.mi_rcv_eof;
            return QOS_MI_RECV_FAILED;
        }
        uint16_t slot;
        qosGetMi6SrcSlotId(&from, &slot);
        ++state.mi_rcvd;
        if (!state.mi_callback || state.stage == QOS_STAGE_STANDBY)
            continue;
        const int rc = state.mi_callback(sock, slot, qos_mi_rxmsg, static_cast<uint32_t>(length));
        qosHaSync();
        if (rc != QOS_OK)
            return rc;
    }
}

int qosGetMi6SrcSlotId(const mi6_addr_t *address, uint16_t *slot)
{
    constexpr unsigned SLOT_BITS = 11;
    *slot = 0;
    if (address->flags & (MI6_MANAGER | MI6_MANAGER_STANDBY)) {
        QOS_DBG("Received MI Message from Manager");
        return QOS_OK;
    }
    const unsigned mask = address->slot_mask;
    for (unsigned bit = 0; bit < SLOT_BITS; ++bit) {
        if (mask & (1U << bit)) {
            *slot = static_cast<uint16_t>(__expm.slot_base ? bit + 1 : bit);
            return QOS_OK;
        }
    }
    QOS_ERR("Unable to identify source slot in received MI msg");
    return QOS_OK;
}

int qosProcessMiErrQueue(int sock)
{
    union {
        struct cmsghdr header; // for its alignment
        char bytes[CMSG_SPACE(sizeof(mi6_notice_t))];
    } control = {};
    char data[100];
    mi6_addr_t from = {};
    struct iovec vector = {data, sizeof data};
    struct msghdr message = {};
    message.msg_name = &from;
    message.msg_namelen = sizeof from;
    message.msg_iov = &vector;
    message.msg_iovlen = 1;
    message.msg_control = &control;
    message.msg_controllen = sizeof control;
    velmar_recvmsg(sock, &message, MSG_ERRQUEUE | MSG_DONTWAIT);

    const struct cmsghdr *header = CMSG_FIRSTHDR(&message);
    if (!header) {
        QOS_ERR("cmsg is NULL");
        return QOS_MI_RECV_FAILED;
    }
    if (header->cmsg_level != SOL_MI6) {
        QOS_ERR("cmsg level is not MI6");
        return QOS_MI_RECV_FAILED;
    }
    if (!(message.msg_flags & MSG_ERRQUEUE)) {
        QOS_ERR("MSG_ERRQUEUE flag not set in cmsg hdr");
        return QOS_MI_RECV_FAILED;
    }
    mi6_notice_t notice;
    memcpy(&notice, CMSG_DATA(header), sizeof notice);
    traceNotice(notice);
    return QOS_OK;
}

int qosSendMi6Msg(int sock, uint16_t slot, const void *buffer, uint32_t length, int, int)
{
    qosVelmarState_t &state = qos_velmar_state;
    mi6_addr_t to = {};
    setService(to, sock == state.mi_sock ? SERVICE_MI : SERVICE_MI_STATS);
    if (state.is_agent) {
        to.flags = MI6_MANAGER;
    } else {
        to.flags = MI6_LINE_CARD;
        to.slot_mask = slotMask(slot);
    }
    const struct iovec vector = {const_cast<void *>(buffer), length};
    int flags = 0;
    const int rc = mi6_send(sock, &to, &vector, 1, &flags);
    if (rc < 0) {
        QOS_ERR("Failed send MI message, error = %d (%s)", rc, strerror(errno));
        ++state.mi_send_errors;
        return QOS_MI_SEND_FAILED;
    }
    ++state.mi_sent;
    QOS_DBG("Sent %d bytes of message to slot %d", length, slot);
    return QOS_OK;
}

int qos_show_miStats(cli_t *cli)
{
    const qosVelmarState_t &state = qos_velmar_state;
    qosPrintRecord(cli);
    qosPrintField(cli, "sent", "\tMsg Sent           = %u\n", state.mi_sent);
    qosPrintField(cli, "received", "\tMsg Rcvd           = %u\n", state.mi_rcvd);
    qosPrintField(cli, "send_errors", "\tMsg Send errors    = %u\n", state.mi_send_errors);
    qosPrintField(cli, "interrupted", "\tEINTR errors       = %u\n", state.mi_eintr_errors);
    qosPrintField(cli, "would_block", "\tEWOULDBLOCK errors = %u\n", state.mi_ewouldblock_errors);
    qosPrintField(cli, "receive_timeouts", "\tRcv Timeout errors = %u\n", state.mi_rcv_timeouts);
    qosPrintField(cli, "receive_errors", "\tRcv message errros = %u\n", state.mi_rcv_errors);
    qosPrintField(cli, "end_of_file", "\tRcv EOF            = %u\n", state.mi_rcv_eof);
    return 0;
}
