// SPDX-License-Identifier: Apache-2.0
// What is configured, as dorvctl shows and saves it: a fresh node comes to the same by the scenario.
#include <nlohmann/json.hpp>
#include <set>

#include "tests/support/node.h"

namespace {

using json = nlohmann::ordered_json;

// Every setting that the agent keeps, on two chips that take them all.
const char SETTINGS[] = R"([
  {"msg": "CHIPUP", "chip_ifindex": "chip1/0", "slot_id": 1, "num_ports": 12, "chip_type": 3, "chip_rev": 2},
  {"msg": "CHIPUP", "chip_ifindex": "chip1/1", "slot_id": 1, "local_chip_id": 1, "num_ports": 4, "chip_type": 2,
   "chip_rev": 3, "num_ingr_policer_ids": 2046, "num_policer_groups": 4, "numChipBuffPools": 2,
   "chipBuffers": 25165824, "egr_td_red_prof": 15, "portInfo.ifindex": "te1/5@1..te1/8@1",
   "portInfo.num_buffers": "2097152*4", "portInfo.bufPoolId": "0,1,1,1", "portInfo.polGroupId": "3*4"},
  [{"for": ["te1/1..te1/3", "te1/5@1..te1/8@1"], "send": {"msg": "IFADD", "ifIndex": "$if", "ifName": "a $n"}}],
  {"msg": "GLB_SCH", "sch_cfg.sp_count": 2, "sch_cfg.dwrr_weight": "9*8"},
  {"msg": "INGR_QUEUE_DEPTH", "queueDepth": 70000},
  {"msg": "EGR_QUEUE_DEPTH", "queueDepth": 80000},
  [{"msg": "COSTRUST", "ifIndex": "te1/1", "cos_trust": 1, "cos_map": "7,6,5,4,3,2,1,0", "tc_map": "0,0,1,1,2,2,3,3"},
   {"msg": "DEFCOS", "ifIndex": "te1/2", "def_cos": 5, "def_tc": 6, "cos_map": "1*8", "tc_map": "0..7"},
   {"msg": "DSCPCOSMAP", "ifIndex": "te1/1", "dscp_trust": 1, "dscp_map": "63,0..62", "cos_map": "0..7,1*56",
    "tc_map": "2*63,7"},
   {"msg": "DSCPMAP", "ifIndex": "te1/2", "dscp_map": "5*64"}],
  [{"msg": "PAUSE", "ifindex": "te1/1", "pause_rx": 0, "pause_tx": 1, "tc_map": "0,0,1,1,2,2,3,3"},
   {"msg": "PFC", "ifindex": "te1/2", "pfc_rx": "0,0,0,1,0,0,0,0", "pfc_tx": "0,0,0,0,1,0,0,1", "tc_map": "0..7"},
   {"msg": "PRI_TAILDROP", "ifindex": "te1/3", "pri_tail_drop_threshold": "1..8", "priTailDropSet": 1},
   {"msg": "PRI_TAILDROP", "ifindex": "te1/2", "pri_tail_drop_threshold": "200*8"},
   {"msg": "SCH", "ifIndex": "te1/2", "sch_cfg.SchFlags": 2, "sch_cfg.sp_count": 1, "sch_cfg.sp_queue_bw": "1..8",
    "sch_cfg.dwrr_weight": "10,10,10,20,20,10,20,0", "sch_cfg.sch_cfg_status": 4},
   {"msg": "PSHAPE", "ifIndex": "te1/3", "shaper_cfg.SchFlags": 1, "shaper_cfg.if_bw": 4000}],
  {"msg": "LD_CFG", "cmd": 1, "ifindex": "te1/6@1", "distance": 30000, "num_pfc": 3},
  {"msg": "LD_CFG", "cmd": 3, "ifindex": "te1/7@1"},
  {"msg": "DROP_MONITOR_CFG", "cmd": 1, "ifindex": "te1/3"}
])";

// What a fresh node holds when it has been sent a scenario, and the tool beside it.
struct Configured {
    LiveNode live;
    explicit Configured(const std::string &scenario)
    {
        live.node.log.ignoreErrs(); // some lines of success are of that level
        std::ofstream(live.node.run + "/scenario.json") << scenario;
        tool("apply " + live.node.run + "/scenario.json");
    }
    // Its standard output, or its standard error.
    std::string tool(const std::string &arguments, int exit = 0, bool errors = false) const
    {
        const std::string out = live.node.run + "/out",
                          command = "VELMAR_RUN=" + live.node.run + " " DORVCTL_BINARY " ";
        EXPECT_EQ(statusOf(std::system((command + arguments + " >" + out + " 2>" + out + ".err").c_str())), exit)
            << arguments << slurp(out) << slurp(out + ".err");
        return slurp(errors ? out + ".err" : out);
    }
    json rows(const std::string &ports = "") const { return json::parse(tool("show config -j " + ports)); }
};

} // namespace

