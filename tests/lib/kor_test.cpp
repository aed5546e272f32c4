// SPDX-License-Identifier: Apache-2.0
// The library's module in both roles: what start-up leaves and installs, and the interface commands by their texts.
#include "lib/kor.h"

#include "core/module.h"
#include "core/msgq.h"
#include "core/state.h"
#include "lib/lib_instance.h"
#include "tests/support/fake_os.h"
#include "tests/support/printer.h"
#include "velmar/lib_nsm.h"

static std::vector<std::string> told; // who hears of interfaces that go

int imi_client_clear_index(void *, uint32_t ifindex)
{
    told.push_back("management " + std::to_string(ifindex));
    return 0;
}

int nsm_lib_send_ifg_delete(void *, uint32_t ifindex)
{
    told.push_back("network services " + std::to_string(ifindex));
    return 0;
}

namespace {

class KorTest : public fake_os::Test {
protected:
    void SetUp() override
    {
        told.clear();
        qos_velmar_state = {};
        qos_velmar_state.progname = "dorvmd";
        qos_velmar_state.vss_handle = 21;
        qos_velmar_state.stage = QOS_STAGE_ACTIVE;
        qos_velmar_state.msgq = fake_os::queue();
    }
    void TearDown() override { lib_stop(qos_velmar_state.lib); }
    void start(bool agent)
    {
        qos_velmar_state.is_agent = agent;
        ASSERT_EQ(qosKorInit(), 0);
        lib = qos_velmar_state.lib;
        cli = printer.cli(CONFIG_MODE);
        if (!agent)
            log.expectErr("Invoking host_vty_init");
    }
    // Runs a command in the configuration mode: its result. What it printed is in `printer`.
    int run(const char *text)
    {
        cli.mode = CONFIG_MODE;
        printer.text.clear();
        return cli_execute(lib->ctree, &cli, text);
    }
    std::string current() const { return cli.ifindex_obj ? static_cast<interface_t *>(cli.ifindex_obj)->name : ""; }

