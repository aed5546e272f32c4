// SPDX-License-Identifier: Apache-2.0
// Configuration of the driver emulator: a file of --config, each chip of which is refused in one line or declared.
#include <CLI/CLI.hpp>

#include "hsl/model.h"
#include "tests/fuzz/fuzz.h"

void fuzzOne(const uint8_t *data, size_t size)
{
    hslModel_t model;
    std::vector<std::string> chips;
    bool verbose = false;
    const auto declare = [&model](const std::string &text) {
        const size_t before = model.chips.size();
        const std::string wrong = hslModelDeclare(model, text);
        FUZZ_CHECK(wrong.empty() ? model.chips.size() <= before + 1 : model.chips.size() == before, text);
        return wrong;
    };
    CLI::App app;
    app.add_option("-c,--chip", chips)->check(declare);
    app.add_flag("-v,--verbose", verbose);
    app.allow_config_extras(CLI::config_extras_mode::error);
    std::istringstream file(fuzzText({data, data + size}));
    try {
        app.parse_from_stream(file);
        FUZZ_CHECK(model.chips.size() <= chips.size(), std::to_string(chips.size()));
    } catch (const CLI::ParseError &error) {
        FUZZ_CHECK(error.what()[0] != '\0', "");
    }
    for (auto &[flat, chip] : model.chips) {
        FUZZ_CHECK(flat >= 0 && flat < 128 && chip.flat == flat && chip.ports >= 1 && chip.ports <= CHIP_PORTS, "");
        const auto first = hslChipPort(chip, 0), last = hslChipPort(chip, chip.ports - 1);
        FUZZ_CHECK(hslIsPort(first) && hslIsPort(last) && (first != last || chip.ports == 1), std::to_string(last));
        FUZZ_CHECK(hslChipJson(chip, true)["ports"] == chip.ports, "");
    }
}

void fuzzSeeds(const fuzzAdd_t &add)
{
    for (const std::string &text : fuzzParts(
             "chip = [\"1/0:tessel:48\", \"2/1:larkin:128\"]\nverbose = true\n|chip=15/7:mirelle2:160:buffers=9M\n|"
             "chip = 15/0:tessel:1|chip = 1/0:tessel:161|chip = 1/0:none:1|chip = 1/0:tessel:1:buffers=0x10K|"
             "; comment\n[section]\nchip = 1/0:mirelle:8\n|other = 3\n|chip = \"1/0:tessel:99999999999999999999\""))
        add(text);
}
