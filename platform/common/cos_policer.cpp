// SPDX-License-Identifier: Apache-2.0
// Batches, rates, actions and counters of policers.
#include "platform/common/cos_policer.h"

#include <cstring>

#include "agent/messages/header.h"
#include "core/handler.h"
#include "core/trace.h"
#include "platform/common/cos_batch.h"
#include "platform/common/cos_slices.h"

namespace {

constexpr uint64_t RATE_UNLIMITED = 0x0000ffffffffffff;
constexpr uint64_t BURST_OF_UNLIMITED = 0x00000001ffffffff;
constexpr uint64_t CHIP_MAXIMUM = 5000000000; // bytes per second

constexpr uint8_t REQ_POLICER = 1; // install: profile, policer, association
constexpr uint8_t REQ_UPDATE = 2;  // the same without the association
constexpr uint8_t REQ_ASSOCIATE = 3;
constexpr uint8_t REQ_PROFILE_DELETE = 2;

constexpr uint32_t ASSOC_ONE = 1U << 22;
constexpr uint32_t DEASSOC_ONE = 1U << 23;
constexpr uint32_t PROFILE_ID_MASK = 0x3ff;
constexpr unsigned PROFILE_ID_SHIFT = 21;
constexpr uint32_t POLICER_ID_MASK = 0x0fffffff;
constexpr unsigned GROUP_SHIFT = 28;

constexpr uint32_t ACTION_CLASS = 1U << 9;
constexpr uint32_t ACTION_DSCP = 1U << 10;
constexpr uint32_t ACTION_IP = 1U << 11;

constexpr uint32_t STATS_ALL_COUNTERS = 65535;
constexpr uint32_t RECORD_SPACE = NL_MSG_BUF_SIZE - NL_RECORD_OFFSET;

// Bytes of a read, whose request is sent in as many bytes as its response takes.
constexpr uint32_t readKeys(uint32_t count)
{
    return static_cast<uint32_t>(sizeof(cosStats_t) + count * sizeof(cosStatsKey_t));
}
constexpr uint32_t bitmapWords(uint32_t count)
{
    return (count + 31) / 32;
}
constexpr uint32_t readLength(uint32_t count)
{
    return static_cast<uint32_t>(readKeys(count) + bitmapWords(count) * sizeof(be32) + count * sizeof(cosPolResult_t));
}

constexpr uint32_t READ_SLICE = 90;
constexpr uint32_t CLEAR_SLICE = 333;
static_assert(readLength(READ_SLICE) <= RECORD_SPACE && readLength(READ_SLICE + 1) > RECORD_SPACE);
static_assert(readKeys(CLEAR_SLICE) <= RECORD_SPACE && readKeys(CLEAR_SLICE + 1) > RECORD_SPACE);

uint32_t ingressBit(int32_t dir)
{
    return dir == 0 ? POL_INGRESS : 0;
}

uint32_t deviceOf(int32_t dir)
{
    return dir == 0 ? STAT_DEV_INGRESS_POLICER : STAT_DEV_EGRESS_POLICER;
}

cosStatsKey_t *keyAt(uint32_t index)
{
    return reinterpret_cast<cosStatsKey_t *>(qosRequestRecord() + readKeys(index));
}

// Rounded up to whole bytes.
uint64_t bytesOf(uint64_t bits)
{
    return (bits + 7) / 8;
}

// The nearest multiple of the step, and no less than one step for a rate that is not 0. A chip type without policers
// has no step and no rate.
uint64_t rateInSteps(uint64_t bytes, uint32_t step)
{
    if (step == 0)
        return 0;
    if (bytes != 0 && bytes < step)
        return step;
    return (bytes + step / 2) / step * step;
}

// `flags` has the three rewrite bits of one colour in bits 2 to 0: precedence, DSCP, traffic class.
uint32_t actionWord(unsigned flags, uint32_t ip_tos, uint32_t traffic_class)
{
    uint32_t word = traffic_class & 7;
    if (flags & 4)
        word |= ACTION_IP | (ip_tos & 7) << 6;
    else if (flags & 2)
        word |= ACTION_IP | ACTION_DSCP | (ip_tos & 0x3f) << 3;
    return flags & 1 ? word | ACTION_CLASS : word;
}

// The rewrite tables, which two bodies carry under the same names.
template <typename Body>
void fillProfile(cosPolProfile_t *record, const Body *body)
{
    record->profile = body->profile_id << 1;
    memcpy(record->conform_cos, body->conform_cos, sizeof record->conform_cos);
    memcpy(record->exceed_cos, body->exceed_cos, sizeof record->exceed_cos);
    memcpy(record->violate_cos, body->violate_cos, sizeof record->violate_cos);
}

qosDriverStatus_t sendBatch(qosWhere_t where, uint32_t target, cosBulk_t *batch)
{
    const cosBulk_t *response;
    const qosDriverStatus_t rc = cosBatchSend(target, batch, &response);
    const uint32_t length = batch->hdr.in_size;
    QOS_INF_AT(where, "ops.cmd:0x%x, in size %d, out size %d, num ioctls %d", static_cast<uint32_t>(batch->hdr.command),
               length, static_cast<uint32_t>(batch->hdr.out_size), static_cast<uint16_t>(batch->num_records));
    QOS_INF_AT(where, "request len :%d", length);
    return rc;
}

void fillStatsHead(cosStats_t *record, uint32_t in_size, uint32_t out_size, int32_t dir, uint32_t count)
{
    record->hdr.in_size = in_size;
    record->hdr.out_size = out_size;
    record->device = deviceOf(dir);
    record->num_requests = static_cast<uint16_t>(count);
}

// Builds the request of one slice: keys, and behind them the bitmap of what is wanted, of which the driver looks at the
// first bit.
cosStats_t *buildRead(const cosPolFamily_t &family, const qosPolStatsRec_t *policers, int32_t dir, uint32_t count)
{
    auto *record = qosCosRequest<cosStats_t>(COS_STATS_READ);
    fillStatsHead(record, readKeys(count), readLength(count), dir, count);
    record->num_responses = static_cast<uint16_t>(count);
    for (uint32_t i = 0; i < count; ++i) {
        cosStatsKey_t *key = keyAt(i);
        key->id = policers[i].policer_id;
        key->index = family.stats_index(&policers[i]);
        key->flags = STATS_ALL_COUNTERS;
    }
    auto *wanted = reinterpret_cast<be32 *>(keyAt(count));
    for (uint32_t word = 0; word < bitmapWords(count); ++word)
        wanted[word] = word == 0 ? 1 : 0;
    return record;
}

// 0 also for a response with another number of results, which is not looked at.
qosDriverStatus_t takeResults(const cosPolFamily_t &family, const unsigned char *response, qosPolStatsRec_t *policers,
                              uint32_t count)
{
    const uint32_t returned = reinterpret_cast<const cosStats_t *>(response)->num_returned;
    if (returned != count) {
        QOS_ERR_AT(family.stats_get, " ioctl n_ret is %d", returned);
        return QOS_MSG_DONE;
    }
    if (count == 0)
        return QOS_MSG_DONE;
    const auto *bitmap = reinterpret_cast<const be32 *>(response + readKeys(count));
    if ((bitmap[0] & 1) == 0) {
        QOS_ERR_AT(family.stats_get, "Bit 0 is not set :0x%x", static_cast<uint32_t>(bitmap[0]));
        return QOS_MSG_REFUSED;
    }
    const auto *results = reinterpret_cast<const cosPolResult_t *>(bitmap + bitmapWords(count));
    for (uint32_t i = 0; i < count; ++i)
        memcpy(policers[i].counter, results[i].counter, sizeof policers[i].counter);
    return QOS_MSG_DONE;
}

qosDriverStatus_t readSlice(const cosPolFamily_t &family, qosPolStatsGetMsg_t *body, uint32_t first, uint32_t count)
{
    qosPolStatsRec_t *policers = body->records + first;
    const cosStats_t *record = buildRead(family, policers, body->dir, count);
    const uint32_t length = readLength(count);
    const unsigned char *response = nullptr;
    uint32_t received = length;
    const qosDriverStatus_t rc = qosAnswer(body, qosCosIoctl(body->chip_ifindex, record, length, &response, &received));
    if (rc != QOS_MSG_DONE) {
        QOS_ERR_AT(family.stats_get, "Failed to get stats , error = %d", rc);
        return rc;
    }
    return takeResults(family, response, policers, count);
}

// A clear that grows key by key in the request buffer.
struct clear_t {
    uint32_t target;
    int32_t dir;
    uint32_t count; // keys that have not been sent
    bool sent;      // a slice has gone out
};

qosDriverStatus_t sendClear(clear_t &clear)
{
    auto *record = qosCosRequest<cosStats_t>(COS_STATS_CLEAR);
    const uint32_t length = readKeys(clear.count);
    fillStatsHead(record, length, length, clear.dir, clear.count);
    clear.count = 0;
    clear.sent = true;
    const unsigned char *response = nullptr;
    uint32_t received = length;
    return qosCosIoctl(clear.target, record, length, &response, &received);
}

// Adds a key for each group of an entry; a full slice is sent first.
qosDriverStatus_t clearPolicer(const cosPolFamily_t &family, clear_t &clear, const qosPolStatsClrMsg_t *body,
                               const qosPolStatsClrData_t &policer)
{
    cosPolGroups_t groups = {0, 1};
    if (family.clear_groups)
        if (const qosDriverStatus_t rc = family.clear_groups(body, policer.ifindex, &groups))
            return rc;
    for (uint32_t i = 0; i < groups.count; ++i) {
        if (clear.count == CLEAR_SLICE)
            if (const qosDriverStatus_t rc = sendClear(clear))
                return rc;
        cosStatsKey_t *key = keyAt(clear.count++);
        key->id = policer.policer_id;
        if (family.clear_groups)
            key->index = groups.first + i;
        key->flags = STATS_ALL_COUNTERS;
    }
    return QOS_MSG_DONE;
}

} // namespace

