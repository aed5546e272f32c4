// SPDX-License-Identifier: Apache-2.0
// What must hold for every message that dorvctl has made or taken apart.
#ifndef TESTS_FUZZ_BATCHES_H
#define TESTS_FUZZ_BATCHES_H

#include "tools/batch.h"

// Bytes and back, elements as shown and typed again, JSON and back, and nothing printed that a terminal obeys.
void fuzzCheckBatch(std::vector<ctlMessage_t> batch);

// A line that refuses something.
void fuzzCheckRefusal(const std::string &text);

// A message with something in every field: the same byte all over, and as many records as `records`.
ctlMessage_t fuzzMessage(unsigned code, uint8_t byte, size_t records);

#endif
