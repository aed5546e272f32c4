// SPDX-License-Identifier: Apache-2.0
// hsld, the driver emulator: takes the place of the ASIC driver in a run directory. Options, signals and the loop.
#include <csignal>
#include <cstdio>
#include <exception>
#include <string>
#include <vector>

#include <CLI/CLI.hpp>

#include "hsl/server.h"
#include "velmar/version.h"

static volatile sig_atomic_t ended;

static void onSignal(int)
{
    ended = 1;
}

static const char *const footer = R"(Chips may also be left out: a chip is learned from the first request that names it.

The driver serves RUN/qos/driver, RUN being VELMAR_RUN, else /run/velmar for root, else /tmp/velmar-<uid>.
Commands, one a datagram to RUN/ctl/hsld.PID, each answered with 'ok ...' or 'error: ...':
  stat                            counts as one line of JSON
  show | show port PORT | show chip SLOT/CHIP
                                  the whole state; one port with its records, congestion setup and traffic; one chip
                                  with its policers; as JSON. PORT is an interface index or a name as te1/3
  show tcam SLOT/CHIP [REGION]    a Larkin's priority entries in words; REGION is l2, l3 or a table number
  log [N] | log json [N]          the last N requests in words, or as JSON; N is 20 if not given
  clear log | clear warnings
  chip SLOT/CHIP:TYPE:PORTS[:buffers=BYTES]
                                  declares a chip
  event chip-up|chip-down SLOT/CHIP
  event ready|bulk [SLOT/CHIP ..] all chips if none is named
  event raw HEX                   sends the datagram as it is
  fault KIND [OPTION=VALUE ..]    misbehaves; KIND is refuse, delay, drop, late, wrong-command, wrong-type,
                                  wrong-sequence, truncate, error, no-end or garbage; options are command=N,
                                  count=N|forever, and status, ms, type, bytes, number as the kind has it
  fault list | fault clear
  data command=N offset=N hex=BYTES [port=IFINDEX] | data clear
                                  bytes that responses carry from now on
  traffic PORT SELECTION rate=R [kind=K] [policer=ID] | traffic PORT off | traffic list
                                  what arrives at a port; SELECTION is priority=P, or cos=N, dscp=N or both, whose
                                  priority the port's maps give; R as 2G or 500M bits a second, K unicast, broadcast,
                                  multicast or unknown-unicast, ID the ingress policer that takes it
  traffic PORT drop reason=N rate=R
                                  frames that the chip drops for that reason
  traffic PORT pause priority=P|all on|off
                                  the peer stops a priority, or the port
  stall [SECONDS] | resume        leaves requests unread
  clock step SECONDS              moves the driver's own time forward
  quit

docs/hsld.md has the details.)";

// Blocks the ending signals outside of poll, so that none is lost between the test and the wait.
static sigset_t takeSignals()
{
    struct sigaction action {};
    action.sa_handler = onSignal;
    sigset_t blocked, open;
    sigemptyset(&blocked);
    for (int signal : {SIGTERM, SIGINT, SIGHUP}) {
        sigaction(signal, &action, nullptr);
        sigaddset(&blocked, signal);
    }
    std::signal(SIGPIPE, SIG_IGN);
    std::signal(SIGXFSZ, SIG_IGN); // of a verbose output that reaches its limit
    sigprocmask(SIG_BLOCK, &blocked, &open);
    for (int signal : {SIGTERM, SIGINT, SIGHUP})
        sigdelset(&open, signal);
    return open;
}

static int run(int argc, char **argv)
{
    hslServer_t server;
    std::vector<std::string> chips;
    bool verbose = false;
    CLI::App app{"hsld plays the ASIC driver for a QoS agent on this machine.", "hsld"};
    app.add_option("-c,--chip", chips,
                   "A chip, SLOT/CHIP:TYPE:PORTS[:buffers=BYTES] as in 1/0:tessel:48; may be given again")
        ->type_name("CHIP")
        ->check([&server](const std::string &text) { return hslModelDeclare(server.model, text); });
    app.add_flag("-v,--verbose", verbose, "Prints each request in words");
    app.set_version_flag("--version", "hsld " VELMAR_VERSION);
    app.set_config("--config", "", "A file of these options, as: chip = [\"1/0:tessel:48\"]");
    app.allow_config_extras(CLI::config_extras_mode::error);
    app.footer(footer);
    try {
        app.parse(argc, argv);
    } catch (const CLI::CallForHelp &) {
        std::fputs(app.help().c_str(), stdout);
        return 0;
    } catch (const CLI::CallForVersion &version) {
        std::printf("%s\n", version.what());
        return 0;
    } catch (const CLI::ParseError &error) {
        std::fprintf(stderr, "hsld: %s; 'hsld --help' lists what it takes\n", error.what());
        return 2;
    }
    auto open = takeSignals();
    if (auto error = hslOpen(server); !error.empty()) {
        std::fprintf(stderr, "hsld: %s\n", error.c_str());
        return 1;
    }
    if (verbose) {
        setvbuf(stdout, nullptr, _IOLBF, 0);
        server.verbose = stdout;
    }
    while (!ended && !server.quit)
        hslStep(server, -1, &open);
    hslClose(server);
    return 0;
}

int main(int argc, char **argv)
{
    try {
        return run(argc, argv);
    } catch (const std::exception &error) {
        std::fprintf(stderr, "hsld: %s\n", error.what());
        return 1;
    }
}