TEST(Config, AFreshNodeComesToWhatWasSaved)
{
    const Configured first(SETTINGS);
    const std::string saved = first.tool("save");
    const json rows = first.rows();
    const Configured second(saved);
    EXPECT_EQ(json::diff(rows, second.rows()).dump(), "[]");
    EXPECT_EQ(second.tool("save"), saved);

    const json port = first.rows("te1/2").at(0);
    EXPECT_EQ(port["l2_pri.def_tc"], 6);
    EXPECT_EQ(port["ccb.pfc.tx"].dump(), "[0,0,0,0,1,0,0,1]");
    EXPECT_EQ(port["sch_cfg.sp_queue_bw"].dump(), "[1,2,3,4,5,6,7,8]"); // big-endian in the record
    EXPECT_EQ(port["l3_pri.dscp_map"].size(), 64u);
    const json chip = first.rows("chip1/1").at(0);
    EXPECT_EQ(chip["chip_id"], 9);
    EXPECT_EQ(chip["ldChipCfg.num_ld_isl"].dump(), "[0,1,0,0]");
    EXPECT_EQ(chip["portInfo.polGroupId"].size(), 160u);
    EXPECT_TRUE(has(first.tool("show config te1/2-3"), "watch te1/3\n"));
    EXPECT_TRUE(has(first.tool("show config te1/1"), "    l2_pri.cos_map                     7 6 5 4 3 2 1 0\n"));
}

TEST(Config, WhatASendDoesNotNameIsWhatTheAgentHolds)
{
    const Configured node(SETTINGS);
    const json rows = node.rows();
    for (const char *message :
         {"IFADD ifIndex=te1/1", "COSTRUST ifIndex=te1/1", "DEFCOS ifindex=te1/2", "COSMAP ifIndex=0x18408000",
          "COSTCMAP ifIndex=te1/1", "DSCPTRUST ifIndex=te1/1", "DSCPMAP ifIndex=te1/2", "DSCPCOSMAP ifIndex=te1/1",
          "DSCPTCMAP ifIndex=te1/1", "PAUSE ifindex=te1/1", "PFC ifindex=te1/2", "PRI_TAILDROP ifindex=te1/3",
          "SCH ifIndex=te1/2", "PSHAPE ifIndex=te1/3", "GLB_SCH", "CHIPUP chip_ifindex=chip1/1"})
        node.tool(std::string("send ") + message);
    EXPECT_EQ(json::diff(rows, node.rows()).dump(), "[]");
    node.tool("send COSTRUST ifIndex=te1/1 cos_map[7]=6 + COSMAP ifIndex=te1/1 tc_map=7*8 + COSTCMAP ifIndex=te1/1");
    EXPECT_EQ(node.rows("te1/1").at(0)["l2_pri.cos_map"].dump(), "[7,6,5,4,3,2,1,6]");
    EXPECT_EQ(node.rows("te1/1").at(0)["l2_pri.tc_map"].dump(), "[7,7,7,7,7,7,7,7]");
    node.tool("send --bare COSTRUST ifIndex=te1/1 + COSTCMAP ifIndex=te1/2 @raw=" + std::string(108, '0'));
    EXPECT_EQ(node.rows("te1/1").at(0)["l2_pri.cos_map"].dump(), "[0,0,0,0,0,0,0,0]");
}

// Their list is longer than a part of the answer, and the difference of some numbers has the other sign.
TEST(Config, PolicersAreShownWhateverTheirNumbers)
{
    const Configured node(SETTINGS);
    std::set<uint32_t> numbers = {0, 0xa0000000};
    for (uint32_t n = 0; n < 30; ++n)
        numbers.insert(0x50000000 + n);
    std::string messages;
    for (const uint32_t number : numbers)
        messages += (messages.empty() ? "" : " + ") +
                    std::string("POL_POLICER_ADD ifindex=te1/5@1 policer_req_type=1 ") +
                    "chip_ifindex=chip1/1 policer_id=" + std::to_string(number);
    node.tool("send " + messages);
    std::multiset<uint32_t> shown;
    for (const json &row : node.rows())
        if (row["kind"] == "policer")
            shown.insert(row["policer_id"].get<uint32_t>());
    EXPECT_TRUE(std::ranges::equal(shown, numbers)) << shown.size();
}

TEST(Config, WhatCannotBeSavedIsSaid)
{
    const Configured node(SETTINGS);
    node.tool("send POL_POLICER_ADD ifindex=te1/5@1 chip_ifindex=chip1/1 policer_id=7 policer_req_type=1");
    node.tool("send RED_PROFILE ifindex=te1/8@1 chip_ifindex=all cos=2 set=1 profileId=3");
    node.tool("send --force COSTRUST ifIndex=te1/3 tc_map=9*8");
    const std::string said = node.tool("save", 0, true);
    for (const char *part : {"policer 7 of te1/5@1, ingress", "RED of te1/8@1, priorities 2", "--force", "W2QPRI"})
        EXPECT_TRUE(has(said, part));
    EXPECT_TRUE(has(node.tool("show config te1/9", 1, true), "te1/9"));
    EXPECT_TRUE(has(node.tool("show config nonsense", 2, true), "no port or chip"));
    EXPECT_TRUE(has(node.tool("show chips te1/1", 2, true), "show config te1/1"));
    EXPECT_TRUE(has(node.tool("complete show config te1/"), "te1/2"));
    const std::string two = node.tool("show interfaces te1/1-2"), all = node.tool("show interfaces");
    EXPECT_TRUE(has(all, two.substr(two.find("\na 1\n"))) && has(two, "\na 2\n\tifindex = 0x18410000,"));
    EXPECT_FALSE(has(two, "\na 3\n"));
    EXPECT_EQ(json::parse(node.tool("show interfaces te1/3 -j"))[0]["name"], "a 3");
    EXPECT_TRUE(has(node.tool("show interfaces te1/1 --nonzero"), "ifindex te1/1  chip 8  chip_ifindex chip1/0"));
    EXPECT_TRUE(has(node.tool("show interfaces te1/9", 1, true), "te1/9"));
    for (const json &row : json::parse(node.tool("show memory --nonzero -j")))
        EXPECT_NE(row["allocations"], 0);
}
