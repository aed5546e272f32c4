// SPDX-License-Identifier: Apache-2.0
// A Larkin's TCAM: regions of entries that select CoS and traffic class by port and CoS, or by port and DSCP. It
// refuses what it cannot take, and says so with a status of its own. Relies on the records of the Larkin family.
#ifndef HSL_TCAM_H
#define HSL_TCAM_H

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <utility>

#include "hsl/commands.h"

constexpr uint32_t DRV_MALFORMED = 22; // status or error of a request that cannot be read
constexpr uint32_t DRV_NOT_FOUND = 2;  // no such region or entry
constexpr uint32_t DRV_FULL = 28;      // the region has no room

constexpr uint16_t HSL_TCAM_L2 = 0x1006; // table numbers
constexpr uint16_t HSL_TCAM_L3 = 0x2005;

struct hslTcamEntry_t {
    uint32_t value, port; // key: the CoS or DSCP in its bits, the port's interface index
    uint32_t value_mask, port_mask;
    uint32_t result;
};

// `size` entries are set aside, and `growth` more whenever they are used up, `max` at most.
struct hslTcamRegion_t {
    uint32_t min = 0, max = 0, size = 0, growth = 0;
    std::map<uint32_t, hslTcamEntry_t> entries; // by handle; the first that matches decides
};

// By table and region number.
using hslTcams_t = std::map<std::pair<uint16_t, uint16_t>, hslTcamRegion_t>;

struct hslTcamHit_t {
    uint32_t handle;
    bool trust; // of a DSCP; a CoS always counts
    unsigned cos, tc;
};

// What the hardware says to a TCAM record before it takes it: 0, or a status and why. Other records get 0.
uint32_t hslTcamRefuses(const hslTcams_t &tcams, const hslCommand_t &row, hslBytes record, std::string *why);

// Takes a record that is not refused; an added entry is known by `handle`. The text is a warning, or empty.
std::string hslTcamTell(hslTcams_t &tcams, const hslCommand_t &row, hslBytes record, uint32_t handle);
// The handle of an added entry into the response: its key and mask, and its number.
void hslTcamAnswer(hslBytes record, uint32_t handle, hslBuffer &response);

// The entry of a table that a frame with this CoS or DSCP meets at a port.
std::optional<hslTcamHit_t> hslTcamFind(const hslTcams_t &tcams, uint16_t table, uint32_t ifindex, unsigned value);

// Regions and entries in words, a line each; `table` "l2", "l3", a table number, or empty for all. Empty if there is no
// such region.
std::string hslTcamText(const hslTcams_t &tcams, const std::string &table);

// The entries as a list of objects: table ("l2" or "l3"), port as its interface index, value looked up, cos, tc, trust.
hslJson hslTcamJson(const hslTcams_t &tcams);

#endif
