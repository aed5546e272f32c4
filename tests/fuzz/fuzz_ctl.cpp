// SPDX-License-Identifier: Apache-2.0
// Commands at the agent's control socket: each is answered once, and the agent serves as before.
#include "host/ctl.h"
#include "tests/fuzz/agent.h"
#include "velmar/run.h"

extern "C" int system(const char *)
{
    return 0; // test points start programs of a switch
}

namespace {

int client()
{
    char path[108];
    return velmar_run_bind("ctl", "fuzz", true, path, sizeof path);
}

std::string asked(const fuzzBuffer_t &command)
{
    static const int fd = client();
    static char answer[1 << 18];
    fuzzSendTo(fd, ctlDescriptor(), command);
    ctlServe();
    agentRun(0);
    ssize_t got = recv(fd, answer, sizeof answer, MSG_DONTWAIT);
    for (int part = 0; got < 0 && part < 100000; ++part) { // a long answer takes several
        agentRun(1);
        got = recv(fd, answer, sizeof answer, MSG_DONTWAIT);
    }
    FUZZ_CHECK(got > 0, "no answer to " + fuzzText(command));
    const std::string text(answer, static_cast<size_t>(got));
    FUZZ_CHECK(text == "ok" || text.rfind("ok ", 0) == 0 || text.rfind("ok\n", 0) == 0 || text.rfind("error: ", 0) == 0,
               text);
    FUZZ_CHECK(recv(fd, answer, sizeof answer, MSG_DONTWAIT) < 0, "a second answer to " + fuzzText(command));
    return text;
}

} // namespace

void fuzzOne(const uint8_t *data, size_t size)
{
    agentBegin(1);
    fuzzBytes_t in{data, size};
    for (unsigned n = 0; in.left > 0 && n < 8; n++) {
        const fuzzBuffer_t command = in.take(in.half());
        const std::string text = fuzzText(command);
        if (text.rfind("quit", 0) != 0 && text.find('\0') == std::string::npos)
            asked(command);
    }
    const std::string stat = asked({'s', 't', 'a', 't'});
    FUZZ_CHECK(stat.rfind("ok {\"stage\":", 0) == 0 && stat.back() == '}', stat);
    agentBegin(2);
    agentEnd();
}

void fuzzSeeds(const fuzzAdd_t &add)
{
    for (const std::string &text : fuzzParts(
             "stat|stat x|trace show|trace show 3|trace show 99999999999|trace level 5|trace level -1|clock step 5|"
             "clock step 1e6|clock step nan|stage 1002|stage 1042|stage 0x3e9|stage 7|tp hasyncdump 1|"
             "tp nsm_lib_hareboot 4294967295|msgq 15 0 1 2 3|msgq 18 0 0 2 0|msgq 21 1 2 3 4|msgq 4 26 1 2 3|"
             "msgq 200 255 0x1 2 4294967295|cli show dorvmd interface all|cli  json  chips |cli json memory|"
             "cli json queue|cli show qos vss|help| |%s%n|stage 1002\r\n"))
        add(fuzzHalf(text.size()) + text + fuzzHalf(13) + "trace show 5\n");
    add(fuzzHalf(5000) + std::string(5000, 'a'));
}
