// SPDX-License-Identifier: Apache-2.0
// dorvmd-role: the process frame in the manager role, with its command tree behind a terminal. It is not the manager:
// it has the frame's modules, a module of its own that looks after ports, and takes in what agents send.
//
// Ports come into being as they would on a card whose process owns the driver: each is added to the interface table,
// its chip is asked of the driver, and the port is made known to the library's interface table. A chip that goes takes
// its ports with it; when it comes back they are added anew.
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <exception>
#include <string>
#include <termios.h>
#include <unistd.h>
#include <vector>

#include <CLI/CLI.hpp>

#include "channels/events/driver_events.h"
#include "channels/manager.h"
#include "core/module.h"
#include "core/msgq.h"
#include "core/state.h"
#include "core/trace.h"
#include "dorvald/startup.h"
#include "ha/test_points.h"
#include "ha/vss.h"
#include "inventory/chips.h"
#include "inventory/interfaces.h"
#include "lib/kor.h"
#include "lib/lib_instance.h"
#include "role/terminal.h"
#include "tools/error.h"
#include "tools/values.h"
#include "velmar/process.h"
#include "velmar/run.h"
#include "velmar/trace.h"

namespace {

constexpr auto ROLE_MODULE = static_cast<qosModuleId_t>(20); // one of the manager's ids

struct Port {
    std::string name;
    uint32_t ifindex;
};

std::vector<Port> ports;
bool ports_due; // an event that adds them waits
bool on_tty;
termios tty_before;

int addPorts(thread *)
{
    ports_due = false;
    ifg_t *ifg = &qos_velmar_state.lib->ifg;
    for (const Port &port : ports) {
        // After a takeover the port is there, but the library's table is this process's own.
        if (!qosLookupIfEntry(port.ifindex) && !qosProcessPortAdd(port.ifindex, port.name.c_str()))
            continue;
        interface_t *ifp = ifg_get_by_name2(ifg, port.name.c_str(), port.ifindex);
        if (ifp && !ifg_lookup_by_index(ifg, port.ifindex))
            (void)ifg_table_add(ifg, ifp); // the number is free
    }
    return QOS_OK;
}

// Not at once: a chip may come up in the midst of a port's add.
int chipUp(qosChip_t *)
{
    if (!ports_due)
        ports_due = thread_add_event(qos_velmar_state.lib, addPorts, nullptr, 0) != nullptr;
    return QOS_OK;
}

void chipDown(qosChip_t *chip)
{
    lib_instance_t *lib = qos_velmar_state.lib;
    while (const qosIf_t *port = tailqFirst(&chip->ifList)) {
        if (interface_t *ifp = ifg_lookup_by_index(&lib->ifg, port->ifIndex)) {
            cli_forget_if(lib->ctree, ifp);
            if_delete(&lib->ifg, ifp);
        }
        (void)qosProcessPortDelete(port->ifIndex);
    }
}

// The platform's exit callback, with the terminal as it was found.
int leave()
{
    if (on_tty)
        tcsetattr(STDIN_FILENO, TCSANOW, &tty_before);
    return qosExit();
}

void takeTty()
{
    on_tty = tcgetattr(STDIN_FILENO, &tty_before) == 0;
    if (on_tty) {
        termios raw = tty_before;
        cfmakeraw(&raw);
        tcsetattr(STDIN_FILENO, TCSANOW, &raw);
        ASPInit(qos_velmar_state.progname, __expm.instance, 0, 0, leave);
    }
    // The scheduler takes descriptors from 1 on.
    terminalOpen(dup(STDIN_FILENO), STDOUT_FILENO, [] { kill(getpid(), SIGTERM); });
}

bool wants_tty;

// The tables stand from the cold start on; terminals are opened behind it, once.
int active(uint32_t, uint32_t)
{
    static bool open;
    addPorts(nullptr);
    if (open)
        return QOS_OK;
    open = true;
    char error[256];
    const char *run = velmar_run_dir(error, sizeof error);
    if (!run || !terminalListen(std::string(run) + "/vty"))
        fprintf(stderr, "%s: no terminal at %s/vty: %s\n", qos_velmar_state.progname, run ? run : "RUN",
                strerror(errno));
    if (wants_tty)
        takeTty();
    return QOS_OK;
}

int received(int, uint16_t slot, unsigned char *, uint32_t length)
{
    QOS_INF("%u bytes from slot %d", length, slot);
    return QOS_OK;
}

int initRole()
{
    // Answers of agents to statistics requests are for a reader outside the frame, which has none of its own.
    qosVelmarState_t &state = qos_velmar_state;
    thread_add_read(state.lib, qosRcvMi6Msg, nullptr, state.mi_stats_sock);
    return QOS_OK;
}

int registerModules()
{
    memset(qos_modules, 0, sizeof qos_modules);
    qosRegisterMsgQModule();
    qosRegisterKORModule();
    qosRegisterVssModule();
    qosRegisterTpModule();
    qosRegisterNLModule();
    qosRegisterMiModule(received);
    qaRegisterIfmModule();
    qosModule_t &record = qosModuleRecord(ROLE_MODULE, "ROLE PORTS");
    record.init = initRole;
    record.chip_up = chipUp;
    record.chip_down = chipDown;
    (void)qosVssStageRegister(ROLE_MODULE, QOS_STAGE_ACTIVE, active, 0);
    return qosModuleInit();
}

// Start-up in the order of the agent's, with the other role.
int start(char *program, std::string service)
{
    char service_option[] = "-S", switch_option[] = "-s", number[] = "0";
    char *argv[] = {program, service_option, service.data(), switch_option, number, nullptr};
    qosDecodeOptions(5, argv);
    qos_velmar_state.is_agent = 0;
    velmar_sigdefaults(qos_velmar_state.progname);
    signal(SIGPIPE, SIG_IGN);
    int rc = qos_trace_init(284, 200, LIB_PROTO_DORVMD);
    if (rc == QOS_OK)
        rc = qosVelmarInit("DORVMD");
    if (rc == QOS_OK)
        rc = registerModules();
    if (rc == QOS_OK)
        rc = qaLocalMain(5, argv);
    rasevt_exit();
    return rc;
}

void parsePorts(const std::vector<std::string> &texts)
{
    for (const std::string &text : texts)
        for (const std::string &name : ctlExpandList(text)) {
            const auto ifindex = ctlParseInterface(name);
            if (!ifindex)
                ctlRefuse("'" + name + "' is no port; write te1/3 or te1/1..te1/8");
            ports.push_back({name, *ifindex});
        }
}

int run(int argc, char **argv)
{
    std::string service = "dorvmd";
    std::vector<std::string> texts;
    CLI::App app{"dorvmd-role runs the process frame in the manager role, with a terminal at RUN/vty.", "dorvmd-role"};
    app.add_option("-S,--service", service, "Service name; must not be the agent's")->capture_default_str();
    app.add_option("-p,--port", texts, "Ports to bring up, as te1/3 or te1/1..te1/8; may be given again");
    app.add_flag("-t,--tty", wants_tty, "Serves a terminal on standard input and output as well, and ends with it");
    try {
        app.parse(argc, argv);
    } catch (const CLI::CallForHelp &) {
        fputs(app.help().c_str(), stdout);
        return 0;
    } catch (const CLI::ParseError &error) {
        fprintf(stderr, "dorvmd-role: %s; 'dorvmd-role --help' lists what it takes\n", error.what());
        return 2;
    }
    parsePorts(texts);
    return start(argv[0], service);
}

} // namespace

int main(int argc, char **argv)
{
    try {
        return run(argc, argv);
    } catch (const ctlError_t &error) {
        fprintf(stderr, "dorvmd-role: %s\n", error.text.c_str());
        return error.exit;
    } catch (const std::exception &error) {
        fprintf(stderr, "dorvmd-role: %s\n", error.what());
        return 1;
    }
}
