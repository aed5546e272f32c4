// SPDX-License-Identifier: Apache-2.0
// The module "QOS VSS": registers the daemon with the state synchronisation service, follows the stages that it drives,
// tells every module of each, and answers its dump and update calls.
#ifndef HA_VSS_H
#define HA_VSS_H

#include <cstdint>

#include "core/print.h"
#include "velmar/ha.h"

// The service's stage numbers. What it hands in comes back as the next one.
enum vssStage_t : uint32_t {
    VSS_END = 0,
    VSS_CLIENT_INIT = 1,
    VSS_WARM_CLIENT_INIT = 2,
    VSS_LCAGENT_RECON = 3,
    VSS_WARM_RECON = 4,
    VSS_DONE = 1000,
    VSS_ACTIVE = 1001,
    VSS_COLD = 1002,
    VSS_WARM = 1003,
    VSS_HALT = 1004,
    VSS_STANDBY = 1005,
    VSS_THA = 1042,
};

constexpr unsigned VSS_UPDATE_TYPES = 5;
constexpr uint32_t VSS_VECTOR_MAX = 30720; // largest piece of an update, in bytes

// Receiver of one type of update.
using vssUpdateFn_t = void (*)(uint32_t type, const void *buffer, uint32_t length);

struct vss_state_t {
    ha_hndl_t handle;
    uint32_t bootmode; // 1002 cold, 1003 warm, 0 before the first stage
    uint32_t stage;    // the service's number
    vssUpdateFn_t update_cb[VSS_UPDATE_TYPES];
};
extern vss_state_t vss_state;

void qosRegisterVssModule();
[[nodiscard]] int qosVssInit();  // init hook: 0, or 1 if the service refused
[[nodiscard]] int qosVssStart(); // start hook

uint32_t qosVssStageGet();
int qosVssBootmodeGet(); // 0 cold, 1 otherwise
ha_hndl_t qosVssHandleGet();

// The service's calls. All but the first give 0; a dump that could not be handed over, the store's negative number.
uint32_t qosVssRecover(ha_hndl_t handle, uint32_t stage); // the next stage
int qosVssRecvUpdate(ha_hndl_t handle, const vss_update_t *update);
[[nodiscard]] int qosVssSendDump(ha_hndl_t handle, uint32_t version, uint32_t transaction);
int qosVssRecvDump(ha_hndl_t handle, uint32_t version, uint32_t sequence);
int qosVssObjSyncNotify(ha_hndl_t handle, uint32_t flags, uint32_t tag);
int qosVssRecvMsg(ha_hndl_t handle, const void *message, uint32_t length);

// Sends `size` bytes to the target's standby, in pieces: 0, 1 if the service refused, 2 out of memory.
[[nodiscard]] int qosVssSendUpdate(uint32_t target, uint32_t type, uint32_t flags, void *buffer, uint32_t size);

int qosVssReplayIntent(uint32_t stage, uint32_t arg); // hook of stage Active

int qos_vss_show(cli_t *cli);

#endif
