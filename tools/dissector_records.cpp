// SPDX-License-Identifier: Apache-2.0
// The records of the driver's commands, and the fields of a record from its list of members.
#include "tools/dissector_records.h"

#include <cstring>

#include "platform/records/capability.h"
#include "platform/records/congestion.h"
#include "platform/records/larkin.h"
#include "platform/records/policer.h"
#include "platform/records/priority.h"
#include "platform/records/statistics_blocks.h"

namespace {

template <typename Record>
constexpr const qosRecord_t *is = &qosMembersOf<Record>::record;

constexpr uint16_t DEVICE = offsetof(cosStats_t, device);
constexpr uint16_t KEYS = sizeof(cosStats_t);
constexpr uint16_t PORT_KIND = offsetof(cosPortStats_t, kind);
constexpr uint16_t PORT_DATA = offsetof(cosPortStats_t, num_ports);
constexpr uint16_t LARKIN_KIND = offsetof(larkPortCounters_t, kind);
constexpr uint16_t LARKIN_DATA = offsetof(larkPortCounters_t, num_ports);

using pieces_t = std::vector<drvPiece_t>;
using enum drvPiece_t::where_t;

void append(pieces_t &to, const pieces_t &more)
{
    to.insert(to.end(), more.begin(), more.end());
}

pieces_t larkin()
{
    return {
        {DCE_CHIP_CAPABILITY, -1, is<dceChipCap_t>},
        {DCE_VLAN_CONFIG, -1, is<larkDefCos_t>},
        {DCE_L2_CONFIG, LARK_L2_PRI_REG_MAP, is<larkL2PriRegMap_t>},
        {DCE_L2_CONFIG, LARK_MCAST_RATE_LIMIT, is<larkMcastRateLimit_t>},
        {DCE_L2_CONFIG, LARK_MCAST_SCHEDULER, is<larkMcastQueues_t>},
        {DCE_L2_CONFIG, LARK_MCAST_TAIL_DROP, is<larkMcastQueues_t>},
        {DCE_TCAM_CREATE_REGION, -1, is<larkTcamRegion_t>},
        {DCE_TCAM_ADD, -1, is<larkTcamAdd_t>},
        {DCE_TCAM_ADD, -1, is<larkTcamAdded_t>},
        {DCE_TCAM_DELETE, -1, is<larkTcamDelete_t>},
        {DCE_TCAM_UPDATE, -1, is<larkL2TcamUpdate_t>},
        {DCE_TCAM_UPDATE, -1, is<larkL3TcamUpdate_t>},
        {DCE_CCB_GET, LARK_RCV_QUEUE, is<larkRcvQueue_t>},
        {DCE_CCB_GET, LARK_SBP_SIZE, is<larkSbpSize_t>},
        {DCE_CCB_SET, LARK_RED_CHIP, is<larkRedChip_t>},
        {DCE_CCB_SET, LARK_RED_PORT, is<larkRedPort_t>},
        {DCE_CCB_SET, LARK_PAUSE, is<larkPause_t>},
        {DCE_CCB_SET, LARK_PFC, is<larkPfc_t>},
        {DCE_CCB_SET, LARK_SCHEDULER, is<larkScheduler_t>},
        {DCE_CCB_SET, LARK_TAIL_DROP, is<larkTailDrop_t>},
        {DCE_CCB_SET, LARK_PRI_TAIL_DROP, is<larkPriTailDrop_t>},
        {DCE_CCB_SET, LARK_PORT_BUF, is<larkPortThreshold_t>},
        {DCE_CCB_SET, LARK_EMERGENCY_PAUSE, is<larkPortThreshold_t>},
        {DCE_PORT_COUNTERS, -1, is<larkPortCounters_t>},
        {DCE_PORT_COUNTERS, -1, is<statPortRmon_t>, LARKIN_DATA, Answer, {{LARKIN_KIND, LARK_KIND_RMON}}},
        {DCE_PORT_COUNTERS, -1, is<statPortFlow_t>, LARKIN_DATA, Answer, {{LARKIN_KIND, LARK_KIND_FLOW_CONTROL}}},
        {DCE_PORT_COUNTERS, -1, is<statPortQueue_t>, LARKIN_DATA, Answer, {{LARKIN_KIND, LARK_KIND_QUEUE}}},
        {DCE_MCAST_COUNTERS, -1, is<larkMcastCounters_t>},
        {DCE_CLEAR_QMG, -1, is<larkClearQmg_t>},
        {DCE_SWM_COUNTERS, -1, is<larkSwmCounters_t>},
        {DCE_CLEAR_SWM, -1, is<larkClearSwm_t>},
        {DCE_CLEAR_SWM, -1, nullptr, sizeof(larkClearSwm_t), ToEnd},
    };
}

pieces_t configuration()
{
    return {
        {COS_BULK, -1, is<cosBulk_t>},
        {COS_CHIP_CAPABILITY, -1, is<cosChipCap_t>},
        {COS_TMC_INFO, -1, is<cosTmcInfo_t>},
        {COS_SCHEDULER, -1, is<cosScheduler_t>},
        {COS_PORT_SHAPER, -1, is<cosPortShaper_t>},
        {COS_MCAST_QUEUE_MODE, -1, is<cosMcastQueueMode_t>},
        {COS_SBP_SIZE, -1, is<cosSbpSize_t>},
        {COS_PAUSE, -1, is<cosPause_t>},
        {COS_PFC, -1, is<cosPfc_t>},
        {COS_W2Q_MAP, -1, is<cosW2qMap_t>},
        {COS_PRI_TAIL_DROP, -1, is<cosPriTailDrop_t>},
        {COS_TAIL_DROP, -1, is<cosTailDrop_t>},
        {COS_RED_MIRELLE, -1, is<cosRed_t>},
        {COS_IVQ_RED_MAP, -1, is<cosIvqRed_t>},
        {COS_EXT_CHIP_CAPABILITY, -1, is<cosExtChipCap_t>},
        {COS_RED_TESSEL, -1, is<cosRed_t>},
        {COS_DEF_COS, -1, is<cosDefCos_t>},
        {COS_L3_PRI_MAP, -1, is<cosL3PriMap_t>},
        {COS_L2_PRI_MAP, -1, is<cosL2PriMap_t>},
        {COS_DSCP_MAP, -1, is<cosDscpMap_t>},
        {COS_POLICER_PROFILE, -1, is<cosPolProfile_t>},
        {COS_POLICER_ADD, -1, is<cosPolicerAdd_t>},
        {COS_POLICER_REMOVE, -1, is<cosPolicerRemove_t>},
        {COS_POLICER_ASSOCIATE, -1, is<cosPolAssoc_t>},
        {COS_POLICER_DEASSOCIATE, -1, is<cosPolDeassoc_t>},
    };
}

// Where chips differ, or use one command for two things, a block has several readings of one size.
pieces_t blocks()
{
    return {
        {COS_INGRESS_QUEUE_CHIP, -1, is<cosIngQueChip_t>},
        {COS_INGRESS_QUEUE_CHIP, -1, is<cosTmcIngQueChip_t>},
        {COS_INGRESS_QUEUE_PORT, -1, is<cosIngQuePort_t>},
        {COS_INGRESS_QUEUE_PORT, -1, is<cosTmcIngQuePort_t>},
        {COS_EGRESS_QUEUE_CHIP, -1, is<cosEgrQueChip_t>},
        {COS_EGRESS_QUEUE_CHIP, -1, is<cosTmcEgrQueChip_t>},
        {COS_EGRESS_QUEUE_PORT, -1, is<cosEgrQuePort_t>},
        {COS_INGRESS_BUFFERS_CHIP, -1, is<cosIngBufChip_t>},
        {COS_INGRESS_BUFFERS_CHIP, -1, is<cosTmcIngBufChip_t>},
        {COS_INGRESS_BUFFERS_PORT, -1, is<cosIngBufPort_t>},
        {COS_INGRESS_BUFFERS_PORT, -1, is<cosBusyBufPort_t>},
        {COS_INGRESS_BUFFERS_PORT, -1, is<cosTmcIngBufPort_t>},
        {COS_INGRESS_BUFFERS_PORT, -1, is<cosTdMonitor_t>},
        {COS_EGRESS_BUFFERS_CHIP, -1, is<cosEgrBufChip_t>},
        {COS_EGRESS_BUFFERS_CHIP, -1, is<cosTmcEgrBufChip_t>},
        {COS_EGRESS_BUFFERS_PORT, -1, is<cosEgrBufPort_t>},
        {COS_EGRESS_BUFFERS_PORT, -1, is<cosTmcEgrBufPort_t>},
        {COS_EGRESS_BUFFERS_PORT, -1, is<cosSendQuePort_t>},
        {COS_VOQ_COUNTERS, -1, is<cosStatPort_t>},
        {COS_VOQ_COUNTERS, -1, is<cosVoq_t>},
    };
}

pieces_t portKind(const qosRecord_t *record, uint32_t kind)
{
    return {{COS_STATS_READ, -1, record, PORT_DATA, Answer, {{DEVICE, STAT_DEV_PORT}, {PORT_KIND, kind}}}};
}

pieces_t devices()
{
    pieces_t all = {
        {COS_STATS_READ, -1, is<cosPortStats_t>, 0, Fixed, {{DEVICE, STAT_DEV_PORT}}},
        {COS_STATS_READ, -1, is<cosAsicStats_t>, 0, Fixed, {{DEVICE, STAT_DEV_ASIC}}},
        {COS_STATS_READ, -1, is<cosDropRsn_t>, 0, Fixed, {{DEVICE, STAT_DEV_DROP_REASON}}},
        {COS_STATS_READ, -1, is<cosDropRsnResponse_t>, 0, Fixed, {{DEVICE, STAT_DEV_DROP_REASON}}},
        {COS_STATS_CLEAR, -1, is<cosPortStatsClear_t>, 0, Fixed, {{DEVICE, STAT_DEV_PORT}}},
        {COS_STATS_CLEAR, -1, nullptr, sizeof(cosPortStatsClear_t), ToEnd, {{DEVICE, STAT_DEV_PORT}}},
        {COS_STATS_CLEAR, -1, is<cosDropRsn_t>, 0, Fixed, {{DEVICE, STAT_DEV_DROP_REASON}}},
    };
    append(all, portKind(is<statPortRmon_t>, STAT_KIND_RMON));
    append(all, portKind(is<statPortFlow_t>, STAT_KIND_FLOW_CONTROL));
    append(all, portKind(is<statPortQueue_t>, STAT_KIND_QUEUE));
    for (const uint32_t device :
         {STAT_DEV_RED_MIRELLE, STAT_DEV_RED_TESSEL, STAT_DEV_INGRESS_POLICER, STAT_DEV_EGRESS_POLICER}) {
        const bool red = device == STAT_DEV_RED_MIRELLE || device == STAT_DEV_RED_TESSEL;
        const qosRecord_t *result = red ? is<cosRedResult_t> : is<cosPolResult_t>;
        for (const uint32_t command : {COS_STATS_READ, COS_STATS_CLEAR})
            append(all, {{command, -1, is<cosStats_t>, 0, Fixed, {{DEVICE, device}}},
                         {command, -1, is<cosStatsKey_t>, KEYS, Keys, {{DEVICE, device}}}});
        append(all, {{COS_STATS_READ, -1, result, KEYS, Results, {{DEVICE, device}}}});
    }
    append(all, {{COS_STATS_READ, -1, is<cosStats_t>}, {COS_STATS_CLEAR, -1, is<cosStats_t>}}); // any other device
    return all;
}

// What the members of an outer record come to: where it stands, and how often if it is an array.
struct place_t {
    std::string prefix;
    uint32_t offset = 0;
    uint32_t count = 0; // 0: no array
    uint32_t stride = 0;
};

wireKind kindOf(memberKind kind)
{
    switch (kind) {
    case memberKind::Unsigned:
        return wireKind::Unsigned;
    case memberKind::Signed:
        return wireKind::Signed;
    case memberKind::Chars:
        return wireKind::Chars;
    default:
        return wireKind::Native;
    }
}

void addFields(std::vector<drvField_t> &to, const qosRecord_t &record, const place_t &place)
{
    for (uint32_t i = 0; i < record.numMembers; ++i) {
        const qosMember_t &member = record.members[i];
        const qosShape_t &shape = *member.shape;
        const std::string name = place.prefix + member.name;
        const uint32_t offset = place.offset + member.offset;
        if (member.use.reserved || std::strcmp(member.name, "hdr") == 0)
            continue;
        const uint32_t apart = place.count != 0 ? shape.count : 1; // an array in an array: a row for each element
        for (uint32_t n = 0; n < apart; ++n) {
            const std::string each = apart > 1 ? name + "[" + std::to_string(n) + "]" : name;
            const uint32_t at = offset + n * shape.width;
            const bool array = place.count == 0 && shape.isArray;
            const uint32_t count = array ? shape.count : place.count, stride = array ? shape.width : place.stride;
            if (shape.kind == memberKind::Record)
                addFields(to, *shape.record, {each + ".", at, count, stride});
            else
                to.push_back({each, at, shape.width, count != 0 ? count : 1, count != 0 ? stride : shape.width,
                              kindOf(shape.kind)});
        }
    }
}

} // namespace

const std::vector<drvPiece_t> &drvPieces()
{
    static const pieces_t all = [] {
        pieces_t made = larkin();
        append(made, configuration());
        append(made, blocks());
        append(made, devices());
        return made;
    }();
    return all;
}

std::vector<drvField_t> drvFieldsOf(const qosRecord_t &record)
{
    std::vector<drvField_t> fields;
    addFields(fields, record, {});
    return fields;
}
