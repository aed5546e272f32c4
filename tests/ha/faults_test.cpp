// SPDX-License-Identifier: Apache-2.0
// Every named fault, put into an active process or a standby under traffic, at a count of its place: while little
// happens, in a batch, in a dump and at a takeover. What must hold then is the same for all; rows say the rest.

#include "platform/records/frame.h"
#include "tests/ha/duo.h"
#include "tests/ha/mirror.h"

namespace {

constexpr const char *HOLDS = "this process holds a dump";

// Who is the victim, and when.
enum Moment : unsigned {
    A_IDLE = 1 << 0,
    A_BATCH = 1 << 1,
    A_DUMP = 1 << 2, // while a further standby joins
    A_TAKES = 1 << 3,
    S_IDLE = 1 << 4,
    S_BATCH = 1 << 5,
    S_DUMP = 1 << 6,  // the further standby itself
    S_TAKES = 1 << 7, // a standby of who takes over
};
constexpr unsigned A_TRAFFIC = A_IDLE | A_BATCH | A_TAKES, A_ALL = A_TRAFFIC | A_DUMP;
constexpr unsigned S_TRAFFIC = S_IDLE | S_BATCH | S_TAKES, S_ALL = S_TRAFFIC | S_DUMP;
constexpr const char *MOMENTS[] = {"active, idle",          "active, in a batch",    "active, in a dump",
                                   "active, at a takeover", "standby, idle",         "standby, in a batch",
                                   "standby, in a dump",    "standby, at a takeover"};

enum How : unsigned {
    SPOILS = 1 << 0, // a standby's copy is gone until its next dump
    STOPS = 1 << 1,  // the victim, until SIGCONT
    ENDS = 1 << 2,   // likewise, in order
    DIES = 1 << 3,
    MUTE = 1 << 4,  // the message that meets it is not answered
    MAY = 1 << 5,   // a message may have that status, else one must
    STEPS = 1 << 6, // a request takes its whole limit
};

struct Trial;
struct Row {
    const char *name;
    unsigned when;
    unsigned how = 0;
    const char *line = nullptr;      // of the event log
    uint32_t status = 0;             // of messages that meet it
    void (*make)(Trial &) = nullptr; // where the process itself does not
    void (*unmake)(Trial &) = nullptr;
};

std::vector<Bytes> split(const Bytes &batch)
{
    std::vector<Bytes> messages;
    for (size_t at = 0, length; at + 5 <= batch.size(); at += length) {
        length = 5 + (size_t{batch[at + 1]} << 8 | batch[at + 2]);
        messages.push_back(cut(batch, at, length));
    }
    return messages;
}

struct Trial : Duo {
    Trial(const Row &its_row, unsigned passage) : row(its_row), fault(row.name), number(std::to_string(passage))
    {
        live = {first, second};
        active = first;
    }

    Bytes cosMap() // one request to the driver
    {
        Bytes body = l2Body(portNumber(1 + ++n % PORTS), CHIP, 0, 0);
        set(body, QOS_COSMAP_MSG, Field{"cos_map", n, 1}, Field{"tc_map", n >> 8, 1});
        return message(QOS_COSMAP_MSG, body, 0x77);
    }
    Bytes ifAdd() { return message(QOS_IFADD_MSG, ifAddBody(CHANNEL + ++n, "c"), 0x77); }

    static bool answers(const Bytes &echoed, const Bytes &batch)
    {
        const Bytes one = split(echoed).at(0), other = split(batch).at(0);
        return cut(one, 5, one.size() - 9) == cut(other, 5, other.size() - 9);
    }

