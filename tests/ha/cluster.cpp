// SPDX-License-Identifier: Apache-2.0
// Processes, sockets and the driver's answers of a cluster.
#include "tests/ha/cluster.h"

#include <sys/syscall.h>

#include "platform/records/frame.h"
#include "platform/records/larkin.h"
#include "tests/support/mi6.h"

namespace {

constexpr int PATIENCE_MS = 20000;
constexpr size_t RECORD = 48;
constexpr size_t HEADS = 32; // driver header and command
// Records that are written field by field over what the buffer held, so that two agents may send different rests.
constexpr uint32_t UNCLEARED[] = {COS_L2_PRI_MAP,         COS_DEF_COS,  COS_SCHEDULER, COS_PORT_SHAPER,
                                  DCE_TCAM_CREATE_REGION, COS_SBP_SIZE, COS_TMC_INFO,  COS_STATS_CLEAR};
constexpr uint32_t POLLS[] = {COS_STATS_READ, COS_BULK}; // what the monitors read, at times of their own

bool isUncleared(const Bytes &request)
{
    const uint32_t command = get32(request, RECORD);
    return std::count(std::begin(UNCLEARED), std::end(UNCLEARED), command) > 0 ||
           (command == DCE_CCB_SET && request[RECORD + 6] == LARK_SCHEDULER);
}

} // namespace

Cluster::Cluster()
    : run(makeRunDir()), manager(run + "/mi6/qosMI.mgr." + std::to_string(getpid())), client(run + "/client"),
      driver(std::make_unique<Driver>(run))
{
    driver->always([this](const Bytes &request) { return answer(request); });
}

Cluster::~Cluster()
{
    while (!agents.empty())
        kill(agents.begin()->first);
    std::filesystem::remove_all(run);
}

int Cluster::start(KillAt kill_at, const std::string &binary)
{
    const int pid =
        startProgram(binary.empty() ? DORVALD_POINTS_BINARY : binary, {"dorvald", "-s", "1", "-S", "ethsw"}, run,
                     {"VELMAR_VSS=auto", "VELMAR_FAULTS=" + faults, "VELMAR_KILL_AT=" + std::to_string(kill_at.point),
                      "VELMAR_KILL_AT_COMMIT=" + std::to_string(kill_at.commit)},
                     run + "/stderr", prepare);
    agents[pid] = static_cast<int>(syscall(SYS_pidfd_open, pid, 0));
    return pid;
}

std::optional<int> Cluster::reaped(int pid, int timeout_ms)
{
    int status = 0;
    if (!ready(agents.at(pid), timeout_ms) || waitpid(pid, &status, 0) != pid)
        return {};
    close(agents.at(pid));
    agents.erase(pid);
    return status;
}

bool Cluster::ended(int pid, int timeout_ms)
{
    const std::optional<int> status = reaped(pid, timeout_ms);
    EXPECT_TRUE(!status || (WIFSIGNALED(*status) && WTERMSIG(*status) == SIGKILL))
        << *status << ' ' << slurp(run + "/stderr");
    return status.has_value();
}

int Cluster::status(int pid)
{
    const std::optional<int> status = reaped(pid, PATIENCE_MS);
    EXPECT_TRUE(status) << pid << " goes on";
    return status ? statusOf(*status) : -1;
}

void Cluster::kill(int pid)
{
    ::kill(pid, SIGKILL);
    EXPECT_TRUE(ended(pid, PATIENCE_MS));
}

std::string Cluster::ctl(int pid, const std::string &command)
{
    const std::string path = run + "/ctl/dorvald." + std::to_string(pid);
    for (int ms = 0; ms < PATIENCE_MS && !ready(agents.at(pid), 1); ++ms)
        if (client.send(path, command)) {
            pollfd entries[] = {{client.fd, POLLIN, 0}, {agents.at(pid), POLLIN, 0}};
            poll(entries, 2, PATIENCE_MS);
            return client.receiveText(0);
        }
    return "";
}

bool Cluster::logged(int pid, const std::string &part)
{
    const std::string mark = "[" + std::to_string(pid) + "]: ";
    bool gone = false; // what a dead one has logged is there
    for (int ms = 0; ms < PATIENCE_MS && !gone; ++ms) {
        gone = ready(agents.at(pid), ms > 0);
        std::istringstream in(log().substr(read[pid]));
        for (std::string line; std::getline(in, line) && !in.eof();)
            if (line.find(mark) != std::string::npos && line.find(part) != std::string::npos) {
                read[pid] += static_cast<size_t>(in.tellg());
                last = line;
                return true;
            }
    }
    ADD_FAILURE() << pid << ": nothing logged of: " << part << '\n' << log() << slurp(run + "/stderr");
    return false;
}

