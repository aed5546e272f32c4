// SPDX-License-Identifier: Apache-2.0
// Builds, encodes, decodes and matches batches.
#include "tools/batch.h"

#include <algorithm>
#include <cstring>

#include "agent/messages/header.h"
#include "tools/error.h"
#include "tools/text.h"
#include "tools/values.h"

namespace {

constexpr size_t LONGEST_BODY = CTL_BATCH_BYTES - sizeof(qosMsgHdr_t);

size_t numberOf(const ctlAssign_t &assign, size_t most)
{
    if (const std::string *text = std::get_if<std::string>(&assign.value))
        if (const auto value = ctlParseNumber(*text, most))
            return *value;
    ctlRefuse(assign.name + " takes a number from 0 to " + std::to_string(most));
}

ctlBytes bytesOf(const ctlAssign_t &assign)
{
    const std::string *text = std::get_if<std::string>(&assign.value);
    if (text == nullptr)
        ctlRefuse(assign.name + " takes bytes in hexadecimal");
    try {
        return ctlParseHex(*text);
    } catch (const ctlError_t &error) {
        ctlRefuse(assign.name + ": " + error.text);
    }
}

// What shapes the message as a whole.
struct shaping {
    std::optional<ctlBytes> raw;
    ctlBytes tail;
    std::optional<size_t> length;
};

bool takeShaping(const ctlAssign_t &assign, shaping &shape, ctlMessage_t &message)
{
    if (assign.name.empty() || assign.name[0] != '@')
        return false;
    if (assign.name == "@raw") {
        shape.raw = bytesOf(assign);
    } else if (assign.name == "@tail") {
        shape.tail = bytesOf(assign);
    } else if (assign.name == "@len") {
        shape.length = numberOf(assign, LONGEST_BODY);
    } else if (assign.name == "@seq") {
        message.seq = static_cast<uint8_t>(numberOf(assign, 255));
        message.own_seq = true;
    } else {
        ctlRefuse("'" + assign.name + "' is unknown; the nearest is " +
                  ctlNearest(assign.name, {"@raw", "@tail", "@len", "@seq"}));
    }
    return true;
}

// Makes room for `records` records behind the head.
void growTo(const ctlTail_t &tail, ctlBytes &data, size_t records)
{
    const size_t most = (LONGEST_BODY - tail.head) / tail.stride;
    if (records > most)
        ctlRefuse("a batch has no room for " + std::to_string(records) + " records, but for " + std::to_string(most));
    data.resize(std::max(data.size(), tail.head + records * tail.stride));
}

void setField(const wireBody &body, const ctlTail_t &tail, ctlBytes &data, const ctlAssign_t &assign)
{
    const ctlFieldRef_t to = ctlFindField(body, assign.name);
    try {
        const std::string *text = std::get_if<std::string>(&assign.value);
        std::vector<std::string> elements;
        if (text == nullptr) {
            for (const std::string &element : std::get<std::vector<std::string>>(assign.value))
                for (std::string &value : ctlElementsOf({to.field, std::max(to.index, 0)}, element))
                    elements.push_back(std::move(value));
            if (elements.empty())
                ctlRefuse("an empty list sets nothing");
        } else {
            elements = ctlElementsOf(to, *text);
        }
        if (ctlInTail(tail, *to.field))
            growTo(tail, data, static_cast<size_t>(std::max(to.index, 0)) + elements.size());
        if (text != nullptr)
            ctlSetText(body, data, to, *text);
        else
            ctlSetElements(body, data, to, elements);
    } catch (const ctlError_t &error) {
        ctlRefuse(assign.name + ": " + error.text);
    }
}

// Makes count and records agree where the person gave but one of them.
void settleTail(const wireBody &body, const ctlTail_t &tail, ctlBytes &data, bool countGiven)
{
    const wireField &count = *ctlField(body, tail.count);
    if (countGiven) {
        const auto said = static_cast<int64_t>(ctlReadInteger(count, data, 0));
        growTo(tail, data, static_cast<size_t>(std::max<int64_t>(said, 0)));
    } else {
        ctlWriteInteger(count, data, 0, (data.size() - tail.head) / tail.stride);
    }
    growTo(tail, data, tail.least);
}

ctlAssign_t splitWord(const std::string &word)
{
    const size_t equals = word.find('=');
    if (equals == std::string::npos || equals == 0)
        ctlRefuse("'" + word + "' is no field=value; a '+' of its own begins the next message");
    return {word.substr(0, equals), word.substr(equals + 1)};
}

} // namespace

