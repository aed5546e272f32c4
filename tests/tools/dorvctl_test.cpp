// SPDX-License-Identifier: Apache-2.0
// dorvctl: values and names as a person types them, the bytes that leave, and what its exit status says about echoes.
// The agent here is a plain socket with a script, bound where a real one would be.
#include "tests/tools/ctl_peer.h"

#include <limits>
#include <stdexcept>
#include <sys/mman.h>

#include "tools/commands.h"
#include "tools/complete.h"
#include "tools/history.h"
#include "tools/node.h"
#include "tools/scenario.h"
#include "tools/show.h"
#include "tools/text.h"

namespace {

const auto hexOf = [](const ctlBytes &bytes) { return ctlFormatHex(bytes.data(), bytes.size()); };
const auto zeros = [](size_t bytes) { return std::string(2 * bytes, '0'); };
const auto silent = [](peer &, const std::string &, const std::string &) {};

// The bytes of one batch with sequence numbers from 0x11 on.
std::string batchHex(const std::string &typed, const std::vector<ctlAssign_t> &extra = {})
{
    std::vector<ctlMessage_t> batch = ctlParseWords(split(typed), extra);
    uint8_t next = 0x11;
    ctlNumber(batch, next);
    return hexOf(ctlEncode(batch));
}

// An agent of slot 1 that answers each batch with what `script` makes of it.
peer::server agent(std::function<void(peer &, std::vector<ctlMessage_t>)> script)
{
    return [script](peer &self, const std::string &data, const std::string &) {
        ASSERT_GE(data.size(), 20u);
        EXPECT_EQ(hexOf(ctlBytes(data.begin() + 16, data.begin() + 20)), "00000008"); // no slot, a manager's flag
        script(self, ctlDecode(ctlBytes(data.begin() + 20, data.end())).messages);
    };
}

void answer(ctlMessage_t &message, uint8_t ack, int32_t status)
{
    message.ack = ack;
    put(message, "status", std::to_string(status));
}

outcome send(const std::string &typed, const ctlOptions_t &options = {}, size_t batches = 1)
{
    const std::vector<ctlMessage_t> batch = ctlParseWords(split(typed), {});
    return of([&](auto &out, auto &err) { return ctlSendBatches(options, {batches, batch}, out, err); });
}

outcome node(bool json, double seconds)
{
    return of([&](auto &out, auto &err) { return ctlShowNode(json, seconds, out, err); });
}

outcome command(const std::string &process, const std::string &typed)
{
    return of([&](auto &out, auto &) { return ctlCommand(process, split(typed), 20, false, out); });
}

const std::string pid = std::to_string(getpid());

} // namespace

TEST(Dorvctl, FindsMessagesByEveryFormOfTheirName)
{
    for (const char *text : {"QOS_COSTRUST_MSG", "COSTRUST", "costrust", "qos_costrust", "CosTrust_msg", "4", "04"})
        EXPECT_EQ(ctlFindMessage(text).code, 4) << text;
    EXPECT_EQ(ctlFindMessage("clear-dbg-stats").code, 67);
    EXPECT_EQ(ctlFindMessage("get_portpri_buffers").code, 42);

    EXPECT_EQ(ctlNearest("abcd", {"abxy", "abdc"}), "abdc"); // a swap is one slip
    const std::pair<const char *, const char *> rows[] = {
        {"COSTURST", "COSTRUST"}, {"dscptc", "DSCPTCMAP"}, {"QOS_POLICER_ADD_MSG", "POL_POLICER_ADD"},
        {"79", "0 to 78"},        {"", "nearest"},         {"99999999999999", "0 to 78"}};
    for (const auto &row : rows)
        expectRefused(row.second, [&] { ctlFindMessage(row.first); });
}

