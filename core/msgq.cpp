// SPDX-License-Identifier: Apache-2.0
// The internal queue's module.
#include "core/msgq.h"

#include <cstdio>
#include <cstring>

#include "core/module.h"
#include "core/state.h"
#include "core/table.h"
#include "core/trace.h"
#include "velmar/os.h"

namespace {

constexpr uint32_t MAX_MESSAGES = 0x20000;
constexpr uint64_t tb_ticks_p_msec = 1; // velmar_time_base counts milliseconds

const char *const qos_msgq_show_cmd_help[] = {"Show running system information", "QOS show commands",
                                              "QOS Message Queue", nullptr};

} // namespace

const cli_element_t qos_msgq_show_cmd = {"show qos msgq", cliShow<qos_msgq_show>, qos_msgq_show_cmd_help};

void qosRegisterMsgQModule()
{
    QOS_FRAME();
    qosModuleRecord(QOS_MOD_MSGQ, "QOS MSGQ").init = qosMsgQInit;
}

int qosMsgQInit()
{
    QOS_FRAME();
    (void)qosMsgQStart(); // told on standard error; the process runs without the queue
    return QOS_OK;
}

int qosMsgQStart()
{
    qos_velmar_state.msgq = msgQCreate(MAX_MESSAGES, sizeof(qosMsgQMsg_t), 0, "qos_mq");
    if (!qos_velmar_state.msgq) {
        fputs("QOS message queue creation failed!!!\n", stderr);
        return QOS_NO_MEMORY;
    }
    return QOS_OK;
}

MSG_Q_ID qosMsgQGet()
{
    return qos_velmar_state.msgq;
}

int qosMsgQSend(uint8_t module, uint32_t a, uint32_t b, uint32_t c)
{
    qosMsgQMsg_t message = {};
    message.posted_ms = static_cast<uint32_t>(velmar_time_base() / tb_ticks_p_msec);
    message.type = QOS_MSGQ_TYPE;
    message.module = module;
    message.arg_a = a;
    message.arg_b = b;
    message.arg_c = c;
    const bool refused = !qos_velmar_state.msgq || msgQSend(qos_velmar_state.msgq, &message, sizeof message, 0, 1) != 0;
    if (module < QOS_MODULES)
        ++(refused ? qos_modules[module].msgq_drops : qos_modules[module].msgq_sent);
    return refused ? QOS_MSGQ_REFUSED : QOS_OK;
}

void qosMsgQServer(void *buffer)
{
    qosMsgQMsg_t message;
    memcpy(&message, buffer, sizeof message);
    if (message.type != QOS_MSGQ_TYPE) {
        QOS_ERR("Invalid msg type %x", message.type);
        return;
    }
    const bool known = message.module < QOS_MODULES;
    if (known)
        ++qos_modules[message.module].msgq_rcvd;
    if (!known || !qos_modules[message.module].msgq_cb) {
        QOS_ERR("Module %d has not registered for msgq callbacks", message.module);
        return;
    }
    qos_modules[message.module].msgq_cb(message.arg_a, message.arg_b, message.arg_c);
}

int qos_msgq_show(cli_t *cli)
{
    qosPrintText(cli, "QOS Message Queue Summary\n");
    const msgq_t *queue = qosMsgQGet();
    if (!queue)
        return 0;
    qosPrintRecord(cli);
    qosPrintField(cli, "name", "queue name: %s", queue->name);
    qosPrintField(cli, "high_water", ", high water: %d\n", static_cast<int>(queue->high_water.load()));
    qosPrintText(cli, "Task Queuing     : FIFO (do not support MSG_Q_PRIORITY)\n");
    qosPrintField(cli, "message_bytes", "Message Byte Len : %d\n", static_cast<int>(queue->message_length));
    qosPrintField(cli, "messages_max", "Messages Max     : %d\n", static_cast<int>(queue->max_messages));
    qosPrintField(cli, "messages_queued", "Messages Queued  : %d\n", static_cast<int>(queue->queued.load()));
    return 0;
}