void Cluster::lead(int pid)
{
    EXPECT_TRUE(logged(pid, "this process is active"));
    const auto registration = [](const Bytes &message) { return message.size() == 9 && message[0] == 0; };
    while (std::erase_if(unasked, registration) == 0)
        ASSERT_TRUE(listen()) << "no registration";
}

void Cluster::join(int pid)
{
    EXPECT_TRUE(logged(pid, "this process holds a dump"));
}

bool Cluster::send(int pid, const Bytes &batch) const
{
    return manager.send(run + "/mi6/qosMI.lc1." + std::to_string(pid), mi6Head("qosMI", 8, 0) + batch);
}

Bytes Cluster::echo(int pid)
{
    const auto answers = [](const Bytes &message) { return message.size() > 4 && message[3] == 0x77; };
    do {
        pollfd entries[] = {{manager.fd, POLLIN, 0}, {agents.at(pid), POLLIN, 0}};
        EXPECT_GT(poll(entries, 2, PATIENCE_MS), 0) << "no answer from " << pid;
        if (!listen(0)) // what it sent before it died was there before its end
            return {};
    } while (!answers(unasked.back()));
    const Bytes found = unasked.back();
    unasked.pop_back();
    return found;
}

bool Cluster::dead(int pid)
{
    return ready(agents.at(pid), 0);
}

bool Cluster::answered(int timeout_ms)
{
    return ready(manager.fd, timeout_ms);
}

bool Cluster::listen(int timeout_ms)
{
    const Bytes got = manager.receive(timeout_ms).bytes;
    if (!got.empty())
        unasked.push_back(cut(got, 20, got.size()));
    return !got.empty();
}

Bytes Cluster::exchange(int pid, const Bytes &batch)
{
    return send(pid, batch) ? echo(pid) : Bytes();
}

std::vector<Request> Cluster::requests()
{
    const Bytes mark = {1};
    std::vector<Bytes> all = std::exchange(kept, {});
    manager.send(run + "/qos/driver", mark);
    while (std::ranges::find(all, mark) == all.end()) // a poll may come behind it
        for (const Bytes &request : driver->await(1))
            all.push_back(request);
    std::vector<Request> found;
    for (const Bytes &request : all)
        if (request != mark)
            found.push_back({std::count(POLLS, POLLS + 2, get32(request, RECORD)) > 0, getNative(request, 4, 2),
                             getNative(request, 8, 4),
                             cut(request, 20, isUncleared(request) ? HEADS : request.size())});
    return found;
}

void Cluster::tamper(std::function<std::vector<Bytes>(const Bytes &request, std::vector<Bytes> good)> with)
{
    driver->always([this, with](const Bytes &request) { return with(request, answer(request)); });
}

void Cluster::driverIs(bool there)
{
    if (!there) {
        kept = driver->requests();
        return driver.reset();
    }
    driver = std::make_unique<Driver>(run);
    tamper([](const Bytes &, std::vector<Bytes> good) { return good; });
}

// The same request always gets the same answer.
std::vector<Bytes> Cluster::answer(const Bytes &request)
{
    if (request.size() < RECORD + 4)
        return {};
    std::vector<Bytes> replies = chipReply(chip)(request);
    Bytes &reply = replies.at(0);
    const uint32_t command = get32(request, RECORD);
    const uint32_t length = get32(request, 44);
    const auto set = [&](size_t at, uint32_t value) {
        if (at + 4 <= length)
            put32(reply, RECORD + at, value);
    };
    if (isUncleared(request)) // an echo of what nobody put there would be told to the manager
        std::fill(reply.begin() + RECORD + 28, reply.begin() + RECORD + std::max<uint32_t>(length, 28), 0);
    const bool is_cos = (command >> 16 & 0xf) == 7;
    const bool refuses = refused && (command * 2654435761U ^ refused) % 11 == 0;
    if (command == COS_SBP_SIZE)
        set(28, 6000000);
    if (command == DCE_CCB_GET) {
        set(12, 9000000);
        set(16, 400000);
    }
    if (command == DCE_TCAM_ADD) { // a handle
        set(12, get32(request, RECORD + 56));
        set(32, get32(request, RECORD + 56) ^ get32(request, 20));
    }
    if (is_cos)
        set(24, refuses ? 3 : 0);
    else if (length >= 8)
        reply[RECORD + 7] = refuses ? 3 : 0;
    return replies;
}
