// SPDX-License-Identifier: Apache-2.0
// The stage machine, dumps and updates.
#include "ha/vss.h"

#include <algorithm>
#include <atomic>
#include <cstdlib>
#include <cstring>
#include <iterator>
#include <sys/uio.h>

#include "core/module.h"
#include "core/state.h"
#include "core/strings.h"
#include "core/table.h"
#include "core/text.h"
#include "core/trace.h"
#include "ha/register.h"
#include "inventory/chips.h"
#include "lib/kor.h"
#include "lib/lib_instance.h"
#include "velmar/lib_tha.h"

vss_state_t vss_state;

namespace {

constexpr int qos_ha_state = 1; // HA is always on
constexpr int TRACE_PORT = 6014;
constexpr uint32_t INTENT_MAX = 1024;

bool vss_dump_rcvd; // set by the first received dump

constexpr ha_stage_t stages[] = {
    {VSS_CLIENT_INIT, "QOS_CLIENT_INIT"},
    {VSS_WARM_CLIENT_INIT, "QOS_WARM_CLIENT_INIT"},
    {VSS_LCAGENT_RECON, "QOS_LCAGENT_RECON"},
    {VSS_WARM_RECON, "QOS_WARM_RECON"},
};

constexpr ha_ops_t qosCfgOps = {qosVssRecover,  qosVssRecvUpdate,    qosVssSendDump,
                                qosVssRecvDump, qosVssObjSyncNotify, qosVssRecvMsg};

ha_register_t qosCfgReg = {"ethsw",           "1",    "dorvmd", 0, 1,           1, 0, &qosCfgOps,
                           std::size(stages), stages, 0,        1, qosVerTable, 0};

void completeRegistration()
{
    qosCopyText(qosCfgReg.service, qos_velmar_state.service);
    qosCopyText(qosCfgReg.atom, qos_velmar_state.progname);
    const char digit[2] = {static_cast<char>('0' + (qos_velmar_state.instance & 0xff)), '\0'};
    qosCopyText(qosCfgReg.instance, digit);
    qosCfgReg.segment = qos_said.segment;
    qosCfgReg.trace_module = qos_velmar_state.trace_module;
}

void configureActive()
{
    const int rc = ha_configure(qos_velmar_state.ha, HA_MODE_ACTIVE);
    if (rc != 0)
        QOS_ERR_AT("qosVssRecover", "Failed to configure THA in active state, rc: %d", rc);
    else
        QOS_ERR_AT("qosVssRecover", "Configured THA to be active..");
}

void workCold()
{
    if (vss_dump_rcvd) {
        QOS_INF_AT("qosVssRecover", "Cold boot detected from standby CP, doing reinit");
        lib_reinit(qos_velmar_state.lib);
        qosModuleHaReInit();
    }
    configureActive();
    const int rc = qosModuleStart();
    if (rc != QOS_OK)
        QOS_ERR_AT("qosVssRecover", "Starting QoS modules failed, rc: %d", rc);
}

uint32_t afterActive()
{
    return vss_state.bootmode == VSS_COLD || qos_velmar_state.is_agent ? VSS_DONE : VSS_WARM_RECON;
}

// One stage of the service: what it is called, what it does, which index the modules see, what comes next.
struct stageRow_t {
    uint32_t stage;
    qosText_t<> announced;
    uint32_t index;
    uint32_t next;
    bool is_boot;      // the stage is the boot mode as well
    bool keeps_number; // `stage` of vss_state stays as it was
    void (*work)();    // null for none; runs ahead of the stage walk
};

constexpr uint32_t NEXT_AFTER_ACTIVE = 0xffffffff;

constexpr stageRow_t rows[] = {
    {VSS_COLD, QOS_INF_TEXT("VSS stage COLD.."), QOS_STAGE_COLD, VSS_CLIENT_INIT, true, false, workCold},
    {VSS_WARM, QOS_INF_TEXT("VSS stage WARM.."), QOS_STAGE_WARM, VSS_WARM_CLIENT_INIT, true, false, qosLogIfChipInfo},
    {VSS_CLIENT_INIT, QOS_INF_TEXT("VSS stage CLIENT INIT.."), QOS_STAGE_CLIENT_INIT, VSS_ACTIVE, false, false,
     nullptr},
    {VSS_WARM_CLIENT_INIT, QOS_INF_TEXT("VSS stage WARM CLIENT INIT.."), QOS_STAGE_WARM_CLIENT_INIT, VSS_LCAGENT_RECON,
     false, false, nullptr},
    {VSS_LCAGENT_RECON, QOS_INF_TEXT("VSS stage LCAGENT RECON.."), QOS_STAGE_LCAGENT_RECON, VSS_ACTIVE, false, false,
     nullptr},
    {VSS_THA, QOS_INF_TEXT("VSS stage THA.."), QOS_STAGE_THA_RECON, VSS_WARM_CLIENT_INIT, false, false,
     configureActive},
    {VSS_ACTIVE, QOS_INF_TEXT("VSS stage ACTIVE.."), QOS_STAGE_ACTIVE, NEXT_AFTER_ACTIVE, false, false, nullptr},
    {VSS_WARM_RECON, QOS_INF_TEXT("VSS stage WARM RECON.."), QOS_STAGE_WARM_RECON, VSS_DONE, false, false, nullptr},
    {VSS_DONE, QOS_INF_TEXT("VSS stage DONE.."), QOS_STAGE_DONE, VSS_END, false, true, nullptr},
    {VSS_STANDBY, QOS_INF_TEXT("VSS stage STANDBY.."), QOS_STAGE_STANDBY, VSS_DONE, false, false, nullptr},
    {VSS_HALT, QOS_INF_TEXT("VSS stage HALT.."), QOS_STAGE_HALT, VSS_DONE, false, false, nullptr},
};

// The control socket's thread reads it too.
void setStage(uint32_t stage)
{
    std::atomic_ref(qos_velmar_state.stage).store(stage, std::memory_order_relaxed);
}

void runStage(const stageRow_t &row)
{
    qosTrace("qosVssRecover", row.announced);
    if (!row.keeps_number)
        vss_state.stage = row.stage;
    if (row.is_boot)
        vss_state.bootmode = row.stage;
    if (row.work)
        row.work();
    setStage(row.index);
    qosVssStageNotification(row.index);
}

// Replays one stored intent; its first word is the module that it belongs to.
void replayIntent(uint32_t stage, void *buffer, uint32_t length)
{
    uint32_t module;
    memcpy(&module, buffer, sizeof module);
    if (module >= QOS_MODULES) {
        QOS_ERR_AT("qosVssReplayIntent", "Invalid module id:%d, not replaying intent", module);
        return;
    }
    if (qos_modules[module].replay_intent) {
        QOS_DBG_AT("qosVssReplayIntent", "Replaying intent for module:%d", module);
        qos_modules[module].replay_intent(stage, buffer, length);
    }
}

const char *const qos_vss_show_cmd_help[] = {"Show running system information", "QOS show commands",
                                             "QOS VelmarOS State Synchronization (VSS)", nullptr};
const cli_element_t qos_vss_show_cmd = {"show qos vss", cliShow<qos_vss_show>, qos_vss_show_cmd_help};

} // namespace

