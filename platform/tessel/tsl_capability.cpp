// Policer numbers of a chip for a chip-up body.
#include "platform/tessel/tsl_capability.h"

#include "platform/cos_capability.h"

uint32_t tslGetChipCapability(qosChipUpMsg_t *body)
{
    if (!cosCopyPolicerCapability(__func__, body))
        return QOS_MSG_REFUSED;
    body->status = QOS_MSG_DONE;
    return QOS_MSG_DONE;
}