TEST(Dorvctl, ReadsAndShowsInterfaces)
{
    const std::tuple<const char *, uint32_t> rows[] = {
        {"te1/3", 0x18418000}, {"te1/3@1", 0x18418001}, {"te15/127@7", 0x1bff8007}, {"ge0/1", 0x1800a000},
        {"fo2/0", 0x18803000}, {"chip1/0", 0x88400000}, {"chip14/7", 0x8b870000},   {"all", 0x8bc00000}};
    for (const auto &[text, ifindex] : rows) {
        EXPECT_EQ(ctlParseInterface(text), ifindex) << text;
        EXPECT_EQ(ctlFormatInterface(ifindex), text);
    }
    // Bits that a name would lose, other types, and slot 15 of the chips have no name.
    for (const uint32_t ifindex : {0x18418008u, 0x18419000u, 0x88400001u, 0x8bc10000u, 0x0c000000u, 0u})
        EXPECT_EQ(ctlFormatInterface(ifindex), "") << ifindex;
    for (const char *text : {"te16/0", "te1/128", "te1/3@8", "te1", "te1/", "te1/3x", "chip15/0", "chip1/8", "chip1"})
        expectRefused(text, [&] { ctlParseInterface(text); });
    for (const char *text : {"", "te", "tea", "po1", "ALL"})
        EXPECT_FALSE(ctlParseInterface(text)) << text;
}

TEST(Dorvctl, BuildsBatchesByteForByte)
{
    const std::string name = "7465312f33"; // "te1/3"
    const std::pair<const char *, std::string> rows[] = {
        {"COSTRUST ifindex=te1/3 ifName=te1/3 chip_ifindex=chip1/0 def_tc=0xA cos_trust=-2 cos_map=0..7 tc_map=7*8 "
         "tc_map[3]=5 status=99",
         "040036110018418000" + name + zeros(15) + "88400000000afffffffe0001020304050607070707050707070700000063"},
        {"AGTREG slot_id=1 + 67 @raw=ab:cd @seq=200 + 3 @len=2", "000004110000000001430002c800abcd03000212000000"},
        {"POL_STATS_CLR_ALL ifindex=all @len=10", "2d000a11008bc00000000000000000"},
        {"IVQ_RED_CHIP_CFG data.ifIndex=te1/1,te1/2 data[1].pfc_map=0x81",
         "2f001e1100000000000000000200000000000000001840800000000000001841000081"},
        {"IVQ_RED_CHIP_CFG numEntries=1 @tail=ff", "2f00151100000000000000000100000000ff" + zeros(8)},
        {"POL_STATS_CLR stats_clr_data[1].policer_id=7",
         "2c00211100" + zeros(12) + "0000000200" + zeros(12) + "00000007"},
        {"GET_POL_STATS", "2800961100" + zeros(14 + 136)}, // the first record is read though the count is 0
        {"GET_VOQ_STATS selector=x:0102 counter[13]=0xffffffffffffffff",
         "4000a81100" + zeros(8) + "0102" + zeros(42 + 104) + "ffffffffffffffff" + zeros(4)},
        {"RED_MONITOR_STATS records[0].tmc_type=x:01020304",
         "4c00301100" + zeros(8) + "00000001" + zeros(4) + "01020304" + zeros(28)},
        {"SCH sch_cfg.dwrr_weight[7]=9 @len=112", "1300701100" + zeros(108) + "00000009"},
    };
    for (const auto &[typed, hex] : rows)
        EXPECT_EQ(batchHex(typed), hex) << typed;
    EXPECT_EQ(ctlExpandList("8000..8005").size(), 6u);
    EXPECT_EQ(batchHex("AGTREG", {{"@raw", "01"}}), "000001110001");
}

