// SPDX-License-Identifier: Apache-2.0
// What happens around a pair of agents: files of the run directory are cut, removed and replaced, address space is
// short, a dump holds nonsense. Nothing acknowledged is lost, nobody works twice, and whoever cannot go on says why.
#include <cstddef>
#include <sys/resource.h>

#include "agent/messages/statistics.h"
#include "host/delta_records.h"
#include "inventory/records.h"
#include "lib/avl.h"
#include "lib/linklist.h"
#include "tests/ha/duo.h"
#include "tests/ha/mirror.h"

namespace {

namespace fs = std::filesystem;

constexpr const char *ACTIVE = "election: this process is active";

// What a shell does to the lock file L in its folder D, and whether it is another one then.
constexpr std::pair<const char *, bool> HARMS[] = {
    {"truncate -s 0 $L", false},
    {"truncate -s 100 $L", false},
    {"head -c 400 /dev/zero | tr '\\0' '\\377' > $L", false},
    {"rm $L", true},
    {"mv $L $L.old", true},
    {"> $L.new; mv $L.new $L", true},
    {"rm -r $D", true},
};

// The first record of `op` for the place that holds `offset`; its own offset is given back.
uint32_t *recordOf(Words &words, uint32_t op, uint32_t place, uint32_t offset)
{
    for (size_t at = 0; at < words.size(); at += deltaRecordLength(std::span<const uint32_t>(words).subspan(at))) {
        uint32_t *const record = &words[at];
        if ((record[0] & DELTA_OP) == op && record[1] == place && record[2] <= offset &&
            offset - record[2] < (op == DELTA_BYTES ? record[0] >> DELTA_SHIFT : sizeof(void *)))
            return record;
    }
    return nullptr;
}

// Number of the n-th block in use of the size, which tells a type here.
uint32_t blockOf(const Words &words, size_t size, unsigned n = 0)
{
    for (size_t at = 0; at < words.size(); at += deltaRecordLength(std::span<const uint32_t>(words).subspan(at)))
        if ((words[at] & DELTA_OP) == DELTA_BLOCK && words[at + 3] == size && words[at + 7] && n-- == 0)
            return words[at + 1];
    ADD_FAILURE() << "no block of " << size;
    return 0;
}

void setByte(Words &words, uint32_t place, size_t offset, uint8_t value)
{
    uint32_t *const record = recordOf(words, DELTA_BYTES, place, static_cast<uint32_t>(offset));
    ASSERT_TRUE(record) << place << ' ' << offset;
    reinterpret_cast<uint8_t *>(record + 3)[offset - record[2]] = value;
}

// Leads a pointer to another block, or with `to` -1 nowhere.
void setPointer(Words &words, uint32_t place, size_t offset, int64_t to, size_t at = 0)
{
    uint32_t *const record = recordOf(words, DELTA_POINTER, place, static_cast<uint32_t>(offset));
    ASSERT_TRUE(record) << place << ' ' << offset;
    record[0] = DELTA_POINTER | (to < 0 ? DELTA_TO_NULL : DELTA_TO_BLOCK) << DELTA_SHIFT;
    record[3] = static_cast<uint32_t>(std::max<int64_t>(to, 0));
    record[4] = static_cast<uint32_t>(at);
}

Bytes watchOf(uint32_t port)
{
    Bytes watch(33);
    put(watch, {{0, portNumber(port)}, {24, CHIP}});
    watch[28] = 1;
    return message(QOS_DROP_MONITOR_CFG_MSG, watch, 0x77);
}

} // namespace

TEST(Surroundings, LockFileIsHarmedUnderAPair)
{
    for (const auto &[harm, removes] : HARMS)
        for (const bool dies_at_once : {false, true}) {
            SCOPED_TRACE(harm);
            SCOPED_TRACE(dies_at_once);
            Duo duo;
            duo.configure(duo.first, 5);
            const auto before = content(duo);
            ASSERT_TRUE(duo.logged(duo.first, "has left"));
            EXPECT_EQ(system(("D=" + duo.run + "/ha; L=$D/ethsw.1.lock; " + harm).c_str()), 0);
            if (!dies_at_once) {
                EXPECT_FALSE(duo.configure(duo.first, 5).empty());
                const int third = duo.start(); // which finds no lock in its way
                duo.join(third);
                EXPECT_EQ(countOf(duo.log(), ACTIVE), 1U);
                EXPECT_TRUE(!removes || duo.logged(duo.first, "the lock file was removed or replaced"));
                duo.kill(third);
                EXPECT_TRUE(duo.logged(duo.first, "has left"));
            }
            duo.kill(duo.first);
            EXPECT_TRUE(duo.logged(duo.second, "this process is active, with its predecessor's state"));
            expectSame(content(duo), before);
        }
}

