// SPDX-License-Identifier: Apache-2.0
// Start-up in its fixed order. Until trace is up, and for what ends the process, reports go to standard error.
#include "dorvald/startup.h"

#include <csignal>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <unistd.h>

#include "agent/ccb.h"
#include "agent/dispatch.h"
#include "agent/drop_monitor.h"
#include "agent/l2_priority.h"
#include "agent/l3_priority.h"
#include "agent/policer.h"
#include "agent/scheduler.h"
#include "channels/events/driver_events.h"
#include "channels/manager.h"
#include "core/memory.h"
#include "core/module.h"
#include "core/msgq.h"
#include "core/state.h"
#include "core/strings.h"
#include "core/trace.h"
#include "dorvald/control.h"
#include "ha/test_points.h"
#include "ha/vss.h"
#include "inventory/interfaces.h"
#include "lib/kor.h"
#include "lib/lib_instance.h"
#include "lib/thread.h"
#include "velmar/process.h"
#include "velmar/trace.h"

namespace {

constexpr uint16_t TRACE_MODULE = 284;
constexpr uint32_t TRACE_ID = 200;
constexpr const char *PROCESS_TAG = "DORVAL";
constexpr int IPC_KIND = 4;

[[noreturn]] void usage(int status)
{
    const char *name = qos_velmar_state.progname;
    fprintf(stderr, "Usage: %s [-h] [-s <switch_number> [-S <service_name>] [-d dbglvl]\n", name);
    if (status != 0) {
        fprintf(stderr, "Try `%s -h' for more information.\n", name);
        exit(status);
    }
    fputs("  -h                  Print this help, then exit.\n", stderr);
    fputs("  -s <switch_number>  Instance number [0|1]\n", stderr);
    fputs("  -S <service_name>   Switch service name [ethsw]\n", stderr);
    fputs("  -d                  Debug daemon startup\n", stderr);
    exit(status);
}

void setInstance(const char *text)
{
    qos_velmar_state.instance = static_cast<uint32_t>(strtol(text, nullptr, 10));
    qosCopyText(qos_said.instance, text);
    setMySwitch(static_cast<int>(qos_velmar_state.instance));
}

void setService(const char *name)
{
    qosCopyText(qos_velmar_state.service, name);
    qosCopyText(qos_said.service, name);
}

// One step of qosVelmarInit: a negative result is reported, and what was made so far released.
__attribute__((format(printf, 2, 3))) bool failed(int rc, const char *report, ...)
{
    if (rc >= 0)
        return false;
    va_list args;
    va_start(args, report);
    vfprintf(stderr, report, args);
    va_end(args);
    qosExit();
    return true;
}

} // namespace

const char *qosDecodeOptions(int argc, char **argv)
{
    const char *slash = strrchr(argv[0], '/');
    qos_velmar_state.progname = slash ? slash + 1 : argv[0];
    int errors = 0;
    optind = 1;
    for (int option; (option = getopt(argc, argv, "hS:s:d:g:")) != -1;) {
        switch (option) {
        case 'h':
            usage(0);
        case 'S':
            setService(optarg);
            break;
        case 's':
            setInstance(optarg);
            break;
        case 'd':
            qos_velmar_state.debug = 1;
            break;
        case 'g':
            qos_said.segment = static_cast<uint32_t>(strtol(optarg, nullptr, 10));
            break;
        default:
            ++errors;
        }
    }
    qosCopyText(qos_said.progname, qos_velmar_state.progname);
    if (errors)
        usage(1);
    return qos_said.progname;
}

