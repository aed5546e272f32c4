// SPDX-License-Identifier: Apache-2.0
#include "tests/fuzz/agent.h"

#include <iterator>
#include <utility>

#include "agent/bum_monitor.h"
#include "agent/drop_monitor.h"
#include "channels/driver_socket.h"
#include "channels/manager.h"
#include "core/module.h"
#include "core/msgq.h"
#include "core/trace.h"
#include "dorvald/control.h"
#include "dorvald/startup.h"
#include "host/consistency.h"
#include "host/delta.h"
#include "host/socket.h"
#include "host/store.h"
#include "inventory/chips.h"
#include "inventory/interfaces.h"
#include "inventory/slots.h"
#include "lib/lib_instance.h"
#include "lib/views.h"
#include "tests/fuzz/batches.h"
#include "tests/support/stepped_os.h"
#include "tools/values.h"
#include "velmar/run.h"

struct qos_sock_t {
    int driver; // its end of the pair
};

namespace {

constexpr size_t ANSWER_MOST = 60000;

struct agent_t {
    fuzzBytes_t answers;
    fuzzBuffer_t before; // the last answer
    int managers[2];     // of qosMI and qosMIStats
    int ends[9];         // of the driver, by group
    qosModule_t modules[QOS_MODULES];
    uint32_t kind;          // the type of the chip
    uint32_t blocks, bytes; // of the empty store
    std::vector<fuzzBuffer_t> requests;
};
agent_t agent;

// ---- The driver

void give(int fd, const fuzzBuffer_t &datagram)
{
    (void)!send(fd, datagram.data(), datagram.size(), MSG_DONTWAIT | MSG_NOSIGNAL);
}

// An answer of the length that was asked for, with the request's bytes in it; what the input does to it may meet the
// status, the sequence, the type, the command or the lengths.
enum how_t : uint8_t { RECORD = 1, PATCHED = 2, CUT = 4, LATE = 8, TWICE = 16, NOTHING = 32 };

void drive(int fd, const fuzzBuffer_t &request)
{
    fuzzBytes_t &in = agent.answers;
    const uint8_t how = in.byte();
    fuzzBuffer_t record(request.begin() + NL_RECORD_OFFSET, request.end());
    record.resize(std::clamp<size_t>(fuzzWord(request, 44), sizeof(cosHdr_t), ANSWER_MOST));
    const auto asked = reinterpret_cast<const qosNLHdr_t *>(request.data());
    fuzzBuffer_t answer = agentFrame(asked->type, DRV_KIND_IOCTL, record);
    reinterpret_cast<qosNLHdr_t *>(answer.data())->seq = asked->seq;
    if (how & RECORD)
        in.over(answer, NL_RECORD_OFFSET + sizeof(be32), in.half());
    if (how & PATCHED)
        in.over(answer, in.half() % answer.size(), 1 + in.byte() % 8);
    if (how & CUT)
        answer.resize(in.half() % answer.size());
    if (how & LATE)
        give(fd, agent.before);
    for (int n = how & NOTHING ? 0 : how & TWICE ? 2 : 1; n > 0; n--)
        give(fd, answer);
    agent.before = answer;
}

} // namespace

int qosOpen()
{
    int pair[2];
    if (socketpair(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0, pair) != 0)
        return -1;
    socket_slots[pair[0]] = {nullptr, new qos_sock_t{pair[1]}};
    return pair[0];
}

int qosBind(qos_sock_t *sock, int, const void *address, size_t)
{
    agent.ends[static_cast<const qosSockAddr_t *>(address)->group] = sock->driver;
    return 0;
}

ssize_t qosSend(qos_sock_t *sock, int, const msghdr *message, int)
{
    const auto from = static_cast<const uint8_t *>(message->msg_iov->iov_base);
    const fuzzBuffer_t request(from, from + message->msg_iov->iov_len);
    FUZZ_CHECK(request.size() >= NL_RECORD_OFFSET + sizeof(dceHdr_t), std::to_string(request.size()));
    agent.requests.push_back(request);
    drive(sock->driver, request);
    return static_cast<ssize_t>(request.size());
}

