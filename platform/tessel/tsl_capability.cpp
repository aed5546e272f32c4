// SPDX-License-Identifier: Apache-2.0
// Policer numbers of a chip for a chip-up body.
#include "platform/tessel/tsl_capability.h"

#include "core/handler.h"
#include "platform/common/cos_capability.h"

qosDriverStatus_t tslGetChipCapability(qosChipUpMsg_t *body)
{
    if (!cosCopyPolicerCapability(__func__, body))
        return QOS_MSG_REFUSED;
    return qosAnswer(body, QOS_MSG_DONE);
}