ctlMessage_t ctlBuildMessage(const std::string &name, const std::vector<ctlAssign_t> &assigns)
{
    const qosMsgInfo_t &info = ctlFindMessage(name);
    const wireBody &body = ctlBodyOf(info);
    const ctlTail_t tail = ctlTailOf(body);
    ctlMessage_t message{info.code, 0, 0, false, {}};
    shaping shape;
    std::vector<const ctlAssign_t *> fields;
    for (const ctlAssign_t &assign : assigns)
        if (!takeShaping(assign, shape, message))
            fields.push_back(&assign);

    message.raw = shape.raw.has_value();
    message.body = shape.raw ? *shape.raw : ctlBytes(tail.stride != 0 ? tail.head : body.size);
    bool countGiven = false;
    for (const ctlAssign_t *assign : fields) {
        try {
            setField(body, tail, message.body, *assign);
            countGiven = countGiven ||
                         (tail.stride != 0 && ctlFindField(body, assign->name).field == ctlField(body, tail.count));
        } catch (const ctlError_t &error) {
            ctlRefuse(ctlMessageName(info.code) + ": " + error.text);
        }
    }
    message.body.insert(message.body.end(), shape.tail.begin(), shape.tail.end());
    if (tail.stride != 0 && !shape.raw)
        settleTail(body, tail, message.body, countGiven);
    if (shape.length)
        message.body.resize(*shape.length);
    return message;
}

void ctlCheckMaps(const std::vector<ctlMessage_t> &batch)
{
    for (const ctlMessage_t &message : batch) {
        const wireBody &body = ctlBodyOf(*qosMsgInfo(message.code));
        for (unsigned i = 0; i < body.numFields && !message.raw; i++) {
            const wireField &field = body.fields[i];
            const std::string name = field.name;
            if (name != "cos_map" && name != "tc_map" && name != "def_cos" && name != "def_tc")
                continue;
            for (size_t n = 0; n < ctlCount(body, field, message.body.size()); n++)
                if (const uint64_t value = ctlReadInteger(field, message.body, n); value > 7)
                    ctlRefuse(ctlMessageName(message.code) + ": " + name +
                              (field.count > 1 ? "[" + std::to_string(n) + "]" : "") + ": " + std::to_string(value) +
                              " is above 7, the highest class; --force sends it");
        }
    }
}

std::vector<ctlMessage_t> ctlParseWords(const std::vector<std::string> &words, const std::vector<ctlAssign_t> &extra,
                                        const ctlHeld_t &held)
{
    std::vector<ctlMessage_t> batch;
    if (!extra.empty() && std::count(words.begin(), words.end(), "+") != 0)
        ctlRefuse("--raw, --raw-tail and --len go with a single message; in a batch write @raw=, @tail= and @len=");
    for (size_t at = 0; at <= words.size(); at++) {
        const auto begin = words.begin() + static_cast<std::ptrdiff_t>(at);
        const auto end = std::find(begin, words.end(), "+");
        if (begin == end)
            ctlRefuse("a message is missing; write NAME field=value ..., with a '+' between messages");
        std::vector<ctlAssign_t> assigns;
        for (auto word = begin + 1; word != end; word++)
            assigns.push_back(splitWord(*word));
        assigns.insert(assigns.end(), extra.begin(), extra.end());
        ctlMessage_t message = ctlBuildMessage(*begin, assigns); // refuses what is wrong before anybody is asked
        if (held) {
            std::vector<ctlAssign_t> all = held(*qosMsgInfo(message.code), assigns);
            all.insert(all.end(), assigns.begin(), assigns.end());
            message = ctlBuildMessage(*begin, all);
        }
        batch.push_back(std::move(message));
        at = static_cast<size_t>(end - words.begin());
    }
    return batch;
}