ssize_t qosReceive(qos_sock_t *, int fd, msghdr *message, int flags)
{
    const ssize_t got = recvmsg(fd, message, flags | MSG_DONTWAIT);
    if (got < 0 && errno == EAGAIN && !(flags & MSG_DONTWAIT))
        errno = ETIMEDOUT;
    return got;
}

void qosClose(qos_sock_t *sock)
{
    delete sock;
}

// ---- The agent

namespace {

void initialise()
{
    fuzzRunDirectory();
    setenv("VELMAR_VSS", "manual", 1);
    for (int i = 0; i < 2; i++) {
        char path[108];
        agent.managers[i] = velmar_run_bind("mi6", i ? "qosMIStats.mgr" : "qosMI.mgr", true, path, sizeof path);
    }
    qos_velmar_state.progname = "dorvald";
    qos_velmar_state.is_agent = 1;
    qosInitSlotTable();
    FUZZ_CHECK(qos_trace_init(284, 200, LIB_PROTO_DORVALD) == 0 && qaInit() == 0, "the agent does not start");
    FUZZ_CHECK(qosInitHSLMgrSock() == 0, "");
    qosOfferControl();
    thread_asp_start(qos_velmar_state.lib, qosMsgQServer, qos_velmar_state.msgq);
    memcpy(agent.modules, qos_modules, sizeof agent.modules);
    deltaKeepStart();
}

// A message as a person writes it: its status.
uint32_t ask(const std::string &message)
{
    std::istringstream in(message);
    const std::vector<std::string> words(std::istream_iterator<std::string>(in), {});
    const fuzzBuffer_t sent = ctlEncode(ctlParseWords(words, {}));
    agentSendRaw(AGENT_MI, agentFrom(sent));
    fuzzBuffer_t echo;
    for (const fuzzBuffer_t &heard : agentHeard())
        if (heard.size() == sent.size() && heard[0] == sent[0])
            echo = heard;
    FUZZ_CHECK(!echo.empty() && echo[4] == 1, "no answer to " + message);
    return fuzzWord(echo, echo.size() - 4);
}

void chipUp(uint32_t type)
{
    FUZZ_CHECK(ask("CHIPUP chip_ifindex=chip1/0 slot_id=1 num_ports=3 num_ingr_policer_ids=64 num_egr_policer_ids=64 "
                   "num_policer_groups=2 numChipBuffPools=1 chipBuffers=1048576 portInfo.ifindex=te1/1..te1/3 "
                   "portInfo.polGroupId=0,1,0 chip_type=" +
                   std::to_string(type)) == 0,
               "");
}

void portUp(unsigned n)
{
    FUZZ_CHECK(ask("IFADD ifName=te1/1 ifIndex=" + std::to_string(fuzzPort(n))) == 0, std::to_string(n));
}

void checkPort()
{
    chipUp(agent.kind);
    ask("IFDEL ifIndex=te1/1");
    portUp(0);
    ask("COSTRUST ifIndex=te1/1 chip_ifindex=chip1/0");
}

void removeChips()
{
    std::vector<qosChipCap_t> chips;
    for (const qosChip_t &chip : avlView<const qosChip_t>(qosChipTable)) {
        chips.emplace_back();
        chips.back().chip_ifindex = chip.chip_ifindex;
        chips.back().slot = static_cast<uint32_t>(chip.slot_id);
    }
    qos_velmar_state.is_agent = 0; // an agent never gives up a chip
    for (const qosChipCap_t &chip : chips)
        FUZZ_CHECK(qosProcessChipDown(&chip) == 0, "");
    qos_velmar_state.is_agent = 1;
    FUZZ_CHECK(avl_get_tree_size(qosIfTable) == 0 && avl_get_tree_size(qosChipTable) == 0, "");
}

void checkMemory()
{
    for (const qosModule_t &module : qos_modules)
        for (unsigned type = 0; type < QOS_MEM_TYPES; type++)
            FUZZ_CHECK(module.allocs[type] == module.frees[type] && module.bytes[type] == 0 && module.errors[type] == 0,
                       std::string(module.name) + " " + std::to_string(type));
    FUZZ_CHECK(store_totals.blocks == agent.blocks && store_totals.bytes == agent.bytes,
               std::to_string(store_totals.blocks) + " blocks of " + std::to_string(store_totals.bytes) + " bytes");
}

} // namespace

