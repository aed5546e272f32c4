// SPDX-License-Identifier: Apache-2.0
// The module "QOS NL": what ties the driver's sockets to the inventory, its hooks and the driver's chip events.
#ifndef CHANNELS_EVENTS_DRIVER_EVENTS_H
#define CHANNELS_EVENTS_DRIVER_EVENTS_H

#include <cstdint>

void qosRegisterNLModule();
[[nodiscard]] int qosNLInit();  // init hook: slot table and sockets; 0 or -1
[[nodiscard]] int qosNLStart(); // start hook: chip table
int qosNLClientInit(uint32_t stage, uint32_t arg);
int qosNLRecon(uint32_t stage, uint32_t arg);

// Opens the event socket with its handler: 0 or -1.
[[nodiscard]] int qosInitHSLEventSock();

// The event socket's handler: 0, or 15 for a chip ready event that is too short. Its caller ignores it.
int qosProcessHslEvent(unsigned char *payload, uint32_t length, uint32_t arg, uint16_t frame_type);

#endif
