// SPDX-License-Identifier: Apache-2.0
// What hands are used to: words cut short, help, -j anywhere, ranges of ports; and what the tool does not let slip.
#include "tests/tools/ctl_peer.h"

TEST(Habits, TheProgramTakesThem)
{
    const std::tuple<const char *, int, const char *> rows[] = {
        {"s", CTL_USAGE, "'s' may be send, show, save, stats"},
        {"he sen", CTL_DONE, "--raw-tail"},
        {"dec 0000000700 -j", CTL_DONE, "\"seq\":7"},
        {"-j show 4", CTL_DONE, "\"name\":\"cos_map\""},
        {"help send", CTL_DONE, "--raw-tail"},
        {"help", CTL_DONE, "--version"},
        {"help nothing", CTL_USAGE, "no command is called 'nothing'"},
        {"send COSTRUST cos_map=8*8 --dry-run", CTL_USAGE, "cos_map[0]: 8 is above 7"},
        {"send DEFCOS def_tc=9 --dry-run", CTL_USAGE, "def_tc: 9 is above 7"},
        {"send COSTRUST cos_map=8*8 --dry-run --force", CTL_DONE, "0808080808080808"},
        {"send DSCPMAP dscp_map=0..63 --dry-run", CTL_DONE, "3c3d3e3f"},
        {"send DEFCOS --raw ffff --dry-run", CTL_DONE, "ffff"},
        {"top --sort speed", CTL_USAGE, "--sort"},
        {"trace 7 --file x", CTL_USAGE, "--file"},
        {"log", CTL_SILENT, "no dorvald runs"},
        {"complete top --sort p", CTL_DONE, "pause\n"},
        {"complete stats dro", CTL_DONE, "drops\n"},
    };
    for (const auto &[arguments, exit, says] : rows)
        expectProgram(arguments, exit, says);
    const std::pair<const char *, words> lists[] = {
        {"te1/1-3", {"te1/1", "te1/2", "te1/3"}},
        {"1/9-10@1,ge2/1", {"1/9@1", "1/10@1", "ge2/1"}},
        {"te1/-3", {"te1/-3"}},
        {"-3", {"-3"}},
    };
    for (const auto &[text, list] : lists)
        EXPECT_EQ(ctlExpandList(text), list) << text;
    expectRefused("lower end first", [] { ctlExpandList("te1/3-1"); });
    const std::string nowhere = ownRun().path + "/none";
    setenv("VELMAR_RUN", nowhere.c_str(), 1);
    for (const char *command :
         {"node", "show chips", "show config", "save", "diff", "stats queue te1/1", "trace", "top", "trace 7", "events",
          "log", "watch --timeout 0.01 --count 1", "ctl hsld stat", "send COSTRUST ifIndex=te1/1"})
        expectProgram(command, CTL_SILENT, "no dorvald runs with " + nowhere + ", which is no run directory");
    expectProgram("complete send COSTRUST ifIndex=", CTL_DONE, "");
    EXPECT_FALSE(std::filesystem::exists(nowhere));
    setenv("VELMAR_RUN", ownRun().path.c_str(), 1);
    peer fake("ctl", "dorvald", answering([](const std::string &) { return "ok {\"a\":1}"; }));
    expectProgram("ctl dorvald stat", CTL_DONE, "ok {\"a\":1}\n");
    expectProgram("-j ctl dorvald stat | grep -v ok", CTL_DONE, "{\"a\":1}\n");
}

// What the function for zsh would offer, through a shell that lacks the rest of its completion.
TEST(Habits, ZshIsOfferedWhatTheProgramSays)
{
    if (std::system("command -v zsh >/dev/null") != 0)
        GTEST_SKIP() << "no zsh here";
    const std::pair<const char *, const char *> rows[] = {
        {"top --sort p", "pause"}, {"we", "web"}, {"send COSTRUST cos_t", "-S cos_trust="}, {"apply ", "files"}};
    for (const auto &[line, offered] : rows)
        EXPECT_EQ(
            std::system((std::string("offered=$(zsh -fc 'compadd() { print -r -- ${@[1,-3]} ${(P)@[-1]} }; ") +
                         "_files() { print files }; words=(\"${(@s: :)1}\"); CURRENT=$#words; PREFIX=$words[-1]; " +
                         ". " ZSH_FUNCTION "' _ '" DORVCTL_BINARY " " + line +
                         "' | grep .) && case \"$offered\" in *'" + offered + "'*) ;; *) false ;; esac")
                            .c_str()),
            0)
            << line;
}