    // A manager's batch, which reaches all. An answer is on record; a death is told by none.
    void tell(Bytes batch)
    {
        for (const int pid : live) // ahead of the active one: later they might be it, and at once beside one that ends
            if (pid != active && !(row.how & ENDS))
                send(pid, batch);
        within([&] { return send(active, batch) || dead(active); });
        if ((row.how & MUTE) && told.empty())
            send(active, batch = cosMap());
        for (int i = 0; (row.how & STEPS) && !answered(100) && i < 200; ++i)
            ctl(active, "clock step 16");
        Bytes got = echo(active);
        if (!pending.empty() && !got.empty() && answers(got, pending)) { // who took over got it after it had
            told.push_back(std::exchange(pending, {}));
            echoes.push_back(std::exchange(got, echo(active)));
        }
        if (got.empty()) {
            pending = batch;
            told_then = told.size();
            gone(active);
            return;
        }
        told.push_back(batch);
        echoes.push_back(got);
    }
    // Goes on until the fault has been met.
    void traffic(bool batches)
    {
        for (int i = 0; i < 3; ++i) {
            tell(ifAdd());
            tell(batches ? ifAdd() + cosMap() + cosMap() + ifAdd() + cosMap() : cosMap());
        }
        EXPECT_TRUE(within([&] { return met() || (tell(cosMap()), false); })) << "the fault was never met";
        tell(cosMap()); // behind it
    }
    bool met()
    {
        if (row.make || std::count(live.begin(), live.end(), victim) == 0)
            return true;
        const std::string list = ctl(victim, "fault");
        const size_t at = list.find("\n" + fault + " ");
        return at == std::string::npos || list.compare(list.find("bites", at), 8, "bites 0 ") != 0;
    }

    void gone(int pid)
    {
        std::erase(live, pid);
        if (row.how & ENDS)
            EXPECT_EQ(status(pid), 0);
        else
            EXPECT_TRUE(ended(pid, 60000));
        if (pid == active)
            follow();
    }
    bool leads(int pid) { return ctl(pid, "stat").find("\"role\":\"active\"") != std::string::npos; }
    void follow() // until one of those that live leads
    {
        ++leaders;
        active = 0;
        EXPECT_TRUE(within([&] {
            for (const int pid : live)
                active = (pid != victim || !(row.how & (ENDS | DIES))) && leads(pid) ? pid : active;
            return active != 0;
        })) << log();
    }
    // A stopped victim stands still and nobody takes its place; then it goes on.
    void wake(std::stop_token over)
    {
        siginfo_t info = {};
        for (; !over.stop_requested() && info.si_pid != victim; usleep(500))
            waitid(P_PID, static_cast<id_t>(victim), &info, WSTOPPED | WNOHANG);
        const std::string text = log();
        for (size_t at = 0; (at = text.find("this process is active", at) + 1) > 0;)
            ++led_then;
        ::kill(victim, info.si_pid == victim ? SIGCONT : 0);
    }
    // Where this stands in the event log, or on standard error, once it does.
    size_t find(const std::string &part, size_t from = 0)
    {
        size_t at = 0;
        EXPECT_TRUE(within([&] {
            at = (log() + slurp(run + "/stderr")).find(part, from);
            return at != std::string::npos;
        })) << part
            << log();
        return at;
    }
    // Until every standby counts, and has as many blocks and bytes: it counts from before its dump leaves.
    void settle()
    {
        const std::string all = "\"standbys\":" + std::to_string(live.size() - 1) + ",";
        EXPECT_TRUE(within([&] {
            const std::string text = ctl(active, "stat");
            const size_t from = std::min(text.size(), text.find("\"blocks\"")), end = text.find("\"syncs\"");
            return text.find(all) != std::string::npos && std::all_of(live.begin(), live.end(), [&](int pid) {
                       return ctl(pid, "stat").find(text.substr(from, end - from)) != std::string::npos;
                   });
        })) << log();
    }

