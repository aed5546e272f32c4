// SPDX-License-Identifier: Apache-2.0
// The stage, the trace level, the printing functions and the readers of its log, for the control socket. Nothing here
// changes a table.
#include "dorvald/control.h"

#include <array>
#include <atomic>
#include <cstddef>
#include <cstring>
#include <string_view>

#include "agent/configuration.h"
#include "agent/messages/catalogue.h"
#include "agent/messages/header.h"
#include "channels/manager.h"
#include "core/memory.h"
#include "core/msgq.h"
#include "core/state.h"
#include "core/table.h"
#include "core/trace.h"
#include "ha/vss.h"
#include "inventory/show.h"
#include "platform/records/frame.h"
#include "velmar/ctl.h"

namespace {

// Called on the control socket's thread, which asks while a stage may be at work.
int stageIndex()
{
    return static_cast<int>(std::atomic_ref(qos_velmar_state.stage).load(std::memory_order_relaxed));
}

int setTraceLevel(int level)
{
    if (level < 0 || level > VELMAR_DCEDBG_LVL_VERBOSE)
        return -1;
    dce_trace_lvl_set(level);
    return 0;
}

template <qosShow_t Show>
constexpr auto text = qosCtlShow<qosShowOnce<Show>>;
template <qosShow_t Show>
constexpr auto json = qosCtlShow<qosShowJson<qosShowOnce<Show>>>;
template <qosShowPart_t Part>
constexpr auto jsonParts = qosCtlShow<qosShowJson<Part>>;

constexpr ctl_cli_t shows[] = {
    {"show dorvmd memory statistics", qosCtlShow<qosShowMemStatsPart>},
    {"show dorvmd mi statistics", text<qos_show_miStats>},
    {"show dorvmd interface all", qosCtlShow<qosShowIfTablePart>},
    {"show qos msgq", text<qos_msgq_show>},
    {"show qos vss", text<qos_vss_show>},
    {"show dorvmd slots", text<qosShowSlotTable>}, // these three are the parts of "interface all"
    {"show dorvmd chips", qosCtlShow<qosShowChipTablePart>},
    {"show dorvmd interfaces", qosCtlShow<qosShowInterfacesPart>},
    {"json slots", json<qosShowSlotTable>},
    {"json chips", jsonParts<qosShowChipTablePart>},
    {"json interfaces", jsonParts<qosShowInterfacesPart>},
    {"json ports", jsonParts<qosShowPortsPart>}, // has no text
    {"json memory", jsonParts<qosShowMemStatsPart>},
    {"json mi", json<qos_show_miStats>},
    {"json vss", json<qos_vss_show>},
    {"json queue", json<qos_msgq_show>},
    {"json config", jsonParts<qosShowConfigurationPart>}, // nor have these two
    {"json driver", jsonParts<qosShowDriverSidePart>},
    {nullptr, nullptr},
};

// Where a message keeps its port and its status, -1 for nowhere.
struct places_t {
    int16_t port = -1;
    int16_t status = -1;
};
std::array<places_t, QOS_MSG_CODES> places;

void findPlaces()
{
    for (unsigned code = 0; code < QOS_MSG_CODES; ++code) {
        const wireBody *body = qosMsgCatalogue[code].body;
        for (unsigned i = 0; body && i < body->numFields; ++i) {
            const wireField &field = body->fields[i];
            const std::string_view name = field.name;
            if (field.width != 4 || field.count != 1)
                continue;
            if (name == "status")
                places[code].status = static_cast<int16_t>(field.offset);
            if (name == "ifindex" || name == "ifIndex" || (places[code].port < 0 && name == "chip_ifindex"))
                places[code].port = static_cast<int16_t>(field.offset);
        }
    }
}

// The word at a place of a body, if the body reaches so far.
bool wordAt(const unsigned char *body, size_t length, int place, uint32_t *value)
{
    be32 word;
    if (place < 0 || static_cast<size_t>(place) + sizeof word > length)
        return false;
    memcpy(&word, body + place, sizeof word);
    *value = word;
    return true;
}

// Requests for statistics; but a chip's capabilities are told as one that comes up is.
bool onlyReads(uint8_t code)
{
    const char *const name = qosMsgCatalogue[code].name;
    return name[0] == 'Q' && name[4] == 'G' && strncmp(name, "QOS_GET_", 8) == 0 && code != QOS_GET_CHIP_CAP_MSG;
}

bool readMessage(const unsigned char *batch, size_t left, ctl_message_t *message)
{
    qosMsgHdr_t head;
    if (left < sizeof head)
        return false;
    memcpy(&head, batch, sizeof head);
    const size_t length = head.msg_len;
    if (head.msg_type >= QOS_MSG_CODES || length > left - sizeof head)
        return false;
    uint32_t status = 0;
    *message = {static_cast<uint32_t>(sizeof head + length),
                0,
                0,
                false,
                head.msg_type,
                head.msg_seqno,
                head.msg_ack,
                onlyReads(head.msg_type)};
    (void)wordAt(batch + sizeof head, length, places[head.msg_type].port, &message->port);
    message->has_status = wordAt(batch + sizeof head, length, places[head.msg_type].status, &status);
    message->status = static_cast<int32_t>(status);
    return true;
}

uint32_t commandOf(const unsigned char *frame, size_t length)
{
    uint32_t command = 0;
    (void)wordAt(frame, length, NL_RECORD_OFFSET, &command);
    return command;
}

uint32_t refusalOf(const unsigned char *frame, size_t length, uint32_t command)
{
    qosNLHdr_t head;
    uint32_t number = 0;
    if (length < sizeof head)
        return 0;
    memcpy(&head, frame, sizeof head);
    if (head.type == NLM_ERROR) {
        (void)wordAt(frame, length, sizeof head, &number);
        return number;
    }
    // The family of the command: the area in its third byte is that of COS records.
    const uint32_t area = command >> 16 & 0xff;
    const size_t dce = NL_RECORD_OFFSET + offsetof(dceHdr_t, status);
    if (area == 0x07 || area == 0x27)
        (void)wordAt(frame, length, NL_RECORD_OFFSET + offsetof(cosHdr_t, status), &number);
    else if (dce < length)
        number = frame[dce];
    return number;
}

constexpr ctl_log_t log_readers = {readMessage, commandOf, refusalOf};

constexpr ctl_ops_t offered = {stageIndex, setTraceLevel, shows, &log_readers};

} // namespace

void qosOfferControl()
{
    findPlaces();
    ctl_offer(&offered);
}
