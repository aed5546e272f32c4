// The field table of each body and the catalogue of message codes.
//
// A row of a table comes from the body's struct: name, offset and, through the member's type, width, count
// and kind. So the layout itself stands in the structs alone.
#include "agent/messages/catalogue.h"
#include "agent/messages/chip.h"
#include "agent/messages/congestion.h"
#include "agent/messages/drop_monitor.h"
#include "agent/messages/header.h"
#include "agent/messages/policer.h"
#include "agent/messages/priority.h"
#include "agent/messages/scheduler.h"
#include "agent/messages/statistics.h"

#include <iterator>
#include <type_traits>

namespace {

template <typename M>
struct wireShape;

template <typename T, std::endian Order>
struct wireShape<velmar::wireInt<T, Order>> {
    static constexpr wireKind kind = Order != std::endian::big ? wireKind::Native
                                     : std::is_signed_v<T>     ? wireKind::Signed
                                                               : wireKind::Unsigned;
    static constexpr uint16_t width = sizeof(T);
    static constexpr uint16_t count = 1;
};

template <>
struct wireShape<uint8_t> {
    static constexpr wireKind kind = wireKind::Unsigned;
    static constexpr uint16_t width = 1;
    static constexpr uint16_t count = 1;
};

template <size_t N>
struct wireShape<char[N]> {
    static constexpr wireKind kind = wireKind::Chars;
    static constexpr uint16_t width = N;
    static constexpr uint16_t count = 1;
};

template <typename M, size_t N>
struct wireShape<M[N]> {
    static constexpr wireKind kind = wireShape<M>::kind;
    static constexpr uint16_t width = wireShape<M>::width;
    static constexpr uint16_t count = N * wireShape<M>::count;
};

// A row for a member of type M.
template <typename M>
constexpr wireField wireRow(const char *name, size_t offset)
{
    using shape = wireShape<M>;
    return {name, static_cast<uint16_t>(offset), shape::width, shape::count, shape::width, shape::kind};
}

// A row for a member of type M in an array of records: arrayBytes and recordBytes give count and stride.
template <typename M>
constexpr wireField wireRowEach(const char *name, size_t offset, size_t arrayBytes, size_t recordBytes)
{
    using shape = wireShape<M>;
    static_assert(shape::count == 1, "an array in repeated records takes a row for each of its elements");
    return {name,
            static_cast<uint16_t>(offset),
            shape::width,
            static_cast<uint16_t>(arrayBytes / recordBytes),
            static_cast<uint16_t>(recordBytes),
            shape::kind};
}

template <typename R>
struct wireOf;

// The table of a body. In it: F a member, IN a member of a nested record, EACH a member of an array of records.
#define FIELDS(record, ...)                                                                                            \
    template <>                                                                                                        \
    struct wireOf<record> {                                                                                            \
        using R = record;                                                                                              \
        static constexpr wireField fields[] = {__VA_ARGS__};                                                           \
        static constexpr wireBody body = {#record, sizeof(R), static_cast<uint16_t>(std::size(fields)), fields};       \
    };
#define F(member) wireRow<decltype(R::member)>(#member, offsetof(R, member))
#define IN(record, member)                                                                                             \
    wireRow<decltype(decltype(R::record)::member)>(#record "." #member,                                                \
                                                   offsetof(R, record) + offsetof(decltype(R::record), member))
#define RECORD_OF(array) std::remove_reference_t<decltype(R::array[0])>
#define EACH(array, member)                                                                                            \
    wireRowEach<std::remove_reference_t<decltype(RECORD_OF(array)::member)>>(                                          \
        #array "." #member, offsetof(R, array) + offsetof(RECORD_OF(array), member), sizeof(R::array),                 \
        sizeof(RECORD_OF(array)))

FIELDS(dORVALRegMsg_t, F(slot_id))
FIELDS(qosClearStatsMsg_t, F(status), F(ifindex), F(clearAll), F(chip))
FIELDS(qosChipUpMsg_t, F(chip_id), F(chip_ifindex), F(slot_id), F(local_chip_id), F(num_ports), F(chip_type),
       F(chip_rev), F(num_ingr_policer_ids), F(ingr_infin_policer_id), F(min_ingr_policer_id), F(num_egr_policer_ids),
       F(egr_infin_policer_id), F(min_egr_policer_id), F(num_policer_profiles), F(pt_based_pol), F(vlan_based_pol),
       F(num_policer_groups), F(numChipBuffPools), F(chipBuffers), F(portBuffers), F(maxRedProfilesPerChip),
       EACH(portInfo, ifindex), EACH(portInfo, num_buffers), EACH(portInfo, bufPoolId), EACH(portInfo, polGroupId),
       F(egr_td_red_prof), F(status))
FIELDS(qosIfAddMsg_t, F(ifIndex), F(ifName), F(chip_id), F(status))
FIELDS(qosIfDelMsg_t, F(ifIndex), F(ifName), F(status))
FIELDS(qosL2PriMsg_t, F(ifIndex), F(ifName), F(chip_ifindex), F(def_cos), F(def_tc), F(cos_trust), F(cos_map),
       F(tc_map), F(status))
FIELDS(qosL3PriMsg_t, F(ifIndex), F(ifName), F(chip_ifindex), F(dscp_trust), F(dscp_map), F(cos_map), F(tc_map),
       F(status))
FIELDS(qosCcbMsg_t, F(ifindex), F(ifName), F(chip_ifindex), F(tc_map), F(pause_rx), F(pause_tx), F(pfc_rx), F(pfc_tx),
       F(pri_tail_drop_threshold), F(priTailDropSet), F(cos), F(profileId), F(minThreshold), F(maxThreshold),
       F(dropProbability), F(set), F(rateLimit), F(burstLimit), F(mcTailDrop), F(mcastQueueMode), F(status))
FIELDS(qosQueueDepthMsg_t, F(chip_ifindex), F(queueDepth), F(status))
FIELDS(qosPortPriBuffersMsg_t, F(ifindex), F(status), F(tailDropThreshold), F(thresholds))
FIELDS(qosCcbIvqRedIfInfo_t, F(status), F(ifIndex), F(pfc_map))
FIELDS(qosCcbIvqRedCfg_t, F(status), F(numEntries), F(chip_ifindex), EACH(data, status), EACH(data, ifIndex),
       EACH(data, pfc_map))
FIELDS(qosLdConfigMsg_t, F(cmd), F(ifindex), F(distance), F(num_pfc), F(status))
FIELDS(qosSchMsg_t, F(ifIndex), F(ifName), F(chip_ifindex), IN(shaper_cfg, SchFlags), IN(shaper_cfg, if_bw),
       IN(shaper_cfg, port_shp_cfg_status), IN(sch_cfg, SchFlags), IN(sch_cfg, sp_count), IN(sch_cfg, sp_queue_bw),
       IN(sch_cfg, dwrr_weight), IN(sch_cfg, sch_cfg_status), IN(Mcsch_cfg, mc_dwrr_weight),
       IN(Mcsch_cfg, mc_sch_cfg_status), F(status))
FIELDS(qosPolPolicerAddMsg_t, F(ifindex), F(ifName), F(chip_ifindex), F(profile_id), F(conform_cos), F(exceed_cos),
       F(violate_cos), F(policer_id), F(pol_grp_idx), F(dir), F(policer_req_type), F(class_default), F(poll_pol_cntr),
       F(is_bum_policer), F(add_profile), IN(policer_param, cir), IN(policer_param, cbs), IN(policer_param, eir),
       IN(policer_param, ebs), IN(policer_param, conform_ip_tos), IN(policer_param, conform_traffic_class),
       IN(policer_param, exceed_ip_tos), IN(policer_param, exceed_traffic_class), IN(policer_param, flags), F(odata1),
       F(odata2), F(op_cir), F(op_eir), F(status))
FIELDS(qosPolPolicerDelMsg_t, F(ifindex), F(ifName), F(chip_ifindex), F(profile_id), F(policer_id), F(pol_grp_idx),
       F(class_default), F(is_bum_policer), F(dir), F(policer_req_type), F(status))
FIELDS(qosPolProfileMsg_t, F(chip_ifindex), F(profile_id), F(conform_cos), F(exceed_cos), F(violate_cos),
       F(profile_req_type), F(status))
FIELDS(qosPolStatsGetMsg_t, F(chip_ifindex), F(status), F(dir), F(num_records), EACH(records, ifindex),
       EACH(records, policer_id), EACH(records, pol_grp_idx), EACH(records, counter[0]), EACH(records, counter[1]),
       EACH(records, counter[2]))
FIELDS(qosPolStatsClrMsg_t, F(status), F(ifindex), F(dir), F(num_policers), F(num_pol_grp),
       EACH(stats_clr_data, ifindex), EACH(stats_clr_data, policer_id))
FIELDS(qosPolStatsClrAllMsg_t, F(ifindex), F(is_bum_pol_stats_clr_req))
FIELDS(qosPolBumStateNotifyMsg_t, F(ifindex), F(pol_id), F(dir), F(bum_mon_state))
FIELDS(qosBumResetStateMsg_t, F(ifindex), F(ifName), F(status))
FIELDS(qaDropMonitorCfgMsg_t, F(ifindex), F(ifName), F(chip_ifindex), F(cmd), F(status))
FIELDS(qosDropMonitorNotifyMsg_t, F(count), EACH(records, ifindex), EACH(records, td_drop_seen),
       EACH(records, red_drop_seen))
FIELDS(qosTdMonitorStatsMsg_t, F(status), F(num_records), EACH(records, ifindex), EACH(records, td_drop),
       EACH(records, is_td_if_drop))
FIELDS(qosRedMonitorStatsMsg_t, F(status), F(num_records), EACH(records, ifindex), EACH(records, tmc_type),
       EACH(records, green_drop), EACH(records, red_drop), EACH(records, yellow_drop), EACH(records, is_red_if_drop))
FIELDS(qosGetTmcInfoMsg_t, F(status), F(chip_ifindex), F(tsl_id), F(tmc_id), F(tmc_type))
FIELDS(qosRcvQueueStatsMsg_t, F(ifindex), F(status), F(log_port_bufs), F(port_threshold), F(port_pri_bufs),
       F(threshold), F(drop_total))
FIELDS(qosMcastRcvQueueStatsMsg_t, F(chip_ifindex), F(status), F(counter))
FIELDS(qosFlowControlStatsMsg_t, F(ifindex), F(status), F(global), F(global2), F(pri))
FIELDS(qosQueueStatsMsg_t, F(ifindex), F(status), F(counter1), F(counter2), F(counter3), F(counter4), F(total))
FIELDS(qosRedStatsMsg_t, F(chip_ifindex), F(status), F(num_records), F(priority), F(ifindex), F(single_record),
       F(stats_valid), F(records_valid), EACH(records, rsp_priority), EACH(records, priority),
       EACH(records, counter[0]), EACH(records, counter[1]), EACH(records, counter[2]), EACH(records, counter[3]),
       EACH(records, counter[4]), EACH(records, counter[5]), EACH(records, counter[6]), EACH(records, counter[7]),
       F(mrl_counter))
FIELDS(qosIngQueStatsMsg_t, F(ifindex), F(status), F(selector), F(pri48), F(val112), F(flag120), F(pri121), F(pri129),
       F(pri137))
FIELDS(qosEgrQueStatsMsg_t, F(ifindex), F(status), F(selector), F(pri48), F(val56), F(flag60), F(val64), F(val68),
       F(val72), F(pri73), F(pri84), F(pri116))
FIELDS(qosIngBufStatsMsg_t, F(ifindex), F(status), F(selector), F(pri48), F(pri56), F(val64), F(pri80), F(pri112),
       F(pri144), F(pri176), F(pri208), F(pri240), F(pri272), F(pri280), F(flag288))
FIELDS(qosEgrBufStatsMsg_t, F(ifindex), F(status), F(selector), F(pri48), F(pri80), F(pri112), F(pri144), F(pri152))
FIELDS(qosPlcIngQueStatsMsg_t, F(ifindex), F(status), F(selector), F(pri48), F(pri80), F(flag112), F(pri113), F(val132))
FIELDS(qosPlcEgrQueStatsMsg_t, F(ifindex), F(status), F(selector), F(pri48), F(pri80), F(pri112), F(pri144), F(pri176),
       F(pri208))
FIELDS(qosPlcIngBufStatsMsg_t, F(ifindex), F(status), F(selector), F(val48), F(pri72), F(pri104), F(pri136), F(pri168),
       F(val200), F(pri208), F(pri216), F(flag224), F(flag225))
FIELDS(qosPlcEgrBufStatsMsg_t, F(ifindex), F(status), F(selector), F(val48), F(pri64), F(pri96), F(pri128), F(pri160))
FIELDS(qosTmcIngChipQueStatsMsg_t, F(ifindex), F(status), F(selector), F(flag52), F(flag53), F(flag54), F(flag55),
       F(flag56), F(flag57), F(val60), F(val64), F(val68), F(val70))
FIELDS(qosTmcEgrChipQueStatsMsg_t, F(ifindex), F(status), F(selector), F(val52))
FIELDS(qosTmcIngChipBufStatsMsg_t, F(ifindex), F(status), F(selector), F(val56), F(pair72), F(pair136), F(pair200),
       F(pair264), F(val328))
FIELDS(qosTmcEgrChipBufStatsMsg_t, F(ifindex), F(status), F(selector), F(pri56), F(pri64), F(val640), F(pair648),
       F(pair712), F(pair776), F(pair840), F(val904))
FIELDS(qosIngTmcPortBufStatsMsg_t, F(ifindex), F(status), F(selector), F(val52), F(val53), F(val56), F(pri60), F(pri92),
       F(val124), F(pri128), F(pri160), F(pri192), F(pri224), F(val256), F(pair260))
FIELDS(qosEgrTmcPortBufStatsMsg_t, F(ifindex), F(status), F(selector), F(val52), F(pri56), F(pair92))
FIELDS(qosIngTmcPortQueStatsMsg_t, F(ifindex), F(status), F(selector), F(val52), F(val53), F(val54), F(val56), F(pri60))
FIELDS(qosVoqStatsMsg_t, F(ifindex), F(status), F(selector), F(counter), F(selector_echo))
FIELDS(qosDropRsnStatsMsg_t, F(ifindex), F(status), F(selector), F(num_reasons), EACH(records, text),
       EACH(records, counter), F(total))
FIELDS(qosAsicIntStatsMsg_t, F(chip_ifindex), F(status), F(val16), F(val96), F(val104), F(val360), F(val392), F(val464))

#undef EACH
#undef RECORD_OF
#undef IN
#undef F
#undef FIELDS

} // namespace

namespace {

template <typename Body>
constexpr const wireBody *describedBy = &wireOf<Body>::body;
template <>
constexpr const wireBody *describedBy<void> = nullptr;

} // namespace

#define WHOLE sizeof(B)
#define NOTHING 0
#define UP_TO(records) offsetof(B, records)
#define COUNTED(records, count, fewest) offsetof(B, records)
#define QOS_ROW(number, text, body, least)                                                                             \
    {number,                                                                                                           \
     [] {                                                                                                              \
         using B [[maybe_unused]] = body;                                                                              \
         return static_cast<uint16_t>(least);                                                                          \
     }(),                                                                                                              \
     text, describedBy<body>},

constexpr qosMsgInfo_t qosMsgCatalogue[QOS_MSG_CODES] = {
#define QOS_CODE(number, name, body, least, ...) QOS_ROW(number, #name, body, least)
#define QOS_UNNAMED(number, name, body, least, ...) QOS_ROW(number, "Unknown", body, least)
#include "agent/messages/codes.def"
};

#undef QOS_ROW
#undef COUNTED
#undef UP_TO
#undef NOTHING
#undef WHOLE

static_assert(
    [] {
        for (unsigned code = 0; code < QOS_MSG_CODES; code++)
            if (qosMsgCatalogue[code].code != code)
                return false;
        return true;
    }(),
    "the catalogue is indexed by code");

const qosMsgInfo_t *qosMsgInfo(unsigned code)
{
    return code < QOS_MSG_CODES ? &qosMsgCatalogue[code] : nullptr;
}

const char *qosMsgName(unsigned code)
{
    return code < QOS_MSG_CODES ? qosMsgCatalogue[code].name : "Unknown";
}