// Stopped, it does not see that its lock file goes: whoever reaches it waits for it, and whoever does not leads. Then
// it ends ahead of its next answer.
TEST(Surroundings, StoppedActiveProcessLosesItsFiles)
{
    const Bytes batch = message(QOS_IFADD_MSG, ifAddBody(portNumber(3), "p"), 0x77);
    for (const bool socket_too : {false, true}) {
        SCOPED_TRACE(socket_too);
        Duo duo;
        duo.kill(duo.second);
        EXPECT_TRUE(duo.logged(duo.first, "has left"));
        ::kill(duo.first, SIGSTOP);
        fs::remove(duo.run + "/ha/ethsw.1.lock");
        if (socket_too)
            fs::remove(duo.run + "/ha/ethsw.1.sock");
        const int third = duo.start();
        if (socket_too)
            duo.lead(third);
        else
            EXPECT_TRUE(duo.logged(third, "which was removed, the lock is left to others"));
        EXPECT_TRUE(duo.send(duo.first, message(QOS_DEFCOS_MSG, l2Body(portNumber(1), CHIP, 1, 0), 0x77)));
        ::kill(duo.first, SIGCONT);
        if (socket_too)
            EXPECT_EQ(duo.status(duo.first), 1);
        else
            EXPECT_EQ(duo.echo(duo.first).at(0), QOS_DEFCOS_MSG);
        const Bytes echo = duo.exchange(socket_too ? third : duo.first, batch);
        EXPECT_EQ(echo.at(0), QOS_IFADD_MSG);
        EXPECT_EQ(countOf(duo.log(), ACTIVE), socket_too ? 2U : 1U);
    }
}

// Who holds the lock of the old directory ends, and takes nothing away from who leads in the new one.
TEST(Surroundings, RunDirectoryIsMovedAway)
{
    Duo duo;
    const std::string old = duo.run + ".old";
    fs::rename(duo.run, old);
    const int third = duo.start();
    EXPECT_EQ(duo.status(duo.first), 1);
    EXPECT_EQ(duo.status(duo.second), 1);
    EXPECT_TRUE(duo.logged(third, "this process is active, from the start"));
    EXPECT_FALSE(takeDump(duo.run, layoutHash()).words.empty());
    EXPECT_EQ(countOf(duo.log(), ACTIVE), 1U);
    std::ifstream in(old + "/stderr");
    const std::string log(std::istreambuf_iterator<char>(in), {});
    EXPECT_EQ(countOf(log, "the run directory was removed or replaced, this process ends"), 2U) << log;
    fs::remove_all(old);
}

TEST(Surroundings, ReplicationSocketsNameIsRemoved)
{
    Cluster cluster; // who seeks one says that there is none to be seen
    const FakeActive active(cluster.run);
    fs::remove(cluster.run + "/ha/ethsw.1.sock");
    EXPECT_TRUE(cluster.logged(cluster.start(), "no active process answers"));
}

// A manager's datagram reaches a process that is still starting, and the one that answers it.
TEST(Surroundings, EndOfAPeerWhileAProcessStarts)
{
    Duo duo;
    duo.kill(duo.second);
    int late = 0;
    for (bool in_time = false; !in_time;) {
        late = duo.start();
        const std::string socket = duo.run + "/mi6/qosMI.lc1." + std::to_string(late);
        while (!fs::exists(socket) && !duo.ended(late))
            usleep(50);
        ::kill(late, SIGSTOP);
        in_time = duo.log().find("[" + std::to_string(late) + "]: store: this process holds") == std::string::npos;
        if (!in_time)
            duo.kill(late);
    }
    for (uint32_t n = 0; n < 8; ++n) { // more than it reads ahead of its election
        const Bytes batch = message(QOS_DEFCOS_MSG, l2Body(portNumber(1), CHIP, static_cast<uint8_t>(n), 0), 0x77);
        EXPECT_TRUE(duo.send(late, batch));
        EXPECT_FALSE(duo.exchange(duo.first, batch).empty());
    }
    duo.kill(duo.first);
    ::kill(late, SIGCONT);
    duo.lead(late);
    const Bytes batch = message(QOS_IFADD_MSG, ifAddBody(portNumber(3), "p"), 0x77);
    EXPECT_EQ(duo.exchange(late, batch).at(0), QOS_IFADD_MSG) << "what was acknowledged is answered again";
}

TEST(Surroundings, StandbyIsNotDrivenByHand)
{
    Duo duo;
    for (const char *stage : {"1002", "1001", "1", "1005", "1000", "77"})
        EXPECT_EQ(duo.ctl(duo.second, std::string("stage ") + stage).substr(0, 6), "error:") << stage;
    EXPECT_NE(duo.ctl(duo.second, "stat").find("\"stage\":6,"), std::string::npos);
    duo.configure(duo.first, 9);
    duo.handOver(duo.first, duo.second);
}

