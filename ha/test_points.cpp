// SPDX-License-Identifier: Apache-2.0
// Registration of the test points, and the actions.
#include "ha/test_points.h"

#include <cstdio>
#include <cstdlib>

#include "core/module.h"
#include "core/state.h"
#include "core/trace.h"
#include "velmar/tp.h"

namespace {

constexpr tp_point_t qos_tp_list[] = {
    {"bfr_snd_to_mgrxt", "*", "before sending to manager"},
    {nullptr, nullptr, nullptr},
};

constexpr tp_action_t qos_tp_actions[] = {
    {"hafailover", qos_hafailover},
    {"hasyncdump", qos_hasyncdump},
    {"lib:hareboot", nsm_lib_hareboot},
    {"lib:hafailover", nsm_lib_hafailover},
    {nullptr, nullptr},
};

// Runs a platform script. What was printed goes out ahead of the script's own output, and the process may end in it.
int runScript(const char *script)
{
    fflush(stdout);
    return system(script);
}

// True if the trigger names another slot than this process's.
bool isForOther(uintptr_t given, tp_arg_t arg)
{
    return static_cast<intptr_t>(given) >= 0 && given != arg.slot;
}

} // namespace

void qosRegisterTpModule()
{
    QOS_FRAME();
    qosModuleRecord(QOS_MOD_TP, "QOS_TP").init = qosTpInit;
}

int qosTpInit()
{
    QOS_FRAME();
    const tp_register_t record = {static_cast<uintptr_t>(qos_velmar_state.vss_handle), qos_tp_list, qos_tp_actions, 0};
    const int rc = tp_register(&record);
    if (rc != 0) {
        QOS_ERR("Failed to register with TP, rc: %d", rc);
        return QOS_FAILED;
    }
    QOS_INF("Successfully registered with TP.");
    return QOS_OK;
}

int qos_hafailover(uintptr_t, uintptr_t, uintptr_t, tp_arg_t arg)
{
    printf("Test Point QOS_TP_FAILOVER Hit, Action - hafailover, arg: %x\n", arg.number);
    return runScript("echo y | /velmar/sbin/hafailover");
}

int qos_hasyncdump(uintptr_t, uintptr_t, uintptr_t, tp_arg_t arg)
{
    printf("Test Point QOS_TP_HASYNCDUMP Hit, Action - hasyncdump, arg: %x\n", arg.number);
    runScript("/velmar/sbin/hasyncstop");
    return runScript("/velmar/sbin/hasyncstart");
}

int nsm_lib_hareboot(uintptr_t a, uintptr_t, uintptr_t, tp_arg_t arg)
{
    if (isForOther(a, arg))
        return static_cast<int>(a);
    printf("Test Point NSM_LIB_TP_FAILOVER Hit, Action - hareboot\n");
    return runScript("echo y | /velmar/sbin/hareboot");
}

int nsm_lib_hafailover(uintptr_t a, uintptr_t, uintptr_t, tp_arg_t arg)
{
    if (isForOther(a, arg))
        return static_cast<int>(a);
    printf("Test Point NSM_LIB_TP_FAILOVER Hit, Action - hafailover\n");
    return runScript("echo y | /velmar/sbin/hafailover");
}
