// The RED handlers. What a back end has changed stays after a failure; nothing is changed here.
#include "agent/red.h"

#include "core/handler.h"
#include "core/trace.h"
#include "inventory/chips.h"
#include "inventory/slots.h"
#include "platform/qa_ioctl.h"
#include "velmar/dce.h"

namespace {

qosChip_t *chipOf(uint32_t chip_ifindex)
{
    return qosLookupChip(dce_get_flat_chip_id(chip_ifindex));
}

uint32_t nullProfileHandler(const qosChip_t *chip, qosCcbMsg_t *body)
{
    QOS_ERR_AT("qaProcessRedProfileMsg", "NULL RED PROFILE IOCTL handler for chip %x, type: %d", chip->chip_ifindex,
               chip->chip_type);
    return qosAnswer(body, QOS_MSG_REFUSED);
}

// A request for a port: one call, which keeps the all-chips index.
uint32_t profileOnPort(const qosChip_t *chip, qosCcbMsg_t *body)
{
    const qaIoctl_t entry = qaIoctl(chip, QOS_RED_PROFILE_MSG);
    if (!entry)
        return nullProfileHandler(chip, body);
    const uint32_t rc = entry(body);
    const qosName_t name = qosNameOf(body->ifName);
    if (rc != QOS_MSG_DONE)
        QOS_ERR_AT("qaProcessRedProfileMsg", "Failed to set/unset red profile for interface %s, error = %d", name.text,
                   rc);
    else
        QOS_INF_AT("qaProcessRedProfileMsg", "Set/unset red profile for interface %s", name.text);
    return qosAnswer(body, rc);
}

uint32_t profileOnChip(qosCcbMsg_t *body)
{
    const qosChip_t *chip = chipOf(body->chip_ifindex);
    if (!chip) {
        QOS_ERR_AT("qaProcessRedProfileMsg", "Unable to locate chip in db with ifidx: %x",
                   static_cast<uint32_t>(body->ifindex));
        return qosAnswer(body, QOS_MSG_UNSERVED);
    }
    const qaIoctl_t entry = qaIoctl(chip, QOS_RED_PROFILE_MSG);
    if (!entry)
        return nullProfileHandler(chip, body);
    body->chip_ifindex = chip->chip_ifindex;
    const uint32_t rc = entry(body);
    if (rc != QOS_MSG_DONE)
        QOS_ERR_AT("qaProcessRedProfileMsg", "Failed to set/unset red profile on an interface on chip %x, rc: %d",
                   chip->chip_ifindex, rc);
    else
        QOS_INF_AT("qaProcessRedProfileMsg", "set/unset red profile on an interface on chip %x", chip->chip_ifindex);
    return qosAnswer(body, rc);
}

} // namespace

uint32_t qaProcessRedProfileMsg(qosCcbMsg_t *body)
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

uint32_t qaProcessIvqRedCfg(qosCcbIvqRedIfInfo_t *body)
{
    QOS_FRAME();
    const uint32_t ifindex = body->ifIndex;
    QOS_DBG("Received IVQ red update for if %x", ifindex);
    const qosChip_t *chip = qosFirstOwnChip();
    if (!chip) {
        QOS_ERR("chip list is empty");
        return qosAnswer(body, QOS_MSG_UNSERVED);
    }
    const qaIoctl_t entry = qaIoctl(chip, QOS_IVQ_RED_CFG);
    if (!entry) {
        QOS_ERR("NULL IVQ RED CFG ioctl handler for chip %d, type:%d", chip->chip_id, chip->chip_type);
        return qosAnswer(body, QOS_MSG_UNSERVED);
    }
    const uint32_t rc = entry(body);
    if (rc != QOS_MSG_DONE)
        QOS_ERR("Failed to do ivq red cfg for if %x", ifindex);
    else
        QOS_ERR("ivq red cfg done for if %x", ifindex);
    return qosAnswer(body, rc);
}

uint32_t qaProcessIvqRedChipCfg(qosCcbIvqRedCfg_t *body)
{
    QOS_FRAME();
    const uint32_t ifindex = body->chip_ifindex;
    QOS_DBG("Received IVQ red chip update for chip %x", ifindex);
    const qosChip_t *chip = chipOf(ifindex);
    if (!chip) {
        QOS_ERR("Unable to locate chip in db with ifidx: %x", ifindex);
        return qosAnswer(body, QOS_MSG_UNSERVED);
    }
    const qaIoctl_t entry = qaIoctl(chip, QOS_IVQ_RED_CHIP_CFG);
    if (!entry) {
        QOS_ERR("NULL IVQ RED CHIP UPD IOCTL handler for chip %x, type: %d", chip->chip_ifindex, chip->chip_type);
        return qosAnswer(body, QOS_MSG_REFUSED);
    }
    const uint32_t rc = entry(body);
    if (rc != QOS_MSG_DONE)
        QOS_ERR("Failed to do ivq red chip cfg for chip %x", ifindex);
    else
        QOS_ERR("ivq red chip cfg done for chip %x", ifindex);
    return qosAnswer(body, rc);
}

uint32_t qaProcessRedStatsMsg(qosRedStatsMsg_t *body)
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
    const qaIoctl_t entry = qaIoctl(chip, QOS_GET_RED_STATS_MSG);
    if (!entry) {
        QOS_ERR("NULL RED INTF STATS handler for chip %x", chip->chip_ifindex);
        return qosAnswer(body, QOS_MSG_UNSERVED);
    }
    const uint32_t rc = entry(body);
    if (rc != QOS_MSG_DONE)
        QOS_ERR("Failed to retrieve redIntf Stats for if: %x on chip_if: %x, rc: %d", ifindex, chip_ifindex, rc);
    return qosAnswer(body, rc);
}
