// SPDX-License-Identifier: Apache-2.0
// Tail drops and RED drops go the same way; a row for each says where they differ.
#include "agent/drop_poll.h"

#include <algorithm>
#include <cstdlib>

#include "agent/dispatch.h"
#include "agent/operation.h"
#include "core/state.h"
#include "core/text.h"
#include "inventory/interfaces.h"
#include "lib/views.h"

namespace {

// Records of one notice: what a message to the manager has room for.
constexpr uint32_t NOTICE_RECORDS =
    (sizeof(qosSlot_t::msgBuf) - sizeof(qosMsgHdr_t) - sizeof(qosDropMonitorNotifyMsg_t)) /
    sizeof(qosDropMonitorNotifyRec_t);

template <typename Body, typename Port>
struct drops_t {
    qosMsgStatus_t (*read)(Body *body);
    void (*tell)(const Body *body, uint32_t n, uint32_t count); // the manager
    bool (*same)(const Port &a, const Port &b);
    void (*save)(Port &saved, const Port &now);
    ne64 Port::*leading; // the counter that decides whether a change is marked
    ne32 Port::*mark;
    Port qaDropMonitorInfo_t::*saved;
    be32 qosDropMonitorNotifyRec_t::*seen;
    qosWhere_t poll; // the functions that lines are written for
    qosWhere_t get;
    qosWhere_t identify;
    qosWhere_t notify;
    qosText_t<uint32_t> requesting;
    qosText_t<> poll_failed;
    const qosText_t<> *read_failed; // null where the read's own line is enough
    qosText_t<uint32_t> no_interface;
    qosText_t<uint32_t> dropped;
    qosText_t<uint32_t> count_seen;
    qosText_t<> none_seen;
    qosText_t<> no_memory;
    qosText_t<uint32_t> seen_at;
    qosText_t<uint32_t> sending;
    qosText_t<> send_failed;
};

bool sameTd(const qosTdMonitorStatsIfMsg_t &a, const qosTdMonitorStatsIfMsg_t &b)
{
    return a.td_drop == b.td_drop;
}

void saveTd(qosTdMonitorStatsIfMsg_t &saved, const qosTdMonitorStatsIfMsg_t &now)
{
    saved.td_drop = now.td_drop;
}

bool sameRed(const qosRedMonitorStatsIfMsg_t &a, const qosRedMonitorStatsIfMsg_t &b)
{
    return a.green_drop == b.green_drop && a.red_drop == b.red_drop && a.yellow_drop == b.yellow_drop;
}

void saveRed(qosRedMonitorStatsIfMsg_t &saved, const qosRedMonitorStatsIfMsg_t &now)
{
    saved.green_drop = now.green_drop;
    saved.red_drop = now.red_drop;
    saved.yellow_drop = now.yellow_drop;
}

constexpr qosText_t<> TD_READ_FAILED = QOS_INF_TEXT("Tail drop stats get request failed with driver");

constexpr drops_t<qosTdMonitorStatsMsg_t, qosTdMonitorStatsIfMsg_t> TAIL_DROPS = {
    qaProcessGetTdMonitorStats,
    qaTailDropNotifyToMgr,
    sameTd,
    saveTd,
    &qosTdMonitorStatsIfMsg_t::td_drop,
    &qosTdMonitorStatsIfMsg_t::is_td_if_drop,
    &qaDropMonitorInfo_t::tdStats,
    &qosDropMonitorNotifyRec_t::td_drop_seen,
    "qaTdMonitorOnChip",
    "qaTailDropGetStatsAndNotifyMgr",
    "qaIdentifyRealTdIfDrops",
    "qaTailDropNotifyToMgr",
    QOS_DBG_TEXT("Requesting Tail drop stats for :%d interface(s)"),
    QOS_INF_TEXT("Tail drop stats get and notify to mgr failed"),
    &TD_READ_FAILED,
    QOS_ERR_TEXT("Failed to find interface 0x%x for td monitor stats"),
    QOS_INF_TEXT("TD drops seen on interface:0x%x"),
    QOS_INF_TEXT("No of ifentries on which tail drops were seen %d"),
    QOS_DBG_TEXT("No tail drops seen"),
    QOS_ERR_TEXT("tail drop notify msg Mem alloc failed"),
    QOS_INF_TEXT("Tail drop seen at interface if:0x%x"),
    QOS_INF_TEXT("Sending tail drop notification to Mgr with %d records"),
    QOS_ERR_TEXT("Failed to send tail drop mon state change to mgr"),
};

constexpr drops_t<qosRedMonitorStatsMsg_t, qosRedMonitorStatsIfMsg_t> RED_DROPS = {
    qaProcessGetRedMonitorStats,
    qaRedDropNotifyToMgr,
    sameRed,
    saveRed,
    &qosRedMonitorStatsIfMsg_t::green_drop,
    &qosRedMonitorStatsIfMsg_t::is_red_if_drop,
    &qaDropMonitorInfo_t::redStats,
    &qosDropMonitorNotifyRec_t::red_drop_seen,
    "qaRedMonitorOnChip",
    "qaRedDropGetStatsAndNotifyMgr",
    "qaIdentifyRealRedIfDrops",
    "qaRedDropNotifyToMgr",
    QOS_INF_TEXT("Requesting RED drop stats for :%d interface(s)"),
    QOS_INF_TEXT("RED drop stats get and notify to mgr failed"),
    nullptr,
    QOS_ERR_TEXT("Failed to find interface 0x%x for red monitor stats"),
    QOS_INF_TEXT("RED drops seen on interface:0x%x"),
    QOS_INF_TEXT("No of ifentries on which red drops were seen %d"),
    QOS_DBG_TEXT("No red drops seen"),
    QOS_ERR_TEXT("red drop notify msg Mem alloc failed"),
    QOS_INF_TEXT("RED drop seen at interface if:0x%x"),
    QOS_INF_TEXT("Sending red drop notification to Mgr with %d records"),
    QOS_ERR_TEXT("Failed to send red drop mon state change to mgr"),
};

bool isWatched(const qaDropMonitorInfo_t &info)
{
    return info.monitor_state == 1;
}

using watchList = listView<const qaDropMonitorInfo_t>;

template <typename Body, typename Port>
qosMsgStatus_t getAndNotify(const drops_t<Body, Port> &row, Body *body, uint32_t n);

template <typename Body, typename Port>
void pollChip(const drops_t<Body, Port> &row, const qosChip_t *chip, uint32_t n)
{
    auto *body = static_cast<Body *>(calloc(1, sizeof(Body) + static_cast<size_t>(n) * sizeof(Port)));
    if (!body) {
        QOS_ERR_AT(row.poll, "Mem alloc failed");
        return;
    }
    body->num_records = n;
    uint32_t filled = 0;
    for (const qaDropMonitorInfo_t &info : watchList(chip->drop_monitor_list)) {
        if (filled == n)
            break;
        if (isWatched(info))
            body->records[filled++].ifindex = info.ifindex;
    }
    qosTrace(row.poll, row.requesting, n);
    if (getAndNotify(row, body, n) != QOS_MSG_DONE)
        qosTrace(row.poll, row.poll_failed);
    free(body);
}

// One port against one watched entry. A counter that has not moved is no drop, whatever the back end says.
template <typename Body, typename Port>
void judge(const drops_t<Body, Port> &row, Port &saved, Port &now)
{
    if (row.same(saved, now)) {
        if (saved.*row.mark != 0)
            qosEdit(saved).*row.mark = 0;
        now.*row.mark = 0;
        return;
    }
    row.save(qosEdit(saved), now);
    if (now.*row.leading != 0) {
        qosEdit(saved).*row.mark = 1;
        now.*row.mark = 1;
        qosTrace(row.identify, row.dropped, now.ifindex);
    }
    qosHaSync();
}

// The first entry of a port in the chip's list, sought from the entry of the port before: the records stand in the
// order of the list, so that each costs a step or two. Null if the port has none.
const tnx_listnode_t *firstEntry(const tnx_list_t *list, const tnx_listnode_t *from, uint32_t ifindex)
{
    for (uint32_t left = list ? list->count : 0; left != 0; --left) {
        if (!from)
            from = list->head;
        if (listPayload<const qaDropMonitorInfo_t>(from)->ifindex == ifindex)
            return from;
        from = from->next;
    }
    return nullptr;
}

// One port against its entries, which stand side by side: a port that is watched twice has two.
template <typename Body, typename Port>
void judgeEntries(const drops_t<Body, Port> &row, const tnx_listnode_t *node, Port &now)
{
    const uint32_t ifindex = now.ifindex;
    for (; node; node = node->next) {
        auto *info = listPayload<qaDropMonitorInfo_t>(node);
        if (info->ifindex != ifindex)
            return;
        if (isWatched(*info))
            judge(row, info->*row.saved, now);
    }
}

template <typename Body, typename Port>
void identify(const drops_t<Body, Port> &row, Body *body, uint32_t n)
{
    const qosChip_t *chip = nullptr;
    const tnx_listnode_t *at = nullptr;
    for (uint32_t i = 0; i < n; ++i) {
        Port &now = body->records[i];
        const uint32_t ifindex = now.ifindex;
        const qosIf_t *interface = qosLookupIfEntry(ifindex);
        if (!interface) {
            qosTrace(row.identify, row.no_interface, ifindex);
            return;
        }
        if (!interface->chip) {
            QOS_ERR_AT(row.identify, "Failed to find chip for interface 0x%x", ifindex);
            return;
        }
        if (interface->chip != chip)
            at = nullptr;
        chip = interface->chip;
        at = firstEntry(chip->drop_monitor_list, at, ifindex);
        judgeEntries(row, at, now);
    }
}

// Sends `count` records in slices. The head of a later slice takes the place of what has been sent.
template <typename Body, typename Port>
void sendNotices(const drops_t<Body, Port> &row, qosDropMonitorNotifyMsg_t *notice, uint32_t count)
{
    for (uint32_t sent = 0; sent < count;) {
        const uint32_t part = std::min(count - sent, NOTICE_RECORDS);
        unsigned char *head = reinterpret_cast<unsigned char *>(notice->records + sent) - sizeof *notice;
        reinterpret_cast<qosDropMonitorNotifyMsg_t *>(head)->count = part;
        qosTrace(row.notify, row.sending, part);
        const auto length = static_cast<uint32_t>(sizeof *notice + part * sizeof notice->records[0]);
        if (qaSendToMgr(QOS_DROP_MONITOR_NOTIFY_MSG, head, length) != QOS_MSG_DONE)
            qosTrace(row.notify, row.send_failed);
        sent += part;
    }
}

// The marked ports of the body, `count` of them, in a notice to be freed; null for want of memory.
template <typename Body, typename Port>
qosDropMonitorNotifyMsg_t *fillNotice(const drops_t<Body, Port> &row, const Body *body, uint32_t n, uint32_t count,
                                      uint32_t *filled)
{
    const size_t size = sizeof(qosDropMonitorNotifyMsg_t) + count * sizeof(qosDropMonitorNotifyRec_t);
    auto *notice = static_cast<qosDropMonitorNotifyMsg_t *>(calloc(1, size));
    if (!notice) {
        qosTrace(row.notify, row.no_memory);
        return nullptr;
    }
    *filled = 0;
    for (uint32_t i = 0; i < n; ++i) {
        const Port &port = body->records[i];
        if (port.*row.mark != 0 && *filled < count) {
            qosTrace(row.notify, row.seen_at, port.ifindex);
            qosDropMonitorNotifyRec_t &record = notice->records[(*filled)++];
            record.ifindex = port.ifindex;
            record.*row.seen = 1;
        }
        QOS_INF_AT(row.notify, "No of entries filled for notifying:%d", *filled);
    }
    return notice;
}

template <typename Body, typename Port>
qosMsgStatus_t getAndNotify(const drops_t<Body, Port> &row, Body *body, uint32_t n)
{
    const qosMsgStatus_t rc = row.read(body);
    if (rc != QOS_MSG_DONE) {
        if (row.read_failed)
            qosTrace(row.get, *row.read_failed);
        return rc;
    }
    identify(row, body, n);
    const auto count = static_cast<uint32_t>(
        std::count_if(body->records, body->records + n, [&](const Port &port) { return port.*row.mark != 0; }));
    if (count == 0) {
        qosTrace(row.get, row.none_seen);
        return QOS_MSG_DONE;
    }
    qosTrace(row.get, row.count_seen, count);
    row.tell(body, n, count);
    return QOS_MSG_DONE;
}

// The interface of the first record with its chip, or null with the status in the body.
template <typename Body>
const qosIf_t *firstPort(qosWhere_t where, Body *body)
{
    const uint32_t ifindex = body->records[0].ifindex;
    const qosIf_t *interface = qosLookupIfEntry(ifindex);
    if (interface && interface->chip)
        return interface;
    if (!interface)
        QOS_ERR_AT(where, "Unable to find interface for ifindex %x in db", ifindex);
    else
        QOS_ERR_AT(where, "Failed to find chip for interface 0x%x", ifindex);
    body->status = QOS_MSG_UNSERVED;
    return nullptr;
}

constexpr qaCall_t READ_TAIL_DROPS = {
    qaOperation<QOS_TD_MONITOR_STATS_MSG>,
    qaLine_t<qaChipIfindex>{QOS_ERR_TEXT("NULL QOS_TD_MONITOR_STATS_MSG handler for chip %x")},
    QOS_MSG_UNSERVED,
    qaLine_t<qaName, qaRc>{QOS_ERR_TEXT("Failed to retrieve tail drop Stats for if: %s, rc: %d")},
    qaNoLine_t{},
    qaStatus_t::Stored};
constexpr qaCall_t READ_RED_DROPS = {
    qaOperation<QOS_RED_MONITOR_STATS>,
    qaNoLine_t{},
    QOS_MSG_UNSERVED,
    qaLine_t<qaName, qaRc>{QOS_ERR_TEXT("Failed to retrieve red drop Stats for if: %s, rc: %d")},
    qaNoLine_t{},
    qaStatus_t::Stored};

} // namespace

