// SPDX-License-Identifier: Apache-2.0
// The library instance's module and the interface commands of the manager role.
#include "lib/kor.h"

#include <cstdio>
#include <cstdlib>

#include "core/memory.h"
#include "core/module.h"
#include "core/msgq.h"
#include "core/state.h"
#include "core/trace.h"
#include "lib/lib_instance.h"
#include "velmar/lib_nsm.h"

namespace {

constexpr uint32_t VLAN_IFINDEX = 0x48000000; // ORed with the VLAN's number
constexpr int PORT_UNKNOWN = 8;               // result for an external port that does not exist

const char *const qos_show_memStats_cmd_help[] = {"Show running system information", "DORVMD show commands",
                                                  "DORVMD memory usage", "DORVMD memory usage statistics", nullptr};
const cli_element_t qos_show_memStats_cmd = {"show dorvmd memory statistics",
                                             cliShow<qosShowWhole<qosShowMemStatsPart>>, qos_show_memStats_cmd_help};

const char *const tengig_ext_help[] = {"Select an external interface to configure", "TenGigabit External interface",
                                       "Slot and Port information", nullptr};
const char *const vlan_help[] = {"Select an interface to configure", "Vlan interface", "Vlan interface number",
                                 nullptr};
const char *const no_vlan_help[] = {"Negate a command or set its defaults", "delete a vlan", "Vlan interface",
                                    "Vlan interface number", nullptr};
const char *const port_channel_help[] = {"Select an interface to configure or create a LAG", "Port-channel interface",
                                         "Port-channel interface number", nullptr};
const char *const no_port_channel_help[] = {"Negate a command or set its defaults",
                                            "Select an interface to configure or create a LAG",
                                            "Port-channel interface", "Port-channel interface number", nullptr};

// The commands of the configuration mode, in the order of their installation.
const cli_element_t interface_cmds[] = {
    {"interface tengigabitethernet Slot/Port ", qos_kor_interface_tengig_ext, tengig_ext_help},
    {"interface vlan VLAN_INTF_ID", qos_kor_interface_vlan, vlan_help},
    {"no interface vlan VLAN_RANGE", qos_kor_no_interface_vlan, no_vlan_help},
    {"interface port-channel <1-6144> ", qos_kor_interface_port_channel, port_channel_help},
    {"no interface port-channel <1-6144>", qos_kor_no_interface_port_channel, no_port_channel_help},
};

// Makes an interface, or none, the one that the next commands configure.
void enter(cli_t *cli, interface_t *ifp, int mode)
{
    cli->ifindex_obj = ifp;
    cli->mode = mode;
}

// An interface that is about to be deleted is nobody's current one.
void leaveIf(cli_t *cli, const interface_t *ifp)
{
    if (cli->ifindex_obj == ifp)
        cli->ifindex_obj = nullptr;
    cli_forget_if(qos_velmar_state.lib->ctree, ifp);
}

// The number of the command's only argument; false, with the error printed, if it is none or out of range.
bool numberIn(cli_t *cli, int argc, char **argv, int low, int high, const char *what, int *number)
{
    int error = -1;
    *number = argc > 0 ? cmd_str2int(argv[0], &error) : 0;
    if (error >= 0 && *number >= low && *number <= high)
        return true;
    cli_out(cli, "%% Error: Invalid %s value.\n", what);
    return false;
}

bool portChannelName(cli_t *cli, int argc, char **argv, char *name, size_t size)
{
    int number;
    if (!numberIn(cli, argc, argv, 1, 6144, "admin-key", &number))
        return false;
    snprintf(name, size, "po%d", number);
    return true;
}

void vlanName(int number, char *name, size_t size)
{
    snprintf(name, size, "%s%d.%d", "vlan", 0, number);
}

} // namespace

void qosRegisterKORModule()
{
    QOS_FRAME();
    qosModuleRecord(QOS_MOD_KOR, "QOS KOR").init = qosKorInit;
}

int qosKorInit()
{
    QOS_FRAME();
    qosVelmarState_t &state = qos_velmar_state;
    state.lib = lib_create(state.progname);
    if (!state.lib) {
        fprintf(stderr, "%s: Failed to create KOR lib\n", state.progname);
        return -1;
    }
    state.lib->protocol = state.is_agent ? LIB_PROTO_DORVALD : LIB_PROTO_DORVMD;
    state.lib->master = thread_master_create();
    state.lib->vss_handle = state.vss_handle;
    const int rc = lib_start(state.lib);
    if (rc != 0) {
        lib_stop(state.lib);
        state.lib = nullptr;
        fprintf(stderr, "%s: Failed to start KOR library, error = %d\n", state.progname, rc);
        return QOS_LIB_START_FAILED;
    }
    // A queue that could not be made does not keep the process from starting.
    if (state.msgq)
        msgQSetWakeup(state.msgq, thread_asp_wakeup, state.lib);
    qosKorStart();
    return QOS_OK;
}

