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
    {nullptr, nullptr},
};

} // namespace

void qosRegisterTpModule()
{
    qosModuleRecord(QOS_MOD_TP, "QOS_TP").init = qosTpInit;
}

int qosTpInit()
{
    const tp_register_t record = {static_cast<uintptr_t>(qos_velmar_state.vss_handle), qos_tp_list, qos_tp_actions, 0};
    const int rc = tp_register(&record);
    if (rc != 0) {
        QOS_ERR("Failed to register with TP, rc: %d", rc);
        return QOS_FAILED;
    }
    QOS_INF("Successfully registered with TP.");
    return QOS_OK;
}

int qos_hafailover(uintptr_t, uintptr_t, uintptr_t, uintptr_t arg)
{
    printf("Test Point QOS_TP_FAILOVER Hit, Action - hafailover, arg: %x\n", static_cast<unsigned>(arg));
    fflush(stdout); // ahead of the script's own output, and the process may end in it
    return system("echo y | /velmar/sbin/hafailover");
}

int qos_hasyncdump(uintptr_t, uintptr_t, uintptr_t, uintptr_t arg)
{
    printf("Test Point QOS_TP_HASYNCDUMP Hit, Action - hasyncdump, arg: %x\n", static_cast<unsigned>(arg));
    fflush(stdout);
    system("/velmar/sbin/hasyncstop");
    return system("/velmar/sbin/hasyncstart");
}
