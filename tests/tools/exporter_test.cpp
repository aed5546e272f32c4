// SPDX-License-Identifier: Apache-2.0
// The figures of a node as a monitoring system reads them: their form, what traffic and a refusal change, an agent that
// is stuck or dead.
#include <httplib.h>
#include <regex>

#include "tests/support/peer.h"

namespace {
struct Exporter {
    int pid;
    std::string address;
    Exporter(const std::string &run, const std::string &name, const char *seconds)
        : pid(startProgram(DORVCTL_BINARY, {"dorvctl", "exporter", "--listen", "127.0.0.1:0", "--timeout", seconds},
                           run, {}, run + "/" + name))
    {
        EXPECT_TRUE(within([&] { return getline(std::ifstream(run + "/" + name), address) && !address.empty(); }));
    }
    ~Exporter()
    {
        int status = -1;
        kill(pid, SIGTERM);
        waitpid(pid, &status, 0);
        EXPECT_EQ(status, 0);
    }
    std::string page(const std::string &accept = "application/openmetrics-text", const char *path = "/metrics")
    {
        httplib::Client client(address.substr(0, address.rfind('/')));
        client.set_read_timeout(120); // longer than a collection may take
        const auto got = client.Get(path, {{"Accept", accept}});
        EXPECT_TRUE(got && got->get_header_value("Content-Type").rfind(accept, 0) == 0);
        return got ? got->body : "";
    }
};

// Gives the page, which is nothing but samples below their help, type and unit.
std::string wellFormed(const std::string &page)
{
    const std::string unit = R"((# UNIT \1 \w+\n)?)", rest = R"((\{.+\})? [0-9.]+\n)+)";
    const std::regex family(R"(# HELP (dorvald_\w+) .+\n# TYPE \1 (gauge\n)" + unit + R"((\1)" + rest +
                            R"(|counter\n)" + unit + R"((\1_total)" + rest + ")");
    EXPECT_EQ(std::regex_replace(page, family, ""), "# EOF\n");
    return page;
}

int ctl(const std::string &arguments)
{
    return statusOf(std::system((DORVCTL_BINARY " " + arguments + " >/dev/null 2>&1").c_str()));
}

} // namespace

TEST(Exporter, ServesANodeAtWorkStuckAndDead)
{
    const RunDirectory run;
    run.own();
    Exporter exporter(run.path, "exporter", "60");
    EXPECT_TRUE(has(exporter.page("text/html", "/"), "\"/metrics\""));
    startProgram(HSLD_BINARY, {"hsld", "--chip", "1/0:tessel:4"}, run.path, {}, run.path + "/hsld");
    EXPECT_TRUE(within([&] { return ctl("ctl hsld stat") == 0; })); // a chip-up ahead of it would program nothing
    const int agent = startProgram(DORVALD_BINARY, {"dorvald", "-S", "ethsw", "-s", "1"}, run.path, {"VELMAR_CLOCK="},
                                   run.path + "/dorvald");
    EXPECT_TRUE(within([&] { return ctl("apply " EXAMPLES "/tessel.json") == 0; }));
    const std::string before = wellFormed(exporter.page());
    for (const char *command : {"traffic te1/3 priority=3 rate=30G", "clock step 1", "fault refuse status=7"})
        EXPECT_EQ(ctl(std::string("ctl hsld ") + command), 0);
    EXPECT_EQ(ctl("send COSTRUST ifIndex=te1/3 ifName=te1/3 chip_ifindex=chip1/0"), 1);
    const std::string after = wellFormed(exporter.page()), zero = "{port=\"te1/3\",queue=\"3\"} 0\n";
    for (const char *changed : {"used_bytes", "full", "tail_dropped_frames_total", "sent_bytes_total"})
        EXPECT_TRUE(has(before, changed + zero) && !has(after, changed + zero)) << changed;
    for (const char *is : {"up 1\n", "statistics_up 1\n", "driver_refusals_total 1\n", "failed_messages_total 1\n",
                           "port_dropped_for_reason_frames_total{port=\"te1/3\",reason=\"Tail Drop\"} "})
        EXPECT_TRUE(has(after, std::string("\ndorvald_") + is));
    std::ofstream(run.path + "/text") << exporter.page("text/plain");
    EXPECT_EQ(std::system(("! command -v promtool || promtool check metrics <" + run.path + "/text").c_str()), 0);
    kill(agent, SIGSTOP);
    EXPECT_TRUE(has(Exporter(run.path, "hasty", "0.01").page(), "\ndorvald_agents{role=\"silent\"} 1\n"));
    kill(agent, SIGKILL);
    waitpid(agent, nullptr, 0);
    EXPECT_TRUE(has(wellFormed(exporter.page()), "\ndorvald_up 0\n"));
}