// It runs, and leaves the lock to the next one for ever.
TEST(Surroundings, ListedHolderNeverTakesTheLock)
{
    Cluster cluster;
    FakeActive active(cluster.run);
    const int pid = cluster.start();
    active.accept();
    active.setHolders({getpid()});
    active.end();
    EXPECT_TRUE(cluster.logged(pid, "the lock is left to a process that holds a copy"));
    EXPECT_TRUE(cluster.logged(pid, std::string("process ") + std::to_string(getpid()) +
                                        " holds a copy and did not take the lock in 10 s, this process leads without"));
    cluster.lead(pid);
}

#ifndef __SANITIZE_ADDRESS__
TEST(Surroundings, AddressSpaceIsShort)
{
    const auto limit = [](rlim_t bytes) {
        return [bytes] {
            const rlimit both = {bytes, bytes};
            setrlimit(RLIMIT_AS, &both);
        };
    };
    Duo duo({}, limit(rlim_t{1400} << 20));
    EXPECT_TRUE(duo.configure(duo.first, 3).size() > 0);
    duo.handOver(duo.first, duo.second);

    // A dump for which a standby has no room: said once, and asked for again.
    Cluster cluster;
    cluster.prepare = limit(rlim_t{700} << 20);
    FakeActive active(cluster.run);
    const uint32_t size = uint32_t{1} << 29;
    const Words dump = {DELTA_BLOCK, 0, 0, size, 0, 0, 0, 1, DELTA_COMMIT, 1, 7, 0};
    const int pid = cluster.start();
    for (int i = 0; i < 3; ++i) {
        active.give(active.accept(), 7, dump);
        active.hangUp();
    }
    EXPECT_TRUE(cluster.logged(pid, "refused 3 times in a row"));
    EXPECT_EQ(countOf(cluster.log(), "a dump is refused"), 1U) << cluster.log();
    EXPECT_EQ(countOf(cluster.log(), "address space is limited, it does not fit a store of"), 1U) << cluster.log();
}
#endif

