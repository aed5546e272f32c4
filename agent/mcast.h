// The queue mode of multicast traffic. The request is only routed to the chips: nothing is kept, and a chip that comes
// up later gets nothing.
#ifndef AGENT_MCAST_H
#define AGENT_MCAST_H

#include <cstdint>

#include "agent/messages.h"

// Handler of code 78: every chip of this node's slot, in order of arrival. The result is the last chip's; a chip type
// without the operation gives 1 and ends the walk. Without chips the status comes back as it was sent.
uint32_t qaProcessSetMcastQueueMode(qosCcbMsg_t *body);

#endif
