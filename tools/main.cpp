// SPDX-License-Identifier: Apache-2.0
// dorvctl: the manager's side of the agent protocol, and the control sockets of a node. This file reads options alone.
#include <CLI/CLI.hpp>
#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstring>
#include <fcntl.h>
#include <iostream>
#include <unistd.h>

#include "tools/capture.h"
#include "tools/commands.h"
#include "tools/complete.h"
#include "tools/config.h"
#include "tools/diff.h"
#include "tools/dissector.h"
#include "tools/error.h"
#include "tools/exporter.h"
#include "tools/held.h"
#include "tools/history.h"
#include "tools/link.h"
#include "tools/log.h"
#include "tools/node.h"
#include "tools/replay.h"
#include "tools/report.h"
#include "tools/scenario.h"
#include "tools/show.h"
#include "tools/stats.h"
#include "tools/text.h"
#include "tools/top.h"
#include "tools/web.h"
#include "velmar/run.h"
#include "velmar/version.h"

namespace {

struct arguments {
    ctlOptions_t options;
    ctlWatch_t watch;
    ctlStatsOptions_t asked;
    ctlTop_t top;
    ctlShow_t show;
    bool stats = false, force = false, bare = false;
    std::vector<std::string> words;
    std::string raw, raw_tail, file, name, process = "dorvald";
    int length = -1;
    double ask_seconds = 30;
    ctlHistory_t history;
    ctlLog_t log;
    ctlCapture_t capture;
    ctlReplay_t replay;
    ctlExporter_t exporter;
    ctlWeb_t web;
    std::string ring;
};

constexpr unsigned MOST = 1000000;        // of what is counted out
constexpr size_t LONGEST_FILE = 16 << 20; // bytes of a scenario or of a batch in hexadecimal

constexpr const char *EXAMPLES =
    "Examples:\n"
    "  dorvctl send COSTRUST ifIndex=te1/3 cos_trust=1 cos_map=0..7 tc_map=0,0,1,1,2,2,3,3\n"
    "  dorvctl send IFADD ifIndex=te1/3 ifName=te1/3 + DSCPTRUST ifIndex=te1/3 dscp_trust=1\n"
    "  dorvctl show PFC\n"
    "Values: 17, 0x11, -1; lists 0,1,2; 7*8 for eight times 7; 0..7 for a range; x:00ff12 for bytes.\n"
    "Interfaces: te1/3 (ge, fo likewise), te1/3@1 on chip 1, chip1/0, all.\n"
    "Exit status: 0 every status is 0, 1 some are not, 2 wrong use, 3 no answer.";

// Seconds from `least` to an hour; a "nan" is none.
std::function<std::string(const std::string &)> secondsFrom(double least)
{
    return [least](const std::string &text) {
        char *end = nullptr;
        const double value = std::strtod(text.c_str(), &end);
        const bool good = !text.empty() && *end == '\0' && std::isfinite(value) && value >= least && value <= 3600;
        return good ? std::string()
                    : "'" + text + "' is no number of seconds from " + (least > 0 ? "0.01" : "0") + " to 3600";
    };
}

// A number in decimal, which it leaves without zeros ahead: those would make another number of it later on.
CLI::Validator wholeNumber(unsigned least, unsigned most)
{
    const auto settle = [least, most](std::string &text) {
        const auto value = ctlParseNumber(text, most);
        if (!value || *value < least)
            return "'" + text + "' is no number from " + std::to_string(least) + " to " + std::to_string(most);
        text = std::to_string(*value);
        return std::string();
    };
    return {settle, ""};
}

void addLinkOptions(CLI::App *command, arguments &args, const char *json)
{
    command->add_option("-S,--service", args.options.service, "MI6 service, qosMI or qosMIStats")
        ->capture_default_str();
    command->add_flag("--stats", args.stats, "the statistics service, as -S qosMIStats");
    command->add_flag("-j,--json", args.options.json, json);
}

void addAgentOptions(CLI::App *command, arguments &args)
{
    command->add_option("--slot", args.options.slot, "the agent's slot, 1 to 16")
        ->transform(wholeNumber(1, 16))
        ->capture_default_str();
    command->add_option("--timeout", args.options.timeout, "seconds to wait for each echo")
        ->check(secondsFrom(0))
        ->capture_default_str();
}

void addSendOptions(CLI::App *command, arguments &args)
{
    addLinkOptions(command, args, "one JSON array");
    addAgentOptions(command, args);
    command->add_option("--seq", args.options.seq, "sequence number of the first message, 0 to 255")
        ->transform(wholeNumber(0, 255));
    command->add_flag("-v,--verbose", args.options.verbose, "the decoded fields of every message");
    command->add_flag("--force", args.force, "send maps with values above 7 too");
    command->add_flag("--dry-run", args.options.dry_run, "show the batches and send nothing");
}

// The kinds of statistics with their words: "buffers [ingress|egress] [port|plc|tmc|tmc-chip]".
std::string kindsText()
{
    std::string text = "Kinds:\n", kind, sides, sources;
    const auto add = [](std::string &list, const std::string &word) {
        if (!word.empty() && ("|" + list + "|").find("|" + word + "|") == std::string::npos)
            list += (list.empty() ? "" : "|") + word;
    };
    const auto flush = [&] {
        if (!kind.empty())
            text += "  " + kind + (sides.empty() ? "" : " [" + sides + "]") +
                    (sources.empty() ? "" : " [" + sources + "]") + "\n";
        sides = sources = "";
    };
    for (const ctlStatsView_t &view : ctlStatsViews()) {
        if (kind != view.kind)
            flush();
        kind = view.kind;
        add(sides, view.side);
        add(sources, view.source);
    }
    flush();
    text += "  drops: what each queue holds and drops, from several kinds together\n";
    return text + "Targets: 1/3 or te1/3 (ge, fo likewise), te1/1..te1/8, chip1/0, all. None: every port there is.";
}

void addStatsCommands(CLI::App &app, arguments &args)
{
    CLI::App *stats = app.add_subcommand("stats", "statistics as tables");
    stats->add_option("kind", args.asked.words, "KIND [SIDE] [SOURCE] [PORT ...]")->required();
    stats->add_option("--ids", args.asked.ids, "policers, as in 1,4..9");
    stats->add_option("--selector", args.asked.selector, "the four bytes of TMC and VOQ requests, as in 1,0,0,0");
    stats->add_option("--rate", args.asked.rate, "rates from two reads, so many seconds apart")
        ->check(secondsFrom(0.01));
    stats->add_flag("--nonzero", args.asked.nonzero, "leave out rows that are all zero");
    stats->add_flag("-j,--json", args.options.json, "one JSON array");
    addAgentOptions(stats, args);
    stats->footer(kindsText());

    CLI::App *clear = app.add_subcommand("clear", "clear statistics: clear stats [PORT ...]");
    clear->add_option("what", args.words, "stats, then ports, chips, or all; none is all")->required();
    clear->add_flag("-j,--json", args.options.json, "one JSON array");
    addAgentOptions(clear, args);

    CLI::App *top = app.add_subcommand("top", "the queues that drop most, redrawn until q is pressed");
    top->add_option("ports", args.top.words, "ports and chips; none is all");
    top->add_option("--interval", args.top.interval, "seconds between two reads")
        ->check(secondsFrom(0.01))
        ->capture_default_str();
    top->add_option("--count", args.top.count,
                    "end after this many tables; where output is no terminal, 1 if not given")
        ->transform(wholeNumber(0, MOST));
    top->add_option("--sort", args.top.sort, "what comes first: " + CLI::detail::join(ctlTopOrders(), ", "))
        ->check(CLI::IsMember(ctlTopOrders()))
        ->capture_default_str();
    top->add_flag("-j,--json", args.options.json, "one JSON array a table");
    addAgentOptions(top, args);
}

int runClear(const arguments &args)
{
    if (args.words[0] != "stats")
        ctlRefuse("nothing called '" + args.words[0] + "' can be cleared; the nearest is stats");
    return ctlClearStats(args.options, {args.words.begin() + 1, args.words.end()}, std::cout, std::cerr);
}

std::string readAll(const std::string &name)
{
    const bool own = name != "-";
    const int fd = own ? open(name.c_str(), O_RDONLY | O_CLOEXEC) : STDIN_FILENO;
    if (fd < 0)
        ctlRefuse(name + ": cannot be read: " + std::strerror(errno));
    std::string fault;
    const auto text = ctlReadAll(fd, LONGEST_FILE, fault);
    if (own)
        close(fd);
    if (!text)
        ctlRefuse(name + ": " + fault);
    return *text;
}

void settleService(arguments &args, const CLI::App &command)
{
    if (args.stats && command.count("--service") != 0 && args.options.service != "qosMIStats")
        ctlRefuse("--stats and -S " + args.options.service + " name two services; give one of them");
    if (args.stats)
        args.options.service = "qosMIStats";
    if (args.options.service != "qosMI" && args.options.service != "qosMIStats")
        ctlRefuse("no service is called '" + args.options.service + "'; the nearest is " +
                  ctlNearest(args.options.service, {"qosMI", "qosMIStats"}));
}

int runSend(arguments &args, const CLI::App &command)
{
    ctlCatchSignals();
    settleService(args, command);
    std::vector<ctlAssign_t> extra;
    if (command.count("--raw") != 0)
        extra.push_back({"@raw", args.raw});
    if (command.count("--raw-tail") != 0)
        extra.push_back({"@tail", args.raw_tail});
    if (command.count("--len") != 0)
        extra.push_back({"@len", std::to_string(args.length)});
    const ctlHeld_t held =
        args.bare || !args.raw.empty() ? ctlHeld_t() : ctlHeldByAgent(args.options.timeout, std::cerr);
    const std::vector<ctlMessage_t> batch = ctlParseWords(args.words, extra, held);
    if (!args.force)
        ctlCheckMaps(batch);
    return ctlSendBatches(args.options, {batch}, std::cout, std::cerr);
}

int runApply(arguments &args, const CLI::App &command)
{
    const ctlScenario_t scenario = ctlReadScenario(readAll(args.file), args.file);
    for (const std::vector<ctlMessage_t> &batch : scenario.batches)
        if (!args.force)
            ctlCheckMaps(batch);
    ctlCatchSignals(); // not before: a signal ends the wait for standard input as ever
    if (scenario.service && command.count("--service") == 0 && !args.stats)
        args.options.service = *scenario.service;
    if (scenario.slot && command.count("--slot") == 0)
        args.options.slot = *scenario.slot;
    settleService(args, command);
    return ctlSendBatches(args.options, scenario.batches, std::cout, std::cerr);
}

int runWatch(arguments &args, const CLI::App &command)
{
    ctlCatchSignals();
    settleService(args, command);
    return ctlWatchAgents(args.options, args.watch, std::cout, std::cerr);
}

// A message; where there is none, the tables are among what may have been meant.
const qosMsgInfo_t &findShown(const std::string &name)
{
    try {
        return ctlFindMessage(name);
    } catch (const ctlError_t &) {
        const std::vector<std::string> tables = ctlShowNames();
        std::vector<std::string> names = tables;
        for (unsigned code = 0; code < QOS_MSG_CODES; code++)
            names.push_back(ctlShortName(code));
        const std::string nearest = ctlNearest(name, names);
        if (std::find(tables.begin(), tables.end(), nearest) != tables.end())
            ctlRefuse("no message or table is called '" + name + "'; the nearest is " + nearest);
        throw;
    }
}

void refusePorts(const arguments &args)
{
    if (!args.words.empty())
        ctlRefuse("ports go with interfaces and with the configuration, as in: show config " + args.words[0]);
}

int runShow(arguments &args, const CLI::App &command)
{
    const std::vector<std::string> tables = ctlShowNames();
    if (std::find(tables.begin(), tables.end(), args.name) != tables.end()) {
        ctlCatchSignals();
        args.show.json = args.options.json;
        if (args.name == "config")
            return ctlShowConfig(args.words, args.show, std::cout);
        if (args.name != "interfaces")
            refusePorts(args);
        return ctlShowTable(args.name, args.words, args.show, std::cout);
    }
    refusePorts(args);
    if (command.count("--pid") + command.count("--timeout") + command.count("--nonzero") != 0)
        ctlRefuse("--pid, --timeout and --nonzero go with a table of the agent, as in: show slots");
    if (args.name.empty())
        ctlPrintCatalogue(std::cout, args.options.json);
    else
        ctlPrintLayout(std::cout, findShown(args.name), args.options.json);
    return CTL_DONE;
}

int runDecode(const arguments &args)
{
    std::string hex;
    for (const std::string &word : args.words)
        hex += word == "-" ? readAll("-") : word;
    if (hex.find_first_not_of(" \t\r\n") == std::string::npos)
        ctlRefuse("there is nothing to decode; a batch is written as 0400050700ffffffff00");
    return ctlDecodeBatch(args.options, hex, std::cout, std::cerr);
}

void addAskedOptions(CLI::App *command, arguments &args)
{
    command->add_option("--pid", args.show.pid, "the agent with this pid; else the only one, or the active one");
    command->add_option("--timeout", args.show.timeout, "seconds to wait for the agent")
        ->check(secondsFrom(0))
        ->capture_default_str();
}

void addMessageCommands(CLI::App &app, arguments &args)
{
    CLI::App *send = app.add_subcommand("send", "send one batch and show its echo");
    send->add_option("message", args.words, "NAME field=value ... [+ NAME field=value ...]")->required();
    send->add_option("--raw", args.raw, "the whole body in hexadecimal");
    send->add_option("--raw-tail", args.raw_tail, "bytes behind the named fields, in hexadecimal");
    send->add_option("--len", args.length, "cut or stretch the body to this many bytes")
        ->transform(wholeNumber(0, 8187));
    send->add_flag("--bare", args.bare, "0 for fields that are not named, and not what the agent holds");
    addSendOptions(send, args);
    send->footer(EXAMPLES);

    CLI::App *apply = app.add_subcommand("apply", "send the batches of a scenario file and show their echoes");
    apply->add_option("file", args.file, "scenario in JSON, - for standard input")->required();
    addSendOptions(apply, args);

    CLI::App *watch = app.add_subcommand("watch", "show what agents send by themselves");
    addLinkOptions(watch, args, "one JSON object a line");
    watch->add_option("--count", args.watch.count, "end after this many messages")->transform(wholeNumber(0, MOST));
    watch->add_option("--timeout", args.watch.timeout, "end after this many seconds")->check(secondsFrom(0));
    watch->add_flag("--all", args.watch.all, "the echoes of all managers too");

    CLI::App *show = app.add_subcommand("show", "the messages, the fields of one of them, or a table of the agent");
    show->add_option("name", args.name, "message name or code, or a table");
    show->add_option("ports", args.words, "of the tables interfaces and config: ports, and chips; none is all");
    show->add_flag("-j,--json", args.options.json, "as JSON");
    show->add_flag("--nonzero", args.show.nonzero, "leave out what is 0; a row is a line then");
    addAskedOptions(show, args);
    addAskedOptions(app.add_subcommand("save", "what is configured, as a scenario for apply"), args);
    CLI::App *diff = app.add_subcommand("diff", "where the driver was told other than the agent holds");
    diff->add_option("ports", args.words, "ports and chips; none is all");
    diff->add_flag("-j,--json", args.options.json, "one JSON array");
    addAskedOptions(diff, args);
    show->footer("Tables of the agent: " + CLI::detail::join(ctlShowNames(), ", ") + ".");
}

void addNodeCommands(CLI::App &app, arguments &args)
{
    CLI::App *decode = app.add_subcommand("decode", "take a batch apart");
    decode->add_option("hex", args.words, "the batch in hexadecimal, - for standard input")->required();
    decode->add_flag("-j,--json", args.options.json, "one JSON array");

    app.add_subcommand("dissector", "write a dissector of captures, to be kept as dorvald.lua");

    CLI::App *node = app.add_subcommand("node", "the processes of this node: role, stage, pid, since");
    node->add_flag("-j,--json", args.options.json, "one JSON array");

    CLI::App *ctl = app.add_subcommand("ctl", "send one control command to a process and print its answer");
    ctl->add_flag("-j,--json", args.options.json, "an answer in JSON without the ok ahead of it");
    ctl->add_option("process", args.process, "dorvald, hsld, or a pid")->required();
    ctl->add_option("command", args.words, "the command's words, as in: trace level 8")->required();
    ctl->add_option("--timeout", args.ask_seconds, "seconds to wait for the answer")
        ->check(secondsFrom(0))
        ->capture_default_str();
}

void addHistoryCommands(CLI::App &app, arguments &args)
{
    const auto addOptions = [&args](CLI::App *command) {
        command->add_option("-n,--lines", args.history.lines, "number of lines")
            ->transform(wholeNumber(0, MOST))
            ->capture_default_str();
        command->add_flag("-f,--follow", args.history.follow, "go on with new lines until interrupted");
        command->add_flag("-j,--json", args.options.json, "one JSON array; with -f one object a line");
    };
    CLI::App *log = app.add_subcommand("log", "the last batches that the agent acknowledged, and what failed in them");
    log->add_option("-n,--batches", args.log.batches, "number of batches")
        ->transform(wholeNumber(0, MOST))
        ->capture_default_str();
    log->add_flag("--failed", args.log.failed, "only batches in which something failed");
    log->add_flag("-j,--json", args.options.json, "one JSON array");
    log->add_option("--pid", args.log.pid, "the agent with this pid; else the only one, or the active one");
    log->add_option("--timeout", args.log.timeout, "seconds to wait for the agent")
        ->check(secondsFrom(0))
        ->capture_default_str();
    CLI::App *events = app.add_subcommand("events", "the newest lines of the node's event log");
    addOptions(events);
    CLI::App *trace = app.add_subcommand("trace", "the newest trace lines of a process, also of a dead one by its pid");
    CLI::Option *process =
        trace->add_option("process", args.process, "dorvald, or a pid where several run")->capture_default_str();
    trace->add_option("--file", args.ring, "the file of a trace ring")->excludes(process);
    addOptions(trace);
}

void addCaptureCommands(CLI::App &app, arguments &args)
{
    CLI::App *capture = app.add_subcommand("capture", "what passes the sockets of the agents, as a pcapng file");
    capture->add_option("-w,--write", args.capture.file, "the file, - for standard output")->required();
    capture->add_flag("--mi", args.capture.mi, "the manager channel alone");
    capture->add_flag("--driver", args.capture.driver, "the driver's sockets alone");
    capture->add_option("--for", args.capture.seconds, "end after this many seconds")->check(secondsFrom(0.01));

    CLI::App *replay =
        app.add_subcommand("replay", "send the manager's side of a capture, and compare what the node does");
    replay->add_option("file", args.replay.file, "what capture wrote, - for standard input")->required();
    replay->add_flag("-j,--json", args.options.json, "one JSON array of what differs");
    replay->add_option("--speed", args.replay.speed, "so many times as fast as captured; without it, as echoes come")
        ->check(CLI::PositiveNumber);
    replay->add_option("--slot", args.replay.slot, "the agent's slot, if not that of the capture")
        ->check(CLI::Range(1, 16));
    replay->add_option("--timeout", args.replay.timeout, "seconds to wait for an echo")
        ->check(secondsFrom(0.01))
        ->capture_default_str();
}

void addServerCommands(CLI::App &app, arguments &args)
{
    CLI::App *exporter =
        app.add_subcommand("exporter", "serve the node's figures to a monitoring system, as OpenMetrics");
    exporter->add_option("--listen", args.exporter.listen, "HOST:PORT; port 0 for any that is free")
        ->capture_default_str();
    exporter->add_option("--timeout", args.exporter.timeout, "seconds for one collection")
        ->check(secondsFrom(0.01))
        ->capture_default_str();
    exporter->add_option("--slot", args.exporter.slot, "the agent's slot, 1 to 16")
        ->transform(wholeNumber(1, 16))
        ->capture_default_str();

    CLI::App *web = app.add_subcommand("web", "the node as a page in a browser, live, to look at");
    web->add_option("--listen", args.web.listen, "HOST:PORT; port 0 for any that is free")->capture_default_str();
    web->add_option("--name", args.web.names, "a further name that browsers may call this machine by");
    web->add_option("--interval", args.web.interval, "seconds between two collections while somebody looks")
        ->check(secondsFrom(0.01))
        ->capture_default_str();
    web->add_option("--timeout", args.web.timeout, "seconds for one collection")
        ->check(secondsFrom(0.01))
        ->capture_default_str();
    web->add_option("--slot", args.web.slot, "the agent's slot, 1 to 16")
        ->transform(wholeNumber(1, 16))
        ->capture_default_str();
}

// What changes a node is its owner's.
void checkReader(const std::string &name)
{
    for (const char *changes : {"send", "apply", "watch", "clear", "ctl", "diff", "capture", "replay"})
        if (name == changes)
            ctlRefuse("you may only read this node, which is another user's: '" + name + "' is for him and root");
}

int run(CLI::App &app, arguments &args, bool reader)
{
    const CLI::App &command = *app.get_subcommands().at(0);
    const std::string name = command.get_name();
    if (reader && !args.options.dry_run)
        checkReader(name);
    if (name == "send")
        return runSend(args, command);
    if (name == "apply")
        return runApply(args, command);
    if (name == "watch")
        return runWatch(args, command);
    if (name == "show")
        return runShow(args, command);
    if (name == "decode")
        return runDecode(args);
    if (name == "dissector")
        return ctlWriteDissector(std::cout);
    ctlCatchSignals();
    if (name == "stats")
        return ctlShowStats(args.options, args.asked, std::cout, std::cerr);
    if (name == "clear")
        return runClear(args);
    if (name == "top")
        return ctlTop(args.options, args.top, ctlOwnScreen(), std::cout, std::cerr);
    if (name == "save")
        return ctlSaveConfig(args.show, std::cout, std::cerr);
    args.show.json = args.options.json;
    if (name == "diff")
        return ctlShowDifferences(args.words, args.show, std::cout, std::cerr);
    if (name == "node")
        return ctlShowNode(args.options.json, 2, std::cout, std::cerr);
    if (name == "ctl")
        return ctlCommand(args.process, args.words, args.ask_seconds, args.options.json, std::cout);
    if (name == "capture")
        return ctlCapture(args.capture, std::cerr);
    args.replay.json = args.options.json;
    if (name == "replay")
        return ctlReplay(args.replay, std::cout, std::cerr);
    if (name == "exporter")
        return ctlExport(args.exporter, std::cout);
    if (name == "web")
        return ctlServeWeb(args.web, std::cout);
    args.history.json = args.log.json = args.options.json;
    if (name == "log")
        return ctlShowLog(args.log, std::cout);
    if (name == "events")
        return ctlShowEvents(args.history, std::cout);
    return ctlShowTrace(args.process, args.ring, args.history, std::cout);
}

std::vector<std::string> commandNames(const CLI::App &app)
{
    std::vector<std::string> names = {"help"};
    for (const CLI::App *command : app.get_subcommands([](const CLI::App *) { return true; }))
        names.push_back(command->get_name());
    return names;
}

// A first word that is no command gets the nearest one, which the parser would not name.
void checkCommand(const CLI::App &app, const std::vector<std::string> &words)
{
    const std::vector<std::string> names = commandNames(app);
    if (words.empty() || words[0].empty())
        ctlRefuse("a command is missing; 'dorvctl --help' lists them");
    if (words[0][0] != '-' && std::find(names.begin(), names.end(), words[0]) == names.end())
        ctlRefuse("no command is called '" + words[0] + "'; the nearest is " + ctlNearest(words[0], names) +
                  " ('dorvctl --help' lists all)");
}

ctlGrammar_t grammarOf(CLI::App &app)
{
    ctlGrammar_t grammar;
    for (CLI::App *command : app.get_subcommands([](CLI::App *) { return true; }))
        for (const CLI::Option *option : command->get_options([](const CLI::Option *o) { return o->nonpositional(); }))
            for (std::string name : CLI::detail::split(option->get_name(false, true), ','))
                grammar[command->get_name()].push_back({name, option->get_expected_max() > 0});
    return grammar;
}

// The command that a word, which may be cut short, leaves no doubt of; the word where it is none.
std::string commandOf(const CLI::App &app, const std::string &word)
{
    std::string meant, all;
    for (const std::string &name : commandNames(app)) {
        if (name == word)
            return word;
        if (!word.empty() && name.rfind(word, 0) == 0) {
            all += (meant.empty() ? "" : ", ") + name;
            meant = name;
        }
    }
    if (all != meant)
        ctlRefuse("'" + word + "' may be " + all);
    return meant.empty() ? word : meant;
}

// The words as they are meant: "help COMMAND" is "COMMAND --help", and -j may stand ahead of the command.
std::vector<std::string> settleWords(const CLI::App &app, std::vector<std::string> words)
{
    const auto isJson = [](const std::string &word) { return word == "-j" || word == "--json"; };
    const auto command = std::find_if_not(words.begin(), words.end(), isJson);
    if (command == words.end())
        return words;
    std::rotate(words.begin(), command, command + 1);
    while (commandOf(app, words[0]) == "help") {
        words.erase(words.begin());
        words.push_back("--help");
    }
    words[0] = commandOf(app, words[0]);
    return words;
}

int program(int argc, char **argv)
{
    CLI::App app("The manager's side of the quality-of-service agent: sends messages, shows what comes back.",
                 "dorvctl");
    arguments args;
    app.require_subcommand(1);
    app.set_version_flag("--version", "dorvctl " VELMAR_VERSION);
    addMessageCommands(app, args);
    addStatsCommands(app, args);
    addNodeCommands(app, args);
    addHistoryCommands(app, args);
    addCaptureCommands(app, args);
    addServerCommands(app, args);
    app.footer(EXAMPLES);
    const bool reader = velmar_run_as_reader();
    int result = CTL_DONE;
    try {
        if (argc > 1 && std::strcmp(argv[1], "complete") == 0) {
            for (const std::string &word : ctlComplete(grammarOf(app), {argv + 2, argv + argc}))
                std::cout << word << "\n";
        } else {
            std::vector<std::string> words = settleWords(app, {argv + std::min(argc, 1), argv + argc});
            checkCommand(app, words);
            std::reverse(words.begin(), words.end()); // as the parser takes them
            app.parse(words);
            result = run(app, args, reader);
        }
    } catch (const CLI::Success &help) {
        result = app.exit(help);
    } catch (const CLI::ParseError &error) {
        const auto chosen = app.get_subcommands();
        ctlRefuse(std::string(error.what()) + "; see 'dorvctl " + (chosen.empty() ? "" : chosen[0]->get_name() + " ") +
                  "--help'");
    }
    if (!std::cout.flush())
        throw ctlError_t{CTL_SILENT, "the output could not be written"};
    return result;
}

} // namespace

int main(int argc, char **argv)
{
    return ctlGuard(std::cerr, [&] { return program(argc, argv); });
}
