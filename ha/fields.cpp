// The list of records that the store learns at start, nested records ahead of their users. Four stand in it twice.
#include "ha/fields.h"

#include "inventory/memory_fields.h"
#include "inventory/message_fields.h"

namespace {

// One entry; Rows is the row count that the replicated format has for the record.
template <typename Record, size_t Rows, size_t N>
constexpr qosHaStruct_t haStruct(const char *name, const ha_field_t (&fields)[N])
{
    static_assert(N == Rows);
    return {name, static_cast<uint32_t>(sizeof(Record)), static_cast<uint32_t>(N), fields};
}

} // namespace

#define QOS_HA_STRUCT(base, rows) haStruct<base##_t, rows>(#base "_t", base##_fields)

constexpr qosHaStruct_t qosHaStructs[] = {
    haStruct<tailqHead<qosIf_t>, 2>("struct th_qosIf_t", tqhead_fields_qosIf_t),
    haStruct<tailqEntry<qosIf_t>, 2>("struct te_qosIf_t", tqentry_fields_qosIf_t),
    haStruct<tailqHead<qosChip_t>, 2>("struct th_qosChip_t", tqhead_fields_qosChip_t),
    haStruct<tailqEntry<qosChip_t>, 2>("struct te_qosChip_t", tqentry_fields_qosChip_t),
    haStruct<tailqHead<qosUpdEntry_t>, 2>("struct th_qosUpdEntry_t", tqhead_fields_qosUpdEntry_t),
    haStruct<tailqEntry<qosUpdEntry_t>, 2>("struct te_qosUpdEntry_t", tqentry_fields_qosUpdEntry_t),
    QOS_HA_STRUCT(dce_tcam_handle, 4),
    QOS_HA_STRUCT(qosMsgHdr, 5),
    QOS_HA_STRUCT(qosUpdEntry, 2),
    QOS_HA_STRUCT(qosSlot, 8),
    QOS_HA_STRUCT(qosTcamRegion, 7),
    QOS_HA_STRUCT(qosRedProfile, 7),
    QOS_HA_STRUCT(qosChipRedCfg, 5),
    QOS_HA_STRUCT(qosLdBufferDist, 4),
    QOS_HA_STRUCT(qosChipLdInfo, 4),
    QOS_HA_STRUCT(qosPolProfileTbl, 3),
    QOS_HA_STRUCT(qosPolPolicerTbl, 3),
    QOS_HA_STRUCT(qosPolCfg, 6),
    QOS_HA_STRUCT(qosBumRecord, 5),
    QOS_HA_STRUCT(qosBumProtocolRecord, 3),
    QOS_HA_STRUCT(qosIfBumInfo, 4),
    QOS_HA_STRUCT(qosPolProfileTbl, 3),
    QOS_HA_STRUCT(qosPolPolicerTbl, 3),
    QOS_HA_STRUCT(qosPolCfg, 6),
    QOS_HA_STRUCT(qosPolStatsClrData, 2),
    QOS_HA_STRUCT(qosChipPortInfo, 4),
    QOS_HA_STRUCT(qosChip, 37),
    QOS_HA_STRUCT(qosMapHdr, 2),
    QOS_HA_STRUCT(qosCosMutateMap, 3),
    QOS_HA_STRUCT(qosCosTcMap, 3),
    QOS_HA_STRUCT(qosDscpCosMap, 2),
    QOS_HA_STRUCT(qosDscpTcMap, 2),
    QOS_HA_STRUCT(qosDscpMap, 2),
    QOS_HA_STRUCT(qosCcbGlobalCfg, 12),
    QOS_HA_STRUCT(qosIfLdInfo, 9),
    QOS_HA_STRUCT(qosCeePgid, 2),
    QOS_HA_STRUCT(qosCee, 6),
    QOS_HA_STRUCT(qosCeeMap, 4),
    QOS_HA_STRUCT(qosIfL2Pri, 16),
    QOS_HA_STRUCT(qosIfL3Pri, 17),
    QOS_HA_STRUCT(qosPauseProfile, 4),
    QOS_HA_STRUCT(qosRedProfile, 7),
    QOS_HA_STRUCT(qosIfRedCfg, 4),
    QOS_HA_STRUCT(qosOnmCfg, 3),
    QOS_HA_STRUCT(qosShaper, 3),
    QOS_HA_STRUCT(qosAppmSubProfile, 8),
    QOS_HA_STRUCT(qosIfCcbInfo, 22),
    QOS_HA_STRUCT(qosSch, 5),
    QOS_HA_STRUCT(qosMcSch, 2),
    QOS_HA_STRUCT(qosIfCeeMap, 4),
    QOS_HA_STRUCT(qosIfPolInfo, 2),
    QOS_HA_STRUCT(qosIf, 25),
    QOS_HA_STRUCT(dORVALRegMsg, 1),
    QOS_HA_STRUCT(qosChipUpMsg, 22),
    QOS_HA_STRUCT(qosIfAddMsg, 4),
    QOS_HA_STRUCT(qosIfDelMsg, 3),
    QOS_HA_STRUCT(qosL2PriMsg, 9),
    QOS_HA_STRUCT(qosL3PriMsg, 8),
    QOS_HA_STRUCT(qosCcbMsg, 21),
    QOS_HA_STRUCT(qosSchMsg, 7),
    QOS_HA_STRUCT(qosPolParam, 8),
    QOS_HA_STRUCT(qosPolPolicerAddMsg, 21),
    QOS_HA_STRUCT(qosPolPolicerDelMsg, 11),
    QOS_HA_STRUCT(qosPolProfileMsg, 7),
    QOS_HA_STRUCT(qosLdConfigMsg, 5),
    QOS_HA_STRUCT(qosClearStatsMsg, 4),
    QOS_HA_STRUCT(qosPolBumStateNotifyMsg, 4),
    QOS_HA_STRUCT(qosBumResetStateMsg, 3),
    QOS_HA_STRUCT(qosQueueDepthMsg, 3),
    QOS_HA_STRUCT(qosPolStatsClrMsg, 6),
    QOS_HA_STRUCT(qosPolStatsClrAllMsg, 2),
    QOS_HA_STRUCT(qosCcbIvqRedIfInfo, 3),
    QOS_HA_STRUCT(qosCcbIvqRedCfg, 4),
    QOS_HA_STRUCT(qosGetTmcInfoMsg, 5),
    QOS_HA_STRUCT(qosUpdEntry_dORVALRegMsg, 3),
    QOS_HA_STRUCT(qosUpdEntry_qosChipUpMsg, 3),
    QOS_HA_STRUCT(qosUpdEntry_qosIfAddMsg, 3),
    QOS_HA_STRUCT(qosUpdEntry_qosIfDelMsg, 3),
    QOS_HA_STRUCT(qosUpdEntry_qosL2PriMsg, 3),
    QOS_HA_STRUCT(qosUpdEntry_qosL3PriMsg, 3),
    QOS_HA_STRUCT(qosUpdEntry_qosCcbMsg, 3),
    QOS_HA_STRUCT(qosUpdEntry_qosSchMsg, 3),
    QOS_HA_STRUCT(qosUpdEntry_qosPolPolicerAddMsg, 3),
    QOS_HA_STRUCT(qosUpdEntry_qosPolPolicerDelMsg, 3),
    QOS_HA_STRUCT(qosUpdEntry_qosPolProfileMsg, 3),
    QOS_HA_STRUCT(qosUpdEntry_qosLdConfigMsg, 3),
    QOS_HA_STRUCT(qosUpdEntry_qosClearStatsMsg, 3),
    QOS_HA_STRUCT(qosUpdEntry_qosPolBumStateNotifyMsg, 3),
    QOS_HA_STRUCT(qosUpdEntry_qosBumResetStateMsg, 3),
    QOS_HA_STRUCT(qosUpdEntry_qosQueueDepthMsg, 3),
    QOS_HA_STRUCT(qosUpdEntry_qosPolStatsClrMsg, 3),
    QOS_HA_STRUCT(qosUpdEntry_qosPolStatsClrAllMsg, 3),
    QOS_HA_STRUCT(qosUpdEntry_qosCcbIvqRedIfInfo, 3),
    QOS_HA_STRUCT(qosUpdEntry_qosCcbIvqRedCfg, 3),
    QOS_HA_STRUCT(qosUpdEntry_qosGetTmcInfoMsg, 3),
};

const unsigned qosHaStructCount = sizeof qosHaStructs / sizeof qosHaStructs[0];
static_assert(sizeof qosHaStructs / sizeof qosHaStructs[0] == 95);
