// SPDX-License-Identifier: Apache-2.0
// How the driver is told to misbehave: a list of faults, each with a count and an optional command that it waits for.
// Relies on nothing; the server carries out what hslFaultsTake hands it.
#ifndef HSL_FAULTS_H
#define HSL_FAULTS_H

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "hsl/fields.h"

enum hslFaultKind_t : uint8_t {
    FAULT_REFUSE,
    FAULT_DELAY,
    FAULT_DROP,
    FAULT_LATE,
    FAULT_WRONG_COMMAND,
    FAULT_WRONG_TYPE,
    FAULT_WRONG_SEQUENCE,
    FAULT_TRUNCATE,
    FAULT_ERROR,
    FAULT_NO_END,
    FAULT_GARBAGE,
    FAULT_KINDS,
};

constexpr uint64_t FAULT_FOREVER = UINT64_MAX;

struct hslFault_t {
    hslFaultKind_t kind;
    std::optional<uint32_t> command; // none: every request
    uint64_t count = 1;              // answers still to spoil
    uint64_t done = 0;
    std::optional<uint32_t> value; // status, ms, bytes, type or number, as the kind has it
    bool record_only = false;      // refuse: the bulk around the record stays good
};

struct hslFaults_t {
    std::vector<hslFault_t> list; // in the order given; a used-up one leaves it
};

// The faults that meet one request, at most one of a kind: what each does, by kind.
struct hslFaultSet_t {
    std::optional<hslFault_t> of[FAULT_KINDS];
};

// Parses "KIND [command=N] [count=N|forever] [status=N] ..."; empty, or what is wrong and what would be right.
std::string hslFaultParse(const std::vector<std::string> &words, hslFault_t *fault);

// Takes of each kind the first fault that meets `command` and counts it. `nested`: the record lies in a bulk, where
// only a refusal that names its command can meet it.
hslFaultSet_t hslFaultsTake(hslFaults_t &faults, uint32_t command, bool nested);

const char *hslFaultName(hslFaultKind_t kind);
hslJson hslFaultsJson(const hslFaults_t &faults);

#endif
