// SPDX-License-Identifier: Apache-2.0
// The texts, by number.
#include "agent/model/drop_reasons.h"

#include <cstddef>
#include <iterator>

#include "platform/records/chip_traits.h"

namespace {

constexpr const char *RESERVED = "reserved";

constexpr const char *TESSEL[] = {
    "Lookup indicates drop",
    "Lookup not enabled",
    "pause or pfc frame",
    "non-TRILL port gets all-rbr MAC DA",
    "MAC SA is bcast/mcast/chassis address",
    "type or len err after SNAP",
    "non-TRILL frame w/o ctrl MAC DA at TRILL",
    "TRILL outer DA/SA/VLAN mismatch",
    "TRILL version/mc flag/header error",
    "TRILL hop count error",
    "TRILL SA matches TRILL address of chip",
    "Source filtered",
    "pre mature EOF",
    "IPv4/IPv6 error",
    "TTL is less than or equal to 1",
    "IP DA mcast addr mismatches MAC DA",
    "IP SA is mcast address",
    "IP PIM error",
    "IPv4/PIM checksum error",
    "IPv4 IHL is greater than 5",
    "IP Routing not enabled",
    "Reserved",
    "FCoE header error",
    "FCoE VSAN hop count error",
    "FCoE routing not enabled",
    "Tail Drop",
    "Drop due to local MAC bit set",
    "Reserved",
    "TRILL RPF drops",
    "Reserved",
    "Parity error",
    "IPv6 max len error",
    "Forward enable error",
    "Policer drops",
    "IPv4/IPv6 RPF check fail",
};
static_assert(std::size(TESSEL) == 35);

// Both Mirelle types number from here; up to 97 they agree but for 92.
constexpr uint32_t MIRELLE_FIRST = 27;
constexpr uint32_t MIRELLE_SHARED_END = 98;
constexpr uint32_t MIRELLE2_PIM_DECAP = 92;

constexpr const char *MIRELLE[] = {
    "TIMED_OUT",
    "PREMATURE_FRAME",
    "MIRELLE_ING_DROP",
    "MIRELLE_SHIM_XSM_ERR", // 30
    "RCVD_PTP_FRAME",
    "RUNT_FRAME",
    "L2_MAC_SA_LOCAL_BIT_SET",
    "L2_MULTIPLE_VLAN_TAGS_ON_S",
    "L2_MULTIPLE_VLAN_TAGS_ON_C",
    "L2_RCVD_S_TAG_ON_C",
    "L2_SA_DA_SAME",
    "L2_RCVD_ALL_RB_NOT_TRILL",
    "L2_MC_BC_IN_SA",
    "L2_ETYPE_LESS_THAN_MIN", // 40
    "TRILL_CID_MISMATCH",
    "TRILL_TTL_ONE",
    "TRILL_TTL_ZERO",
    "TRILL_CHBH",
    "TRILL_CID_ERR",
    "TRILL_RUNT",
    "TRILL_VER_ERR",
    "TRILL_OPT_ERR",
    "TRILL_SA_DA_MATCH",
    "TRILL_ALL_RB_MC_ERR", // 50
    "TRILL_LOOP",
    "TREE_ID_INVLD",
    "TRILL_INVLD",
    "TRILL_INVLD_MC",
    "TRILL_OUTER_DA_MISMATCH",
    "TRILL_OUTER_SA_MISMATCH",
    "L3_RPF_ERR",
    "L3_MTU_VIOL",
    "L3_SA_IS_MC",
    "L3_IPV4_XSM_ERR", // 60
    "L3_IPV4_IHL_GT_5",
    "L3_IPV4_IHL_LT_5",
    "L3_TTL_ERR",
    "L3_IP_VERS_ERR",
    "L3_IPV6_HBH_EXT",
    "L3_HDR_ERR_ACL_EN",
    "L3_MC_CHK_L3_ERR",
    "L3_ROUTER_ALERT",
    "GRE_UNSUP_FLAG_TRAP",
    "L3_IPV4_TOT_LEN_LT_IHL", // 70
    "L3_PIM_NULL_MY_RP",
    "L3_PIM_IPV4_FRAG_MY_RP",
    "L3_RTE_EN_ERR",
    "L3_PIM_XSM_ERR",
    "FCOE_VERS_ERR",
    "VSAN_VERS_ERR",
    "VSAN_TYPE_ERR",
    "FIP_VERS_ERR",
    RESERVED,
    "L3C_MEM_ERR", // 80
    "L3C_TRAP_BY_CTL_CLS",
    "L3C_TRAP_BY_PSEL",
    "L3C_TRAP_BY_HIT_EXM_LPM",
    "L3C_TRAP_BY_MISS_EXM_LPM",
    "L3C_ICMP_UNREACHABLE",
    "L3C_ICMP_REDIRECT",
    "L3C_IP_UC_RPF_FAIL",
    "L3C_TRAP_BY_NXT_HOP_RSLT",
    "L3C_DROP_BY_ACL_DROP",
    "L3C_DROP_BY_RTE_DROP", // 90
    "L3C_DROP_BY_NXT_HOP_RSLT",
    RESERVED,
    RESERVED,
    RESERVED,
    "L2C_L3_DECAP_INNER_IP_MC_SWITCHED_DROP",
    "L2C_EXM_DA_INVALID_ENTRY",
    "L2C_EXM_DA_IGMP_SNOOP_DROP",
    "L2C_EXM_DA_FID_MEMERR",
    "L2C_EXM_DA_MEMERR",
    "L2C_EXM_MGID_MEMERR", // 100
    "L2C_ACL_MEMERR",
    "L2C_TRPF_MEMERR",
    "L2C_VID_POL_MEMERR",
    "L2C_ACL_ACL_DROP",
    "L2C_ACL_DROP",
    "L2C_IVF_FWD_DISABLED_DROP",
    "L2C_ALL_PASSTHRU_DROP",
    "L2C_TID_SNF_MEMERR",
    "L2C_EGID_1Q_MEMERR",
    "L2C_MGID_1Q_MEMERR", // 110
    "L2C_EGID_TXPORT_MEMERR",
    "L2C_MCT_MCTMPID_DROP",
    "L2C_MCT_MCTMPID_MEMERR",
    "L2C_MCTMPID_DRB_MEMERR",
    "L2C_DRB_DRBMPID_MEMERR",
    "L2C_DRBMPID_LAG_MEMERR",
    "L2C_LAG_LAGMPID_MEMERR",
    "L2C_LAGMPID_EGID_MEMERR",
    "L2C_L3_PBR_ACL_DROP",
    "L2C_L3_PBR_DROP", // 120
    "L2C_L3_PBR_MEMERR",
    "L2C_PIPE_STAGE_PERR",
    "L2C_SPAN_COPY_ONLY",
    "L2C_NXT_HOP_ERR",
    "L2C_LPBK_FRAME",
    "L2C_TRILL_RPF_CHK_ERR_DROP",
    "L2C_PORT_SECURITY_ERR",
};
static_assert(std::size(MIRELLE) == 128 - MIRELLE_FIRST);

constexpr const char *MIRELLE2[] = {
    // from 98
    "L2C_MEMERR",
    "L2C_ACL_ACL_DROP",
    "L2C_ACL_DROP", // 100
    "L2C_IVF_FWD_DISABLED_DROP",
    "L2C_ALL_PASSTHRU_DROP",
    "L2C_MCT_MCTMPID_DROP",
    "L2C_L3_PBR_ACL_DROP",
    "L2C_L3_PBR_DROP",
    "L2C_PIPE_STAGE_PERR",
    RESERVED,
    "L2C_SPAN_COPY_ONLY",
    "L2C_LPBK_FRAME",
    "L2C_TRILL_RPF_CHK_ERR_DROP", // 110
    "L2C_PORT_SECURITY_ERR",
    "L2C_L3_DECAP_ERR",
    "L2_MISSING_FGL_TAGS",
    "M3_SHIM_ERR",
};
static_assert(std::size(MIRELLE2) == 115 - MIRELLE_SHARED_END);

// A table's row, the fallback outside it.
template <size_t Rows>
constexpr const char *textOf(const char *const (&table)[Rows], uint32_t first, uint32_t number, const char *fallback)
{
    return number >= first && number - first < Rows ? table[number - first] : fallback;
}

} // namespace

const char *tslGetRteDropRsnStr(uint32_t number)
{
    return textOf(TESSEL, 0, number, "Unknown");
}

const char *mrlGetRteDropRsnStr(uint32_t number)
{
    return textOf(MIRELLE, MIRELLE_FIRST, number, RESERVED);
}

const char *mrl2GetRteDropRsnStr(uint32_t number)
{
    if (number == MIRELLE2_PIM_DECAP)
        return "L3C_TRAP_BY_PIM_DECAP";
    if (number < MIRELLE_SHARED_END)
        return mrlGetRteDropRsnStr(number);
    return textOf(MIRELLE2, MIRELLE_SHARED_END, number, RESERVED);
}

const char *qaGetRteDropRsnStr(int32_t chip_type, uint32_t number)
{
    switch (qosChipTraits(static_cast<uint32_t>(chip_type)).drop_reasons) {
    case qosDropReasons_t::Tessel:
        return tslGetRteDropRsnStr(number);
    case qosDropReasons_t::Mirelle:
        return mrlGetRteDropRsnStr(number);
    case qosDropReasons_t::Mirelle2:
        return mrl2GetRteDropRsnStr(number);
    case qosDropReasons_t::None:
        break;
    }
    return RESERVED;
}