TEST(Dorvctl, RefusesWithOneClearLine)
{
    const std::pair<std::string, const char *> rows[] = {
        {"COSTRUST tcmap=1", "nearest is tc_map"},
        {"CHIPUP portinfo[2].ifidx=1", "nearest is portInfo.ifindex"},
        {"CLEAR_DBG_STATS status=1", "no fields"},
        {"COSTRUST cos_map[8]=1", "there are 8"},
        {"COSTRUST cos_map=1", "1*8"},
        {"COSTRUST cos_map=0..8", "room for 8"},
        {"COSTRUST cos_map=18446744073709551614..18446744073709551615", "not 2"},
        {"COSTRUST cos_map=0*8000,0*8000", "at most 8192"},
        {"COSTRUST " + std::string(9000, 'c') + "=1", "no field"},
        {"COSTRUST def_cos=256", "0 to 255"},
        {"COSTRUST cos_trust=2147483648", "-2147483648 to 2147483647"},
        {"GET_VOQ_STATS counter[0]=18446744073709551616", "0 to 18446744073709551615"},
        {"COSTRUST def_cos=te1/3", "no number"},
        {"COSTRUST cos_map=te1/1@1..te1/2", "lower end first"},
        {"COSTRUST cos_map=a..b", "a range is written"},
        {"COSTRUST cos_map=0..99999", "at most"},
        {"COSTRUST cos_map=7*0", "eight times 7"},
        {"COSTRUST ifIndex=eth0", "te1/3"},
        {"COSTRUST ifName=abcdefghijklmnopqrstu", "21 bytes"},
        {"COSTRUST cos_map=x:000102030405060708", "room for 8"},
        {"COSTRUST cos_map=x:0", "two hexadecimal digits"},
        {"COSTRUST @lenght=3", "nearest is @len"},
        {"COSTRUST @len=8188", "0 to 8187"},
        {"COSTRUST cos_trust", "field=value"},
        {"COSTRUST +", "message is missing"},
        {"GET_POL_STATS num_records=61", "room"},
        {"CHIPUP + CHIPUP + CHIPUP + CHIPUP + CHIPUP", "8192"},
    };
    for (const auto &row : rows)
        expectRefused(row.second, [&] { batchHex(row.first); });
    expectRefused("", [] { batchHex("0 + 0", {{"@len", "1"}}); });
    EXPECT_NO_THROW(batchHex("CHIPUP + CHIPUP + CHIPUP + CHIPUP"));
}

TEST(Dorvctl, DecodesAsFarAsABatchGoes)
{
    const std::tuple<const char *, size_t, const char *> rows[] = {
        {"000004110000000001", 1, ""},
        {"00000411000000000143000001", 1, "4 bytes left over at byte 9"},
        {"43000000004f00000000", 1, "code 79 at byte 5"},
        {"04ffff000000", 0, "claims 65535 bytes, 1 are there"},
    };
    for (const auto &[hex, messages, fault] : rows) {
        const ctlDecoded_t decoded = ctlDecode(ctlParseHex(hex));
        EXPECT_EQ(decoded.messages.size(), messages) << hex;
        EXPECT_TRUE(has(decoded.fault, fault));
        EXPECT_EQ(decoded.fault.empty(), *fault == '\0') << decoded.fault;
    }
    const auto decoded = [](const std::string &hex) {
        return of([&](auto &out, auto &err) { return ctlDecodeBatch({}, hex, out, err); });
    };
    const outcome cut = decoded(batchHex("CHIPUP portInfo[1].ifindex=te1/2 chip_type=1 @len=115"));
    expectEnd(cut, CTL_DONE, "portInfo[1]            ifindex=te1/2 num_buffers=0");
    EXPECT_FALSE(has(cut.out, "portInfo[4]")) << "beyond the body's end";
    expectEnd(decoded("0400"), CTL_FAILED);
    EXPECT_EQ(ctlFold({"0", "0", "1", "1", "1", "2"}), "0 0 1*3 2");
}

