// SPDX-License-Identifier: Apache-2.0
// Inside the host library: named places at which a fault can be put in, and at which a build for tests can end the
// process from its environment, so that a takeover is tried at each of them.
#ifndef HOST_POINT_H
#define HOST_POINT_H

#include "host/fault.h"

// A COMMIT stands right before and right behind the handing over of changes to the standbys.
enum class point_t { ANY, COMMIT };

#ifdef VELMAR_KILL_POINTS
// The VELMAR_KILL_AT-th call in this process does not return, nor the VELMAR_KILL_AT_COMMIT-th for a COMMIT: SIGKILL.
// Any context, a signal handler included.
void hostPoint(point_t point = point_t::ANY);
#else
inline void hostPoint(point_t = point_t::ANY)
{
    (void)faultAt(FAULT_POINT);
}
#endif

#endif