void qosRegisterVssModule()
{
    QOS_FRAME();
    qosModule_t &record = qosModuleRecord(QOS_MOD_VSS, "QOS VSS");
    record.init = qosVssInit;
    record.start = qosVssStart;
    (void)qosVssStageRegister(QOS_MOD_VSS, QOS_STAGE_ACTIVE, qosVssReplayIntent, 0);
}

int qosVssInit()
{
    QOS_FRAME();
    qosVelmarState_t &state = qos_velmar_state;
    completeRegistration();
    QOS_INF("Registering with THA, svc: %s, inst: %s, atom: %s", qosCfgReg.service, qosCfgReg.instance, qosCfgReg.atom);
    QOS_INF("Registering with THA, segment: %d, flags: 0x%x", qosCfgReg.segment, qosCfgReg.flags);
    const int registered = ha_register(&qosCfgReg, "Config=vss:", &state.ha, state.msgq);
    if (registered != 0) {
        QOS_ERR("Failed to register with THA, rc: %d", registered);
        return QOS_FAILED;
    }
    QOS_INF("Successfully registered with THA..");
    lib_tha_init2(state.lib, state.progname, state.ha);
    qos_ha_register();
    qosWalkModules<&qosModule_t::ha_register>([](qosModule_t &module) { module.ha_register(); });
    setStage(QOS_STAGE_STANDBY);
    const int configured = ha_configure(state.ha, HA_MODE_STANDBY);
    state.vss_handle = ha_get_vssh(state.ha);
    tha_dbg_lib_init(&state.ha, 1, state.progname, TRACE_PORT);
    tha_set_snapshot_cli_handler(tha_snapshot_cli_handler_cb);
    if (configured != 0)
        QOS_ERR("Failed to configure THA in standby state, rc: %d", configured);
    return QOS_OK;
}