TEST(Dorvctl, ReadsScenarios)
{
    const ctlScenario_t scenario = ctlReadScenario(R"({"slot": 2, "service": "qosMIStats", "batches": [
        [{"msg": "COSTRUST", "ifIndex": "te1/3", "cos_map": [0,1,2,3,4,5,6,7], "cos_trust": true,
          "def_tc": false},
         {"for": ["te1/1..te1/2", "te1/9@1"], "send": {"msg": "IFADD", "ifIndex": "$if", "ifName": "te 1/$n"}}],
        {"for": "3..4", "send": [{"msg": "AGTREG", "slot_id": "$n"}, {"msg": 67, "@raw": "0$n"}]},
        {"msg": "AGTREG", "slot_id": -1}]})",
                                                   "s.json");
    EXPECT_EQ(scenario.slot, 2u);
    EXPECT_EQ(scenario.service, "qosMIStats");
    ASSERT_EQ(scenario.batches.size(), 6u);
    ASSERT_EQ(scenario.batches[0].size(), 4u);
    EXPECT_EQ(hexOf(scenario.batches[0][0].body).substr(58, 26), "00000000010001020304050607");
    EXPECT_EQ(ctlReadScenario(R"({"slot": 16, "batches": [{"msg": "0"}]})", "").slot, 16u);
    EXPECT_EQ(hexOf(scenario.batches[0][3].body).substr(0, 22), "18448001746520312f3900");
    EXPECT_EQ(hexOf(scenario.batches[2][0].body), "03");
    EXPECT_EQ(hexOf(scenario.batches[3][0].body), "00000004");
    EXPECT_EQ(hexOf(scenario.batches[5][0].body), "ffffffff");

    const std::string deep(100000, '[');
    std::string wide = "[{\"msg\": 0";
    for (int i = 0; i < 2000; i++)
        wide += ",\"" + std::to_string(i) + "\":0";
    const std::pair<const char *, const char *> rows[] = {
        {"[\n {\"msg\": }]", "s.json: line 2, column 10"},
        {"3", "list of batches"},
        {R"({"batch": []})", "nearest is batches"},
        {R"({"slot": 17, "batches": []})", "1 to 16"},
        {R"({"service": 1, "batches": []})", "service: it is a text"},
        {R"({"service": "qosMI"})", "\"batches\" is missing"},
        {R"({"batches": {}})", "the batches are a list"},
        {"[1e999]", "larger than any"},
        {deep.c_str(), "s.json: it is nested deeper"},
        {wide.c_str(), "s.json: an object has more"},
        {R"([{"for": "1..2000", "send": {"msg": "4", "ifName": "$n"}}])", "[0].send: repeated, this is too much"},
        {R"([{"for": ["1", 2.5], "send": {"msg": "0"}}])", "s.json: batches[0].for[1]: a value"},
        {R"([{"for": "1", "send": {"for": "1", "send": {"msg": "0"}}}])", "\"msg\" is missing"},
        {R"(["0"])", "a message is an object"},
        {R"([[{"msg": "AGTREG"}, {"slot_id": 1}]])", "[0][1]: \"msg\" is missing"},
        {R"([{"msg": "COSTRUST", "cos_map": [0,1,2,3,4,5,6,256]}])", "[0]: QOS_COSTRUST_MSG: cos_map: 256"},
        {R"([{"msg": "AGTREG", "slot_id": {}}])", "[0].slot_id"},
        {R"([{"msg": "AGTREG", "slot_id": "$n"}])", "meaning inside"},
        {R"([{"for": "1..2", "sned": []}])", "nearest is send"},
        {R"([{"for": [], "send": {"msg": "AGTREG"}}])", "\"for\" has no value"},
        {R"([{"msg": [7]}])", "s.json: batches[0].msg: a value"},
        {R"([[]])", "[0]: the batch is empty"},
        {R"([[{"for": "1..9", "send": {"msg": "CHIPUP"}}]])", "[0]: the batch has"},
    };
    for (const auto &row : rows)
        expectRefused(row.second, [&] { ctlReadScenario(row.first, "s.json", 500000); });
}

TEST(Dorvctl, ExitStatusFollowsTheEcho)
{
    // Of two messages: what the first is answered, whether the second, which has no status, is acknowledged.
    const std::tuple<uint8_t, int32_t, uint8_t, int, const char *> rows[] = {
        {1, 0, 1, CTL_DONE, "status 0 ok"},   {1, 22, 1, CTL_FAILED, "status 22 driver refused"},
        {1, -1, 1, CTL_FAILED, "status -1"},  {0, 0, 1, CTL_FAILED, "ack 0"},
        {1, 0, 0, CTL_FAILED, "status 0 ok"},
    };
    for (const auto &row : rows) {
        peer fake("mi6", "qosMI.lc1", agent([&](peer &self, std::vector<ctlMessage_t> batch) {
                      answer(batch.at(0), std::get<0>(row), std::get<1>(row));
                      batch.at(1).ack = std::get<2>(row);
                      self.tellManagers(ctlEncode(batch));
                  }));
        const auto &[first, status, second, exit, says] = row;
        const outcome result = send("COSTRUST ifIndex=te1/3 + AGTREG");
        expectEnd(result, exit, says);
        EXPECT_FALSE(has(result.out, "cos_map")) << "fields that nobody asked for";
        EXPECT_EQ(!has(result.err, "too short"), first + second == 2) << says;
    }
}

