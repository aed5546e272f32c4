// SPDX-License-Identifier: Apache-2.0
#include "tests/fuzz/batches.h"

#include "tests/fuzz/fuzz.h"
#include "tools/error.h"
#include "tools/report.h"
#include "tools/scenario.h"
#include "tools/text.h"
#include "tools/values.h"

namespace {

constexpr size_t TYPED_AGAIN = 16; // elements of a field

void checkElements(const ctlMessage_t &message)
{
    const wireBody &body = ctlBodyOf(*qosMsgInfo(message.code));
    for (unsigned i = 0; i < body.numFields; i++) {
        const wireField &field = body.fields[i];
        if (field.kind == wireKind::Chars)
            continue;
        for (size_t n = 0; n < std::min(ctlCount(body, field, message.body.size()), TYPED_AGAIN); n++) {
            ctlBytes again = message.body;
            const std::string shown = ctlFormatElement(field, again, n);
            ctlSetText(body, again, {&field, static_cast<int>(n)}, shown);
            FUZZ_CHECK(again == message.body, std::string(field.name) + " " + shown);
        }
    }
}

void checkJson(const ctlMessage_t &message)
{
    const ctlJson json = ctlMessageJson(message);
    std::ostringstream out;
    ctlPrintJson(out, json);
    FUZZ_CHECK(fuzzIsShown(out.str()), out.str());
    const ctlJson read = ctlParseJson(out.str());
    if (out.str().find("\xef\xbf\xbd") != std::string::npos)
        return; // a text that was no UTF-8 comes back as another
    FUZZ_CHECK(read == json, out.str());
    const wireBody &body = ctlBodyOf(*qosMsgInfo(message.code));
    const ctlTail_t tail = ctlTailOf(body);
    const size_t natural = tail.stride == 0 ? body.size : tail.head;
    const size_t beyond = message.body.size() - std::min(natural, message.body.size());
    const bool whole = message.body.size() >= natural && (tail.stride == 0 ? beyond == 0 : beyond % tail.stride == 0);
    if (!whole || beyond / std::max<size_t>(tail.stride, 1) < tail.least)
        return; // cut or stretched, which fields do not tell
    if (tail.stride != 0 && ctlReadInteger(*ctlField(body, tail.count), message.body, 0) != beyond / tail.stride)
        return; // its count lies
    ctlJson typed = json["fields"];
    typed["msg"] = json["msg"];
    const ctlScenario_t again = ctlReadScenario(ctlJson::array({typed}).dump(), "again");
    const ctlBytes &made = again.batches.at(0).at(0).body;
    FUZZ_CHECK(made.size() == message.body.size(), out.str());
    for (const wireField *field = body.fields; field != body.fields + body.numFields; field++)
        for (size_t n = 0;
             field->kind != wireKind::Chars && field->width <= 8 && n < ctlCount(body, *field, made.size()); n++)
            FUZZ_CHECK(ctlReadInteger(*field, made, n) == ctlReadInteger(*field, message.body, n), field->name);
    FUZZ_CHECK(ctlMessageJson(again.batches.at(0).at(0))["fields"] == json["fields"], out.str());
}

} // namespace

void fuzzCheckBatch(std::vector<ctlMessage_t> batch)
{
    uint8_t next = 7;
    ctlNumber(batch, next);
    const ctlDecoded_t decoded = ctlDecode(ctlEncode(batch));
    FUZZ_CHECK(decoded.fault.empty() && ctlIsEcho(batch, decoded.messages), decoded.fault);
    for (size_t i = 0; i < batch.size(); i++) {
        FUZZ_CHECK(batch[i].body == decoded.messages[i].body, ctlMessageName(batch[i].code));
        std::ostringstream out;
        ctlPrintMessage(out, batch[i], true);
        FUZZ_CHECK(fuzzIsShown(out.str()), out.str());
        checkElements(batch[i]);
        checkJson(batch[i]);
    }
}

void fuzzCheckRefusal(const std::string &text)
{
    std::ostringstream err;
    ctlComplain(err, text);
    const std::string line = err.str();
    FUZZ_CHECK(!text.empty() && fuzzIsShown(line) && line.find('\n') == line.size() - 1, line);
}

ctlMessage_t fuzzMessage(unsigned code, uint8_t byte, size_t records)
{
    const qosMsgInfo_t &info = *qosMsgInfo(code);
    const wireBody &body = ctlBodyOf(info);
    const ctlTail_t tail = ctlTailOf(body);
    ctlMessage_t message{info.code, 0, 0, true, ctlBytes(body.size, byte)};
    if (tail.stride != 0) {
        message.body.assign(tail.head + std::max<size_t>(records, tail.least) * tail.stride, byte);
        ctlWriteInteger(*ctlField(body, tail.count), message.body, 0, std::max<size_t>(records, tail.least));
    }
    return message;
}
