// SPDX-License-Identifier: Apache-2.0
// How long a body must be when what stands in it decides: counts of records, and the form of a reply that is written in
// place.
#ifndef AGENT_BODY_LENGTH_H
#define AGENT_BODY_LENGTH_H

#include <cstdint>

// Bytes that the handler of `code` needs. Only read past the catalogue's least length, `least`, which the body has.
uint64_t qaBodyNeeded(uint8_t code, const void *body, uint32_t least);

#endif