void qaDropMonitorOnChip(const qosChip_t *chip)
{
    uint32_t n = 0;
    for (const qaDropMonitorInfo_t &info : watchList(chip->drop_monitor_list))
        if (isWatched(info))
            ++n;
    if (n == 0)
        return;
    qaTdMonitorOnChip(chip, n);
    qaRedMonitorOnChip(chip, n);
}

void qaTdMonitorOnChip(const qosChip_t *chip, uint32_t n)
{
    pollChip(TAIL_DROPS, chip, n);
}

void qaRedMonitorOnChip(const qosChip_t *chip, uint32_t n)
{
    pollChip(RED_DROPS, chip, n);
}

qosMsgStatus_t qaTailDropGetStatsAndNotifyMgr(qosTdMonitorStatsMsg_t *body, uint32_t n)
{
    return getAndNotify(TAIL_DROPS, body, n);
}

qosMsgStatus_t qaRedDropGetStatsAndNotifyMgr(qosRedMonitorStatsMsg_t *body, uint32_t n)
{
    return getAndNotify(RED_DROPS, body, n);
}

void qaIdentifyRealTdIfDrops(qosTdMonitorStatsMsg_t *body, uint32_t n)
{
    identify(TAIL_DROPS, body, n);
}

void qaIdentifyRealRedIfDrops(qosRedMonitorStatsMsg_t *body, uint32_t n)
{
    identify(RED_DROPS, body, n);
}

