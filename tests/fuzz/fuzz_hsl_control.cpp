// SPDX-License-Identifier: Apache-2.0
// Commands at the driver emulator's control socket, a line each: one answer to each, in a bounded time. "*N TEXT" says
// TEXT N times with the number in the place of each '#', "!HEX" serves a request.
#include <ctime>

#include "hsl/server.h"
#include "tests/fuzz/fuzz.h"

namespace {

constexpr double LIMIT_MS = 1000; // of the processor, under the sanitizers; without them a tenth
constexpr unsigned COMMANDS_MOST = 6000;

double spentMs()
{
    timespec now;
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
    return static_cast<double>(now.tv_sec) * 1e3 + static_cast<double>(now.tv_nsec) / 1e6;
}

void say(hslServer_t &server, const std::string &command)
{
    const double start = spentMs();
    if (command[0] == '!') {
        hslBuffer request;
        hslHexParse(command.substr(1), &request);
        hslServe(server, request, "/none");
    } else {
        const std::string answer = hslControl(server, command);
        FUZZ_CHECK(answer.rfind("ok", 0) == 0 || answer.rfind("error: ", 0) == 0, answer);
        const bool json = answer.rfind("ok {", 0) == 0 || answer.rfind("ok [", 0) == 0;
        FUZZ_CHECK(!json || hslJson::accept(answer.substr(3)), answer);
    }
    server.outbox.clear();
    const double spent = spentMs() - start;
    FUZZ_CHECK(!fuzzIsTimed || spent < LIMIT_MS, std::to_string(spent) + " ms for " + command);
}

void sayAll(hslServer_t &server, const std::string &line, unsigned *left)
{
    char *text = nullptr;
    const unsigned long times = line[0] == '*' ? std::strtoul(line.c_str() + 1, &text, 10) : 1;
    for (unsigned long n = 0; n<times && * left> 0; n++, --*left) {
        std::string command = text ? text + (*text == ' ') : line;
        for (size_t at; text && (at = command.find('#')) != std::string::npos;)
            command.replace(at, 1, std::to_string(n));
        if (!command.empty())
            say(server, command);
    }
}

} // namespace

void fuzzOne(const uint8_t *data, size_t size)
{
    static const bool once = (fuzzRunDirectory(), true);
    (void)once;
    hslServer_t server;
    std::string text(reinterpret_cast<const char *>(data), size);
    unsigned left = COMMANDS_MOST;
    for (size_t at = 0, end; at < text.size(); at = end + 1) {
        end = std::min(text.find('\n', at), text.size());
        if (end != at)
            sayAll(server, text.substr(at, end - at), &left);
    }
    for (auto &[flat, chip] : server.model.chips) {
        FUZZ_CHECK(flat >= 0 && flat < 128 && chip.flat == flat && chip.ports >= 1 && chip.ports <= CHIP_PORTS, "");
        const auto first = hslChipPort(chip, 0), last = hslChipPort(chip, chip.ports - 1);
        FUZZ_CHECK(hslIsPort(first) && hslIsPort(last) && (first != last || chip.ports == 1), std::to_string(last));
        FUZZ_CHECK(hslChipJson(chip, true)["ports"] == chip.ports, "");
    }
    for (const char *command : {"stat", "show", "traffic list", "fault list", "log json 3", "clock step 3600"})
        say(server, command);
    FUZZ_CHECK(hslControl(server, "stat").rfind("ok {", 0) == 0, "");
}

void fuzzSeeds(const fuzzAdd_t &add)
{
    const std::string chips = "chip 1/0:tessel:40\nchip 1/1:larkin:40\nchip 2/0:mirelle:160\nchip 2/1:mirelle2:8\n";
    for (const std::string &lines : fuzzParts(
             "chip 15/7:mirelle2:160:buffers=9M\nchip 15/0:tessel:1\nchip 1/0:tessel:161\nchip 1/0:none:1\n"
             "chip 1/0:tessel:1:buffers=0x10K\nchip 1/0:mirelle:8\nchip 1/0:tessel:99999999999999999999|"
             "stat\nshow\nshow port te1/1\nshow chip 1/0\nshow tcam 1/1 l2\nlog 3\nlog json 9\nclear log\nquit|"
             "event chip-up 1/0\nevent chip-down 2/0\nevent ready\nevent bulk 1/0 2/0\nevent raw 00ff\nclear warnings|"
             "fault refuse status=7 count=3\nfault drop command=0x1\nfault late ms=3\nfault truncate bytes=9\nfault "
             "list|"
             "fault delay ms=5 scope=record\nfault wrong-type type=1\nfault clear\nstall 3\nresume|"
             "data command=1 offset=9 hex=00ff\ndata command=1 offset=4294967295 hex=ff port=3\ndata clear|"
             "traffic te1/1 priority=3 rate=12G\nclock step 1\ntraffic te1/1 pause priority=all on\nclock step 5\nshow|"
             "traffic te1/2@1 dscp=9 cos=3 rate=1.5M kind=broadcast\ntraffic te1/2@1 drop reason=9 rate=9k\nclock step "
             "1|"
             "*40 traffic te1/# priority=5 rate=9G kind=multicast policer=7\nclock step 3600\nclock step 1e9\nshow|"
             "*64 traffic te1/1 dscp=# rate=1M\n*64 traffic te1/2 dscp=# cos=3 rate=2G\n*9 clock step 100\ntraffic "
             "list|"
             "*16 chip #/3:larkin:127\n*127 traffic te3/#@3 cos=1 rate=2G kind=multicast\n*5 clock step 1e3"))
        add(chips + lines);
}