void cosPolFillProfileUpdate(cosPolProfile_t *record, const qosPolPolicerAddMsg_t *body)
{
    fillProfile(record, body);
}

void cosPolFillProfileDelete(cosPolProfile_t *record, uint32_t profile_id)
{
    record->profile = profile_id << 1 | 1;
}

// An unlimited committed rate is the chip's maximum; an unlimited excess rate is none.
void cosPolFillAdd(cosPolicerAdd_t *record, qosPolPolicerAddMsg_t *body, uint32_t step, uint32_t group)
{
    const qosPolParam_t &param = body->policer_param;
    const bool unlimited = param.cir == RATE_UNLIMITED;
    const uint64_t committed = unlimited ? CHIP_MAXIMUM : rateInSteps(bytesOf(param.cir), step);
    const uint64_t excess = param.eir == RATE_UNLIMITED ? 0 : rateInSteps(bytesOf(param.eir), step);
    record->profile = ingressBit(body->dir) | (body->profile_id & PROFILE_ID_MASK) << PROFILE_ID_SHIFT;
    record->committed_burst = unlimited ? BURST_OF_UNLIMITED : param.cbs;
    record->committed_rate = committed;
    record->excess_burst = param.ebs;
    record->excess_rate = excess;
    record->conform_action = actionWord(param.flags >> 5, param.conform_ip_tos, param.conform_traffic_class);
    record->exceed_action = actionWord(param.flags >> 2, param.exceed_ip_tos, param.exceed_traffic_class);
    record->group = group << GROUP_SHIFT;
    record->policer_id = body->policer_id;
    body->op_cir = committed * 8;
    body->op_eir = excess * 8;
}