int qosKorStart()
{
    QOS_FRAME();
    lib_instance_t *lib = qos_velmar_state.lib;
    if (qos_velmar_state.is_agent) {
        QOS_ERR("%s: Bailing out\n", qos_velmar_state.progname);
        return QOS_OK;
    }
    QOS_ERR("%s:%s: Invoking host_vty_init\n", qos_velmar_state.progname, __func__);
    (void)host_vty_init(lib);
    (void)host_config_start(lib);
    (void)cli_install_gen(lib->ctree, EXEC_MODE, QOS_CLI_LEVEL, QOS_CLI_FLAGS, &qos_show_memStats_cmd);
    (void)cli_install_config(lib->ctree, INTERFACE_MODE, qos_if_config_write);
    for (const int mode : {INTERFACE_MODE, CONFIG_MODE, VLAN_INTERFACE_MODE, PORT_CHANNEL_MODE})
        (void)cli_install_default(lib->ctree, mode);
    for (const cli_element_t &command : interface_cmds)
        (void)cli_install_gen(lib->ctree, CONFIG_MODE, QOS_CLI_LEVEL, QOS_CLI_FLAGS, &command);
    return QOS_OK;
}

int qos_kor_interface_tengig_ext(cli_t *cli, int argc, char **argv)
{
    char name[IFG_NAME_MAX + 1];
    snprintf(name, sizeof name, "te%s", argc > 0 ? argv[0] : "");
    interface_t *ifp = ifg_lookup_by_name(&qos_velmar_state.lib->ifg, name);
    if (ifp && ifp->config_locked == 1)
        return QOS_OK;
    enter(cli, ifp, INTERFACE_MODE);
    return ifp ? static_cast<int>(QOS_OK) : PORT_UNKNOWN;
}

int qos_kor_interface_port_channel(cli_t *cli, int argc, char **argv)
{
    char name[IFG_NAME_MAX + 1];
    if (!portChannelName(cli, argc, argv, name, sizeof name))
        return QOS_FAILED;
    interface_t *ifp = ifg_get_by_name(&qos_velmar_state.lib->ifg, name);
    if (!ifp) {
        cli_out(cli, "%% Interface %s not found\n", name);
        return QOS_FAILED;
    }
    enter(cli, ifp, PORT_CHANNEL_MODE);
    return QOS_OK;
}

int qos_kor_no_interface_port_channel(cli_t *cli, int argc, char **argv)
{
    char name[IFG_NAME_MAX + 1];
    if (!portChannelName(cli, argc, argv, name, sizeof name))
        return QOS_FAILED;
    lib_instance_t *lib = qos_velmar_state.lib;
    interface_t *ifp = ifg_lookup_by_name(&lib->ifg, name);
    if (!ifp)
        return QOS_OK;
    const uint32_t ifindex = ifp->ifindex;
    free(ifp->info);
    ifp->info = nullptr;
    leaveIf(cli, ifp); // ahead of the delete, for it compares the record's address
    if_delete(&lib->ifg, ifp);
    imi_client_clear_index(lib, ifindex);
    return QOS_OK;
}

int qos_kor_interface_vlan(cli_t *cli, int argc, char **argv)
{
    int number;
    if (!numberIn(cli, argc, argv, 1, 4094, "VLAN id", &number))
        return QOS_FAILED;
    char name[IFG_NAME_MAX + 1];
    vlanName(number, name, sizeof name);
    ifg_t *ifg = &qos_velmar_state.lib->ifg;
    interface_t *ifp = ifg_get_by_name2(ifg, name, static_cast<uint32_t>(number) | VLAN_IFINDEX);
    if (!ifp)
        return QOS_NO_MEMORY;
    if (!ifg_lookup_by_index(ifg, ifp->ifindex))
        (void)ifg_table_add(ifg, ifp); // the number is free; without memory the interface is found by its name alone
    enter(cli, ifp, VLAN_INTERFACE_MODE);
    return QOS_OK;
}

int qos_kor_no_interface_vlan(cli_t *cli, int argc, char **argv)
{
    int number;
    if (!numberIn(cli, argc, argv, 2, 3583, "VLAN id", &number))
        return QOS_FAILED;
    char name[IFG_NAME_MAX + 1];
    vlanName(number, name, sizeof name);
    lib_instance_t *lib = qos_velmar_state.lib;
    if (cli_if_has(lib->ctree, cli, name))
        return QOS_OK;
    interface_t *ifp = ifg_lookup_by_name(&lib->ifg, name);
    if (!ifp)
        return QOS_OK;
    if (ifp->ifindex != 0) {
        if (qos_velmar_state.stage != QOS_STAGE_STANDBY)
            nsm_lib_send_ifg_delete(lib, ifp->ifindex);
        (void)ifg_table_delete(&lib->ifg, ifp); // it may stand there or not
        imi_client_clear_index(lib, ifp->ifindex);
    }
    leaveIf(cli, ifp); // also for one without an index: the record goes
    if_delete(&lib->ifg, ifp);
    return QOS_OK;
}

int qos_if_config_write(cli_t *)
{
    return QOS_OK;
}