int qosVssStart()
{
    QOS_FRAME();
    if (!qos_velmar_state.is_agent)
        (void)cli_install_gen(qos_velmar_state.lib->ctree, EXEC_MODE, QOS_CLI_LEVEL, QOS_CLI_FLAGS, &qos_vss_show_cmd);
    return QOS_OK;
}

uint32_t qosVssStageGet()
{
    return vss_state.stage;
}

int qosVssBootmodeGet()
{
    return vss_state.bootmode == VSS_COLD ? 0 : 1;
}

ha_hndl_t qosVssHandleGet()
{
    return vss_state.handle;
}

uint32_t qosVssRecover(ha_hndl_t, uint32_t stage)
{
    QOS_FRAME();
    const auto *row =
        std::find_if(std::begin(rows), std::end(rows), [&](const stageRow_t &r) { return r.stage == stage; });
    if (row == std::end(rows)) {
        setStage(QOS_STAGE_UNKNOWN);
        return VSS_END;
    }
    runStage(*row);
    return row->next == NEXT_AFTER_ACTIVE ? afterActive() : row->next;
}

int qosVssSendDump(ha_hndl_t handle, uint32_t version, uint32_t transaction)
{
    qosVelmarState_t &state = qos_velmar_state;
    QOS_INF("send dump, vers: %d, tid: %d", version, transaction);
    qosLogIfChipInfo();
    qosWalkModules<&qosModule_t::send_dump>([](qosModule_t &module) { module.send_dump(); });
    const int rc = qosHaSync();
    if (rc < 0) {
        QOS_ERR("failed to send dump with THA, rc: %d", rc);
        return rc;
    }
    QOS_INF("successfully sent dump with tid: %d", transaction);
    if (!state.is_agent && lib_ha_mode(state.lib) == 0)
        nsm_lib_tha_send_dump(state.lib, handle, version, transaction);
    state.dump_sent = 1;
    lib_tha_send_dump_done(state.lib, handle, version, transaction);
    return QOS_OK;
}

int qosVssRecvDump(ha_hndl_t handle, uint32_t version, uint32_t sequence)
{
    QOS_INF("recv dump, vers: %d, sgno: %d", version, sequence);
    if (!vss_dump_rcvd) {
        QOS_INF("recv dump for first time, cleaning up any allocated Ha mem");
        ha_free_all(qos_velmar_state.ha);
    }
    lib_tha_recv_dump_done(qos_velmar_state.lib, handle, version, sequence);
    vss_dump_rcvd = true;
    return QOS_OK;
}

int qosVssObjSyncNotify(ha_hndl_t handle, uint32_t flags, uint32_t tag)
{
    QOS_INF("Sync notify: flags: %x, tag: %d", flags, tag);
    lib_tha_cb_sync_notify(qos_velmar_state.lib, handle, flags, tag);
    return QOS_OK;
}

int qosVssRecvMsg(ha_hndl_t handle, const void *message, uint32_t length)
{
    if (qos_velmar_state.is_agent)
        return QOS_OK;
    if (lib_ha_mode(qos_velmar_state.lib) == 0)
        nsm_lib_tha_recv_msg(qos_velmar_state.lib, handle, message, length);
    return QOS_OK;
}

