// SPDX-License-Identifier: Apache-2.0
// The dissector, in the analyser that it is made for: what every message and every driver record holds comes out under
// its name, requests and answers find each other, and what is malformed is said to be.
#include "tests/tools/ctl_peer.h"

#include "hsl/commands.h"
#include "platform/records/frame.h"
#include "tools/dissector.h"
#include "tools/dissector_records.h"
#include "tools/pcapng.h"

namespace {

constexpr const char *MALFORMED[] = {"dorvald.malformed", "dorvald.drv.malformed"};

constexpr const char *SAYS = "_ws.expert.message";

using shown_t = std::map<std::string, words>; // a packet's values by name, in their order

struct Packet {
    const char *dissector;
    Bytes bytes;
    shown_t expected = {};
    bool outbound = true;
};

void collect(const hslJson &json, const std::string &name, shown_t &shown)
{
    if (json.is_object())
        for (const auto &[key, value] : json.items())
            collect(value, key, shown);
    else if (json.is_array())
        for (const auto &value : json)
            collect(value, name, shown);
    else if (name.starts_with("dorvald") || name == SAYS)
        shown[name].push_back(json.is_string() ? json.get<std::string>() : "");
}

std::vector<shown_t> analyse(const std::vector<Packet> &packets)
{
    const std::string capture = ownRun().path + "/capture.pcapng", program = ownRun().path + "/dorvald.lua";
    std::ofstream file(capture), lua(program);
    ctlWriteDissector(lua);
    file << pcapngBegin() << pcapngInterface("node");
    uint64_t time = 1700000000000000000;
    for (const Packet &packet : packets)
        file << pcapngPacket({time += 2500000, 0, packet.outbound, "", packet.dissector, packet.bytes});
    lua.close();
    file.close();
    const std::string json = capture + ".json";
    EXPECT_EQ(std::system(("HOME=" + ownRun().path + " tshark -2 -T json --no-duplicate-keys -X lua_script:" + program +
                           " -r " + capture + " >" + json + " 2>" + capture + ".err")
                              .c_str()),
              0);
    std::vector<shown_t> shown;
    std::ifstream made(json);
    const std::string said{std::istreambuf_iterator<char>(made), {}};
    EXPECT_FALSE(has(said, "Lua Error"));
    for (const hslJson &packet : hslJson::parse(said, nullptr, false))
        collect(packet, "", shown.emplace_back());
    shown.resize(packets.size());
    return shown;
}

// What is expected is shown; and every packet, cut short in two places where no message or frame ends, is marked and
// read no further.
void check(std::vector<Packet> packets)
{
    if (std::system("command -v tshark >/dev/null") != 0)
        GTEST_SKIP() << "no tshark here";
    const size_t whole = packets.size();
    for (size_t i = 0; i < whole; ++i)
        for (const size_t bytes : {size_t{23}, packets[i].bytes.size() - 23})
            packets.push_back({packets[i].dissector, cut(packets[i].bytes, 0, bytes), {}, true});
    const std::vector<shown_t> shown = analyse(packets);
    for (size_t i = 0; i < packets.size(); ++i) {
        SCOPED_TRACE("packet " + std::to_string(i + 1));
        auto found = shown[i];
        for (const auto &[name, values] : packets[i].expected)
            EXPECT_EQ(found[name], values) << name;
        EXPECT_TRUE(i < whole || found.contains(MALFORMED[0]) || found.contains(MALFORMED[1]));
    }
}

std::string nameOf(std::string field)
{
    std::erase(field, ']');
    std::replace_if(
        field.begin(), field.end(), [](char c) { return !std::isalnum(c) && c != '.'; }, '_');
    return field;
}

std::string integerText(uint64_t value, bool hex)
{
    char text[16];
    std::snprintf(text, sizeof text, "0x%08x", static_cast<unsigned>(value));
    return hex ? text : std::to_string(value);
}

std::string hexText(const uint8_t *bytes, size_t width)
{
    std::string all;
    for (size_t i = 0; i < width; ++i)
        all += (i > 0 ? ":" : "") + ctlFormatHex(bytes + i, 1);
    return all;
}

// A datagram with one acknowledged message, every byte another and two records behind a body that takes any number.
Packet messagePacket(uint8_t code)
{
    const wireBody &body = ctlBodyOf(*qosMsgInfo(code));
    const ctlTail_t tail = ctlTailOf(body);
    ctlMessage_t message{code, static_cast<uint8_t>(code + 1), 1, true, noise(body.size, code)};
    if (tail.stride != 0) {
        message.body = noise(tail.head + 2 * tail.stride, code);
        ctlWriteInteger(*ctlField(body, tail.count), message.body, 0, 2);
    }
    Packet packet{PCAPNG_MI, {}};
    packet.expected = {{"dorvald.msg_type", {std::to_string(code)}},
                       {"dorvald.msg_len", {std::to_string(message.body.size())}},
                       {"dorvald.msg_seqno", {std::to_string(code + 1)}},
                       {"dorvald.msg_ack", {"1"}}};
    for (const wireField &field : std::span(body.fields, body.numFields))
        for (size_t n = 0; n < ctlCount(body, field, message.body.size()); ++n) {
            const uint8_t *at = message.body.data() + field.offset + n * field.stride;
            std::string value = "text" + std::to_string(code) + "." + std::to_string(n);
            if (field.kind == wireKind::Chars)
                put(message.body, field.offset + n * field.stride, text(value, field.width));
            else if (field.kind == wireKind::Native)
                value = hexText(at, field.width);
            else if (value = integerText(ctlReadInteger(field, message.body, n), ctlIsInterface(field));
                     field.kind == wireKind::Signed)
                value = std::to_string(static_cast<int64_t>(ctlReadInteger(field, message.body, n)));
            packet.expected["dorvald." + ctlShortName(code) + "." + nameOf(field.name)].push_back(value);
            if (std::string("status") == field.name)
                packet.expected["dorvald.status"] = {value};
        }
    packet.bytes = mi6Head("qosMI", 8, 4) + ctlEncode({message});
    return packet;
}

TEST(Dissector, EveryFieldOfEveryMessage)
{
    std::vector<Packet> packets;
    for (unsigned code = 0; code < QOS_MSG_CODES; ++code)
        packets.push_back(messagePacket(static_cast<uint8_t>(code)));
    std::vector<ctlMessage_t> batch =
        ctlParseWords(split("COSTRUST ifIndex=te1/3 cos_map=7,6,5,4,3,2,1,0 status=22 + IFADD ifName=te1/3"), {});
    const Bytes head = mi6Head("qosMIStats", 8, 4);
    packets.push_back({PCAPNG_MI,
                       head + ctlEncode(batch),
                       {{"dorvald.address.service", {"qosMIStats"}},
                        {"dorvald.address.slot_mask", {"4"}},
                        {"dorvald.msg_type", {"4", "2"}},
                        {"dorvald.COSTRUST.ifIndex", {"0x18418000"}},
                        {"dorvald.COSTRUST.cos_map", {"7", "6", "5", "4", "3", "2", "1", "0"}},
                        {"dorvald.IFADD.ifName", {"te1/3"}},
                        {"dorvald.status", {"22", "0"}}}});
    packets.push_back({PCAPNG_MI, notice(6, 2, 1), {{"dorvald.notice.code", {"6"}}}});
    check(packets);
}

// A datagram with a frame of the driver, an answer with its end behind it.
Packet driverPacket(size_t sequence, const Bytes &record, bool answer, const shown_t &expected)
{
    Bytes frame(NL_RECORD_OFFSET), end(answer ? sizeof(qosNLHdr_t) : 0);
    const auto bytes = static_cast<uint32_t>(record.size());
    putNative(frame, 0, 4, NL_RECORD_OFFSET + bytes);
    putNative(frame, 4, 2, NLM_AGENT_REQUEST);
    putNative(frame, 8, 4, static_cast<uint32_t>(sequence));
    put(frame, {{20, 0x18418000}, {28, DRV_KIND_IOCTL}, {40, bytes}, {44, bytes}});
    if (answer) {
        putNative(end, 0, 4, sizeof(qosNLHdr_t));
        putNative(end, 4, 2, NLM_DONE);
        putNative(end, 8, 4, static_cast<uint32_t>(sequence));
    }
    Bytes padded = frame + record;
    padded.resize((padded.size() + 3) / 4 * 4);
    return {PCAPNG_DRIVER, padded + end, expected, !answer};
}

void expectRecord(shown_t &expected, const qosRecord_t *record, const Bytes &bytes, size_t at)
{
    if (record == nullptr) {
        expected["dorvald.drv.port.ifindex"].push_back(integerText(hslGet(bytes, at, 4), true));
        return;
    }
    const std::string name = record->name;
    for (const drvField_t &field : drvFieldsOf(*record))
        for (unsigned n = 0; n < field.count; ++n) {
            const uint64_t value = hslGet(bytes, at + field.offset + n * field.stride, field.width);
            const wireField wire{field.name.c_str(), 0, static_cast<uint16_t>(field.width), 1, 1, field.kind};
            expected["dorvald.drv." + name.substr(0, name.size() - 2) + "." + nameOf(field.name)].push_back(
                field.kind == wireKind::Signed ? std::to_string(static_cast<int32_t>(value))
                                               : integerText(value, ctlIsInterface(wire)));
        }
}

void setHead(Bytes &record, const hslCommand_t &row)
{
    const auto bytes = static_cast<uint32_t>(record.size());
    put32(record, 0, row.command);
    if (row.family == HSL_DCE) {
        put32(record, 4, bytes << 16 | static_cast<uint32_t>(row.operation & 255) << 8);
        return;
    }
    put(record, {{8, bytes}, {12, bytes}, {24, 0}});
}

// The conditions under which pieces go together, in a request of that kind where there are kinds.
bool together(const drvPiece_t &piece, const drvPiece_t &base, uint32_t kind)
{
    return piece.command == base.command && piece.operation == base.operation && piece.at != 0 &&
           std::all_of(piece.conditions.begin(), piece.conditions.end(), [&](const drvCondition_t &condition) {
               return std::any_of(base.conditions.begin(), base.conditions.end(),
                                  [&](const drvCondition_t &own) {
                                      return own.at == condition.at && own.value == condition.value;
                                  }) ||
                      (piece.where == drvPiece_t::Answer && condition.value == kind);
           });
}

// A request and its answer, alike but for the kind, which an answer need not repeat; with two keys and three results
// where a record has them. Whether there are kinds.
bool addExchange(std::vector<Packet> &packets, const hslCommand_t &row, const drvPiece_t &base, uint32_t kind)
{
    constexpr uint32_t KEY_COUNT = 2, RESULTS = 3;
    std::vector<drvPiece_t> pieces;
    Bytes record = noise(base.record->size, base.command + base.record->size);
    std::optional<uint16_t> kindAt;
    for (const drvPiece_t &piece : drvPieces())
        if (together(piece, base, kind)) {
            pieces.push_back(piece);
            const size_t more = piece.where == drvPiece_t::Keys      ? KEY_COUNT * piece.record->size
                                : piece.where == drvPiece_t::Results ? 4 + RESULTS * piece.record->size
                                : piece.where == drvPiece_t::ToEnd   ? 8
                                                                     : 0;
            record = record + noise(more, piece.command);
            for (const drvCondition_t &condition : piece.conditions)
                put32(record, condition.at, condition.value);
            if (piece.where == drvPiece_t::Answer)
                kindAt = piece.conditions.back().at;
        }
    for (const drvCondition_t &condition : base.conditions)
        put32(record, condition.at, condition.value);
    setHead(record, row);
    if (base.record->name == std::string("cosStats_t")) {
        put16(record, offsetof(cosStats_t, num_requests), KEY_COUNT);
        put16(record, offsetof(cosStats_t, num_responses), RESULTS);
    } else if (row.command == COS_BULK) {
        put16(record, offsetof(cosBulk_t, num_records), 0);
    }
    Bytes answered = record;
    if (kindAt)
        put32(answered, *kindAt, 77);
    const std::string own = std::to_string(packets.size() + 1), next = std::to_string(packets.size() + 2);
    shown_t expected = {{"dorvald.drv.command", {integerText(row.command, true)}},
                        {"dorvald.drv.name", {row.name}},
                        {"dorvald.drv.status", {"0"}},
                        {"dorvald.drv.header.request_length", {std::to_string(record.size())}},
                        {"dorvald.drv.frame.seq", {own}},
                        {"dorvald.drv.response_in", {next}}};
    expectRecord(expected, base.record, record, 0);
    for (const hslField_t &field : row.fields)
        for (unsigned i = 0; i < field.count && (field.bits != 0 || field.width == 0); ++i)
            expected["dorvald.drv." + nameOf(row.name) + "." + nameOf(field.name)].push_back(
                std::to_string(hslValue(field, record, i)));
    packets.push_back(driverPacket(packets.size() + 1, record, false, expected));
    expected = {{"dorvald.drv.response_to", {own}}, {"dorvald.drv.time", {"0.002500000"}}};
    expectRecord(expected, base.record, answered, 0);
    for (const drvPiece_t &piece : pieces) {
        const bool keys = piece.where == drvPiece_t::Keys, results = piece.where == drvPiece_t::Results;
        const size_t at = piece.at + (results ? KEY_COUNT * sizeof(cosStatsKey_t) + 4 : 0);
        const unsigned times = keys ? KEY_COUNT : results ? RESULTS : piece.where == drvPiece_t::ToEnd ? 2 : 1;
        for (unsigned n = 0; n < times; ++n)
            expectRecord(expected, piece.record, answered, at + n * (piece.record ? piece.record->size : 4));
    }
    packets.push_back(driverPacket(packets.size(), answered, true, expected));
    return kindAt.has_value();
}

// A bulk of a tail drop and a record that claims `claims` bytes.
Bytes bulkOf(uint32_t claims)
{
    Bytes bulk(36 + 40 + 48);
    put(bulk,
        {{0, COS_BULK}, {8, 124}, {12, 124}, {32, 2 << 16}, {36, COS_TAIL_DROP}, {44, 40}, {48, 28}, {64, 0x18418000}});
    put(bulk, {{68, 1}, {72, 6543}, {76, COS_PAUSE}, {84, claims}, {88, 28}, {100, 7}, {108, 1}, {116, 987}});
    return bulk;
}

TEST(Dissector, EveryFieldOfEveryDriverRecord)
{
    std::vector<Packet> packets;
    for (const hslCommand_t &row : hslCommands()) {
        std::set<uint32_t> sizes;
        for (const drvPiece_t &piece : drvPieces())
            if (piece.command == row.command && piece.operation == row.operation && piece.at == 0) {
                for (uint32_t kind = 0; kind < 3 && addExchange(packets, row, piece, kind);)
                    ++kind;
                sizes.insert(piece.record->size);
            }
        for (const uint32_t length : row.requests)
            EXPECT_TRUE(length == 0 || sizes.contains(length)) << row.name << " of " << length << " bytes";
        EXPECT_FALSE(sizes.empty()) << row.name;
    }
    const std::string ports = "dorvald.drv.cosTailDrop.ifindex";
    packets.push_back(driverPacket(9001, bulkOf(48), false,
                                   {{ports, {"0x18418000"}},
                                    {"dorvald.drv.cosTailDrop.threshold", {"6543"}},
                                    {"dorvald.drv.cosPause.assert_threshold", {"987"}},
                                    {"dorvald.drv.status", {"0", "0", "7"}}}));
    packets.push_back(driverPacket(9002, bulkOf(49), false,
                                   {{ports, {"0x18418000"}},
                                    {"dorvald.drv.cosPause.assert_threshold", {}},
                                    {SAYS, {"Record 2 of the bulk claims 49 bytes, 48 are there"}}}));
    // An answer goes the other way than its request, and to the last one of its number.
    packets.push_back(driverPacket(9001, bulkOf(48), false, {}));
    Packet refused =
        driverPacket(9001, {0, 0, 0, 95}, true,
                     {{"dorvald.drv.error", {"95"}}, {"dorvald.drv.response_to", {std::to_string(packets.size())}}});
    refused.bytes.erase(refused.bytes.begin() + sizeof(qosNLHdr_t), refused.bytes.begin() + NL_RECORD_OFFSET);
    putNative(refused.bytes, 0, 4, sizeof(qosNLHdr_t) + 4);
    putNative(refused.bytes, 4, 2, NLM_ERROR);
    packets.push_back(refused);
    check(packets);
}

} // namespace