void qaTailDropNotifyToMgr(const qosTdMonitorStatsMsg_t *body, uint32_t n, uint32_t count)
{
    uint32_t filled;
    qosDropMonitorNotifyMsg_t *notice = fillNotice(TAIL_DROPS, body, n, count, &filled);
    if (!notice)
        return;
    sendNotices(TAIL_DROPS, notice, count);
    free(notice);
}

void qaRedDropNotifyToMgr(const qosRedMonitorStatsMsg_t *body, uint32_t n, uint32_t count)
{
    uint32_t filled;
    qosDropMonitorNotifyMsg_t *notice = fillNotice(RED_DROPS, body, n, count, &filled);
    if (!notice)
        return;
    if (filled == count)
        sendNotices(RED_DROPS, notice, count);
    else
        QOS_ERR("PANIC::Something not right here");
    free(notice);
}

qosMsgStatus_t qaProcessGetTdMonitorStats(qosTdMonitorStatsMsg_t *body)
{
    const qosIf_t *interface = firstPort(__func__, body);
    if (!interface)
        return QOS_MSG_UNSERVED;
    QOS_DBG("Received GetTdMontiroStatsMsg for :%d ports", static_cast<uint32_t>(body->num_records));
    return qaRun(READ_TAIL_DROPS, {__func__, interface->chip, interface->ifName}, body).rc;
}

// A chip type without these reads is no failure: the monitor goes on with counters of 0.
qosMsgStatus_t qaProcessGetRedMonitorStats(qosRedMonitorStatsMsg_t *body)
{
    const qosIf_t *interface = firstPort(__func__, body);
    if (!interface)
        return QOS_MSG_UNSERVED;
    QOS_INF("Received GetTdMontiroStatsMsg for :%d ports", static_cast<uint32_t>(body->num_records));
    const qaCalled_t called = qaRun(READ_RED_DROPS, {__func__, interface->chip, interface->ifName}, body);
    return called.made ? called.rc : QOS_MSG_DONE;
}
