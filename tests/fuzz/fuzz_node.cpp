// SPDX-License-Identifier: Apache-2.0
// Node files: taken as a whole, or refused in one line that names the place.
#include <cstdio>

#include "host/node.h"
#include "tests/fuzz/fuzz.h"
#include "velmar/process.h"

namespace {

std::string taken(std::string text)
{
    FILE *file = fmemopen(text.data(), text.size(), "r");
    const std::string wrong = nodeTake(file);
    std::fclose(file);
    FUZZ_CHECK(__expm.slot <= 16 && __expm.slot_base <= INT32_MAX && __expm.instance <= INT32_MAX, text);
    FUZZ_CHECK(sysconModel() >= 0, text);
    return wrong;
}

} // namespace

void fuzzOne(const uint8_t *data, size_t size)
{
    if (size == 0)
        return;
    const std::string wrong = taken(fuzzText({data, data + size}));
    FUZZ_CHECK(wrong.size() < 300 && wrong.find('\n') == std::string::npos, wrong);
    FUZZ_CHECK(taken("# good\nslot = 3\nmodel=1 # x\n").empty() && __expm.slot == 3 && sysconModel() == 1, "");
}

void fuzzSeeds(const fuzzAdd_t &add)
{
    for (const std::string &text : fuzzParts(
             "model = 1000\nslot = 1\nslot_base = 0\ninstance = 1\n|slot=16 # comment\r\n\t# x\n\n|slot = 17|slot 3|"
             "slot = | = 3|slot = 3x|instance = 99999999999999999999|slot = -1|kind = 3|model = 2147483648"))
        add(text);
    add(std::string("slot\0 = 3", 9));
    add("slot = " + std::string(500, '1'));
}
