// SPDX-License-Identifier: Apache-2.0
// The table of allocation types and its look-ups.
#include "core/memtypes.h"

namespace {

constexpr char NON_HA[] = "non-ha-type";
constexpr uint16_t NO_TAG = 546;
constexpr unsigned NUM_TYPES = sizeof qosMemTypes / sizeof qosMemTypes[0];

} // namespace

// By allocation type. Types 22 and 23 carry each other's record names on both sides of the shared list.
constexpr qosMemType_t qosMemTypes[] = {
    {"ChipEntry", "qosChip_t", 502},
    {"IfEntry", "qosIf_t", 501},
    {"Update", NON_HA, NO_TAG},
    {"CosMutateMap", "qosCosMutateMap_t", 505},
    {"CosTcMap", "qosCosTcMap_t", 506},
    {"DscpCosMap", "qosDscpCosMap_t", 507},
    {"DscpTcMap", "qosDscpTcMap_t", 508},
    {"DscpMutMap", "qosDscpMap_t", 509},
    {"OnmIpcMsg", NON_HA, 510},
    {"Stats", NON_HA, NO_TAG},
    {"RedProfile", "qosRedProfile_t", 511},
    {"PolPrioMapCont", "qmPolPrioMapCont_t", 529},
    {"PolPrioMap", "qmPolPrioMap_t", 530},
    {"PolPolicerTbl", "qosPolPolicerTbl_t", 531},
    {"PolProfileTbl", "qosPolProfileTbl_t", 532},
    {"PolPolicerInst", "qmPolPolicerInst_t", 533},
    {"PolProfileInst", "qmPolProfileInst_t", 534},
    {"PolPolicerInfo", "qaPolPolicerInfo_t", 535},
    {"SflowProfile", "qosSflowProfHdr_t", NO_TAG},
    {"CeeMap", "qosCeeMap_t", 512},
    {"AppmProfile", "qmAppmProfile_t", 513},
    {"FlowbasedMapNode", "fbMapNode_t", 514},
    {"FlowbasedPmapContainer", "fbClassmapContainer_t", 515},
    {"FlowbasedCmapContainer", "fbPolicymapContainer_t", 516},
    {"FlowbasedMapContainer", "fbMapContainer_t", 517},
    {"FlowbasedCmap", "fbClassMap_t", 518},
    {"FlowbasedFilter", "fbFilter_t", 519},
    {"FlowbasedPmap", "fbPolicyMap_t", 520},
    {"FlowbasedAgroup", "fbActionGroup_t", 521},
    {"FlowbasedAction", "fbAction_t", 522},
    {"FlowbasedTcg", "fbTargetCgroup_t", 523},
    {"FlowbasedTccg", "fbTargetCcgroup_t", 524},
    {"FlowbasedAo", "fbActionObject_t", 525},
    {"FlowbasedGlobal", "fbGlobals_t", 526},
    {"FlowbasedIpcResp", NON_HA, NO_TAG},
    {"TmcChip", "qosTmcChip_t", 540},
    {"NasServerElem", "qmNasServerIpInfo_t", 536},
    {"VxlanTunnelNode", "qosVxTnl_t", 537},
    {"VniListNode", "vni_list_node_t", 538},
    {"FlowbasedSpanSrcNode", "qos_flow_based_source_t", 539},
    {"FlowbasedMapName", "fbMapName_t", 541},
    {"TnlSpanNode", "qosVxTnlSpanNode_t", 542},
    {"TnlSflowNode", "qosVxTnlSflowNode_t", 543},
    {"ActiveCmapNode", "fbActiveCmap_t", 544},
    {"DropMonitorNode", "qaDropMonitorInfo_t", 545},
};
static_assert(qosMemTypes[NUM_TYPES - 1].display != nullptr);

const char *qos_ha_get_type_str(unsigned type)
{
    return type < NUM_TYPES ? qosMemTypes[type].ha_type : NON_HA;
}

uint16_t qos_ha_get_tag(unsigned type)
{
    return type < NUM_TYPES ? qosMemTypes[type].tag : NO_TAG;
}

int qos_ha_get_group(unsigned)
{
    return 0;
}
