// SPDX-License-Identifier: Apache-2.0
// The four transport calls, which differ in socket, frame type, status field and one check.
#include "channels/driver_request.h"

#include <algorithm>
#include <cstddef>

#include "core/state.h"
#include "core/trace.h"

namespace {

enum class family_t : uint8_t { Dce, Cos };

struct transport_t {
    qosWhere_t where;
    qosNLSock_t *socket;
    uint16_t frame_type;
    family_t family;
};

constexpr transport_t DCE = {"qosDceIoctl", &qosHslCmdSock, NLM_AGENT_REQUEST, family_t::Dce};
constexpr transport_t DCE_MGR = {"qosDceMgrIoctl", &qosHslMgrSock, NLM_MGR_REQUEST, family_t::Dce};
constexpr transport_t COS = {"qosCosIoctl", &qosHslCmdSock, NLM_AGENT_REQUEST, family_t::Cos};
constexpr transport_t COS_MGR = {"qosCosMgrIoctl", &qosHslMgrSock, NLM_MGR_REQUEST, family_t::Cos};

uint32_t readWord(const unsigned char *at)
{
    be32 word;
    memcpy(&word, at, sizeof word);
    return word;
}

int sendRequest(const transport_t &via, uint32_t target, uint32_t length, uint32_t response_length, uint32_t command,
                uint32_t *seq)
{
    auto *header = reinterpret_cast<qosDriverHdr_t *>(qosNLMsgBuf + sizeof(qosNLHdr_t));
    header->target = target;
    header->kind = DRV_KIND_IOCTL;
    header->reserved_12 = 0;
    header->request_length = length;
    header->response_length = response_length;
    QOS_DBG_AT(via.where, "Sending IOCTL for chip index 0x%08x\n", target);
    const uint32_t payload = length + static_cast<uint32_t>(sizeof *header);
    const bool fits = length <= NL_MSG_BUF_SIZE - NL_RECORD_OFFSET;
    const int rc = fits ? qosNLSendMsg(via.socket, qosNLMsgBuf, payload, seq, via.frame_type) : QOS_NL_SEND_FAILED;
    if (rc != QOS_OK) {
        if (via.family == family_t::Dce)
            QOS_ERR_AT(via.where, "sendmsg failed for qosDceIoctl cmd %d", command);
        else
            QOS_ERR_AT(via.where, "sendmsg failed for qosCosIoctl cmd %d", command);
    }
    return rc;
}

// A payload too short for what is expected of it is completed with zeros, so that what the driver left out reads as 0
// and never as an older response. Gives the bytes of the record.
uint32_t completeResponse(unsigned char *payload, uint32_t length, uint32_t expected)
{
    const uint32_t room = NL_RSP_BUF_SIZE - static_cast<uint32_t>(payload - qosNLRspBuf);
    const uint32_t record = std::max<uint32_t>(expected, sizeof(cosHdr_t));
    const uint32_t wanted = std::min<uint32_t>(room, record + static_cast<uint32_t>(sizeof(qosDriverHdr_t)));
    if (length < wanted)
        memset(payload + length, 0, wanted - length);
    return length > sizeof(qosDriverHdr_t) ? length - static_cast<uint32_t>(sizeof(qosDriverHdr_t)) : 0;
}

qosDriverStatus_t checkResponse(const transport_t &via, const unsigned char *record, uint32_t command)
{
    const uint32_t answered = readWord(record);
    if (answered != command) {
        QOS_ERR_AT(via.where, "IOCTL response cmd (%d) does not match req cmd (%d)", answered, command);
        return QOS_MSG_DRIVER_REFUSED;
    }
    const uint32_t status = via.family == family_t::Dce ? record[offsetof(dceHdr_t, status)]
                                                        : readWord(record + offsetof(cosHdr_t, status));
    if (status != 0) {
        QOS_ERR_AT(via.where, "ASIC Driver failed to process QOS IOCTL %d, error = %d", command, status);
        return QOS_MSG_DRIVER_REFUSED;
    }
    return QOS_MSG_DONE;
}

qosDriverStatus_t request(const transport_t &via, uint32_t target, uint32_t length, const unsigned char **response,
                          uint32_t *response_length)
{
    const uint32_t command = readWord(qosRequestRecord());
    const uint32_t expected = *response_length;
    uint32_t seq = 0;
    int rc = sendRequest(via, target, length, expected, command, &seq);
    if (rc != QOS_OK)
        return static_cast<qosDriverStatus_t>(rc);

    unsigned char *payload = qosNLRspBuf;
    uint32_t payload_length = sizeof qosNLRspBuf;
    uint32_t answered_seq = 0;
    uint16_t type = 0;
    rc = qosNLRecvMsgBlock(via.socket, &payload, &payload_length, &answered_seq, &type);
    if (rc != QOS_OK) {
        QOS_ERR_AT(via.where, "recvmsg failed for qosIoctl");
        return static_cast<qosDriverStatus_t>(rc);
    }
    if (type != via.frame_type)
        QOS_ERR_AT(via.where, "Unexpected netlink msg type for IOCTL response (%d)", type);
    if (via.family == family_t::Dce && answered_seq != seq)
        QOS_ERR_AT(via.where, "IOCTL response seqno %d does not match request seqno %d", answered_seq, seq);
    if (!payload) {
        *response_length = 0;
        QOS_ERR_AT(via.where, "Failed to get IOCTL resopnse for cmd %d", command);
        return QOS_MSG_DRIVER_REFUSED;
    }
    *response_length = completeResponse(payload, payload_length, expected);
    *response = payload + sizeof(qosDriverHdr_t);
    return checkResponse(via, *response, command);
}

} // namespace

qosDriverStatus_t qosDceIoctl(uint32_t target, const void *, uint32_t length, const unsigned char **response,
                              uint32_t *response_length)
{
    return request(DCE, target, length, response, response_length);
}

qosDriverStatus_t qosDceMgrIoctl(uint32_t target, const void *, uint32_t length, const unsigned char **response,
                                 uint32_t *response_length)
{
    return request(DCE_MGR, target, length, response, response_length);
}

qosDriverStatus_t qosCosIoctl(uint32_t target, const void *, uint32_t length, const unsigned char **response,
                              uint32_t *response_length)
{
    return request(COS, target, length, response, response_length);
}

qosDriverStatus_t qosCosMgrIoctl(uint32_t target, const void *, uint32_t length, const unsigned char **response,
                                 uint32_t *response_length)
{
    return request(COS_MGR, target, length, response, response_length);
}