TEST(Dorvctl, TakesNoOtherEchoForItsOwn)
{
    peer fake("mi6", "qosMI.lc1", agent([](peer &self, std::vector<ctlMessage_t> batch) {
                  std::vector<ctlMessage_t> other = batch;
                  answer(other[0], 1, 1);
                  other[0].seq++;
                  self.tellManagers(ctlEncode(other)); // another manager's
                  other[0].seq--;
                  other[0].body.push_back(0);
                  self.tellManagers(ctlEncode(other)); // of another length
                  other[0].body.pop_back();
                  self.tellManagers(ctlEncode(other), 2);         // from another slot
                  self.tellManagers({0, 0, 4, 0, 0, 0, 0, 0, 1}); // a registration
                  self.tellManagers({4, 0});                      // no batch at all
                  answer(batch[0], 1, 28);
                  self.tellManagers(ctlEncode(batch));
              }));
    ctlOptions_t options;
    options.json = true;
    options.seq = 255;
    const outcome result = send("COSTRUST tc_map=0..7", options);
    EXPECT_EQ(result.exit, CTL_FAILED);
    const ctlJson message = result.json()[0]["messages"][0];
    EXPECT_EQ(message["status"], 28);
    EXPECT_EQ(message["seq"], 255);
    EXPECT_EQ(message["fields"]["tc_map"], ctlJson({0, 1, 2, 3, 4, 5, 6, 7}));
}

TEST(Dorvctl, SaysWhoIsSilent)
{
    expectEnd(send("AGTREG"), CTL_SILENT, "no agent serves qosMI on slot 1");
    // The second batch must not leave once the first has no echo, and others' datagrams without a pause do not hold the
    // wait past its time.
    std::atomic<int> batches{0};
    std::atomic<bool> stop{false};
    peer fake("mi6", "qosMI.lc1", agent([&](peer &self, std::vector<ctlMessage_t> batch) {
                  for (batches++; !stop;)
                      self.tellManagers({4, 0, 0, 7, 1});
                  batch[0].ack = 1;
                  self.tellManagers(ctlEncode(batch));
              }));
    ctlOptions_t options;
    options.timeout = 0.1;
    expectEnd(send("AGTREG", options, 2), CTL_SILENT, "no echo from slot 1");
    stop = true;
    expectEnd(send("AGTREG"), CTL_DONE);
    EXPECT_EQ(batches, 2);
    options.slot = 2;
    expectEnd(send("AGTREG", options), CTL_SILENT, "on slot 2");
    options.dry_run = true;
    options.seq = 0;
    expectEnd(send("AGTREG", options), CTL_DONE, "000004000000000000");
    EXPECT_EQ(batches, 2);
}

TEST(Dorvctl, WatchShowsWhatAgentsStart)
{
    std::atomic<bool> stop{false};
    peer fake("mi6", "qosMI.lc1", silent);
    // The watcher's socket may open at any time: say it again and again.
    std::thread talker([&] {
        for (; !stop; poll(nullptr, 0, 10)) {
            fake.tellManagers({4, 0, 0, 7, 1});
            fake.tellManagers({4, 0, 0, 7, 0});                  // too short to be acknowledged
            fake.tellManagers({67, 0, 0, 0, 0, 67, 0, 0, 0, 0}); // an agent starts one at a time
            fake.tellManagers({74, 0, 16, 0, 0, 0, 0, 0, 1, 0x18, 0x41, 0x80, 0, 0, 0, 0, 1, 0, 0, 0, 0}, 3);
        }
    });
    const auto watch = [](const ctlWatch_t &asked) {
        ctlOptions_t options;
        options.json = true;
        return of([&](auto &out, auto &err) { return ctlWatchAgents(options, asked, out, err); });
    };
    const outcome started = watch({2, 5, false}), all = watch({2, 5, true});
    stop = true;
    talker.join();
    expectEnd(started, CTL_DONE);
    expectEnd(all, CTL_DONE, "QOS_COSTRUST_MSG");
    for (const std::string &line : ctlLinesOf(started.out))
        for (const char *part :
             {R"("msg":"QOS_DROP_MONITOR_NOTIFY_MSG")", R"("slot":3)", R"("records.ifindex":[406945792])"})
            EXPECT_TRUE(has(line, part));
    EXPECT_EQ(watch({1, 0.05, false}).exit, CTL_SILENT);
}

