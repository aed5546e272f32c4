// SPDX-License-Identifier: Apache-2.0
// Configuration of the driver emulator: a file of --config, each chip of which is refused in one line or declared. What
// a declared one is like the control commands' target looks at.
#include <sstream>

#include <CLI/CLI.hpp>

#include "hsl/model.h"
#include "tests/fuzz/fuzz.h"

void fuzzOne(const uint8_t *data, size_t size)
{
    hslModel_t model;
    std::vector<std::string> chips;
    bool verbose = false;
    CLI::App app;
    app.add_option("-c,--chip", chips)->check([&model](const std::string &text) {
        const size_t before = model.chips.size();
        const std::string wrong = hslModelDeclare(model, text);
        FUZZ_CHECK(model.chips.size() - before <= wrong.empty(), text);
        return wrong;
    });
    app.add_flag("-v,--verbose", verbose);
    app.allow_config_extras(CLI::config_extras_mode::error);
    std::istringstream file(fuzzText({data, data + size}));
    try {
        app.parse_from_stream(file);
        FUZZ_CHECK(model.chips.size() <= chips.size(), std::to_string(chips.size()));
    } catch (const CLI::ParseError &error) {
        FUZZ_CHECK(error.what()[0] != '\0', "");
    }
}

void fuzzSeeds(const fuzzAdd_t &add)
{
    for (const std::string &text : fuzzParts("chip = [\"1/0:tessel:48\", \"2/1:larkin:128\"]\nverbose = true\n|"
                                             "chip=15/7:mirelle2:160:buffers=9M\n|; comment\n[section]\nother = 3\n|"
                                             "chip = \"1/0:tessel:99999999999999999999\""))
        add(text);
}
