// SPDX-License-Identifier: Apache-2.0
// What a person types: a byte for the message, then words with ends of lines between them, as "cos_map=0..7".
#include "tests/fuzz/batches.h"
#include "tests/fuzz/fuzz.h"
#include "tools/error.h"
#include "tools/text.h"
#include "tools/values.h"

namespace {

template <typename Act>
void orRefused(Act act)
{
    try {
        act();
    } catch (const ctlError_t &error) {
        FUZZ_CHECK(error.exit == CTL_USAGE, error.text);
        fuzzCheckRefusal(error.text);
    }
}

} // namespace

void fuzzOne(const uint8_t *data, size_t size)
{
    if (size == 0)
        return;
    const std::string text(reinterpret_cast<const char *>(data) + 1, size - 1);
    std::vector<std::string> words = ctlLinesOf(text);
    orRefused([&] {
        for (const std::string &each : ctlExpandList(text))
            FUZZ_CHECK(each.size() <= size + 20, each);
    });
    orRefused([&] {
        if (const auto ifindex = ctlParseInterface(text))
            FUZZ_CHECK(ctlParseInterface(ctlShowInterface(*ifindex)) == ifindex, text);
    });
    orRefused([&] {
        const ctlBytes bytes = ctlParseHex(text);
        FUZZ_CHECK(ctlParseHex(ctlFormatHex(bytes.data(), bytes.size())) == bytes, text);
    });
    if (words.size() == 1) // looking for the nearest of all takes long
        orRefused([&] { ctlFindMessage(words[0]); });
    words.insert(words.begin(), std::to_string(data[0] % QOS_MSG_CODES));
    orRefused([&] {
        const std::vector<ctlMessage_t> batch = ctlParseWords(words, {});
        ctlEncode(batch); // refuses one that is too long
        fuzzCheckBatch(batch);
    });
}

void fuzzSeeds(const fuzzAdd_t &add)
{
    for (unsigned code = 0; code < QOS_MSG_CODES; code++) {
        const wireBody &body = ctlBodyOf(*qosMsgInfo(code));
        const ctlMessage_t message = fuzzMessage(code, 1, 2);
        std::string words(1, static_cast<char>(code));
        for (unsigned i = 0; i < body.numFields; i++) {
            const size_t count = ctlCount(body, body.fields[i], message.body.size());
            const bool number = body.fields[i].kind == wireKind::Unsigned || body.fields[i].kind == wireKind::Signed;
            if (number && count != 0)
                words += std::string(body.fields[i].name) + "=1*" + std::to_string(count) + "\n";
            else if (count != 0)
                words += std::string(body.fields[i].name) + "=x:01\n";
        }
        add(words);
        add(words + "@len=7\n@seq=9\n+\n67\n@raw=01:02\n@tail=03");
    }
    for (const char *text : {"\4ifIndex=te1/3@1\ncos_map=0..7\ntc_map[3]=-0x1", "\4te1/1@2..te1/2@2,all", "\4chip1/0",
                             "\4ge0/1", "\4QOS_COSTRUST_MSG", "\4status=18446744073709551614..18446744073709551615"})
        add(text);
}
