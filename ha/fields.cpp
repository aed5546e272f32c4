// SPDX-License-Identifier: Apache-2.0
// The list of records that the store learns at start, nested records ahead of their users. Four stand in it twice.
#include "ha/fields.h"

#include <iterator>
#include <string_view>

#include "agent/messages/chip.h"
#include "agent/messages/congestion.h"
#include "agent/messages/policer.h"
#include "agent/messages/priority.h"
#include "agent/messages/scheduler.h"
#include "agent/messages/statistics.h"
#include "inventory/records.h"
#include "velmar/fields.h"

namespace {

template <typename Record>
constexpr qosHaStruct_t described = {qosMembersOf<Record>::name,  sizeof(Record),       qosStoreRows<Record>.size(),
                                     qosStoreRows<Record>.data(), qosVersionOf<Record>, qosStoreDetails<Record>.data()};

} // namespace

constexpr qosHaStruct_t qosHaStructs[] = {
    described<tailqHead<qosIf_t>>,
    described<tailqEntry<qosIf_t>>,
    described<tailqHead<qosChip_t>>,
    described<tailqEntry<qosChip_t>>,
    described<tailqHead<qosUpdEntry_t>>,
    described<tailqEntry<qosUpdEntry_t>>,
    described<dce_tcam_handle_t>,
    described<qosMsgHdr_t>,
    described<qosUpdEntry_t>,
    described<qosSlot_t>,
    described<qosTcamRegion_t>,
    described<qosRedProfile_t>,
    described<qosChipRedCfg_t>,
    described<qosLdBufferDist_t>,
    described<qosChipLdInfo_t>,
    described<qosPolProfileTbl_t>,
    described<qosPolPolicerTbl_t>,
    described<qosPolCfg_t>,
    described<qosBumRecord_t>,
    described<qosBumProtocolRecord_t>,
    described<qosIfBumInfo_t>,
    described<qosPolProfileTbl_t>,
    described<qosPolPolicerTbl_t>,
    described<qosPolCfg_t>,
    described<qosPolStatsClrData_t>,
    described<qosChipPortInfo_t>,
    described<qosChip_t>,
    described<qosMapHdr_t>,
    described<qosCosMutateMap_t>,
    described<qosCosTcMap_t>,
    described<qosDscpCosMap_t>,
    described<qosDscpTcMap_t>,
    described<qosDscpMap_t>,
    described<qosCcbGlobalCfg_t>,
    described<qosIfLdInfo_t>,
    described<qosCeePgid_t>,
    described<qosCee_t>,
    described<qosCeeMap_t>,
    described<qosIfL2Pri_t>,
    described<qosIfL3Pri_t>,
    described<qosPauseProfile_t>,
    described<qosRedProfile_t>,
    described<qosIfRedCfg_t>,
    described<qosOnmCfg_t>,
    described<qosShaper_t>,
    described<qosAppmSubProfile_t>,
    described<qosIfCcbInfo_t>,
    described<qosSch_t>,
    described<qosMcSch_t>,
    described<qosIfCeeMap_t>,
    described<qosIfPolInfo_t>,
    described<qosIf_t>,
    described<dORVALRegMsg_t>,
    described<qosChipUpMsg_t>,
    described<qosIfAddMsg_t>,
    described<qosIfDelMsg_t>,
    described<qosL2PriMsg_t>,
    described<qosL3PriMsg_t>,
    described<qosCcbMsg_t>,
    described<qosSchMsg_t>,
    described<qosPolParam_t>,
    described<qosPolPolicerAddMsg_t>,
    described<qosPolPolicerDelMsg_t>,
    described<qosPolProfileMsg_t>,
    described<qosLdConfigMsg_t>,
    described<qosClearStatsMsg_t>,
    described<qosPolBumStateNotifyMsg_t>,
    described<qosBumResetStateMsg_t>,
    described<qosQueueDepthMsg_t>,
    described<qosPolStatsClrMsg_t>,
    described<qosPolStatsClrAllMsg_t>,
    described<qosCcbIvqRedIfInfo_t>,
    described<qosCcbIvqRedCfg_t>,
    described<qosGetTmcInfoMsg_t>,
    described<qosUpdEntryOf<dORVALRegMsg_t>>,
    described<qosUpdEntryOf<qosChipUpMsg_t>>,
    described<qosUpdEntryOf<qosIfAddMsg_t>>,
    described<qosUpdEntryOf<qosIfDelMsg_t>>,
    described<qosUpdEntryOf<qosL2PriMsg_t>>,
    described<qosUpdEntryOf<qosL3PriMsg_t>>,
    described<qosUpdEntryOf<qosCcbMsg_t>>,
    described<qosUpdEntryOf<qosSchMsg_t>>,
    described<qosUpdEntryOf<qosPolPolicerAddMsg_t>>,
    described<qosUpdEntryOf<qosPolPolicerDelMsg_t>>,
    described<qosUpdEntryOf<qosPolProfileMsg_t>>,
    described<qosUpdEntryOf<qosLdConfigMsg_t>>,
    described<qosUpdEntryOf<qosClearStatsMsg_t>>,
    described<qosUpdEntryOf<qosPolBumStateNotifyMsg_t>>,
    described<qosUpdEntryOf<qosBumResetStateMsg_t>>,
    described<qosUpdEntryOf<qosQueueDepthMsg_t>>,
    described<qosUpdEntryOf<qosPolStatsClrMsg_t>>,
    described<qosUpdEntryOf<qosPolStatsClrAllMsg_t>>,
    described<qosUpdEntryOf<qosCcbIvqRedIfInfo_t>>,
    described<qosUpdEntryOf<qosCcbIvqRedCfg_t>>,
    described<qosUpdEntryOf<qosGetTmcInfoMsg_t>>,
};

const unsigned qosHaStructCount = std::size(qosHaStructs);

static_assert(
    [] {
        unsigned rows = 0;
        for (const qosHaStruct_t &record : qosHaStructs)
            rows += record.rows;
        return std::size(qosHaStructs) == 95 && rows == 530;
    }(),
    "the replicated format has changed: docs/upgrading.md tells what nodes of the format before it need");

static_assert(
    [] {
        for (const qosHaStruct_t &record : qosHaStructs)
            for (unsigned i = 0; i < record.rows; ++i) {
                const std::string_view type = record.fields[i].type;
                const qosHaStruct_t *nested = qosHaStructs;
                while (type[0] != '~' && nested != &record && type != nested->name)
                    ++nested;
                if (type[0] != '~' && nested == &record)
                    return false;
            }
        return true;
    }(),
    "a nested record stands behind its user, or nowhere");