void cosPolFillRemove(cosPolicerRemove_t *record, const qosPolPolicerDelMsg_t *body, uint32_t group)
{
    record->ingress = body->dir == 0 ? 1 : 0;
    record->policer_id = (body->policer_id & POLICER_ID_MASK) | group << GROUP_SHIFT;
}

void cosPolFillAssoc(cosPolAssoc_t *record, const qosPolPolicerAddMsg_t *body)
{
    record->flags = ingressBit(body->dir) | ASSOC_ONE;
    record->ifindex = body->ifindex;
    record->policer_id = body->policer_id;
}

void cosPolFillDeassoc(cosPolDeassoc_t *record, const qosPolPolicerDelMsg_t *body)
{
    record->flags = ingressBit(body->dir) | DEASSOC_ONE;
    record->ifindex = body->ifindex;
}

// Profile, policer, association: what a record names must be there before it.
qosDriverStatus_t cosPolicerAdd(const cosPolFamily_t &family, qosPolPolicerAddMsg_t *body)
{
    const uint8_t type = body->policer_req_type;
    cosBulk_t *batch = cosBatchStart();
    if (type == REQ_POLICER || type == REQ_UPDATE) {
        if (body->add_profile != 0)
            cosPolFillProfileUpdate(cosBatchRecord<cosPolProfile_t>(batch, COS_POLICER_PROFILE), body);
        if (family.fill_add(cosBatchRecord<cosPolicerAdd_t>(batch, COS_POLICER_ADD), body) != QOS_MSG_DONE) {
            QOS_ERR_AT(family.add, " failed to update addIoctl");
            return qosAnswer(body, QOS_MSG_REFUSED);
        }
    }
    if (body->class_default == 1 && (type == REQ_POLICER || type == REQ_ASSOCIATE))
        cosPolFillAssoc(cosBatchRecord<cosPolAssoc_t>(batch, COS_POLICER_ASSOCIATE), body);
    const qosDriverStatus_t rc = sendBatch(family.add, body->chip_ifindex, batch);
    if (rc != QOS_MSG_DONE)
        QOS_ERR_AT(family.add, "Failed to add policer for interface %s, error = %d", qosNameOf(body->ifName).text, rc);
    return qosAnswer(body, rc);
}

