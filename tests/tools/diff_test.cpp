// SPDX-License-Identifier: Apache-2.0
// What dorvctl finds between the agent and a driver that was told otherwise, and that its messages mend it.
#include <nlohmann/json.hpp>
#include <set>

#include "tests/support/peer.h"

namespace {

using json = nlohmann::ordered_json;

const std::string CHIPUP = "chip_ifindex=chip1/0 slot_id=1 num_ports=8 numChipBuffPools=2 chipBuffers=25165824 "
                           "num_policer_groups=4 egr_td_red_prof=15 portInfo.ifindex=te1/1..te1/8 "
                           "portInfo.num_buffers=2097152*8 portInfo.polGroupId=2*8 chip_rev=1 chip_type=";

// A chip of 8 ports, of which the agent has four.
struct Parted {
    RunDirectory run;
    std::string chip;
    int driver = 0, agent = 0;

    explicit Parted(const std::string &type) : chip("1/0:" + type + ":8")
    {
        run.own();
        restart();
        restartAgent();
        const auto types = {"larkin", "tessel", "mirelle", "mirelle2"};
        const auto number = std::find(types.begin(), types.end(), type) - types.begin();
        EXPECT_TRUE(within([&] { return tool("send CHIPUP " + CHIPUP + std::to_string(number)) == 0; }));
        apply(R"([[{"for": "te1/1..te1/4", "send": {"msg": "IFADD", "ifIndex": "$if", "ifName": "$if"}}]])");
    }
    ~Parted() { end(agent), end(driver); }
    static void end(int pid)
    {
        if (pid > 0 && kill(pid, SIGKILL) == 0)
            waitpid(pid, nullptr, 0);
    }
    void restart()
    {
        end(driver);
        driver = startProgram(HSLD_BINARY, {"hsld", "--chip", chip}, run.path, {}, run.path + "/d");
        EXPECT_TRUE(within([&] { return tool("ctl hsld stat") == 0; }));
    }
    void restartAgent()
    {
        end(agent);
        agent = startProgram(DORVALD_BINARY, {"dorvald", "-S", "ethsw", "-s", "1"}, run.path, {"VELMAR_CLOCK="},
                             run.path + "/a");
        EXPECT_TRUE(within([&] { return tool("show chips") == 0; }));
    }
    int tool(const std::string &arguments) const
    {
        return statusOf(std::system(("(" DORVCTL_BINARY " " + arguments + ") >" + run.path + "/out 2>&1").c_str()));
    }
    void apply(const std::string &scenario) const
    {
        std::ofstream(run.path + "/scenario") << scenario;
        EXPECT_LT(tool("apply " + run.path + "/scenario"), 2) << slurp(run.path + "/out");
    }
    json differences() const
    {
        const int exit = tool("diff -j 2>/dev/null");
        const json found = json::parse(slurp(run.path + "/out"), nullptr, false);
        EXPECT_EQ(exit, found.empty() ? 0 : 1);
        return found;
    }
    // "te1/1 l2_pri.cos_map" of each, of a field that comes in parts once.
    std::set<std::string> fields() const
    {
        std::set<std::string> names;
        for (const json &each : differences())
            names.insert(each["interface"].get<std::string>() + " " +
                         std::string(each["field"]).substr(0, std::string(each["field"]).find_first_of("[: ")));
        return names;
    }
    // Sends what the differences name, all in one batch; levels that are not held stay 0.
    void mend() const
    {
        std::set<std::string> messages;
        for (const json &each : differences())
            messages.insert(std::string(each["mend"]).substr(0, std::string(each["mend"]).find(" and its")));
        std::string batch = "send";
        for (const std::string &message : messages)
            batch += (batch == "send" ? "" : " +") + message.substr(message.find(' '));
        EXPECT_LT(tool(batch), 2) << batch << slurp(run.path + "/out");
    }
};

const char SETTINGS[] = R"([
  {"msg": "DEFCOS", "ifIndex": "te1/1", "chip_ifindex": "chip1/0", "def_cos": 5, "def_tc": 6, "tc_map": "1,1,2,3,0,5,6,7"},
  {"msg": "DSCPCOSMAP", "ifIndex": "te1/1", "chip_ifindex": "chip1/0", "dscp_trust": 1, "cos_map": "0..7,1*56"},
  {"msg": "DSCPMAP", "ifIndex": "te1/2", "chip_ifindex": "chip1/0", "dscp_map": "5*64"},
  {"msg": "PAUSE", "ifindex": "te1/1", "pause_tx": 1, "tc_map": "0..7"},
  {"msg": "PFC", "ifindex": "te1/2", "pfc_rx": "1,0,0,1,0,0,0,0", "pfc_tx": "0,1,0,0,0,0,0,1", "tc_map": "0..7"},
  {"msg": "PRI_TAILDROP", "ifindex": "te1/3", "pri_tail_drop_threshold": "1..8", "priTailDropSet": 1, "tc_map": "0..7"},
  {"msg": "SCH", "ifIndex": "te1/2", "sch_cfg.SchFlags": 2, "sch_cfg.sp_count": 2, "sch_cfg.sp_queue_bw": "1..8",
   "sch_cfg.dwrr_weight": "10,20,30,40,50,60,0,0"},
  {"msg": "PSHAPE", "ifIndex": "te1/3", "shaper_cfg.if_bw": 4000},
  {"msg": "MC_SCH", "Mcsch_cfg.mc_dwrr_weight": "9,8*7"},
  {"msg": "EGR_QUEUE_DEPTH", "queueDepth": 80000},
  {"msg": "RED_PROFILE", "ifindex": "te1/4", "chip_ifindex": "all", "cos": 1, "profileId": 3, "set": 1},
  {"msg": "LD_CFG", "cmd": 1, "ifindex": "te1/4", "distance": 10000, "num_pfc": 1},
  {"msg": "POL_POLICER_REM", "ifindex": "te1/1", "policer_id": 7, "policer_req_type": 1}
])";

