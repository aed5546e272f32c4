// SPDX-License-Identifier: Apache-2.0
// dorvctl's statistics: which requests leave, what tables and rates come of the replies, and what a screen gets to see.
// The agent is a plain socket with a script, bound where a real one would be.
#include "tools/drops.h"
#include "tools/stats.h"

#include <cmath>

#include "tests/tools/ctl_peer.h"
#include "tools/top.h"

namespace {

constexpr const char *AGENT = "qosMIStats.lc1";
std::atomic<int> batches;

// The statistics end of an agent of slot 1: `fill` makes a reply of each request, which begins as a success.
peer::server answers(std::function<void(ctlMessage_t &)> fill)
{
    return [fill](peer &self, const std::string &data, const std::string &) {
        batches++;
        std::vector<ctlMessage_t> batch = ctlDecode(ctlBytes(data.begin() + 20, data.end())).messages;
        for (ctlMessage_t &message : batch) {
            message.ack = 1;
            EXPECT_EQ(get(message, "status"), static_cast<uint32_t>(-99));
            put(message, "status", "0");
            fill(message);
        }
        self.tellManagers(ctlEncode(batch), 1, "qosMIStats");
    };
}

outcome stats(ctlStatsOptions_t asked, bool json = true)
{
    ctlOptions_t options;
    options.json = json;
    return of([&](auto &out, auto &err) { return ctlShowStats(options, asked, out, err); });
}

} // namespace

TEST(Stats, WordsChooseTheRequests)
{
    // Kinds and targets; the codes of the requests, and how the last one's body begins.
    const std::tuple<ctlStatsOptions_t, std::vector<unsigned>, std::string> rows[] = {
        {{{"queue", "0/1"}}, {30}, "18008000ffffff9d0000"},
        {{{"queue", "1/1..1/3", "fo1/2", "1/2"}}, {30, 30, 30, 30}, "18413000"},
        {{{"flow-control", "te1/3@1,0x0c000001"}}, {29, 29}, "0c000001"},
        {{{"buffers", "1/3"}}, {51, 52}, "18418000"},
        {{{"buffers", "1/3", "tmc"}, "", "1,2,3,4"}, {61, 62}, "18418000ffffff9d01020304"},
        {{{"buffers", "egress", "tmc-chip", "1/3"}}, {60}, "18418000"},
        {{{"queue-state", "plc", "1/3"}}, {53, 54}, "18418000"},
        {{{"red", "1/3@1"}}, {35}, "88410000ffffff9d000000000000000100020003000400050006000718418001"},
        {{{"tmc", "1/3@1"}}, {48}, "ffffff9d8841000000000009"},
        {{{"policers", "1/3"}, "7,9"}, {40}, "88400000ffffff9d000000000002184180000000000700"},
        {{{"policers", "egress", "all"}, "7,9"}, {40, 40}, "8bc00000ffffff9d0000000100018bc000000000000900"},
    };
    for (const auto &[asked, codes, hex] : rows) {
        std::vector<unsigned> planned;
        std::string last;
        for (const ctlStatsQuery_t &query : ctlPlanStats(asked)) {
            planned.push_back(query.message.code);
            last = ctlFormatHex(query.message.body.data(), query.message.body.size());
        }
        EXPECT_EQ(planned, codes) << hex;
        EXPECT_EQ(last.substr(0, hex.size()), hex);
    }
    EXPECT_EQ(ctlPlanStats({{"policers", "1/3"}, "1..70"}).size(), 3u);

    const std::pair<ctlStatsOptions_t, const char *> refused[] = {
        {{{}}, "kind is missing"},
        {{{"queues"}}, "the nearest is queue "},
        {{{"queue", "eth0"}}, "'eth0' is neither"},
        {{{"queue", "egress"}}, "'egress' is neither"},
        {{{"queue-state", "egress", "tmc", "1/3"}}, "nothing that is both egress and tmc"},
        {{{"queue", "1/3"}, "1"}, "--ids goes with policers"},
        {{{"policers", "1/3"}}, "--ids"},
        {{{"voq", "1/3"}, "", "1,2"}, "4 values"},
        {{{"red", "0x00000001"}}, "on no chip"},
    };
    for (const auto &row : refused)
        expectRefused(row.second, [&] { ctlPlanStats(row.first); });
}