// The order of the add turned round.
qosDriverStatus_t cosPolicerRem(const cosPolFamily_t &family, qosPolPolicerDelMsg_t *body)
{
    cosBulk_t *batch = cosBatchStart();
    if (body->class_default == 1)
        cosPolFillDeassoc(cosBatchRecord<cosPolDeassoc_t>(batch, COS_POLICER_DEASSOCIATE), body);
    if (body->policer_req_type == REQ_POLICER) {
        if (family.fill_remove(cosBatchRecord<cosPolicerRemove_t>(batch, COS_POLICER_REMOVE), body) != QOS_MSG_DONE) {
            QOS_ERR_AT(family.remove, " failed to update remIoctl");
            return qosAnswer(body, QOS_MSG_REFUSED);
        }
        if (body->profile_id != 0)
            cosPolFillProfileDelete(cosBatchRecord<cosPolProfile_t>(batch, COS_POLICER_PROFILE), body->profile_id);
    }
    const qosDriverStatus_t rc = sendBatch(family.remove, body->chip_ifindex, batch);
    if (rc != QOS_MSG_DONE)
        QOS_ERR_AT(family.remove, "Failed to remove policer  for interface %s, error = %d",
                   qosNameOf(body->ifName).text, rc);
    return qosAnswer(body, rc);
}

qosDriverStatus_t cosPolProfileCfg(const cosPolFamily_t &family, qosPolProfileMsg_t *body)
{
    auto *record = qosCosRequest<cosPolProfile_t>(COS_POLICER_PROFILE, sizeof(cosPolProfile_t));
    if (body->profile_req_type == REQ_PROFILE_DELETE)
        cosPolFillProfileDelete(record, body->profile_id);
    else
        fillProfile(record, body);
    const uint32_t chip = body->chip_ifindex;
    const cosPolProfile_t *response;
    uint32_t length;
    const qosDriverStatus_t rc = qosSendRequest(qosCosIoctl, chip, record, &response, &length);
    if (rc != QOS_MSG_DONE)
        QOS_ERR_AT(family.profile, "Failed to update/delete for chip ifindex 0x%x, error = %d", chip, rc);
    return qosAnswer(body, rc);
}

qosDriverStatus_t cosPolStatsGet(const cosPolFamily_t &family, qosPolStatsGetMsg_t *body)
{
    return cosReadSlices(body->num_records, READ_SLICE, [&family, body](uint32_t first, uint32_t count) {
        return readSlice(family, body, first, count);
    });
}

// The groups of every entry are looked for ahead of the first request, so that an unknown one leaves all counters
// alone.
qosDriverStatus_t cosPolStatsClr(const cosPolFamily_t &family, qosPolStatsClrMsg_t *body)
{
    const int32_t total = body->num_policers;
    clear_t clear = {body->ifindex, body->dir, 0, false};
    qosDriverStatus_t rc = QOS_MSG_DONE;
    cosPolGroups_t groups;
    const qosPolStatsClrData_t *entries = qosPolStatsClrEntries(body);
    for (int32_t i = 0; i < total && family.clear_groups && rc == QOS_MSG_DONE; ++i)
        rc = family.clear_groups(body, entries[i].ifindex, &groups);
    for (int32_t i = 0; i < total && rc == QOS_MSG_DONE; ++i)
        rc = clearPolicer(family, clear, body, entries[i]);
    if (rc == QOS_MSG_DONE && (clear.count != 0 || !clear.sent))
        rc = sendClear(clear);
    return qosAnswer(body, rc);
}