int qosVelmarInit(const char *tag)
{
    qosVelmarState_t &state = qos_velmar_state;
    const char *name = state.progname;
    state.model = static_cast<uint32_t>(sysconModel());
    int rc = giot_create(&state.giot);
    if (failed(rc, "%s: GIOT worker thread spawn failed, rc:%d\n", name, rc))
        return QOS_VELMAR_INIT_FAILED;
    rc = timer_ioss_create(&state.timer_ioss, giot_wakeup, state.giot);
    if (failed(rc, "%s: Timer IOSS initialization failed, rc:%d\n", name, rc))
        return QOS_VELMAR_INIT_FAILED;
    rc = ipc_ioss_create(&state.ipc_ioss, tag, 0, ipc_max_msg_size(0), IPC_KIND);
    if (failed(rc, "%s: IPC IOSS initialization failed, rc:%d\n", name, rc))
        return QOS_VELMAR_INIT_FAILED;
    rc = giot_register(state.giot, state.ipc_ioss);
    if (failed(rc, "%s: Failed to register IPC IOSS with GIOT, rc:%d\n", name, rc))
        return QOS_VELMAR_INIT_FAILED;
    rc = giot_register(state.giot, state.timer_ioss);
    if (failed(rc, "%s: Failed to register Timer IOSS with GIOT, rc:%d\n", name, rc))
        return QOS_VELMAR_INIT_FAILED;
    return QOS_OK;
}

int qaInit()
{
    memset(qos_modules, 0, sizeof qos_modules);
    qosRegisterMsgQModule();
    qosRegisterKORModule();
    qosRegisterVssModule();
    qosRegisterTpModule();
    qosRegisterNLModule();
    qosRegisterMiModule(qaProcessMIMsg);
    qaRegisterIfmModule();
    qaRegisterAgent();
    qaRegisterL2PriModule();
    qaRegisterL3PriModule();
    qaRegisterCcbModule();
    qaRegisterSchModule();
    qaRegisterPolModule();
    qaRegisterDropMonitorModule();
    return qosModuleInit();
}

int qosExit()
{
    qosVelmarState_t &state = qos_velmar_state;
    // The timer subsystem is released by the IPC call: both are subsystems of one engine.
    if (state.timer_ioss)
        ipc_ioss_free(&state.timer_ioss);
    state.timer_ioss = nullptr;
    if (state.ipc_ioss)
        ipc_ioss_free(&state.ipc_ioss);
    state.ipc_ioss = nullptr;
    if (state.giot)
        giot_free(&state.giot);
    state.giot = nullptr;
    return QOS_OK;
}

int qaLocalMain(int, char **)
{
    qosVelmarState_t &state = qos_velmar_state;
    int rc = ASPInit(state.progname, __expm.instance, 0, 0, qosExit);
    if (rc != 0) {
        fprintf(stderr, "%s: ASP/IOT initialization failed, rc:%d\n", state.progname, rc);
        qosExit();
        return QOS_ASP_INIT_FAILED;
    }
    qosOfferControl();
    thread_asp_start(state.lib, qosMsgQServer, state.msgq);
    rc = wt_exec(giot_run, state.giot);
    if (rc < 0) {
        fprintf(stderr, "%s: GIOT worker thread startup failed, rc:%d\n", state.progname, rc);
        qosExit();
        return QOS_VELMAR_INIT_FAILED;
    }
    thread event;
    while (thread_fetch(state.lib, &event)) {
        thread_call(&event);
        if (state.stage != QOS_STAGE_STANDBY)
            qosHaSync();
    }
    fprintf(stderr, "%s: Exiting\n", state.progname);
    ASPExit();
    return rc;
}

int dorvaldMain(int argc, char **argv)
{
    memset(static_cast<void *>(&qos_velmar_state), 0, sizeof qos_velmar_state);
    qosDecodeOptions(argc, argv);
    qos_velmar_state.is_agent = 1;
    velmar_sigdefaults(qos_velmar_state.progname);
    signal(SIGPIPE, SIG_IGN);
    int rc = qos_trace_init(TRACE_MODULE, TRACE_ID, LIB_PROTO_DORVALD);
    if (rc != QOS_OK)
        return rc;
    rc = qosVelmarInit(PROCESS_TAG);
    if (rc != QOS_OK)
        return rc;
    rc = qaInit();
    if (rc != QOS_OK)
        return rc;
    rc = qaLocalMain(argc, argv);
    QOS_ERR_AT("main", "dorvald exiting with error 0x%08x", static_cast<unsigned>(rc));
    rasevt_exit();
    return -1;
}
