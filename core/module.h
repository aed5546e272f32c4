// SPDX-License-Identifier: Apache-2.0
// The table of modules and its walks. A module registers by filling its record; every walk goes over all 27 records in
// ascending id and skips a null hook.
#ifndef CORE_MODULE_H
#define CORE_MODULE_H

#include <cstdint>

#include "core/strings.h"

struct qosSlot_t;
struct qosChip_t;
struct qosIf_t;

constexpr unsigned QOS_MODULES = 27;
constexpr unsigned QOS_MEM_TYPES = 45;
constexpr unsigned QOS_STAGE_HOOKS = 12;

// Module ids of this daemon; the other ids belong to the manager's modules.
enum qosModuleId_t : uint32_t {
    QOS_MOD_MSGQ = 0,
    QOS_MOD_VSS = 1,
    QOS_MOD_TP = 2,
    QOS_MOD_KOR = 3,
    QOS_MOD_NL = 5,
    QOS_MOD_MI = 6,
    QOS_MOD_IFM = 8,
    QOS_MOD_L2PRI = 11,
    QOS_MOD_L3PRI = 12,
    QOS_MOD_CCB = 13,
    QOS_MOD_POL = 15,
    QOS_MOD_SCH = 16,
    QOS_MOD_AGT = 18,
    QOS_MOD_DROP_MONITOR = 26,
};

using qosStageFn_t = int (*)(uint32_t stage, uint32_t arg);

struct qosStageHook_t {
    uint32_t arg;
    qosStageFn_t fn;
};

struct qosModule_t {
    uint32_t id;
    char name[32];
    int (*init)();
    int (*start)();
    uint32_t allocs[QOS_MEM_TYPES]; // per memory type: allocations, bytes held, frees, failures
    uint32_t bytes[QOS_MEM_TYPES];
    uint32_t frees[QOS_MEM_TYPES];
    uint32_t spare_counts[QOS_MEM_TYPES];
    uint32_t errors[QOS_MEM_TYPES];
    void (*msgq_cb)(uint32_t a, uint32_t b, uint32_t c);
    uint32_t msgq_sent;
    uint32_t msgq_rcvd;
    uint32_t msgq_drops;
    qosStageHook_t stage_hook[QOS_STAGE_HOOKS];
    void (*ha_register)();
    void (*replay_intent)(uint32_t stage, void *buffer, uint32_t length);
    int (*ha_reinit)();
    void (*send_dump)();
    void (*slot_up)(qosSlot_t *slot);
    void (*slot_down)(qosSlot_t *slot);
    int (*chip_up)(qosChip_t *chip);
    void (*chip_down)(qosChip_t *chip);
    int (*if_add)(qosIf_t *interface);
    void (*if_unused)();
    void (*if_del)(qosIf_t *interface);
};
extern qosModule_t qos_modules[QOS_MODULES];

// Names record `id` and gives it for its hooks to be filled in.
inline qosModule_t &qosModuleRecord(qosModuleId_t id, const char *name)
{
    qosModule_t &record = qos_modules[id];
    record.id = id;
    qosCopyText(record.name, name);
    return record;
}

// Calls `call(record)` for each record whose member Hook is set, in ascending id.
template <auto Hook, typename Call>
void qosWalkModules(Call &&call)
{
    for (qosModule_t &record : qos_modules)
        if (record.*Hook)
            call(record);
}

// Stores a stage hook: 0, or 1 without a change for a module above 26 or a stage above 11. Modules name both by their
// constants, which are in range.
[[nodiscard]] int qosVssStageRegister(uint32_t module, uint32_t stage, qosStageFn_t fn, uint32_t arg);
// Calls the hooks of one stage index with (index, stored argument).
void qosVssStageNotification(uint32_t stage);

const char *qosModuleName(int id); // "Unknown" from 27 on

[[nodiscard]] int qosModuleInit();  // stops at the first failing init hook and gives its code
[[nodiscard]] int qosModuleStart(); // goes on after a failing start hook; the last hook's result
int qosModuleHaReInit();            // goes on after a failing hook; always 0

#endif
