// SPDX-License-Identifier: Apache-2.0
// The stages of a process in the numbers that its control socket gives, with their names.
#ifndef VELMAR_STAGES_H
#define VELMAR_STAGES_H

#include <cstdint>

enum qosStage_t : uint32_t {
    QOS_STAGE_COLD = 0,
    QOS_STAGE_WARM = 1,
    QOS_STAGE_CLIENT_INIT = 2,
    QOS_STAGE_WARM_CLIENT_INIT = 3,
    QOS_STAGE_ACTIVE = 4,
    QOS_STAGE_DONE = 5,
    QOS_STAGE_STANDBY = 6,
    QOS_STAGE_HALT = 7,
    QOS_STAGE_LCAGENT_RECON = 8,
    QOS_STAGE_WARM_RECON = 9,
    QOS_STAGE_THA_RECON = 11,
    QOS_STAGE_UNKNOWN = 12,
};

// The name of a stage, "Unknown" for a number that has none.
constexpr const char *qosVssStageName(uint64_t index)
{
    switch (index) {
    case QOS_STAGE_COLD:
        return "Cold Boot";
    case QOS_STAGE_WARM:
        return "Warm Boot";
    case QOS_STAGE_CLIENT_INIT:
        return "Client Initialization";
    case QOS_STAGE_WARM_CLIENT_INIT:
        return "Warm Client Initialization";
    case QOS_STAGE_ACTIVE:
        return "Active";
    case QOS_STAGE_DONE:
        return "Startup Done";
    case QOS_STAGE_STANDBY:
        return "Standby";
    case QOS_STAGE_HALT:
        return "Halt";
    case QOS_STAGE_LCAGENT_RECON:
        return "LC Agent Reconciliation";
    case QOS_STAGE_WARM_RECON:
        return "Warm Reconciliation";
    case QOS_STAGE_THA_RECON:
        return "THA Reconciliation";
    default:
        return "Unknown";
    }
}

#endif