int qosVssRecvUpdate(ha_hndl_t, const vss_update_t *update)
{
    uint32_t total = 0;
    for (uint32_t i = 0; i < update->num_vectors; ++i)
        total += static_cast<uint32_t>(update->vectors[i].iov_len);
    auto *buffer = static_cast<unsigned char *>(calloc(1, total ? total : 1));
    if (!buffer) {
        QOS_ERR("Unable to allocate memory of size %d", total);
        return QOS_OK;
    }
    uint32_t at = 0;
    for (uint32_t i = 0; i < update->num_vectors; ++i) {
        const struct iovec &vector = update->vectors[i];
        if (vector.iov_len)
            memcpy(buffer + at, vector.iov_base, vector.iov_len);
        at += static_cast<uint32_t>(vector.iov_len);
    }
    const uint32_t type = update->type;
    QOS_DBG("recive update, type: %d, size: %d", type, total);
    if (type >= VSS_UPDATE_TYPES)
        QOS_ERR("Unknown update type %d received", type);
    else if (!vss_state.update_cb[type])
        QOS_ERR("Unable to find recv update callback for type %d", type);
    else
        vss_state.update_cb[type](type, buffer, total);
    free(buffer);
    return QOS_OK;
}

int qosVssSendUpdate(uint32_t target, uint32_t type, uint32_t flags, void *buffer, uint32_t size)
{
    const uint32_t count = size / VSS_VECTOR_MAX + (size % VSS_VECTOR_MAX != 0);
    auto *vectors = static_cast<struct iovec *>(calloc(count ? count : 1, sizeof(struct iovec)));
    if (!vectors) {
        QOS_ERR("Unable to allocate mem for VSS iovec, size: %d", static_cast<int>(count * sizeof(struct iovec)));
        return QOS_NO_MEMORY;
    }
    for (uint32_t i = 0; i < count; ++i) {
        const uint32_t at = i * VSS_VECTOR_MAX;
        vectors[i] = {static_cast<unsigned char *>(buffer) + at, std::min(size - at, VSS_VECTOR_MAX)};
    }
    QOS_DBG("Sending update, type: %d, size: %d, nVecs: %d", type, size, count);
    const vss_send_update_t request = {count, vectors, type, flags | 1, target, 0};
    const int transaction = vssd_send_update(qos_velmar_state.vss_handle, &request);
    if (transaction > 0)
        vssd_wait_update(qos_velmar_state.vss_handle, transaction);
    else
        QOS_ERR("Vss send update failed, ret: %d", transaction);
    free(vectors);
    return transaction > 0 ? QOS_OK : QOS_FAILED;
}

int qosVssReplayIntent(uint32_t stage, uint32_t)
{
    if (qos_velmar_state.is_agent)
        return QOS_OK;
    if (vss_state.handle == -1 || vss_state.bootmode != VSS_WARM)
        return QOS_OK;
    for (;;) {
        alignas(8) unsigned char buffer[INTENT_MAX] = {};
        const int length = ha_get_intent(qos_velmar_state.ha, buffer, sizeof buffer);
        if (length == 0)
            return QOS_OK;
        if (length < 0)
            QOS_ERR("Failed to get intent, rc:%d", length);
        else
            replayIntent(stage, buffer, static_cast<uint32_t>(length));
    }
}

int qos_vss_show(cli_t *cli)
{
    static constexpr struct {
        uint32_t stage;
        const char *name;
    } names[] = {{VSS_COLD, "Cold Boot"},
                 {VSS_WARM, "Warm Boot"},
                 {VSS_HALT, "Halt"},
                 {VSS_STANDBY, "Standby"},
                 {VSS_WARM_RECON, "Warm Reconciliation"},
                 {VSS_CLIENT_INIT, "Client Initialization"},
                 {VSS_ACTIVE, "Active"}};
    const auto *named =
        std::find_if(std::begin(names), std::end(names), [](const auto &row) { return row.stage == vss_state.stage; });
    const char *startup = nullptr; // said at stage Active alone
    if (vss_state.stage == VSS_ACTIVE) {
        const uint32_t mode = vss_state.bootmode;
        startup = mode == VSS_COLD ? "Cold" : mode == VSS_WARM ? "Warm" : "Unknown";
    }
    qosPrintRecord(cli);
    qosPrintText(cli, "QOS VelmarOS State Synchronization summary:\n");
    qosPrintTruth(cli, "ha", "    VSS HA %s\n", qos_ha_state == 1, "Enabled", "Disabled");
    qosPrintField(cli, "stage", "    Stage: %s", named == std::end(names) ? "Unknown" : named->name);
    qosPrintOptional(cli, "startup", ", Startup: %s", startup);
    qosPrintText(cli, "\n");
    return 0;
}