std::set<std::string> sum(std::set<std::string> one, const std::set<std::string> &other)
{
    one.insert(other.begin(), other.end());
    return one;
}

} // namespace

TEST(Diff, NamesWhatTheDriverRefusedAndItsMessagesMendIt)
{
    const std::set<std::string> all = {"te1/1 l2_pri.def_cos", "te1/1 l2_pri.tc_map", "te1/1 l3_pri.dscp_trust",
                                       "te1/1 l3_pri.cos_map", "te1/1 ccb.pause.tx",  "te1/2 ccb.pfc.rx",
                                       "te1/2 ccb.pfc.tx",     "te1/1 thresholds",    "te1/2 thresholds",
                                       "te1/3 thresholds",     "te1/4 thresholds"};
    const std::set<std::string> links = {"te1/1 ccb.tailDropThreshold", "te1/2 ccb.tailDropThreshold",
                                         "te1/3 ccb.tailDropThreshold", "te1/4 ccb.tailDropThreshold"};
    const std::set<std::string> cos = sum(all, {"te1/1 l2_pri.def_tc", "te1/2 l3_pri.dscp_map", "te1/2 sch_cfg",
                                                "te1/3 shaper_cfg.if_bw", "chip1/0 ingress"});
    const std::set<std::string> mirelle =
        sum(sum(cos, links), {"te1/4 ccb.redConfig.redProfileEnabled", "chip1/0 egrQueueDepth"});
    const std::pair<const char *, std::set<std::string>> families[] = {
        {"larkin", sum(sum(all, links), {"te1/1 l2_pri.cos_map", "te1/1 l3_pri.tc_map", "chip1/0 sch_cfg",
                                         "chip1/0 Mcsch_cfg.mc_dwrr_weight", "te1/4 ccb.redConfig.redProfileEnabled"})},
        {"tessel", sum(cos, links)},
        {"mirelle", mirelle},
        {"mirelle2", mirelle},
    };
    for (const auto &[family, expected] : families) {
        SCOPED_TRACE(family);
        const Parted node(family);
        node.tool("send POL_POLICER_ADD ifindex=te1/1 chip_ifindex=chip1/0 policer_id=7 policer_req_type=1");
        EXPECT_EQ(node.differences().dump(), "[]");
        node.tool("ctl hsld fault refuse status=7 count=forever");
        node.apply(SETTINGS);
        node.tool("ctl hsld fault clear");
        EXPECT_EQ(node.fields(), expected);
        EXPECT_EQ(node.tool("diff te1/2 | grep -v ^te1/2"), 1) << slurp(node.run.path + "/out");
        node.mend();
        EXPECT_EQ(node.differences().dump(), "[]");
        node.apply(SETTINGS); // the same, told in another order
        EXPECT_EQ(node.differences().dump(), "[]");
    }
}

