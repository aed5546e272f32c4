// The module "QOS_TP": test points and the actions that the platform can trigger at them.
#ifndef HA_TEST_POINTS_H
#define HA_TEST_POINTS_H

#include <cstdint>

void qosRegisterTpModule();
int qosTpInit(); // init hook: 0 or 1

// Action operations; the result of the last script, or the number that another slot or instance was named by.
int qos_hafailover(uintptr_t a, uintptr_t b, uintptr_t c, uintptr_t arg);
int qos_hasyncdump(uintptr_t a, uintptr_t b, uintptr_t c, uintptr_t arg);

#endif
