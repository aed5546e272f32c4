// SPDX-License-Identifier: Apache-2.0
// Which record a driver command carries, in a request and in an answer, and the fields of a record.
#ifndef TOOLS_DISSECTOR_RECORDS_H
#define TOOLS_DISSECTOR_RECORDS_H

#include <cstdint>
#include <string>
#include <vector>

#include "agent/messages/fields.h"
#include "velmar/members.h"

// A word of the request, by which is told what else stands in it or in its answer.
struct drvCondition_t {
    uint16_t at;
    uint32_t value;
};

// A piece of a driver's record. Of several pieces at 0 those are meant whose size is that of the record, or else the
// first.
struct drvPiece_t {
    enum where_t : uint8_t {
        Fixed,   // at `at`
        Answer,  // likewise, but in answers alone
        Keys,    // from `at` on, as many as the count of requests says
        Results, // of an answer: behind the keys and a bit for each result in words of 32 bits
        ToEnd    // from `at` on as many as there is room for; without a record these are interface indexes
    };
    uint32_t command;
    int operation; // -1: the command has none
    const qosRecord_t *record;
    uint16_t at = 0;
    where_t where = Fixed;
    std::vector<drvCondition_t> conditions = {};
};
const std::vector<drvPiece_t> &drvPieces();

// A field of a record; the members of records in it come as "policers.num_policer_profiles", those of an array of
// records with the records' size as their stride. Reserved members and heads are left out.
struct drvField_t {
    std::string name;
    uint32_t offset, width, count, stride;
    wireKind kind;
};
std::vector<drvField_t> drvFieldsOf(const qosRecord_t &record);

#endif
