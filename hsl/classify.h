// SPDX-License-Identifier: Apache-2.0
// The priority of frames that arrive with a CoS or a DSCP: a Larkin looks it up in its TCAM, the other chips in the
// maps that the port was told.
#ifndef HSL_CLASSIFY_H
#define HSL_CLASSIFY_H

struct hslModel_t;

// Gives every flow with a CoS or a DSCP its priority, and the name of what decided. For hslModelFollow.
void hslClassify(hslModel_t &model, int flat);

#endif