TEST(Stats, TablesOfReplies)
{
    peer fake("mi6", AGENT, answers([](ctlMessage_t &message) {
                  const std::tuple<unsigned, const char *, std::string> fields[] = {
                      {30, "counter1[3]", "18446744073709551615"},
                      {30, "total[1]", "77"},
                      {65, "num_reasons", "2"},
                      {65, "records.text", std::string(45, 'A') + ",\x1b[2J\x9b"},
                      {65, "records.counter", "5,6"},
                      {61, "pair260[6]", "1"},
                      {61, "pair260[7]", "2"},
                      {48, "tmc_id", "-1"},
                      {40, "num_records", "64"}, // more than are there
                  };
                  for (const auto &[code, field, value] : fields)
                      if (code == message.code)
                          put(message, field, value);
                  if (message.code == 40)
                      put(message, "records.counter[2]", std::to_string(100 * get(message, "records.policer_id")));
                  if (message.code == 35 && get(message, "ifindex") != 0x18408000)
                      return put(message, "mrl_counter[5]", "8");
                  if (message.code == 35) {
                      put(message, "records_valid", "1");
                      put(message, "records[0].counter[7]", "9");
                  }
              }));
    const outcome queue = stats({{"queue", "0/1"}, "", "", 0, true}, false);
    EXPECT_EQ(queue.out, "te0/1  queue\n"
                         "priority             tx frames  tx bytes  rx frames  rx bytes\n"
                         "                      [frames]   [bytes]   [frames]   [bytes]\n"
                         "3         18446744073709551615         -          -         -\n"
                         "total                        -        77          -         -\n");
    EXPECT_EQ(stats({{"flow-control", "0/1..0/2"}, "", "", 0, true}, false).out, "all zero\n");

    ctlJson rows = stats({{"drop-reasons", "1/1"}, "", "", 0, true}).json()[0]["rows"];
    ASSERT_EQ(rows.size(), 2u);
    EXPECT_EQ(rows[0]["row"], std::string(45, 'A'));
    EXPECT_EQ(rows[1]["frames"], 6);
    EXPECT_TRUE(has(stats({{"drop-reasons", "1/1"}, "", "", 0, true}, false).out, "\n\\x1b[2J\\x9b  "));
    const ctlJson red = stats({{"red", "1/1,1/2"}}).json();
    ASSERT_EQ(red[0]["rows"].size(), 1u);
    EXPECT_EQ(red[0]["rows"][0]["level3_bytes"], 9);
    ASSERT_EQ(red[1]["rows"].size(), 1u);
    EXPECT_EQ(red[1]["rows"][0]["red_bytes"], 8);
    EXPECT_TRUE(red[1]["rows"][0]["level3_frames"].is_null()) << "that family has three levels";
    rows = stats({{"buffers", "tmc", "ingress", "1/1"}, "", "", 0, true}).json()[0]["rows"];
    ASSERT_EQ(rows.size(), 1u);
    EXPECT_EQ(rows[0]["v3"], (uint64_t{1} << 32) + 2);
    EXPECT_EQ(rows[0]["name"], "RED frames, bytes, tail drop frames, bytes");
    const std::pair<const char *, const char *> names[] = {{"pri80", "word 80 by priority"},
                                                           {"pri144", "bound by priority"},
                                                           {"val64[8..9]", "word 64[8..9]"},
                                                           {"other", "other"}};
    for (const ctlStatsView_t &view : ctlStatsViews())
        for (const auto &[label, name] : names) {
            EXPECT_TRUE(view.code != QOS_GET_ING_BUF_STATS_MSG || ctlStatsRowName(view, label) == name) << label;
        }
    EXPECT_EQ(stats({{"tmc", "chip1/0"}}).json()[0]["rows"][0]["id"], -1);
    const ctlJson sums = stats({{"policers", "all"}, "5..7", "", 0, false}).json();
    ASSERT_EQ(sums.size(), 1u) << "three messages, one table";
    ASSERT_EQ(sums[0]["rows"].size(), 3u);
    EXPECT_EQ(sums[0]["rows"][2]["row"], 7);
    EXPECT_EQ(sums[0]["rows"][2]["violate"], 700);
}

