// SPDX-License-Identifier: Apache-2.0
// The stage, the trace level and the printing functions, for the control socket. Nothing here changes a table.
#include "dorvald/control.h"

#include <atomic>

#include "channels/manager.h"
#include "core/memory.h"
#include "core/msgq.h"
#include "core/state.h"
#include "core/table.h"
#include "core/trace.h"
#include "ha/vss.h"
#include "inventory/show.h"
#include "velmar/ctl.h"

namespace {

// Called on the control socket's thread, which asks while a stage may be at work.
int stageIndex()
{
    return static_cast<int>(std::atomic_ref(qos_velmar_state.stage).load(std::memory_order_relaxed));
}

int setTraceLevel(int level)
{
    if (level < 0 || level > VELMAR_DCEDBG_LVL_VERBOSE)
        return -1;
    dce_trace_lvl_set(level);
    return 0;
}

constexpr ctl_cli_t shows[] = {
    {"show dorvmd memory statistics", qosCtlShow<qos_show_memStats>},
    {"show dorvmd mi statistics", qosCtlShow<qos_show_miStats>},
    {"show dorvmd interface all", qosCtlShow<qos_show_ifTable>},
    {"show qos msgq", qosCtlShow<qos_msgq_show>},
    {"show qos vss", qosCtlShow<qos_vss_show>},
    {"show dorvmd slots", qosCtlShow<qosShowSlotTable>}, // these three are the parts of "interface all"
    {"show dorvmd chips", qosCtlShow<qosShowChipTable>},
    {"show dorvmd interfaces", qosCtlShow<qosShowInterfaces>},
    {"json slots", qosCtlJson<qosShowSlotTable>},
    {"json chips", qosCtlJson<qosShowChipTable>},
    {"json interfaces", qosCtlJson<qosShowInterfaces>},
    {"json memory", qosCtlJson<qos_show_memStats>},
    {"json mi", qosCtlJson<qos_show_miStats>},
    {"json vss", qosCtlJson<qos_vss_show>},
    {"json queue", qosCtlJson<qos_msgq_show>},
    {nullptr, nullptr},
};

constexpr ctl_ops_t offered = {stageIndex, setTraceLevel, shows};

} // namespace

void qosOfferControl()
{
    ctl_offer(&offered);
}