    const Row &row;
    const std::string fault, number;
    std::vector<int> live;
    int active, victim = 0;
    unsigned leaders = 1;
    std::atomic<size_t> led_then{0};
    uint32_t n = 0;
    std::vector<Bytes> told, echoes;
    Bytes pending; // not acknowledged
    size_t told_then = 0;
    std::unique_ptr<Socket> other;
    std::jthread feed;
};

// ---- What others do

// What the driver answers from here on, by how many answers came before.
void answers(Trial &trial, const std::function<std::vector<Bytes>(unsigned before, const Bytes &good)> &make)
{
    trial.tamper([make, before = std::make_shared<unsigned>(0)](const Bytes &, const std::vector<Bytes> &good) {
        return make((*before)++, good.at(0));
    });
}

constexpr auto GOOD = [](Trial &trial) { trial.tamper([](const Bytes &, std::vector<Bytes> good) { return good; }); };

// Nothing comes in the 15 seconds, and with `later` it comes ahead of the next answer.
void loses(Trial &trial, bool later)
{
    trial.other = std::make_unique<Socket>(trial.run + "/stepper");
    const std::string control = trial.run + "/ctl/dorvald." + std::to_string(trial.victim);
    answers(trial, [=, &trial, held = std::make_shared<Bytes>()](unsigned before, const Bytes &good) {
        if (before > 0)
            return before == 1 && later ? std::vector<Bytes>{*held, good} : std::vector<Bytes>{good};
        *held = good;
        trial.other->send(control, std::string("clock step 16"));
        EXPECT_EQ(trial.other->receiveText(), "ok");
        return std::vector<Bytes>();
    });
}

constexpr auto LATE = [](Trial &trial) { loses(trial, true); };
constexpr auto LOST = [](Trial &trial) { loses(trial, false); };
constexpr auto TWICE = [](Trial &trial) {
    answers(trial, [](unsigned before, const Bytes &good) { return std::vector<Bytes>(before ? 1 : 2, good); });
};
constexpr auto OTHER_NUMBER = [](Trial &trial) {
    answers(trial, [](unsigned before, Bytes good) {
        putNative(good, 8, 4, before ? getNative(good, 8, 4) : 77777);
        return std::vector<Bytes>{good};
    });
};
constexpr auto ERROR_FRAME = [](Trial &trial) {
    answers(trial, [](unsigned before, const Bytes &good) {
        return std::vector<Bytes>{before ? good : withEnd(frame(2, 1, Bytes(4)))};
    });
};
constexpr auto GOES = [](Trial &trial) { trial.driverIs(false); };
constexpr auto COMES = [](Trial &trial) { trial.driverIs(true); };
constexpr auto STORMS = [](Trial &trial) {
    trial.feed = std::jthread([&trial, pid = trial.victim] {
        for (int i = 0; i < 2000; ++i)
            trial.storm(pid, eventFrame(101, 77, Bytes(8)));
    });
};
constexpr auto CALMS = [](Trial &trial) { trial.feed.join(); };
// A second manager, which never reads, or has left nothing but its name.
constexpr auto SILENT_MANAGER = [](Trial &trial) {
    trial.other = std::make_unique<Socket>(trial.run + "/mi6/qosMI.mgr." + std::to_string(getpid()) + ".2");
};
constexpr auto GONE_MANAGER = [](Trial &trial) {
    SILENT_MANAGER(trial);
    close(std::exchange(trial.other->fd, -1));
};
constexpr auto SILENT_CLIENT = [](Trial &trial) {
    trial.other = std::make_unique<Socket>(trial.run + "/silent");
    for (int i = 0; i < 300; ++i)
        trial.other->send(trial.run + "/ctl/dorvald." + std::to_string(trial.victim), std::string("stat"));
};

constexpr const char *NEXT = "a new dump is needed: it is not the next one", *REFUSED = "a dump is refused",
                     *ANEW = "was removed or replaced, it is made anew";

const Row ROWS[] = {
    {"alloc", A_TRAFFIC, 0, nullptr, 2},
    {"alloc", S_ALL, SPOILS, "no memory"},
    {"arena-full", A_TRAFFIC, 0, nullptr, 2},
    {"arena-full", S_ALL, SPOILS, "no memory"},
    {"page-protect", A_TRAFFIC, SPOILS, "the machine has no mapping left to follow changes by, all standbys need"},
    {"dump-memory", A_DUMP, 0, "no standby is served, there is no memory for a dump"},
    {"dump-memory", S_DUMP, 0, "this process keeps what it had: there is no memory to check it"},
    {"driver-send-blocks", A_TRAFFIC, 0, nullptr, 13},
    {"driver-send-refused", A_TRAFFIC},
    {"driver-send-fails", A_TRAFFIC, 0, nullptr, 13},
    {"driver-receive-cut", A_TRAFFIC, 0, nullptr, 14},
    {"driver-receive-reset", A_TRAFFIC},
    {"manager-send-blocks", A_TRAFFIC},
    {"manager-send-refused", A_TRAFFIC},
    {"manager-receive-cut", A_IDLE | A_TAKES, MUTE},
    {"standby-send-blocks", A_ALL, SPOILS, "does not read and is cut off"},
    {"standby-send-fails", A_ALL, SPOILS, "is lost: Broken pipe"},
    {"dump-cut", A_DUMP, 0, REFUSED},
    {"copy-old", A_DUMP},
    {"delta-cut", A_TRAFFIC, SPOILS, "an update is refused, a new dump is needed"},
    {"delta-lost", A_TRAFFIC, SPOILS, NEXT},
    {"delta-repeated", A_TRAFFIC, SPOILS, NEXT},
    {"delta-reordered", A_TRAFFIC, SPOILS, NEXT},
    {"packet-cut", A_DUMP, 0, "cannot be understood"},
    {"packet-cut", S_ALL, SPOILS, "lost the active process: Protocol error"},
    {"descriptors", A_ALL | S_TRAFFIC},
    {"disk-full", A_DUMP | A_TAKES, 0, "No space left on device"},
    {"disk-full", S_DUMP | S_TAKES, 0, "No space left on device"},
    {"read-only", A_DUMP | A_TAKES | S_TAKES, 0, "Read-only file system"},
    {"lock-truncated", A_ALL | S_TRAFFIC},
    {"lock-removed", A_ALL | S_TRAFFIC},
    {"lock-foreign", A_ALL | S_TRAFFIC},
    {"trace-truncated", A_ALL | S_ALL, 0, "was cut short and is made anew"},
    {"listener-removed", A_TAKES}, // before it has one
    {"listener-removed", A_IDLE | A_BATCH | A_DUMP, 0, "the name of the replication socket was removed"},
    {"names-removed", A_IDLE | A_TAKES | S_IDLE | S_DUMP, MAY | STEPS, ANEW, 28},
    {"clock-forward", A_ALL | S_ALL, MAY, nullptr, 28},
    {"clock-back", A_ALL | S_ALL},
    {"slow", A_ALL | S_ALL},
    {"stopped", A_ALL | S_ALL, STOPS},
    {"terminated", A_ALL | S_ALL, ENDS},
    {"hangup", A_ALL | S_ALL},
    {"killed", A_ALL | S_ALL, DIES},
    {"driver-late", A_TRAFFIC, 0, nullptr, 28, LATE, GOOD},
    {"driver-lost", A_TRAFFIC, 0, nullptr, 28, LOST, GOOD},
    {"driver-repeated", A_TRAFFIC, 0, nullptr, 0, TWICE, GOOD},
    {"driver-sequence", A_TRAFFIC, 0, nullptr, 0, OTHER_NUMBER, GOOD},
    {"driver-error", A_TRAFFIC, 0, nullptr, 12, ERROR_FRAME, GOOD},
    {"driver-gone", A_TRAFFIC, 0, nullptr, 13, GOES, COMES},
    {"event-storm", A_ALL, 0, nullptr, 0, STORMS, CALMS},
    {"manager-gone", A_ALL, 0, nullptr, 0, GONE_MANAGER},
    {"manager-silent", A_ALL, 0, nullptr, 0, SILENT_MANAGER},
    {"client-silent", A_ALL | S_TRAFFIC, 0, nullptr, 0, SILENT_CLIENT},
};
constexpr unsigned LAST_DEATH = 8; // passages at each of which a process dies

// ---- One trial

void meet(Trial &trial, int victim)
{
    trial.victim = victim;
    if (trial.row.how & STOPS)
        trial.feed = std::jthread([&trial](std::stop_token over) { trial.wake(over); });
}

void arm(Trial &trial, int victim)
{
    meet(trial, victim);
    if (trial.row.make)
        trial.row.make(trial);
    else
        EXPECT_EQ(trial.ctl(victim, "fault " + trial.fault + " " + trial.number), "ok");
}

void pass(Trial &trial, unsigned moment)
{
    const bool of_active = moment & A_ALL;
    if (moment & (A_DUMP | A_TAKES | S_DUMP | S_TAKES)) {
        if (moment == A_DUMP)
            arm(trial, trial.first);
        if (moment == S_DUMP)
            trial.faults = trial.fault + "=" + trial.number;
        const int third = trial.start();
        trial.live.push_back(third);
        if (moment == S_DUMP)
            meet(trial, third);
        if (moment & (A_TAKES | S_TAKES)) {
            trial.settle();
            arm(trial, of_active ? trial.second : third);
            std::erase(trial.live, trial.first);
            trial.Cluster::kill(trial.first);
            trial.follow();
        }
    } else {
        arm(trial, of_active ? trial.first : trial.second);
    }
    trial.traffic(moment & (A_BATCH | S_BATCH));
}

// What must hold whatever was done, with an agent beside that is told what was acknowledged, and nothing else but the
// first `most` messages of what was not. False if that is another store than `has`.
bool compare(Trial &trial, const std::vector<std::string> &has, const std::vector<Request> &requests, size_t most)
{
    Cluster model;
    model.chip->ports = trial.chip->ports;
    const int pid = model.start();
    model.lead(pid);
    model.exchange(pid, trial.brought_up);
    const std::vector<Bytes> pending = split(trial.pending);
    unsigned marred = 0;
    for (size_t i = 0; i <= trial.told.size(); ++i) {
        for (size_t m = 0; m < most && i == trial.told_then; ++m)
            model.exchange(pid, pending[m]);
        if (i == trial.told.size())
            break;
        const std::vector<Bytes> echoed = split(trial.echoes[i]), messages = split(trial.told[i]);
        for (size_t m = 0; m < messages.size(); ++m) {
            const size_t end = messages[m].size() - 4; // of all but the status
            const uint32_t status = get32(echoed.at(m), end);
            Bytes right = messages[m];
            right[4] = 1;
            if (status == 0 || messages[m][0] != QOS_IFADD_MSG) // an interface that was refused is not there
                right = model.exchange(pid, messages[m]);
            const bool differs = status != get32(right, end);
            marred += differs;
            EXPECT_TRUE(!differs || status == trial.row.status) << status;
            EXPECT_EQ(cut(echoed[m], 0, end), cut(right, 0, end));
        }
    }
    EXPECT_TRUE(trial.row.how & MAY || (marred > 0) == (trial.row.status > 0)) << marred;
    const auto expected = content(model);
    if (most < pending.size() && has != expected)
        return false;
    expectSame(has, expected);
    for (size_t m = most; m < pending.size(); ++m) // its requests may have been made
        model.exchange(pid, pending[m]);
    std::map<Bytes, int> asked;
    for (const Request &request : model.requests())
        asked[request.body] += !request.polls;
    for (const Request &request : requests)
        asked[request.body] -= !request.polls;
    for (const auto &[body, left] : asked) {
        EXPECT_GE(left, 0) << "the driver was told twice";
        EXPECT_TRUE(left <= 0 || marred > 0 || !pending.empty()) << "the driver was not told";
    }
    return true;
}

void finish(Trial &trial, unsigned moment)
{
    const Row &row = trial.row;
    const bool lives = std::count(trial.live.begin(), trial.live.end(), trial.victim) > 0;
    if (lives && (row.how & (ENDS | DIES)))
        trial.gone(trial.victim);
    else if (lives && !row.make && trial.ctl(trial.victim, "fault clear") != "ok")
        ADD_FAILURE() << "it takes no command";
    if (row.unmake)
        row.unmake(trial);
    const size_t since = row.line ? trial.find(row.line) : 0;
    if (row.how & SPOILS)
        trial.find(HOLDS, since);
    if ((row.how & SPOILS) || moment & (A_DUMP | A_TAKES | S_DUMP | S_TAKES)) // else the first standby's copy is good
        trial.settle();
    EXPECT_LE(trial.led_then, trial.leaders) << "somebody led while another one stood still";
    unsigned active = 0;
    for (const int pid : trial.live)
        active += trial.leads(pid);
    EXPECT_EQ(active, 1U) << trial.log();
    trial.victim = 0;
    if (trial.live.size() > 1) {
        std::erase(trial.live, trial.active);
        trial.Cluster::kill(trial.active);
        trial.follow();
    }
    trial.tell(trial.cosMap());
    trial.faults = "on";
    trial.live.push_back(trial.start()); // which checks what it is given
    trial.settle();
    const auto has = content(trial);
    const auto requests = trial.requests();
    for (size_t most = 0; !compare(trial, has, requests, most); ++most)
        ;
}

} // namespace

