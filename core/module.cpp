// SPDX-License-Identifier: Apache-2.0
// The module table's walks that belong to no subsystem: init, start, re-init, stages.
#include "core/module.h"

#include "core/state.h"
#include "core/trace.h"

qosModule_t qos_modules[QOS_MODULES];

int qosVssStageRegister(uint32_t module, uint32_t stage, qosStageFn_t fn, uint32_t arg)
{
    if (module >= QOS_MODULES || stage >= QOS_STAGE_HOOKS)
        return QOS_FAILED;
    qos_modules[module].stage_hook[stage] = {arg, fn};
    return QOS_OK;
}

void qosVssStageNotification(uint32_t stage)
{
    if (stage >= QOS_STAGE_HOOKS)
        return;
    for (qosModule_t &record : qos_modules) {
        const qosStageHook_t &hook = record.stage_hook[stage];
        if (hook.fn)
            hook.fn(stage, hook.arg);
    }
}

const char *qosModuleName(int id)
{
    return id < static_cast<int>(QOS_MODULES) ? qos_modules[id].name : "Unknown";
}

int qosModuleInit()
{
    QOS_FRAME();
    for (qosModule_t &record : qos_modules) {
        const int rc = record.init ? record.init() : QOS_OK;
        if (rc != QOS_OK)
            return rc;
    }
    return QOS_OK;
}

int qosModuleStart()
{
    QOS_FRAME();
    int rc = QOS_OK;
    qosWalkModules<&qosModule_t::start>([&](qosModule_t &record) {
        QOS_INF_AT("qosModuleStart", "Starting Module %s", record.name);
        rc = record.start();
        if (rc != QOS_OK)
            QOS_ERR_AT("qosModuleStart", "Module %s retuned failure", record.name);
    });
    return rc;
}

int qosModuleHaReInit()
{
    QOS_FRAME();
    qosWalkModules<&qosModule_t::ha_reinit>([](qosModule_t &record) {
        const int rc = record.ha_reinit();
        if (rc != QOS_OK)
            QOS_ERR_AT("qosModuleHaReInit", "Module %s failed to reinit, rc: %d", record.name, rc);
    });
    return QOS_OK;
}