// What breaks the form of a dump, and what is well-formed and would end whoever walks it.
TEST(Surroundings, DumpThatIsMalformedOrNonsenseIsRefusedWhole)
{
    Dump good;
    {
        Duo duo;
        for (uint32_t port = 1; port <= 3; ++port)
            duo.exchange(duo.first, watchOf(port));
        good = takeDump(duo.run, layoutHash());
    }
    const Words &words = good.words;
    const uint32_t port = blockOf(words, sizeof(qosIf_t)), chip = blockOf(words, sizeof(qosChip_t));
    uint32_t tree = 0, top = 0, list = 0; // with nodes below the root, and with nodes
    for (unsigned n = 0; !top || !recordOf(good.words, DELTA_POINTER, top, offsetof(tnx_avl_node_t, left)); ++n) {
        tree = blockOf(words, sizeof(tnx_avl_tree_t), n);
        top = recordOf(good.words, DELTA_POINTER, tree, offsetof(tnx_avl_tree_t, root))[3];
    }
    for (unsigned n = 0; !list || !recordOf(good.words, DELTA_BYTES, list, offsetof(tnx_list_t, count)); ++n)
        list = blockOf(words, sizeof(tnx_list_t), n);
    const uint32_t node = recordOf(good.words, DELTA_POINTER, list, offsetof(tnx_list_t, head))[3];
    const auto at = [](Words &w, uint32_t op, uint32_t word) -> uint32_t & { return w.at(recordAt(w, op) + word); };
    const struct {
        const char *reason;
        std::function<void(Words &)> spoil;
    } rows[] = {
        {"is of unknown type 9999", [&](Words &w) { at(w, DELTA_BLOCK, 4) = 9999; }},
        {"does not follow the one before it", [&](Words &w) { at(w, DELTA_BLOCK, 2) += 16; }},
        {"is none", [&](Words &w) { at(w, DELTA_BLOCK, 1) = ~0U; }},
        {"of unknown kind", [&](Words &w) { at(w, DELTA_BYTES, 0) = 77; }},
        {"there is no block 123456", [&](Words &w) { at(w, DELTA_BYTES, 1) = 123456; }},
        {"there is no object 77", [&](Words &w) { at(w, DELTA_BYTES, 1) = DELTA_OBJECT | 77; }},
        {"no field of", [&](Words &w) { at(w, DELTA_BYTES, 2) = ~0U; }},
        {"no pointer of 8 bytes", [&](Words &w) { at(w, DELTA_POINTER, 2) += 1; }},
        {"leads nowhere", [&](Words &w) { at(w, DELTA_POINTER, 3) = 1 << 30; }},
        {"leads nowhere", [&](Words &w) { at(w, DELTA_POINTER, 4) = 1 << 30; }},
        {"cut short", [](Words &w) { w.pop_back(); }},
        {"the commit mark is missing", [](Words &w) { w.resize(w.size() - 4); }},
        {"the commit mark is for", [](Words &w) { ++w.end()[-3]; }},
        {"where", [](Words &w) { ++w.end()[-2]; }},
        {"a tree counts 77 nodes", [&](Words &w) { setByte(w, tree, offsetof(tnx_avl_tree_t, count), 77); }},
        {"a tree leads to something that is no node",
         [&](Words &w) { setPointer(w, tree, offsetof(tnx_avl_tree_t, root), port); }},
        {"a tree leads to something that is no node",
         [&](Words &w) { setPointer(w, tree, offsetof(tnx_avl_tree_t, root), top, 8); }},
        {"a tree has a node of nothing", [&](Words &w) { setPointer(w, top, offsetof(tnx_avl_node_t, info), -1); }},
        {"a tree does not close", [&](Words &w) { setPointer(w, top, offsetof(tnx_avl_node_t, left), top); }},
        {"another balance or rank", [&](Words &w) { setByte(w, top, offsetof(tnx_avl_node_t, rank), 9); }},
        {"something else than it holds", [&](Words &w) { setPointer(w, top, offsetof(tnx_avl_node_t, info), node); }},
        {"goes by other functions",
         [&](Words &w) { setPointer(w, tree, offsetof(tnx_avl_tree_t, compare_function), -1); }},
        {"a list counts 77 nodes", [&](Words &w) { setByte(w, list, offsetof(tnx_list_t, count), 77); }},
        {"a list does not close", [&](Words &w) { setPointer(w, node, offsetof(tnx_listnode_t, next), node); }},
        {"a list does not end", [&](Words &w) { setPointer(w, node, offsetof(tnx_listnode_t, next), -1); }},
        {"a list has a node of nothing", [&](Words &w) { setPointer(w, node, offsetof(tnx_listnode_t, data), -1); }},
        {"chip does not lead to a qosChip_t", [&](Words &w) { setPointer(w, port, offsetof(qosIf_t, chip), port); }},
        {"profileList goes by other functions",
         [&](Words &w) { setPointer(w, port, offsetof(qosIf_t, profileList), list); }},
        {"a queue's first element does not lead back",
         [&](Words &w) { setPointer(w, chip, offsetof(qosChip_t, ifList), chip); }},
        {"a queue does not end where it says",
         [&](Words &w) { setPointer(w, chip, offsetof(qosChip_t, ifList) + sizeof(void *), chip); }},
        {"a queue", [&](Words &w) { setPointer(w, port, offsetof(qosIf_t, chip_link), port); }},
        {"a queue", [&](Words &w) { setPointer(w, port, offsetof(qosIf_t, chip_link) + sizeof(void *), port, 8); }},
    };
    Cluster cluster;
    FakeActive active(cluster.run);
    int pid = 0;
    for (const auto &row : rows) {
        SCOPED_TRACE(row.reason);
        if (pid)
            cluster.kill(pid);
        pid = cluster.start();
        active.give(active.accept(), good.sequence, good.words);
        cluster.join(pid);
        active.hangUp();
        Words spoilt = good.words;
        row.spoil(spoilt);
        active.give(active.accept(), good.sequence, spoilt);
        EXPECT_TRUE(cluster.logged(pid, "a dump is refused, this process keeps what it had"));
        EXPECT_NE(cluster.last.find(row.reason), std::string::npos) << cluster.last;
    }
    active.setHolders({pid});
    active.end();
    cluster.lead(pid);
    expectSame(content(cluster), contentOf(good.words));

    // An update is checked by itself, and what became of the copy when it is to be worked with.
    Cluster later;
    FakeActive second(later.run);
    pid = later.start();
    constexpr uint32_t COUNT = offsetof(tnx_list_t, count);
    const uint32_t next = static_cast<uint32_t>(good.sequence) + 1;
    for (int turn = 0; turn < 2; ++turn) { // at rest, which asks for a new dump, or else when the lock comes to it
        const int fd = second.accept();
        second.give(fd, good.sequence, good.words);
        later.join(pid);
        second.give(fd, next, {DELTA_BYTES | 4 << DELTA_SHIFT, list, COUNT, 77, DELTA_COMMIT, 1, next, 0}, false);
        EXPECT_TRUE(turn ||
                    later.logged(pid, "the copy does not hold together and is dropped: a list counts 77 nodes"));
    }
    second.setHolders({pid});
    second.end();
    later.lead(pid);
    EXPECT_NE(later.last.find("from the start"), std::string::npos) << later.last;
}