TEST(Dorvctl, AsksTheProcessesOfANode)
{
    EXPECT_EQ(node(false, 1).exit, CTL_SILENT);
    {
        peer fake("ctl", "dorvald", answering([](const std::string &asked) -> std::string {
                      if (asked == "stat")
                          return R"(ok {"stage":6,"pid":77,"role":"standby","since":12,"syncs":3})";
                      return asked == "trace show 3" ? "ok\na\nb" : "error: no command " + asked;
                  }));
        expectEnd(node(false, 1), CTL_DONE, "standby  Standby                     12 s  syncs 3");
        expectEnd(command("dorvald", "trace level"), CTL_FAILED, "error: no command trace level\n");
        const auto trace = [](auto &out, auto &) { return ctlShowTrace(pid, "", {3}, out); };
        EXPECT_EQ(of(trace).out, "a\nb\n");

        peer second("ctl", "hsld", silent);
        expectRefused("2 processes", [] { ctlFindProcess(pid); });
        EXPECT_EQ(node(true, 0.05).exit, CTL_SILENT); // one of them says nothing
        expectRefused(CTL_SILENT, "nearest is dorvald", [] { ctlFindProcess("dorvlad"); });
    }
    // A file that a dead process has left behind is no process.
    const Socket left(ownRun().path + "/ctl/dorvald.1");
    EXPECT_EQ(ctlProcesses("dorvald").size(), 1u);
    close(left.fd);
    EXPECT_TRUE(ctlProcesses("").empty());
}

TEST(Dorvctl, OfSeveralAgentsTheActiveOneIsMeant)
{
    const auto inRole = [](const std::string &role) {
        return answering([role](const std::string &asked) {
            return asked == "stat" ? R"(ok {"role":")" + role + "\"}" : "ok\n\tMsg Sent\n" + role;
        });
    };
    const auto shown = [&](const std::string &agent) {
        return of([&](auto &out, auto &) { return ctlShowTable("mi", {}, {agent, false, 1}, out); }).out;
    };
    peer first("ctl", "dorvald.1", inRole("standby"));
    EXPECT_EQ(shown(""), "\tMsg Sent\nstandby\n"); // there is no other
    peer second("ctl", "dorvald.2", inRole("standby"));
    expectRefused("2 agents run, and none of them active; name one with --pid: 1." + pid, [&] { shown(""); });
    peer third("ctl", "dorvald.3", inRole("active"));
    EXPECT_EQ(shown(""), "\tMsg Sent\nactive\n");
    EXPECT_EQ(shown("2." + pid), "\tMsg Sent\nstandby\n");
    EXPECT_THROW(shown("4"), ctlError_t);
}

