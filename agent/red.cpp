// SPDX-License-Identifier: Apache-2.0
// The RED handlers. What a back end has changed stays after a failure; nothing is changed here.
#include "agent/red.h"

#include "agent/operation.h"
#include "inventory/chips.h"
#include "inventory/slots.h"
#include "velmar/dce.h"

namespace {

qosChip_t *chipOf(uint32_t chip_ifindex)
{
    return qosLookupChip(dce_get_flat_chip_id(chip_ifindex));
}

using nullEntry_t = qaLine_t<qaChipIfindex, qaChipType>;

// The profile of a port is told by the name in the body, that of a chip by its own index.
constexpr nullEntry_t NO_PROFILES = {QOS_ERR_TEXT("NULL RED PROFILE IOCTL handler for chip %x, type: %d")};
constexpr qaCall_t PORT_PROFILE = {
    qaOperation<QOS_RED_PROFILE_MSG>,
    NO_PROFILES,
    QOS_MSG_REFUSED,
    qaLine_t<qaName, qaRc>{QOS_ERR_TEXT("Failed to set/unset red profile for interface %s, error = %d")},
    qaLine_t<qaName>{QOS_INF_TEXT("Set/unset red profile for interface %s")},
    qaStatus_t::Stored};
constexpr qaCall_t CHIP_PROFILE = {
    qaOperation<QOS_RED_PROFILE_MSG>,
    NO_PROFILES,
    QOS_MSG_REFUSED,
    qaLine_t<qaChipIfindex, qaRc>{QOS_ERR_TEXT("Failed to set/unset red profile on an interface on chip %x, rc: %d")},
    qaLine_t<qaChipIfindex>{QOS_INF_TEXT("set/unset red profile on an interface on chip %x")},
    qaStatus_t::Stored};
constexpr qaCall_t IVQ_RED = {
    qaOperation<QOS_IVQ_RED_CFG>,
    qaLine_t<qaChipId, qaChipType>{QOS_ERR_TEXT("NULL IVQ RED CFG ioctl handler for chip %d, type:%d")},
    QOS_MSG_UNSERVED,
    qaLine_t<qaIfindex>{QOS_ERR_TEXT("Failed to do ivq red cfg for if %x")},
    qaLine_t<qaIfindex>{QOS_ERR_TEXT("ivq red cfg done for if %x")},
    qaStatus_t::Stored};
constexpr qaCall_t IVQ_RED_CHIP = {
    qaOperation<QOS_IVQ_RED_CHIP_CFG>,
    nullEntry_t{QOS_ERR_TEXT("NULL IVQ RED CHIP UPD IOCTL handler for chip %x, type: %d")},
    QOS_MSG_REFUSED,
    qaLine_t<qaChipAsked>{QOS_ERR_TEXT("Failed to do ivq red chip cfg for chip %x")},
    qaLine_t<qaChipAsked>{QOS_ERR_TEXT("ivq red chip cfg done for chip %x")},
    qaStatus_t::Stored};
constexpr qaCall_t STATISTICS = {qaOperation<QOS_GET_RED_STATS_MSG>,
                                 qaLine_t<qaChipIfindex>{QOS_ERR_TEXT("NULL RED INTF STATS handler for chip %x")},
                                 QOS_MSG_UNSERVED,
                                 qaLine_t<qaIfindex, qaChipAsked, qaRc>{QOS_ERR_TEXT(
                                     "Failed to retrieve redIntf Stats for if: %x on chip_if: %x, rc: %d")},
                                 qaNoLine_t{},
                                 qaStatus_t::Stored};

// A request for a port: one call, which keeps the all-chips index.
qosMsgStatus_t profileOnPort(const qosChip_t *chip, qosCcbMsg_t *body)
{
    const qosName_t name = qosNameOf(body->ifName);
    return qaRun(PORT_PROFILE, {"qaProcessRedProfileMsg", chip, name.text}, body).rc;
}

qosMsgStatus_t profileOnChip(qosCcbMsg_t *body)
{
    const qosChip_t *chip = chipOf(body->chip_ifindex);
    if (!chip) {
        QOS_ERR_AT("qaProcessRedProfileMsg", "Unable to locate chip in db with ifidx: %x",
                   static_cast<uint32_t>(body->ifindex));
        return qosAnswer(body, QOS_MSG_UNSERVED);
    }
    if (qaEntry(chip, CHIP_PROFILE.operation))
        body->chip_ifindex = chip->chip_ifindex;
    return qaRun(CHIP_PROFILE, {"qaProcessRedProfileMsg", chip}, body).rc;
}

} // namespace

qosMsgStatus_t qaProcessRedProfileMsg(qosCcbMsg_t *body)
{
    QOS_FRAME();
    QOS_DBG("Received redProfile update for interface %s", qosNameOf(body->ifName).text);
    QOS_DBG("profile: %d, cos: %d, set: %d", static_cast<uint16_t>(body->profileId), static_cast<int32_t>(body->cos),
            static_cast<int32_t>(body->set));
    const qosChip_t *chip = qosFirstOwnChip();
    if (!chip) {
        QOS_ERR("Chip is NULL when RED PROFILE is applied ");
        return qosAnswer(body, QOS_MSG_REFUSED);
    }
    return body->chip_ifindex == QOS_ALL_CHIPS_IFINDEX ? profileOnPort(chip, body) : profileOnChip(body);
}

qosMsgStatus_t qaProcessIvqRedCfg(qosCcbIvqRedIfInfo_t *body)
{
    QOS_FRAME();
    const uint32_t ifindex = body->ifIndex;
    QOS_DBG("Received IVQ red update for if %x", ifindex);
    const qosChip_t *chip = qosFirstOwnChip();
    if (!chip) {
        QOS_ERR("chip list is empty");
        return qosAnswer(body, QOS_MSG_UNSERVED);
    }
    return qaRun(IVQ_RED, {__func__, chip, "", ifindex}, body).rc;
}

qosMsgStatus_t qaProcessIvqRedChipCfg(qosCcbIvqRedCfg_t *body)
{
    QOS_FRAME();
    const uint32_t ifindex = body->chip_ifindex;
    QOS_DBG("Received IVQ red chip update for chip %x", ifindex);
    const qosChip_t *chip = chipOf(ifindex);
    if (!chip) {
        QOS_ERR("Unable to locate chip in db with ifidx: %x", ifindex);
        return qosAnswer(body, QOS_MSG_UNSERVED);
    }
    return qaRun(IVQ_RED_CHIP, {__func__, chip, "", 0, ifindex}, body).rc;
}

qosMsgStatus_t qaProcessRedStatsMsg(qosRedStatsMsg_t *body)
{
    QOS_FRAME();
    const uint32_t ifindex = body->ifindex;
    const uint32_t chip_ifindex = body->chip_ifindex;
    const qosChip_t *chip = chipOf(chip_ifindex);
    if (!chip) {
        QOS_ERR("Unable to locate chip in db with ifidx: %x", chip_ifindex);
        return qosAnswer(body, QOS_MSG_UNSERVED);
    }
    QOS_INF("Received redIntfStats Msg for if: %x on chip_if: %x", ifindex, chip_ifindex);
    return qaRun(STATISTICS, {__func__, chip, "", ifindex, chip_ifindex}, body).rc;
}
