// SPDX-License-Identifier: Apache-2.0
// Batches that agents send: taken apart as far as they go, and no further than their end.
#include "tests/fuzz/batches.h"
#include "tests/fuzz/fuzz.h"
#include "tools/commands.h"
#include "tools/error.h"
#include "tools/report.h"
#include "tools/values.h"

void fuzzOne(const uint8_t *data, size_t size)
{
    const ctlBytes bytes(data, data + size);
    const ctlDecoded_t decoded = ctlDecode(bytes);
    size_t taken = 0;
    for (const ctlMessage_t &message : decoded.messages) {
        const size_t length = message.body.size();
        const uint8_t header[] = {message.code, static_cast<uint8_t>(length >> 8), static_cast<uint8_t>(length),
                                  message.seq, message.ack};
        FUZZ_CHECK(taken + sizeof header <= size && std::memcmp(header, &bytes[taken], sizeof header) == 0, "");
        taken += sizeof header;
        FUZZ_CHECK(taken + message.body.size() <= size &&
                       std::equal(message.body.begin(), message.body.end(),
                                  bytes.begin() + static_cast<std::ptrdiff_t>(taken)),
                   ctlMessageName(message.code));
        taken += message.body.size();
    }
    FUZZ_CHECK(decoded.fault.empty() == (taken == size), decoded.fault);
    if (!decoded.messages.empty() && taken <= CTL_BATCH_BYTES)
        fuzzCheckBatch(decoded.messages);
    for (const bool json : {false, true}) {
        ctlOptions_t options;
        options.json = json;
        std::ostringstream out, err;
        const int exit = ctlDecodeBatch(options, ctlFormatHex(data, size), out, err);
        FUZZ_CHECK(exit == (decoded.fault.empty() ? CTL_DONE : CTL_FAILED), decoded.fault);
        FUZZ_CHECK(fuzzIsShown(out.str() + err.str()), out.str());
        if (json)
            FUZZ_CHECK(ctlParseJson(out.str()).size() == decoded.messages.size(), out.str());
    }
}

void fuzzSeeds(const fuzzAdd_t &add)
{
    for (unsigned code = 0; code < QOS_MSG_CODES; code++)
        for (const uint8_t byte : {0, 0x41, 0xff, 1}) {
            ctlMessage_t message = fuzzMessage(code, byte, 3);
            const size_t head = ctlTailOf(ctlBodyOf(*qosMsgInfo(code))).head;
            for (size_t i = head; byte == 1 && i < message.body.size(); i++) // each place unlike the others around it
                message.body[i] = static_cast<uint8_t>(1 + (i * 51 + i / 97) % 127);
            for (const ctlBytes &bytes : {ctlEncode({message}), ctlEncode({message, fuzzMessage(67, 0, 0)})})
                add({reinterpret_cast<const char *>(bytes.data()), bytes.size()});
        }
}
