// SPDX-License-Identifier: Apache-2.0
// A node as a page: what the stream brings, who is refused, and how a queue that drops looks in a browser.
#include <httplib.h>
#include <nlohmann/json.hpp>
#include <regex>
#include <set>

#include "tests/support/peer.h"

namespace {
using json = nlohmann::json;

constexpr const char *BROWSER = "chromium-headless-shell";

bool ctl(const std::string &arguments)
{
    return std::system((DORVCTL_BINARY " " + arguments + " >/dev/null 2>&1").c_str()) == 0;
}

// A Tessel whose port te1/3 gets three times of what it can send, in priority 3, and the page of it.
class Web : public testing::Test {
protected:
    void SetUp() override
    {
        run.own();
        hsld = startProgram(HSLD_BINARY, {"hsld", "--chip", "1/0:tessel:4"}, run.path, {"VELMAR_CLOCK="},
                            run.path + "/hsld");
        EXPECT_TRUE(within([] { return ctl("ctl hsld stat"); }));
        agent = startProgram(DORVALD_BINARY, {"dorvald", "-S", "ethsw", "-s", "1"}, run.path, {"VELMAR_CLOCK="},
                             run.path + "/dorvald");
        EXPECT_TRUE(within([] { return ctl("apply " EXAMPLES "/tessel.json"); }));
        EXPECT_TRUE(ctl("ctl hsld traffic te1/3 priority=3 rate=30G"));
        web = startProgram(DORVCTL_BINARY, {"dorvctl", "web", "--listen", "127.0.0.1:0", "--interval", "0.1"}, run.path,
                           {}, run.path + "/web");
        EXPECT_TRUE(within([&] { return getline(std::ifstream(run.path + "/web"), address) && !address.empty(); }));
        address.pop_back(); // its path
    }
    void TearDown() override
    {
        int status = -1;
        kill(web, SIGTERM);
        waitpid(web, &status, 0);
        EXPECT_EQ(status, 0);
        for (const int pid : {agent, hsld}) {
            kill(pid, SIGKILL);
            waitpid(pid, nullptr, 0);
        }
    }
    // Reads the stream until a piece of it is as it should be.
    void await(const std::function<bool(const std::string &event, const json &)> &good)
    {
        httplib::Client client(address);
        client.set_read_timeout(120);
        std::string text;
        bool found = false;
        client.Get("/live?port=406945792", [&](const char *bytes, size_t length) {
            text.append(bytes, length);
            for (size_t end; !found && (end = text.find("\n\n")) != std::string::npos; text.erase(0, end + 2)) {
                const size_t data = text.find("data: ");
                if (data < end)
                    found = good(text.substr(0, data), json::parse(text.substr(data + 6, end - data - 6)));
            }
            return !found;
        });
        EXPECT_TRUE(found);
    }
    void awaitTrouble(const std::string &part)
    {
        await([&](const std::string &, const json &it) {
            return it.contains("trouble") && has(it["trouble"].dump(), part);
        });
    }
    void awaitDrops()
    {
        await([](const std::string &, const json &it) {
            return it.contains("ports") && it["ports"].is_array() && it["ports"][2]["rates"][3][5] > 0;
        });
    }
    RunDirectory run;
    int hsld = 0, agent = 0, web = 0;
    std::string address;
};

TEST_F(Web, StreamsANodeToThoseWhoMayRead)
{
    awaitDrops();
    await([](const std::string &event, const json &it) { // a port's configuration and past
        return event == "event: port\n" && it["config"].at(0)["l2_pri.cos_trust"] == 1 &&
               it["past"]["rows"].at(3)["used"].back() > 0;
    });
    httplib::Client client(address);
    const struct {
        const char *method, *path, *host;
        int status;
    } cases[] = {{"POST", "/", "localhost", 405},       {"PUT", "/metrics", "localhost", 405},
                 {"GET", "/", "evil.example", 403},     {"GET", "/live", "127.0.0.1.evil.example:8080", 403},
                 {"GET", "/nothing", "localhost", 404}, {"HEAD", "/", "localhost:9", 200},
                 {"GET", "/metrics", "[::1]", 200}};
    for (const auto &each : cases) {
        httplib::Request request;
        request.method = each.method;
        request.path = each.path;
        request.headers = {{"Host", each.host}};
        const auto got = client.send(request);
        ASSERT_TRUE(got);
        EXPECT_EQ(got->status, each.status) << each.method << each.path << each.host;
        EXPECT_TRUE(got->has_header("Content-Security-Policy") && !got->has_header("Access-Control-Allow-Origin"));
        EXPECT_EQ(has(got->body, "dorvald_up 1\n"), got->status == 200 && request.method == "GET");
    }
    const Server nasty(run.path + "/ctl/hsld.1", [&](const Datagram &asked) { // says what no page should run
        EXPECT_TRUE(nasty.sock.send(asked.from, "</script><b>\x1b"));
    });
    await([](const std::string &, const json &it) { return has(it.dump(), "</script><b>\\\\x1b"); });
    EXPECT_FALSE(has(client.Get("/")->body, "<b>"));
    kill(agent, SIGSTOP);
    awaitTrouble("does not answer");
    kill(agent, SIGKILL);
    awaitTrouble("No agent runs");
}

TEST_F(Web, ShowsWhatDropsInABrowser)
{
    if (std::system(("command -v " + std::string(BROWSER) + " >/dev/null").c_str()) != 0)
        GTEST_SKIP() << "no " << BROWSER << " here";
    awaitDrops(); // what the page is drawn with at once
    std::set<std::string> colours;
    for (const std::string width : {"375", "1400"})
        for (const std::string scheme : {"dark", "light"}) {
            EXPECT_EQ(std::system((std::string(BROWSER) + " --no-sandbox --disable-gpu --user-data-dir=" + run.path +
                                   "/profile --blink-settings=preferredColorScheme=" + (scheme == "dark" ? "0" : "1") +
                                   " --window-size=" + width + ",900 --dump-dom '" + address + "/?measure#te1/3' >" +
                                   run.path + "/dom 2>/dev/null")
                                      .c_str()),
                      0);
            const std::string dom = slurp(run.path + "/dom");
            std::smatch is;
            const std::regex measured("data-measured=\"fits \\| " + width + " \\| " + scheme +
                                      " \\| (rgb[^|]+) \\| (rgb[^|]+) \\| [^|]* reached\"");
            ASSERT_TRUE(std::regex_search(dom, is, measured)) << dom;
            colours.insert({is[1], is[2]});
            EXPECT_TRUE(std::regex_search(dom, std::regex("class=\"tile dropping\"[^>]* data-port=\"te1/3\""))) << dom;
            EXPECT_EQ(countOf(dom, "class=\"queue drop\""), 2u); // queue 3, and the legend's
            EXPECT_TRUE(has(dom, "frames a second in priority 3\""));
        }
    EXPECT_EQ(colours.size(), 4u); // of a tile that drops and one that does not, light and dark
}
} // namespace