TEST(Stats, RatesComeOfTwoReads)
{
    std::atomic<int> reads{0};
    peer fake("mi6", AGENT, answers([&](ctlMessage_t &message) {
                  if (message.code == QOS_GET_PORTPRI_BUFFERS)
                      return put(message, "tailDropThreshold", "5000");
                  const bool second = ++reads > 2;
                  if (message.code == 25) {
                      EXPECT_EQ(get(message, "port_threshold"), 5000u) << "what the agent is to divide";
                      put(message, "threshold", second ? "900*8" : "100*8");
                      put(message, "drop_total", second ? "1000" : "400");
                  } else {
                      put(message, "num_reasons", second ? "3" : "2");
                      put(message, "records.text", second ? "Unknown,NEW,Unknown" : "Unknown,Unknown");
                      put(message, "records.counter", second ? "50,30,60" : "10,90");
                  }
              }));
    const auto rate = [](const ctlJson &table, size_t row, const char *column) {
        return std::lround(table["rows"][row]["rates"][column].get<double>() * table["seconds"].get<double>());
    };
    const ctlJson depth = stats({{"rcv-queue", "1/1,1/2"}, "", "", 0.02, false}).json()[1];
    EXPECT_GE(depth["seconds"], 0.02);
    EXPECT_EQ(rate(depth, 8, "dropped"), 600);
    EXPECT_EQ(depth["rows"][8]["dropped"], 1000);
    EXPECT_EQ(depth["rows"][0]["threshold"], 900);
    EXPECT_EQ(depth["rows"][0]["rates"], ctlJson::object()) << "a threshold has no rate";
    reads = 1;
    const ctlJson reasons = stats({{"drop-reasons", "1/1"}, "", "", 0.02, false}).json()[0];
    EXPECT_EQ(rate(reasons, 0, "frames"), 40);
    EXPECT_EQ(rate(reasons, 1, "frames"), 30) << "a reason that was not there";
    EXPECT_EQ(rate(reasons, 2, "frames"), 60) << "cleared in between";
    reads = 0;
    EXPECT_TRUE(has(stats({{"rcv-queue", "1/1"}, "", "", 0.02, true}, false).out, "[frames/s]"));
}

TEST(Stats, FailuresAreNamedAndTheRestIsShown)
{
    ctlStatsOptions_t asked{{"queue", "1/1..1/4"}};
    EXPECT_EQ(stats(asked).exit, CTL_SILENT) << "nobody is there";
    const auto top = [](const words &ports, double interval, unsigned count) {
        return of([&](auto &out, auto &err) {
            return ctlTop({}, {ports, interval, count}, {false, -1, 24}, out, err);
        });
    };
    expectEnd(top({"1/1"}, 5, 0), CTL_SILENT);
    batches = 0;
    peer fake("mi6", AGENT, answers([](ctlMessage_t &message) {
                  const uint32_t port = get(message, "ifindex") >> 15 & 127;
                  put(message, "status", port == 1 ? "25" : port == 2 ? "-99" : "0");
                  message.ack = port != 3;
              }));
    const outcome result = stats(asked);
    EXPECT_EQ(result.exit, CTL_FAILED);
    for (const char *says : {"te1/1 queue: status 25, unknown interface", "te1/2 queue: the agent left the request",
                             "te1/3 queue: the agent passed the request over"})
        EXPECT_TRUE(has(result.err, says));
    const ctlJson json = result.json();
    ASSERT_EQ(json.size(), 4u);
    EXPECT_EQ(json[0]["rows"], ctlJson::array());
    EXPECT_EQ(json[0]["status"], 25);
    EXPECT_EQ(json[3]["rows"].size(), 9u);
    EXPECT_EQ(batches, 1);
    expectEnd(top({"1/1,1/5"}, 0.02, 1), CTL_FAILED, "te1/1: status 25");
    for (const auto &[ports, says] :
         {std::pair("1/1,1/5", "Z  0 queues drop, 0 in use, on 1 port"), std::pair("1/1,1/5", "no figures of 1, by"),
          std::pair("1/1", "Z  no figures of 1")})
        EXPECT_TRUE(has(top({ports}, 0.02, 1).out, says)) << says;
    expectEnd(stats({{"drops", "1/1,1/2,1/5"}}, false), CTL_FAILED, "te1/2 queue: the agent left");
    batches = 1;
    stats({{"drop-reasons", "1/4,1/5"}});
    EXPECT_EQ(batches, 3) << "a batch has room for one";
}