// What processes say, and who sits in their folder, is anybody's choice.
TEST(Dorvctl, BearsWhatProcessesAnswer)
{
    const auto openFiles = [] {
        const std::filesystem::directory_iterator files("/proc/self/fd");
        return std::distance(begin(files), end(files));
    };
    int endless = memfd_create("answer", 0), good = memfd_create("answer", 0), pipes[2];
    ASSERT_EQ(ftruncate(endless, std::numeric_limits<off_t>::max()), 0);
    ASSERT_EQ(write(good, "ok\nall\n", 7), 7);
    ASSERT_EQ(pipe(pipes), 0);
    peer first("ctl", "dorvald", [&](peer &self, const std::string &asked, const std::string &from) {
        if (asked == "stat")
            return self.reply(R"(ok {"role":7,"stage":4294967300,"a\u001b":"\u009b"})", from);
        if (asked == "text")
            return self.reply("ok a\x1b[2J\tb\n\xff\xc2\x9b\xe2\x80\xae\xc3\xa9\r", from);
        const int file = asked == "endless" ? endless : asked == "good" ? good : pipes[0];
        const int sent[] = {file, file};
        alignas(cmsghdr) char control[CMSG_SPACE(sizeof sent)] = {};
        iovec data = {const_cast<char *>("ok\n(cut)\n"), 9};
        sockaddr_un to = addressOf(from);
        msghdr message{&to, sizeof to, &data, 1, control, sizeof control, 0};
        cmsghdr *rights = CMSG_FIRSTHDR(&message);
        *rights = {CMSG_LEN(sizeof sent), SOL_SOCKET, SCM_RIGHTS};
        std::memcpy(CMSG_DATA(rights), sent, sizeof sent);
        EXPECT_GT(sendmsg(self.descriptor(), &message, 0), 0);
    });
    const auto before = openFiles();
    for (const auto &[word, says] : {std::pair("endless", "ok\n(cut)\n"),
                                     {"pipe", "ok\n(cut)\n"},
                                     {"good", "ok\nall\n"},
                                     {"text", "ok a\\x1b[2J\tb\n\\xff\\xc2\\x9b\\xe2\\x80\\xae\xc3\xa9\\x0d\n"}}) {
        EXPECT_EQ(command(pid, word).out, says) << word;
    }
    EXPECT_EQ(openFiles(), before);
    for (const int fd : {endless, good, pipes[0], pipes[1]})
        close(fd);

    expectEnd(node(false, 20), CTL_DONE, " 7        Unknown                     -  a\\x1b \\xc2\\x9b\n");
    expectEnd(node(true, 20), CTL_DONE, "\"a\\u001b\":\"\\u009b\"");
    const std::string deep = "ok {\"a\":" + std::string(30000, '[') + std::string(30000, ']') + "}";
    EXPECT_EQ(ctlStatRow({"dorvald", "1", ""}, deep)["error"].get<std::string>().size(), 512u);

    peer second("ctl", "dorvald.2", answering([](auto &) { return R"(ok {"role":["active"]})"; }));
    expectRefused("none of them active", [] { ctlFindAgent("", 20); });
    peer huge("ctl", "dorvald.99999999999999999999", silent);
    std::ofstream(ownRun().path + "/ctl/" + std::string(200, 'x') + ".1");
    EXPECT_EQ(ctlProcesses("").size(), 2u);

    std::ostringstream err;
    EXPECT_EQ(ctlGuard(err, []() -> int { throw std::length_error("a\nb"); }), CTL_SILENT);
    EXPECT_EQ(ctlGuard(err, []() -> int { ctlRefuse(std::string(5000, 'x')); }), CTL_USAGE);
    EXPECT_EQ(err.str(), "dorvctl: cannot go on: a\\x0ab\ndorvctl: " + std::string(4096, 'x') + "...\n");
}

TEST(Dorvctl, CompletesWords)
{
    peer fake("ctl", "dorvald", answering([](auto &) { return R"(ok [{"ifindex":406945792,"chip":8}])"; })); // te1/3
    const ctlGrammar_t grammar = {{"send", {{"--slot", true}, {"--service", true}, {"-v", false}}},
                                  {"stats", {}},
                                  {"show", {{"--pid", true}}},
                                  {"clear", {}},
                                  {"top", {}},
                                  {"ctl", {}},
                                  {"trace", {}}};
    peer odd("ctl", "dor vald;x", silent);
    const std::pair<const char *, std::string> rows[] = {
        {"s", "send show stats"},
        {"send --slot ", ""},
        {"send --slot 2 COSTRUST cos_", "cos_trust= cos_map="},
        {"send COSTRUST cos_trust=1 + DSCPM", "DSCPMAP"},
        {"send COSTRUST + IFADD ifIndex=", "ifIndex=te1/3 ifIndex=chip1/0 ifIndex=all"},
        {"send COSTRUST nonsense=", ""},
        {"send -", "--slot --service -v"},
        {"stats buffers e", "egress"},
        {"show sl", "slots"},
        {"send --slot -1 AGTR", "AGTREG"},
        {"", "clear ctl send show stats top trace"},
        {"send --service qosMIS", "qosMIStats"},
        {"send CLEAR_DBG_STATS ", "+"},
        {"stats buffers t", "tmc tmc-chip te1/3"},
        {"show --pid ", pid},
        {"clear stats ", "te1/3 chip1/0 all"},
        {"top ch", "chip1/0"},
        {"ctl ", "dorvald"}, // a name that a shell would take apart is not offered
        {"ctl dorvald t", "trace tp"},
        {"ctl hsld s", "stat show stall"},
        {"ctl dorvald stat ", ""},
    };
    for (const auto &[typed, list] : rows) {
        std::string offered;
        for (const std::string &word : ctlComplete(grammar, split(typed)))
            offered += (offered.empty() ? "" : " ") + word;
        EXPECT_EQ(offered, list) << typed;
    }
}

