// SPDX-License-Identifier: Apache-2.0
// Writes the tables that tools/dissector.lua goes by ahead of it: messages, statuses, driver commands and records. A
// field is a row {name, offset, width, count, stride, kind}, the kind a letter: u and i integers, x an interface index,
// h a number in hexadecimal, s a text, n an integer in native order, b bytes.
#include "tools/dissector.h"

#include <bit>

#include "agent/messages/header.h"
#include "hsl/commands.h"
#include "platform/records/capability.h"
#include "tools/batch.h"
#include "tools/dissector_lua.h"
#include "tools/dissector_records.h"
#include "tools/error.h"
#include "velmar/mi6.h"
#include "velmar/version.h"

namespace {

std::string quoted(const std::string &text)
{
    std::string all = "\"";
    for (const char c : text)
        all += (c == '"' || c == '\\' ? std::string("\\") : "") + c;
    return all + "\"";
}

char letterOf(const wireField &field, char native)
{
    if (ctlIsInterface(field) || field.name == std::string("target"))
        return 'x';
    if (field.name == std::string("command"))
        return 'h';
    switch (field.kind) {
    case wireKind::Unsigned:
        return 'u';
    case wireKind::Signed:
        return 'i';
    case wireKind::Chars:
        return 's';
    default:
        return native;
    }
}

void writeField(std::ostream &out, const std::string &name, const wireField &field, char native)
{
    wireField named = field;
    named.name = name.c_str();
    out << "{" << quoted(name) << "," << field.offset << "," << field.width << "," << field.count << "," << field.stride
        << ",\"" << letterOf(named, native) << "\"},";
}

void writeRecord(std::ostream &out, const qosRecord_t &record)
{
    std::string name = record.name;
    if (name.ends_with("_t"))
        name.resize(name.size() - 2);
    out << "{name=" << quoted(name) << ",size=" << record.size << ",fields={";
    for (const drvField_t &field : drvFieldsOf(record)) {
        const auto half = [](uint32_t value) { return static_cast<uint16_t>(value); };
        writeField(out, field.name,
                   {nullptr, half(field.offset), half(field.width), half(field.count), half(field.stride), field.kind},
                   'n');
    }
    out << "}}";
}

void writeMessages(std::ostream &out)
{
    out << "local MESSAGES = {\n";
    for (unsigned code = 0; code < QOS_MSG_CODES; code++) {
        const qosMsgInfo_t &info = *qosMsgInfo(code);
        const wireBody &body = ctlBodyOf(info);
        const ctlTail_t tail = ctlTailOf(body);
        out << "[" << code << "]={name=" << quoted(ctlShortName(code)) << ",least=" << info.min_len;
        if (tail.stride != 0)
            out << ",tail={count=" << quoted(tail.count) << ",head=" << tail.head << ",stride=" << tail.stride << "}";
        out << ",fields={";
        for (unsigned i = 0; i < body.numFields; i++)
            writeField(out, body.fields[i].name, body.fields[i], 'b');
        out << "}},\n";
    }
    out << "}\n";
}

void writeStatuses(std::ostream &out)
{
    const std::string unknown = ctlStatusText(-1);
    out << "local STATUSES = {";
    for (int status = 0; status < 256; status++)
        if (ctlStatusText(status) != unknown)
            out << "[" << status << "]=" << quoted(ctlStatusText(status)) << ",";
    out << "}\n";
}

// The bits that the emulator's rows take out of members, each value a row {name, offset, width, first bit, bits}.
void writeBits(std::ostream &out, const hslCommand_t &row)
{
    for (const hslField_t &field : row.fields)
        for (unsigned i = 0; i < field.count && (field.width == 0 || field.bits != 0); i++) {
            const bool nibble = field.width == 0;
            const unsigned width = nibble ? 1 : field.width, bits = nibble ? 4 : field.bits;
            out << "{" << quoted(field.name) << "," << field.offset + (nibble ? i / 2 : i * field.stride) << ","
                << width << "," << (nibble ? i % 2 * 4 : width * 8 - field.shift - bits) << "," << bits << "},";
        }
}

void writeCommands(std::ostream &out)
{
    out << "local COMMANDS = {\n";
    for (const hslCommand_t &row : hslCommands()) {
        out << "{command=" << row.command << ",operation=" << row.operation << ",name=" << quoted(row.name)
            << ",family=" << (row.family == HSL_DCE ? "DCE" : "COS") << ",bits={";
        writeBits(out, row);
        out << "},pieces={\n";
        for (const drvPiece_t &piece : drvPieces()) {
            if (piece.command != row.command || piece.operation != row.operation)
                continue;
            static constexpr const char *where[] = {"fixed", "answer", "keys", "results", "toend"};
            out << "  {at=" << piece.at << ",where=" << quoted(where[piece.where]) << ",conditions={";
            for (const drvCondition_t &condition : piece.conditions)
                out << "{" << condition.at << "," << condition.value << "},";
            out << "},record=";
            if (piece.record != nullptr)
                writeRecord(out, *piece.record);
            else
                out << "PORT";
            out << "},\n";
        }
        out << "}},\n";
    }
    out << "}\n";
}

template <typename Record>
void writeNamed(std::ostream &out, const char *name)
{
    out << "local " << name << " = ";
    writeRecord(out, qosMembersOf<Record>::record);
    out << "\n";
}

} // namespace

int ctlWriteDissector(std::ostream &out)
{
    out << "-- SPDX-License-Identifier: Apache-2.0\n"
           "-- Made by dorvctl " VELMAR_VERSION " from its own tables, for captures of a build of the same tables.\n";
    out << "local LITTLE = " << (std::endian::native == std::endian::little ? "true" : "false") << "\n";
    out << "local ADDRESS, NOTICE = " << sizeof(mi6_addr_t) << ", " << sizeof(mi6_notice_t) << "\n";
    out << "local BATCH, BULK = " << CTL_BATCH_BYTES << ", " << COS_BULK << "\n";
    out << "local ERROR, DONE, READY = " << NLM_ERROR << ", " << NLM_DONE << ", " << NLM_CHIP_READY << "\n";
    out << "local EVENT, BULK_UP = " << DRV_KIND_EVENT << ", " << uint32_t{CHIP_EVENT_BULK_UP} << "\n";
    writeStatuses(out);
    writeNamed<qosMsgHdr_t>(out, "HEADER");
    writeMessages(out);
    writeNamed<qosNLHdr_t>(out, "FRAME");
    writeNamed<qosDriverHdr_t>(out, "DRIVER");
    writeNamed<dceHdr_t>(out, "DCE");
    writeNamed<cosHdr_t>(out, "COS");
    writeNamed<qosChipCap_t>(out, "CHIP");
    writeNamed<qosChipReady_t>(out, "CHIP_READY");
    writeNamed<qosBulkChipUp_t>(out, "CHIPS");
    writeNamed<qosBulkChip_t>(out, "CHIPS_ENTRY");
    out << "local PORT = {name=\"port\",size=4,fields={{\"ifindex\",0,4,1,4,\"x\"}}}\n";
    writeCommands(out);
    out.write(DISSECTOR_LUA, sizeof DISSECTOR_LUA);
    return CTL_DONE;
}