TEST(Stats, ChipAndAllStandForThePortsTheAgentLists)
{
    const auto portsOf = [](const words &asked) {
        std::vector<uint32_t> ports;
        for (const ctlStatsQuery_t &query : ctlPlanStats({asked}))
            ports.push_back(query.ifindex);
        return ports;
    };
    expectRefused(CTL_SILENT, "", [&] { portsOf({"queue"}); });
    std::string answer = R"(ok [{"name":"te1/3","ifindex":406945792,"chip":8},
                                {"name":"te1/4","ifindex":406978561,"chip":9},
                                {"name":"po1","ifindex":603979777,"chip":-1}])";
    peer control("ctl", "dorvald", answering([&](const std::string &command) {
                     EXPECT_EQ(command, "cli json ports");
                     return answer;
                 }));
    using list = std::vector<uint32_t>;
    EXPECT_EQ(portsOf({"queue"}), (list{0x18418000, 0x18420001}));
    EXPECT_EQ(portsOf({"queue", "chip1/1", "all"}), (list{0x18420001, 0x18418000}));
    EXPECT_EQ(portsOf({"tmc"}), (list{0x88400000, 0x88410000}));
    expectRefused(CTL_FAILED, "the agent knows no port on chip2/0", [&] { portsOf({"queue", "chip2/0"}); });
    answer += "(cut: the output is longer than an answer takes)\n"; // which leaves no JSON
    expectRefused(CTL_FAILED, "", [&] { portsOf({"queue"}); });
    answer = "error: no printing function 'json ports'";
    EXPECT_EQ(errorOf([&] { portsOf({"queue"}); }).text,
              "dorvald." + std::to_string(getpid()) + " is of an older build: it does not know 'cli json ports'");
}

TEST(Stats, ClearsOnePortOrAll)
{
    std::string bodies;
    peer fake("mi6", AGENT, answers([&](ctlMessage_t &message) {
                  bodies +=
                      std::to_string(message.code) + ":" + ctlFormatHex(message.body.data(), message.body.size()) + " ";
                  put(message, "status", get(message, "ifindex") == 0x18420000 ? "22" : "0");
              }));
    const auto clear = [](const words &ports) {
        return of([&](auto &out, auto &err) { return ctlClearStats({}, ports, out, err); });
    };
    const outcome all = clear({}), two = clear({"1/3..1/4"});
    EXPECT_EQ(two.exit, CTL_FAILED);
    EXPECT_EQ(bodies, "41:000000008bc000000000000100000000 "
                      "41:00000000184180000000000000000000 41:00000000184200000000000000000000 ");
    EXPECT_EQ(all.out + two.out, "all  cleared\nte1/3  cleared\n");
    EXPECT_EQ(two.err, "dorvctl: te1/4: status 22, driver refused\n");
}

// Ports 1, 2 and 3 are on chips of the three families: what one lacks it answers with 25. Counters count the reads.
peer::server families(std::atomic<uint64_t> &reads)
{
    return answers([&reads](ctlMessage_t &message) {
        const bool larkin = get(message, "ifindex") == 0x18408000, tessel = get(message, "ifindex") == 0x18410000;
        const uint64_t n = message.code == 30 ? ++reads : reads.load();
        const std::tuple<unsigned, bool, const char *, std::string> fields[] = {
            {30, true, "counter2[5]", std::to_string(n * 5000000)},
            {29, true, larkin || tessel ? "pri" : "pri[0]",
             larkin || tessel ? "1,2,3,4,5,6,7,8" : "36"}, // paused as a whole
            {29, true, "global", "36"},
            {29, !larkin, "global2", "9"},
            {25, !tessel, "port_pri_bufs[5]", "500"},
            {25, !tessel, "threshold[5]", "700"},
            {25, !tessel, "drop_total", std::to_string(n * (larkin ? 100 : 900))},
            {52, !larkin, "pri48[5]", "600"},
            {52, !larkin, "pri112[5]", "600"},
            {52, !larkin, "pri152[5]", "1"},
            {62, tessel, "pair92[75]", std::to_string(n * 50)}, // the low word of queue 5's tail drops
            {62, tessel, "pair92[187]", "4"},
            {35, !larkin, tessel ? "records[5].counter[2]" : "mrl_counter[2]", std::to_string(n * 3)},
            {65, !larkin, "records.counter", std::to_string(n * 7)},
        };
        for (const auto &[code, has, field, value] : fields)
            if (code == message.code && has)
                put(message, field, value);
            else if (code == message.code && std::string(field) != "global2")
                put(message, "status", "25");
        if (message.code == 35 && tessel) {
            put(message, "records_valid", "8");
            put(message, "records.priority", "0..7");
        }
        if (message.code == 65) {
            put(message, "num_reasons", "1");
            put(message, "records.text", "Tail Drop");
        }
    });
}