void ctlNumber(std::vector<ctlMessage_t> &batch, uint8_t &next)
{
    for (ctlMessage_t &message : batch)
        if (!message.own_seq)
            message.seq = next++;
}

ctlBytes ctlEncode(const std::vector<ctlMessage_t> &batch)
{
    ctlBytes bytes;
    for (const ctlMessage_t &message : batch) {
        qosMsgHdr_t header;
        header.msg_type = message.code;
        header.msg_len = static_cast<uint16_t>(message.body.size());
        header.msg_seqno = message.seq;
        header.msg_ack = message.ack;
        const auto *raw = reinterpret_cast<const uint8_t *>(&header);
        bytes.insert(bytes.end(), raw, raw + sizeof header);
        bytes.insert(bytes.end(), message.body.begin(), message.body.end());
    }
    if (bytes.size() > CTL_BATCH_BYTES)
        ctlRefuse("the batch has " + std::to_string(bytes.size()) + " bytes and the agent takes " +
                  std::to_string(CTL_BATCH_BYTES) + "; send it as several batches");
    return bytes;
}

ctlDecoded_t ctlDecode(const ctlBytes &bytes)
{
    ctlDecoded_t decoded;
    for (size_t at = 0; at < bytes.size();) {
        const std::string where = " at byte " + std::to_string(at);
        const size_t left = bytes.size() - at;
        qosMsgHdr_t header;
        if (left < sizeof header) {
            decoded.fault = std::to_string(left) + (left == 1 ? " byte" : " bytes") + " left over" + where;
            break;
        }
        std::memcpy(&header, &bytes[at], sizeof header);
        if (qosMsgInfo(header.msg_type) == nullptr) {
            decoded.fault = "no message has the code " + std::to_string(header.msg_type) + where;
            break;
        }
        const size_t length = header.msg_len;
        if (length > left - sizeof header) {
            decoded.fault = ctlMessageName(header.msg_type) + where + " claims " + std::to_string(length) + " bytes, " +
                            std::to_string(left - sizeof header) + " are there";
            break;
        }
        const auto body = bytes.begin() + static_cast<std::ptrdiff_t>(at + sizeof header);
        decoded.messages.push_back({header.msg_type, header.msg_seqno, header.msg_ack, true,
                                    ctlBytes(body, body + static_cast<std::ptrdiff_t>(length))});
        at += sizeof header + length;
    }
    return decoded;
}

bool ctlIsEcho(const std::vector<ctlMessage_t> &sent, const std::vector<ctlMessage_t> &received)
{
    return std::equal(sent.begin(), sent.end(), received.begin(), received.end(),
                      [](const ctlMessage_t &a, const ctlMessage_t &b) {
                          return a.code == b.code && a.seq == b.seq && a.body.size() == b.body.size();
                      });
}

std::optional<int32_t> ctlStatus(const ctlMessage_t &message)
{
    const wireBody &body = ctlBodyOf(*qosMsgInfo(message.code));
    const wireField *status = ctlField(body, "status");
    if (status == nullptr || ctlCount(body, *status, message.body.size()) == 0)
        return std::nullopt;
    return static_cast<int32_t>(ctlReadInteger(*status, message.body, 0));
}

const char *ctlStatusText(int32_t status)
{
    switch (status) {
    case 0:
        return "ok";
    case 1:
        return "unknown interface, no chip, or the chip has no such operation";
    case 2:
        return "no memory, or the interface could not be added";
    case 12:
        return "nothing came from the driver but an error";
    case 13:
        return "send to driver failed";
    case 14:
        return "the driver's answer was malformed";
    case 22:
        return "driver refused";
    case 24:
        return "not found";
    case 25:
        return "unknown interface or chip, or no such operation for it";
    case 28:
        return "driver did not answer";
    case 108:
        return "the port's own scheduler forbids the global one";
    default:
        return "no known meaning";
    }
}

bool ctlSucceeded(const ctlMessage_t &message)
{
    return message.ack == 1 && ctlStatus(message).value_or(0) == 0;
}
