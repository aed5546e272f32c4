// SPDX-License-Identifier: Apache-2.0
// The module "QOS_TP": test points and the actions that the platform can trigger at them.
#ifndef HA_TEST_POINTS_H
#define HA_TEST_POINTS_H

#include <cstdint>

#include "velmar/tp.h"

void qosRegisterTpModule();
[[nodiscard]] int qosTpInit(); // init hook: 0 or 1

// Action operations; the result of the last script.
int qos_hafailover(uintptr_t a, uintptr_t b, uintptr_t c, tp_arg_t arg);
int qos_hasyncdump(uintptr_t a, uintptr_t b, uintptr_t c, tp_arg_t arg);
// `a` may name the slot that is to act. Another slot's is left alone: then the result is that number.
int nsm_lib_hareboot(uintptr_t a, uintptr_t b, uintptr_t c, tp_arg_t arg);
int nsm_lib_hafailover(uintptr_t a, uintptr_t b, uintptr_t c, tp_arg_t arg);

#endif