TEST(Diff, AFreshDriverComesToWhatWasSaved)
{
    // Policers, which of them ports have, and RED of each priority.
    const auto toldOf = [](const Parted &node) {
        node.tool("-j ctl hsld show told 1/0");
        const json told = json::parse(slurp(node.run.path + "/out"), nullptr, false);
        json kept = told["policers"];
        for (const json &port : told["ports"]) {
            kept.push_back({port["ifindex"], port["ingress_policer"], port["egress_policer"]});
            for (const json &queue : port["congestion"]["priorities"])
                kept.push_back(queue.value("red", json()));
        }
        return kept.dump();
    };
    const std::string policers[] = {
        "ifindex=te1/1 policer_id=7 policer_param.cir=40000000 policer_param.cbs=4000 policer_param.eir=9000000 "
        "policer_param.ebs=5000 class_default=1",
        "ifindex=te1/2 policer_id=8 dir=1 policer_param.cir=281474976710655",
        "ifindex=te1/3 policer_id=9 is_bum_policer=1 poll_pol_cntr=1 policer_param.cir=8000000"};
    for (const char *type : {"tessel", "mirelle", "larkin"}) {
        SCOPED_TRACE(type);
        std::string saved, told;
        {
            const Parted first(type);
            first.apply(SETTINGS);
            for (const std::string &policer : policers)
                first.tool("send POL_POLICER_ADD chip_ifindex=chip1/0 policer_req_type=1 " + policer);
            for (const char *red : {"te1/2 cos=3 profileId=9 minThreshold=17", "te1/3 cos=5 profileId=3"})
                first.tool("send RED_PROFILE chip_ifindex=all set=1 maxThreshold=61 dropProbability=33 ifindex=" +
                           std::string(red));
            first.tool("save 2>&1 >" + first.run.path + "/saved | grep 'not held' | grep -v whether");
            EXPECT_EQ(slurp(first.run.path + "/out"), "");
            saved = slurp(first.run.path + "/saved");
            told = toldOf(first);
        }
        const Parted second(type);
        second.apply(saved);
        EXPECT_EQ(toldOf(second), told);
        EXPECT_EQ(second.differences().dump(), "[]");
    }
}

TEST(Diff, ADriverThatBeganAnewIsToldAllOfItBySave)
{
    Parted node("mirelle");
    node.apply(SETTINGS);
    node.tool("send POL_POLICER_ADD ifindex=te1/1 chip_ifindex=chip1/0 policer_id=7 policer_req_type=1");
    node.restart();
    const std::set<std::string> lost = node.fields();
    EXPECT_EQ(lost.count("te1/1 ingress"), 1u);
    EXPECT_EQ(lost.count("te1/2 l3_pri.dscp_map"), 1u);
    EXPECT_EQ(node.tool("diff te1/3"), 1);
    EXPECT_TRUE(
        has(slurp(node.run.path + "/out"),
            "te1/3  shaper_cfg.if_bw  agent 4000  driver not told (port shaper)  mend: send PSHAPE ifIndex=te1/3\n"));
    EXPECT_TRUE(has(slurp(node.run.path + "/out"), "save > FILE"));
    EXPECT_LT(node.tool("save 2>/dev/null | " DORVCTL_BINARY " apply -"), 2); // no Mirelle takes MC_SCH
    EXPECT_EQ(node.fields(), (std::set<std::string>{"te1/1 ingress", "te1/4 ccb.redConfig.redProfileEnabled"}));
    EXPECT_EQ(node.tool("diff te1/9"), 1);
    EXPECT_EQ(node.tool("diff nonsense"), 2);
    Parted::end(std::exchange(node.driver, 0));
    EXPECT_EQ(node.tool("diff"), 3);

    // Of TCAM entries the agent holds handles, and their regions are set up once: only an agent that began anew tells.
    Parted larkin("larkin");
    larkin.apply(SETTINGS);
    larkin.restart();
    larkin.tool("save 2>/dev/null >" + larkin.run.path + "/saved; " DORVCTL_BINARY " apply " + larkin.run.path +
                "/saved");
    EXPECT_EQ(larkin.fields(),
              (std::set<std::string>{"te1/1 l2_pri.cos_map", "te1/1 l2_pri.tc_map", "te1/1 l3_pri.cos_map",
                                     "te1/1 l3_pri.dscp_trust", "te1/1 l3_pri.tc_map"}));
    EXPECT_EQ(larkin.tool("diff te1/1 | grep -vc 'mend: save > FILE, start the agent anew, apply FILE'"), 1);
    larkin.restartAgent();
    larkin.apply(slurp(larkin.run.path + "/saved"));
    EXPECT_EQ(larkin.differences().dump(), "[]");
}