    lib_instance_t *lib = nullptr;
    Printer printer;
    cli_t cli = {};
};

TEST_F(KorTest, TheAgentGetsASchedulerAndNoCommands)
{
    qosRegisterKORModule();
    EXPECT_STREQ(qosModuleName(QOS_MOD_KOR), "QOS KOR");
    start(true);
    EXPECT_EQ(lib->protocol, 48u);
    EXPECT_EQ(lib->vss_handle, 21);
    EXPECT_EQ(lib->ctree, nullptr);
    EXPECT_EQ(log.count("): dorvmd: Bailing out"), 1u);
    // A post now wakes the scheduler that is started next.
    thread_asp_start(
        lib, [](void *) {}, qos_velmar_state.msgq);
    fake_os::post(11);
    char byte;
    EXPECT_EQ(read(lib->master->asp_pipe[0], &byte, 1), 1);
    for (MSG_Q_ID queue : {fake_os::queue(), MSG_Q_ID{}}) {
        qos_velmar_state.msgq = queue;
        EXPECT_EQ(qosMsgQSend(QOS_MOD_KOR, 1, 2, 3) == QOS_OK, queue != nullptr);
    }
    EXPECT_EQ(qos_modules[QOS_MOD_KOR].msgq_sent, 1U);
    EXPECT_EQ(qos_modules[QOS_MOD_KOR].msgq_drops, 1U);
}

TEST_F(KorTest, TheManagersWordsAreFoundByTheirBeginnings)
{
    start(false);
    EXPECT_EQ(lib->protocol, 47u);
    EXPECT_EQ(lib->ctree->mode[INTERFACE_MODE].config_write, qos_if_config_write);
    EXPECT_EQ(cli_install_default(lib->ctree, MAX_MODE + 1), -1);
    static const cli_element_t ping = {"interface v VLAN_INTF_ID", [](cli_t *, int, char **) { return 77; }, nullptr};
    ASSERT_EQ(cli_install_gen(lib->ctree, CONFIG_MODE, 1, 0, &ping), 0);
    ASSERT_EQ(cli_install_gen(lib->ctree, CONFIG_MODE, 1, 0, &ping), 0); // a second time changes nothing
    EXPECT_EQ(lib->ctree->mode[CONFIG_MODE].tail->element, &ping);
    // The choices at its end, and what Tab adds.
    const std::tuple<const char *, int, const char *, const char *> cases[] = {
        {"", CLI_NO_COMMAND, "interface no exit end", ""},
        {"e", CLI_AMBIGUOUS, "exit end", ""},
        {"ex", 0, "exit", "it "},
        {"in", CLI_INCOMPLETE, "interface", "terface "},
        {"int ", CLI_INCOMPLETE, "tengigabitethernet vlan port-channel v", ""},
        {"int vl 7", 0, "VLAN_INTF_ID", ""},
        {"int v 7", 77, "VLAN_INTF_ID", ""}, // a whole word wins over a longer one
        {"  no  int  p ", CLI_INCOMPLETE, "<1-6144>", ""},
        {"no interface port-channel 9 ", 0, "<cr>", ""},
        {"no interface port-channel 9 9", CLI_NO_COMMAND, "", ""},
        {"interfaces", CLI_NO_COMMAND, "", ""},
        {"interface vlan 2 3", CLI_NO_COMMAND, "", ""},
        {"show dorvmd memory statistics", CLI_NO_COMMAND, nullptr, ""}, // another mode's
        {"e y", CLI_AMBIGUOUS, nullptr, ""},
        {"1 2 3 4 5 6 7 8 9 10 11 12 13 14 15 16 17", CLI_NO_COMMAND, nullptr, ""},
    };
    char tail[32];
    for (const auto &[text, result, expected, added] : cases) {
        SCOPED_TRACE(text);
        EXPECT_EQ(run(text), result);
        cli_choice_t choices[8];
        const int count = cli_choices(lib->ctree, CONFIG_MODE, text, choices, 8);
        EXPECT_EQ(count < 0, expected == nullptr);
        std::string words;
        for (int i = 0; i < count; ++i)
            words += (i ? " " : "") + std::string(choices[i].word, choices[i].length);
        EXPECT_EQ(words, expected ? expected : "");
        EXPECT_EQ(cli_complete(lib->ctree, CONFIG_MODE, text, tail, sizeof tail), strlen(added));
        EXPECT_STREQ(tail, added);
    }
    cli.mode = EXEC_MODE;
    EXPECT_EQ(cli_execute(lib->ctree, &cli, "show dorvmd memory statistics"), 0);
    EXPECT_EQ(cli_execute(lib->ctree, &cli, "show dorvmd memory"), CLI_INCOMPLETE);
    // As far as the choices agree.
    static const cli_element_t show = {"show dorvmd mi statistics", ping.handler, nullptr};
    ASSERT_EQ(cli_install_gen(lib->ctree, EXEC_MODE, 1, 0, &show), 0);
    EXPECT_EQ(cli_complete(lib->ctree, EXEC_MODE, "show dorvmd m", tail, sizeof tail), 0u);
    EXPECT_EQ(cli_complete(lib->ctree, EXEC_MODE, "sh d", tail, sizeof tail), 6u);
}

TEST_F(KorTest, ModesAreEnteredAndLeft)
{
    start(false);
    ASSERT_EQ(cli_open(lib->ctree, &cli), 0);
    cli_t other = printer.cli(CONFIG_MODE);
    cli_t closed = printer.cli(CONFIG_MODE);
    ASSERT_EQ(cli_open(lib->ctree, &other), 0);
    ASSERT_EQ(cli_open(lib->ctree, &closed), 0);
    for (cli_t *context : {&cli, &other, &closed})
        ASSERT_EQ(cli_execute(lib->ctree, context, "interface port-channel 3"), 0);
    cli_close(lib->ctree, &closed);
    const std::tuple<const char *, int, int> steps[] = {{"interface vlan 3", PORT_CHANNEL_MODE, CLI_NO_COMMAND},
                                                        {"exit", CONFIG_MODE, 0},
                                                        {"exit", EXEC_MODE, 0},
                                                        {"end", EXEC_MODE, CLI_NO_COMMAND},
                                                        {"conf t", CONFIG_MODE, 0},
                                                        {"interface vlan 3", VLAN_INTERFACE_MODE, 0},
                                                        {"end", EXEC_MODE, 0},
                                                        {"exit", EXEC_MODE, CLI_SESSION_ENDED}};
    for (const auto &[text, mode, result] : steps) {
        EXPECT_EQ(cli_execute(lib->ctree, &cli, text), result) << text;
        EXPECT_EQ(cli.mode, mode) << text;
    }
    // A deleted interface is no longer current anywhere; a closed context is left alone.
    EXPECT_EQ(run("no interface port-channel 3"), 0);
    EXPECT_EQ(current(), "vlan0.3");
    EXPECT_EQ(other.ifindex_obj, nullptr);
    EXPECT_NE(closed.ifindex_obj, nullptr);
}

TEST_F(KorTest, NumbersAreChecked)
{
    start(false);
    const std::tuple<const char *, int, const char *> cases[] = {
        {"interface port-channel 6144", 0, ""},
        {"interface port-channel 6145", 1, "% Error: Invalid admin-key value.\n"},
        {"interface port-channel 0", 1, "% Error: Invalid admin-key value.\n"},
        {"no interface port-channel 12x", 1, "% Error: Invalid admin-key value.\n"},
        {"interface vlan 4094", 0, ""},
        {"interface vlan 4095", 1, "% Error: Invalid VLAN id value.\n"},
        {"interface vlan 99999999999", 1, "% Error: Invalid VLAN id value.\n"},
        {"no interface vlan 3583", 0, ""},
        {"no interface vlan 1", 1, "% Error: Invalid VLAN id value.\n"},
        {"no interface vlan 3584", 1, "% Error: Invalid VLAN id value.\n"},
        {"no interface port-channel 7", 0, ""}, // there is none
    };
    for (const auto &[text, result, said] : cases) {
        EXPECT_EQ(run(text), result) << text;
        EXPECT_EQ(printer.text, said) << text;
    }
}

TEST_F(KorTest, InterfacesComeGoAndAreForgotten)
{
    start(false);
    ASSERT_EQ(run("interface vlan 5"), 0);
    EXPECT_EQ(current(), "vlan0.5");
    EXPECT_EQ(ifg_lookup_by_index(&lib->ifg, 0x48000005), cli.ifindex_obj);
    const void *first = cli.ifindex_obj;
    run("interface vlan 5");
    EXPECT_EQ(cli.ifindex_obj, first);

    EXPECT_EQ(cli_install_config(lib->ctree, -1, nullptr), LIB_FAILED);
    EXPECT_EQ(cli_if_add(nullptr, &cli, "vlan0.5"), -1);
    EXPECT_EQ(cli_if_add(lib->ctree, &cli, std::string(99, 'v').c_str()), -1);
    // One that the context holds stays.
    ASSERT_EQ(cli_if_add(lib->ctree, &cli, "vlan0.5"), 0);
    EXPECT_EQ(run("no interface vlan 5"), 0);
    EXPECT_NE(ifg_lookup_by_name(&lib->ifg, "vlan0.5"), nullptr);
    cli_if_clear(lib->ctree, &cli);
    EXPECT_EQ(run("no interface vlan 5"), 0);
    EXPECT_EQ(current(), "");
    EXPECT_EQ(ifg_lookup_by_index(&lib->ifg, 0x48000005), nullptr);
    const std::string index = std::to_string(0x48000005);
    EXPECT_EQ(told, (std::vector<std::string>{"network services " + index, "management " + index}));

    // In Standby the network services are not told.
    told.clear();
    qos_velmar_state.stage = QOS_STAGE_STANDBY;
    run("interface vlan 6");
    run("interface port-channel 7");
    run("no interface vlan 6");
    EXPECT_EQ(current(), "po7"); // another one stays current
    EXPECT_EQ(told.size(), 1u);
    static_cast<interface_t *>(cli.ifindex_obj)->info = calloc(1, 8);
    EXPECT_EQ(run("no interface port-channel 7"), 0);
    EXPECT_EQ(current(), "");
}

TEST_F(KorTest, AnExternalPortMustBeKnown)
{
    start(false);
    EXPECT_EQ(run("interface tengigabitethernet 1/2"), 8);
    EXPECT_EQ(cli.mode, INTERFACE_MODE);
    EXPECT_EQ(current(), "");
    interface_t *port = ifg_get_by_name(&lib->ifg, "te1/2");
    EXPECT_EQ(run("interface tengigabitethernet 1/2"), 0);
    EXPECT_EQ(current(), "te1/2");
    port->config_locked = 1;
    EXPECT_EQ(run("interface tengigabitethernet 1/2"), 0);
    EXPECT_EQ(cli.mode, CONFIG_MODE);
}

} // namespace