// Against every overlap, tried from the longest on.
TEST(Dorvctl, FollowsARing)
{
    Random random(1);
    const auto some = [&] {
        words lines(random.below(8));
        for (std::string &line : lines)
            line = random.oneIn(2) ? "a" : "b";
        return lines;
    };
    for (int i = 0; i < 5000; i++) {
        const words before = some(), now = some();
        auto shared = std::min(std::ssize(before), std::ssize(now));
        while (!std::equal(before.end() - shared, before.end(), now.begin()))
            shared--;
        bool lost = i % 2;
        ASSERT_EQ(ctlNewLines(before, now, lost), words(now.begin() + shared, now.end())) << "of seed 1, step " << i;
        ASSERT_EQ(lost, shared == 0 && !before.empty()) << "of seed 1, step " << i;
    }
}

// The program itself: wrong use costs one line and status 2, and options reach the batch.
TEST(Dorvctl, ProgramReadsItsOptions)
{
    const std::tuple<const char *, int, const char *> rows[] = {
        {"", CTL_USAGE, "dorvctl: a command is missing"},
        {"aply f", CTL_USAGE, "the nearest is apply"},
        {"send", CTL_USAGE, "see 'dorvctl send --help'"},
        {"send COSTRUST --slot 17", CTL_USAGE, "--slot"},
        {"send COSTRUST --stats -S qosMI", CTL_USAGE, "two services"},
        {"send COSTRUST -S qosMIstat", CTL_USAGE, "nearest is qosMIStats"},
        {"apply /nowhere.json", CTL_USAGE, "/nowhere.json: cannot be read: No such file"},
        {"apply /dev/null", CTL_USAGE, "this is no JSON"},
        {"apply /dev/zero", CTL_USAGE, "is longer than"},
        {"send AGTREG --seq 7 --dry-run -j", CTL_DONE, R"([{"batch":1,"bytes":9,"hex":"000004070000000000")"},
        {"watch --timeout nan", CTL_USAGE, "no number of seconds"},
        {"stats queue te1/3 --selector 1", CTL_USAGE, "--selector goes with"},
        {"show > /dev/full", CTL_SILENT, ""},
        {"ctl dorvald trace show 3", CTL_SILENT, "no process runs"}, // "trace" and "show" are words here
        {"send AGTREG slot_id=-1 --dry-run --seq 7 --len 5", CTL_DONE, "0000050700ffffffff00"},
        {"send 67 --raw 0102 --raw-tail 03 --seq 7 --dry-run", CTL_DONE, "4300030700010203"},
        {"decode 67 --json", CTL_FAILED, "1 byte left over"},
        {"show 4 -j", CTL_DONE, "\"name\":\"cos_map\",\"offset\":34"},
        {"send --help", CTL_DONE, "--raw-tail"},
        {"show COSTRUST --pid 1", CTL_USAGE, "go with a table"},
        {"complete watch --co", CTL_DONE, "--count\n"},
        {"stats", CTL_USAGE, "kind is required"},
        {"stats queue 1/1 --rate 0", CTL_USAGE, "--rate"},
        {"stats policers 1/1 --ids 1..3 --slot 4", CTL_SILENT, "on slot 4"},
        {"stats -j queue 1/1", CTL_SILENT, "[]"},
        {"stats --help", CTL_DONE, "buffers [ingress|egress] [port|plc|tmc|tmc-chip]"},
        {"clear stat", CTL_USAGE, "the nearest is stats"},
        {"top 1/1 --interval 0.05 --count 1", CTL_SILENT, "no agent"},
    };
    for (const auto &[arguments, exit, says] : rows)
        expectProgram(arguments, exit, says);
    const std::string file = ownRun().path + "/scenario";
    std::ofstream(file) << R"({"service": "qosMIStats", "batches": [{"msg": "0"}]})";
    expectProgram("apply " + file, CTL_SILENT, "no agent serves qosMIStats");
}