TEST(Stats, DropsOfAllFamiliesStandSideBySide)
{
    std::atomic<uint64_t> reads{0};
    peer fake("mi6", AGENT, families(reads));
    const outcome ended = stats({{"drops", "1/1..1/3"}});
    EXPECT_EQ(ended.exit, CTL_DONE) << ended.err;
    const ctlJson tables = ended.json();
    std::string kinds;
    std::map<std::string, std::string> found; // queue 5 and the port of each port
    for (const ctlJson &table : tables) {
        kinds += table["kind"].get<std::string>() + " ";
        for (const size_t row : {5, 8})
            if (table["kind"] == "drops") {
                std::string &cells = found[table["interface"].get<std::string>() + (row == 5 ? " 5" : " port")];
                for (const auto &[key, value] : table["rows"][row].items())
                    cells += key == "row" || key == "rates" || key == "received" ? "" : value.dump() + " ";
            }
    }
    EXPECT_EQ(kinds, "drops drops drop-reasons drops drop-reasons ");
    // used, bound, full, tail, RED, all drops, pause sent and received, sent
    const std::map<std::string, std::string> expected = {
        {"te1/1 5", "500 700 null null null null 6 null 5000000 "},
        {"te1/1 port", "0 0 null null null 300 36 null null "},
        {"te1/2 5", "600 600 1 150 9 159 6 4 10000000 "},
        {"te1/2 port", "600 null null 150 9 159 36 9 null "},
        {"te1/3 5", "600 600 1 null null null null null 15000000 "},
        {"te1/3 port", "600 null null 2700 9 2709 36 9 null "},
    };
    EXPECT_EQ(found, expected);
    expectRefused("not with drops", [] { stats({{"drops", "1/1"}, "1"}); });
    peer control("ctl", "dorvald", answering([](const std::string &command) {
                     return command == "cli json ports" ? R"(ok [{"name":"te1/2","ifindex":406913024,"chip":8}])"
                                                        : R"(ok [{"chip":8,"type":"Tessel"}])";
                 }));
    EXPECT_EQ(ctlPlanDrops({"1/2", "1/3"}, 20).size(), 7u) << "six of a Tessel, and one of a port not announced";
}

TEST(Stats, TopPutsWhatDropsFirst)
{
    std::atomic<uint64_t> reads{0};
    peer fake("mi6", AGENT, families(reads));
    const auto top = [](unsigned count, const ctlScreen_t &screen) {
        const ctlTop_t asked = {{"1/1,1/2"}, 0.02, count};
        const outcome ended = of([&](auto &out, auto &err) { return ctlTop({}, asked, screen, out, err); });
        EXPECT_EQ(ended.exit, CTL_DONE);
        return ended.out;
    };
    const std::string text = top(2, {false, -1, 24});
    EXPECT_EQ(reads, 6u) << "one read ahead of two tables";
    EXPECT_EQ(text.find("Z  2 queues drop, 3 in use, on 2 ports, over"), 8u) << text;
    EXPECT_LT(text.find("te1/1   port"), text.find("te1/2      5")) << text;
    EXPECT_TRUE(has(text, "te1/2    Tail Drop"));
    EXPECT_NE(text.find("2 queues drop", 20), std::string::npos) << "the second table";
    EXPECT_FALSE(has(text, "\033"));

    // On a terminal it goes on until q, whatever else is pressed; the table is cut to the screen.
    int keys[2];
    ASSERT_EQ(pipe(keys), 0);
    std::thread finger([&] {
        for (const uint64_t before = reads; reads < before + 8;)
            poll(nullptr, 0, 1);
        EXPECT_EQ(write(keys[1], "x hbq", 5), 5);
    });
    const std::string screen = top(0, {true, keys[0], 6, 35});
    finger.join();
    for (const char *shown : {"Z  2 queues drop, 3 in use,\033[K", "port   queue  used [B]  bound [B]\033[K",
                              "sort by: d drops", "te1/1   port         0"})
        EXPECT_TRUE(has(screen, shown));
    EXPECT_FALSE(has(screen, "full")) << "no room for a column";
    EXPECT_LT(screen.rfind("   port  "), screen.rfind("      5  "))
        << "by bytes, and room for one line beside the help";
    EXPECT_TRUE(screen.ends_with("\033[?25h")) << "the cursor is back";
    close(keys[0]);
    close(keys[1]);
}