void agentBegin(uint8_t kind)
{
    static const bool once = (initialise(), true);
    (void)once;
    agent.answers = {};
    agent.requests.clear();
    fake_os::timeouts.clear();
    qaDropMonitorSchedulePeriodicRoutine(0);
    qaBumSchedulePeriodicRoutine(0);
    memcpy(qos_modules, agent.modules, sizeof agent.modules);
    qos_velmar_state.stage = QOS_STAGE_DONE;
    dce_trace_lvl_set(kind & 4 ? VELMAR_DCEDBG_LVL_VERBOSE : VELMAR_DCEDBG_LVL_ERR);
    deltaBackToStart();
    qosInitSlotTable();
    qos_global_slot_rdy_cnt = 0;
    FUZZ_CHECK(qosInitChipTable() == 0 && qosInitIfTable() == 0, "");
    agent.blocks = store_totals.blocks;
    agent.bytes = store_totals.bytes;
    agentRun(0);
    agentHeard();
    agent.kind = kind % 4;
    chipUp(agent.kind);
    for (unsigned n = 0; n < 3; n++)
        portUp(n);
}

std::vector<fuzzBuffer_t> agentRequests()
{
    return std::exchange(agent.requests, {});
}

void agentDriver(fuzzBytes_t answers)
{
    agent.answers = answers;
}

void agentRun(unsigned ms)
{
    fake_os::until_us = fake_os::now_us + ms * int64_t{1000};
    for (thread event; thread_fetch(qos_velmar_state.lib, &event);) {
        thread_call(&event);
        fake_os::until_us = std::max(fake_os::until_us, fake_os::now_us);
        if (qos_velmar_state.stage != QOS_STAGE_STANDBY)
            qosHaSync();
    }
}

std::vector<fuzzBuffer_t> agentHeard()
{
    std::vector<fuzzBuffer_t> list;
    static uint8_t bytes[1 << 16];
    for (const int fd : agent.managers)
        for (ssize_t got; (got = recv(fd, bytes, sizeof bytes, MSG_DONTWAIT)) >= 0;) {
            FUZZ_CHECK(got > 20 + 4, std::to_string(got));
            list.emplace_back(bytes + 20, bytes + got);
        }
    return list;
}

void agentSendRaw(agentSocket_t to, const fuzzBuffer_t &datagram)
{
    const int32_t sockets[] = {qos_velmar_state.mi_sock, qos_velmar_state.mi_stats_sock};
    if (to == AGENT_EVENTS || to == AGENT_COMMANDS)
        give(agent.ends[to == AGENT_EVENTS ? 6 : 1], datagram);
    else
        fuzzSendTo(agent.managers[0], sockets[to], datagram);
    agentRun(0);
}

void agentSend(agentSocket_t to, const fuzzBuffer_t &batch)
{
    agentHeard();
    agentSendRaw(to, agentFrom(batch));
    const ctlDecoded_t sent = ctlDecode(batch);
    if (!sent.fault.empty() || sent.messages.empty() || batch.size() > MI_RXMSG_SIZE)
        return;
    for (const fuzzBuffer_t &heard : agentHeard())
        if (heard.size() == batch.size() && ctlIsEcho(sent.messages, ctlDecode(heard).messages))
            return;
    FUZZ_CHECK(false, "no echo of " + ctlFormatHex(batch.data(), batch.size()));
}

