// SPDX-License-Identifier: Apache-2.0
// What the driver knows of the hardware: its chips, and what each chip and port was told, as records that can be
// decoded at any time. The model takes everything; what real hardware would have refused it keeps as warnings. Relies
// on the command table and on the platform's chip numbering.
#ifndef HSL_MODEL_H
#define HSL_MODEL_H

#include <cstdint>
#include <map>
#include <string>
#include <utility>

#include "hsl/congestion.h"
#include "hsl/tcam.h"
#include "hsl/traffic.h"
#include "platform/records/capability.h"

struct hslChipType_t {
    uint32_t chip_type;
    hslChips_t family;
    uint32_t rev;
    uint32_t policers[7]; // in the order of capPolicers_t
    uint32_t buffers;     // bytes of packet memory where the chip's own is not given
    uint32_t pools;
    uint16_t policer_groups;
    int16_t reasons[DROP_KINDS]; // the drop reason that counts each kind, -1 where none does

    constexpr const qosChipTraits_t &traits() const { return qosChipTraits(chip_type); }
};

// Null for a name that is none of larkin, tessel, mirelle, mirelle2.
const hslChipType_t *hslChipType(const std::string &name);

// The last record of one command, and how often and when it came.
struct hslTold_t {
    const hslCommand_t *row;
    hslBuffer record;
    uint64_t count;
    uint64_t last; // ms on the server's clock
};
// By command and operation.
using hslToldMap_t = std::map<std::pair<uint32_t, int>, hslTold_t>;

// A field of the last record of a command; absent where there was none, or it has no such field.
std::optional<uint64_t> hslToldValue(const hslToldMap_t &told, uint32_t command, int operation, const char *field,
                                     unsigned index = 0);

struct hslChip_t {
    int flat; // slot x 8 + chip in the slot
    const hslChipType_t *type;
    unsigned ports;
    bool declared;    // else learned from a request's target
    uint32_t buffers; // bytes of packet memory
    uint64_t requests;
    hslToldMap_t told;
    hslTcams_t tcams;
    hslPolicers_t policers;
    hslPeaks_t peaks;
    std::map<uint32_t, hslRed_t> red;     // the curve of each profile that a queue uses, as it was told last
    std::optional<uint32_t> egress_depth; // bytes that any queue may hold, where the chip was told one
};

struct hslPort_t {
    uint32_t ifindex;
    int flat; // -1: on no chip
    hslToldMap_t told;
    hslSetup_t setup;
    hslTraffic_t traffic;
};

// Bytes that a response carries in place of zeros: counters a test or a user wants to see.
struct hslData_t {
    uint32_t command;
    uint32_t port; // 0: every port
    uint32_t offset;
    hslBuffer bytes;
};

struct hslModel_t {
    std::map<int, hslChip_t> chips;
    std::map<uint32_t, hslPort_t> ports;
    std::map<std::string, uint64_t> warnings; // text and how often
    std::vector<hslData_t> data;
    uint32_t next_handle = 1;
    uint64_t traffic_at = 0;   // ms that traffic has come to
    bool traffic_runs = false; // something flows, waits or fills
};

// "SLOT/CHIP:TYPE:PORTS[:buffers=BYTES]", as "1/0:tessel:48". Empty, or what is wrong.
std::string hslModelDeclare(hslModel_t &model, const std::string &text);
// "SLOT/CHIP" to a flat chip number, -1 if it is none.
int hslParseChip(const std::string &text);

// The chip's ports as capabilities list them, counted from 0, and the policer group of one; 0 for a port that is not
// listed.
uint32_t hslChipPort(const hslChip_t &chip, unsigned n);
uint32_t hslPolicerGroup(const hslChip_t &chip, uint32_t ifindex);
// A port by its index, or by its name ("te1/3") if it is known or a chip lists it; 0 for neither.
uint32_t hslFindPort(const hslModel_t &model, const std::string &text);

void hslModelWarn(hslModel_t &model, const std::string &text);

// What the hardware says to a record before it takes it: 0, or a status and why.
uint32_t hslModelRefuses(const hslModel_t &model, uint32_t target, const hslCommand_t &row, hslBytes record,
                         std::string *why);
// One accepted record: who is told, learned if new, and what it means for tables. Called before hslModelAnswer.
void hslModelTell(hslModel_t &model, uint32_t target, const hslCommand_t &row, hslBytes record, uint64_t now);

// What the chip of a target counts and holds into a read's response behind its head; a clear sets what it names to 0.
void hslStatsRead(hslModel_t &model, uint32_t target, hslBytes record, hslBuffer &response);
void hslStatsClear(hslModel_t &model, uint32_t target, hslBytes record);

// Applies what chips and ports were told to the traffic that depends on it: its priorities, and what a Larkin follows.
// To be called when either has changed, behind hslTrafficAdvance. `flat` is the one chip that it is about, or -1.
void hslModelFollow(hslModel_t &model, int flat);

// Fills the data of a response whose head stands; it has the length that the table gives.
void hslModelAnswer(hslModel_t &model, uint32_t target, const hslCommand_t &row, hslBytes record, hslBuffer &response);

// The capability record of a chip as its event carries it, 2460 bytes.
hslBuffer hslChipEvent(const hslChip_t &chip, chipEvent_t event);

hslJson hslChipJson(const hslChip_t &chip, bool whole); // whole: with its policers and their counters
hslJson hslModelJson(const hslModel_t &model);
// What a chip and its ports were told, as numbers under the names of the command table: for programs.
hslJson hslToldJson(const hslModel_t &model, const hslChip_t &chip);
size_t hslModelJsonLeast(const hslModel_t &model);      // characters that its text has at least
hslJson hslPortJson(const hslPort_t &port, bool whole); // whole: with every record's bytes, setup and traffic

#endif