class Faults : public testing::TestWithParam<size_t> {};

INSTANTIATE_TEST_SUITE_P(Table, Faults, testing::Range(size_t{0}, std::size(ROWS)), [](const auto &at) {
    std::string name = ROWS[at.param].name;
    std::replace(name.begin(), name.end(), '-', '_');
    return name + "_" + std::to_string(at.param);
});

TEST_P(Faults, NothingIsLostOrDoneTwice)
{
    const Row &row = ROWS[GetParam()];
    for (unsigned i = 0; i < std::size(MOMENTS) && !HasFailure(); ++i)
        for (unsigned passage = 1; row.when >> i & 1 && passage <= (row.how & DIES ? LAST_DEATH : 1); ++passage) {
            SCOPED_TRACE(std::string(row.name) + " " + std::to_string(passage) + ", " + MOMENTS[i]);
            Trial trial(row, passage);
            pass(trial, 1U << i);
            finish(trial, 1U << i);
            EXPECT_FALSE(HasFailure()) << trial.log();
        }
}

TEST(FaultCommand, IsRefusedWithAReason)
{
    Cluster cluster;
    const int pid = cluster.start();
    cluster.lead(pid);
    for (const auto &[command, answer] : std::map<std::string, std::string>{
             {"fault nonsense", "error: no fault 'nonsense'; 'fault' alone lists them"},
             {"fault alloc 0", "error: '0' is no number of a passage, from 1 on"},
             {"fault alloc 1x", "error: '1x' is no number of a passage, from 1 on"},
             {"fault driver-gone", "error: 'driver-gone' is not made here: the driver ends and comes back; by hand"},
             {"fault alloc 7", "ok"}})
        EXPECT_EQ(cluster.ctl(pid, command), answer);
    EXPECT_NE(cluster.ctl(pid, "fault").find("\nalloc                 armed 7    bites 0"), std::string::npos);
    cluster.kill(pid);
    cluster.faults = "";
    EXPECT_EQ(cluster.ctl(cluster.start(), "fault alloc"),
              "error: faults are off; start the agent with VELMAR_FAULTS=on");
}