fuzzBuffer_t agentFrame(uint16_t type, uint32_t kind, const fuzzBuffer_t &record)
{
    struct {
        qosNLHdr_t frame;
        qosDriverHdr_t driver;
    } head = {};
    head.frame.length = static_cast<uint32_t>(sizeof head + record.size());
    head.frame.type = type;
    head.driver.kind = kind;
    head.driver.response_length = static_cast<uint32_t>(record.size());
    fuzzBuffer_t datagram = fuzzBytesOf(head);
    datagram.insert(datagram.end(), record.begin(), record.end());
    datagram.resize((datagram.size() + 3) / 4 * 4 + sizeof(qosNLHdr_t));
    auto end = reinterpret_cast<qosNLHdr_t *>(&*datagram.end() - sizeof(qosNLHdr_t));
    end->length = sizeof *end;
    end->type = NLM_DONE;
    return datagram;
}

fuzzBuffer_t agentFrom(const fuzzBuffer_t &payload)
{
    mi6_addr_t head = {};
    head.family = static_cast<uint16_t>(AF_MI6);
    head.flags = MI6_MANAGER;
    fuzzBuffer_t datagram = fuzzBytesOf(head);
    datagram.insert(datagram.end(), payload.begin(), payload.end());
    return datagram;
}

fuzzBuffer_t agentMessage(uint8_t code, const fuzzBuffer_t &body)
{
    fuzzBuffer_t message = {code, static_cast<uint8_t>(body.size() >> 8), static_cast<uint8_t>(body.size()), 7, 0};
    message.insert(message.end(), body.begin(), body.end());
    return message;
}

// Records behind the fixed part come by their number.
fuzzBuffer_t agentMessageFrom(fuzzBytes_t &in)
{
    const auto code = static_cast<uint8_t>(in.byte() % QOS_MSG_CODES);
    const uint8_t records = in.byte();
    const wireBody &described = ctlBodyOf(*qosMsgInfo(code));
    const ctlTail_t tail = ctlTailOf(described);
    const size_t size = tail.stride == 0 ? described.size : tail.head + size_t{records} * tail.stride;
    fuzzBuffer_t body = in.take(std::min<size_t>(size, 8000));
    body.resize(std::min<size_t>(size, 8000));
    return agentMessage(code, body);
}

std::vector<uint32_t> agentDump()
{
    delta_t dump = {};
    deltaWhole(&dump);
    deltaCommit(&dump, 0);
    return dump.words;
}

void agentRemovePorts()
{
    std::vector<uint32_t> ports;
    for (const qosIf_t &port : avlView<const qosIf_t>(qosIfTable))
        ports.push_back(port.ifIndex);
    for (const uint32_t port : ports)
        ask("IFDEL ifIndex=" + std::to_string(port));
}

void agentCheck()
{
    agent.answers = {};
    agentRun(0);
    agentHeard();
    checkPort();
    const std::string wrong = consistencyOfStore();
    FUZZ_CHECK(wrong.empty(), wrong);
}

void agentEnd()
{
    agentCheck();
    agentRemovePorts();
    removeChips();
    checkMemory();
}

fuzzBuffer_t agentGood(unsigned code, uint8_t byte, size_t records)
{
    const wireBody &body = ctlBodyOf(*qosMsgInfo(code));
    ctlMessage_t message = fuzzMessage(code, byte, records);
    for (const char *name : {"ifIndex", "ifindex", "data.ifindex", "stats_clr_data.ifindex"})
        if (const wireField *field = ctlField(body, name))
            for (size_t n = 0; n < ctlCount(body, *field, message.body.size()); n++)
                ctlWriteInteger(*field, message.body, n, fuzzPort(static_cast<unsigned>(n) % 3));
    for (const char *name : {"chip_ifindex", "chipIfIndex"})
        if (const wireField *field = ctlField(body, name))
            ctlWriteInteger(*field, message.body, 0, FUZZ_CHIP);
    return agentMessage(message.code, message.body);
}

std::string agentSeed(uint8_t kind, const std::string &script, const std::string &answers)
{
    return static_cast<char>(kind) + fuzzHalf(script.size()) + script + answers;
}
