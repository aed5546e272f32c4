// SPDX-License-Identifier: Apache-2.0
// Scenarios: batches of messages written down in JSON. docs/dorvctl.md has the format.
#ifndef TOOLS_SCENARIO_H
#define TOOLS_SCENARIO_H

#include <optional>
#include <string>
#include <vector>

#include "tools/batch.h"

struct ctlScenario_t {
    std::optional<std::string> service; // as the file wants it, for options that the person did not give
    std::optional<unsigned> slot;
    std::vector<std::vector<ctlMessage_t>> batches;
};

// Bytes that the texts and bodies of a scenario may come to once its repetitions are written out.
constexpr size_t CTL_SCENARIO_BYTES = 256 << 20;

// Reads a scenario; a refusal names the place: "FILE: batches[2][0].cos_map: ...".
ctlScenario_t ctlReadScenario(const std::string &text, const std::string &file, size_t most = CTL_SCENARIO_BYTES);

#endif
