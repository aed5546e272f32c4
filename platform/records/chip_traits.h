// SPDX-License-Identifier: Apache-2.0
// One page for what differs by chip type or switch model and can be told by a value: codes and names, what capability
// records carry, the numbers of the buffer arithmetic, the forms of replies. What differs in requests stands in the
// back-end table, platform/qa_ioctl.
#ifndef PLATFORM_RECORDS_CHIP_TRAITS_H
#define PLATFORM_RECORDS_CHIP_TRAITS_H

#include <array>
#include <cstddef>
#include <cstdint>
#include <type_traits>

// Classes of service of every chip: priorities, traffic classes and queues of a port.
constexpr unsigned QOS_NUM_COS = 8;
constexpr unsigned QOS_NUM_DSCP = 64;

// ---- Chip types

// Values of chip_type, the row of qaIoctlFn.
enum : uint32_t {
    QOS_CHIP_LARKIN = 0,
    QOS_CHIP_TESSEL = 1,
    QOS_CHIP_MIRELLE = 2,
    QOS_CHIP_MIRELLE2 = 3,
    QOS_CHIP_TYPES = 4,
};

// How capability records name a chip.
enum chipCode_t : uint32_t {
    CHIP_CODE_NONE = 0,
    CHIP_CODE_LARKIN = 24,
    CHIP_CODE_TESSEL = 26,
    CHIP_CODE_MIRELLE_A = 29,
    CHIP_CODE_MIRELLE_B = 31,
    CHIP_CODE_MIRELLE2_A = 32,
    CHIP_CODE_MIRELLE2_B = 33,
};

// The two families of driver record.
enum class qosRecords_t : uint8_t { Dce, Cos };

// Where the ports of a buffer pool that long-distance links share are counted.
enum class qosPoolPorts_t : uint8_t { Unsupported, Fixed, ByModel, PortTable };

// What of the reply to a RED read the chip fills.
enum class qosRedReply_t : uint8_t { Nothing, Records, Counters };

// Whose numbering the drop reason counters have.
enum class qosDropReasons_t : uint8_t { None, Tessel, Mirelle, Mirelle2 };

struct qosChipTraits_t {
    const char *name;                // as it is shown
    const char *word;                // as it is typed
    std::array<chipCode_t, 2> codes; // the first is the one that the agent gives
    qosRecords_t records;
    bool policers;               // capability records carry its policer numbers
    bool extended;               // has the extended capability: flags, policer groups, buffer pools, a table of ports
    bool one_policer_group;      // whatever the capability says
    bool priority_tcams;         // keeps its priority maps in TCAMs
    bool memory_controllers;     // has TMCs behind it
    bool budget_of_sums;         // a port's receive budget is reported with its classes' thresholds added
    uint16_t own_red_profile;    // the entry of the RED table that the chip itself keeps; 0 none
    uint8_t max_shared_profiles; // RED profiles of a chip that was read from the driver
    uint16_t policer_step;       // bytes per second
    uint32_t min_buffer;         // bytes: the smallest allotment of one traffic class
    qosPoolPorts_t pool_ports;
    qosRedReply_t red_reply;
    qosDropReasons_t drop_reasons;
};

// By chip type; the last row is that of every other number.
constexpr std::array<qosChipTraits_t, QOS_CHIP_TYPES + 1> qosChipTraitsTable = {{
    {.name = "Larkin",
     .word = "larkin",
     .codes = {CHIP_CODE_LARKIN},
     .records = qosRecords_t::Dce,
     .policers = false,
     .extended = false,
     .one_policer_group = false,
     .priority_tcams = true,
     .memory_controllers = false,
     .budget_of_sums = false,
     .own_red_profile = 15,
     .max_shared_profiles = 0,
     .policer_step = 0,
     .min_buffer = 252,
     .pool_ports = qosPoolPorts_t::Fixed,
     .red_reply = qosRedReply_t::Nothing,
     .drop_reasons = qosDropReasons_t::None},
    {.name = "Tessel",
     .word = "tessel",
     .codes = {CHIP_CODE_TESSEL},
     .records = qosRecords_t::Cos,
     .policers = true,
     .extended = false,
     .one_policer_group = true,
     .priority_tcams = false,
     .memory_controllers = true,
     .budget_of_sums = false,
     .own_red_profile = 0,
     .max_shared_profiles = 4,
     .policer_step = 4994, // not used: its policers round by a step of their own
     .min_buffer = 188,
     .pool_ports = qosPoolPorts_t::ByModel,
     .red_reply = qosRedReply_t::Records,
     .drop_reasons = qosDropReasons_t::Tessel},
    {.name = "Mirelle",
     .word = "mirelle",
     .codes = {CHIP_CODE_MIRELLE_A, CHIP_CODE_MIRELLE_B},
     .records = qosRecords_t::Cos,
     .policers = true,
     .extended = true,
     .one_policer_group = false,
     .priority_tcams = false,
     .memory_controllers = false,
     .budget_of_sums = true,
     .own_red_profile = 0,
     .max_shared_profiles = 16,
     .policer_step = 4982,
     .min_buffer = 320,
     .pool_ports = qosPoolPorts_t::PortTable,
     .red_reply = qosRedReply_t::Counters,
     .drop_reasons = qosDropReasons_t::Mirelle},
    {.name = "Mirelle2",
     .word = "mirelle2",
     .codes = {CHIP_CODE_MIRELLE2_B, CHIP_CODE_MIRELLE2_A},
     .records = qosRecords_t::Cos,
     .policers = true,
     .extended = true,
     .one_policer_group = false,
     .priority_tcams = false,
     .memory_controllers = false,
     .budget_of_sums = true,
     .own_red_profile = 0,
     .max_shared_profiles = 15,
     .policer_step = 5007,
     .min_buffer = 160,
     .pool_ports = qosPoolPorts_t::Unsupported,
     .red_reply = qosRedReply_t::Counters,
     .drop_reasons = qosDropReasons_t::Mirelle2},
    {.name = "Unknown",
     .word = "unknown",
     .codes = {},
     .records = qosRecords_t::Cos,
     .policers = false,
     .extended = false,
     .one_policer_group = false,
     .priority_tcams = false,
     .memory_controllers = false,
     .budget_of_sums = false,
     .own_red_profile = 0,
     .max_shared_profiles = 0,
     .policer_step = 0,
     .min_buffer = 0,
     .pool_ports = qosPoolPorts_t::Unsupported,
     .red_reply = qosRedReply_t::Counters,
     .drop_reasons = qosDropReasons_t::None},
}};

constexpr const qosChipTraits_t &qosChipTraits(uint32_t chip_type)
{
    return qosChipTraitsTable[chip_type < QOS_CHIP_TYPES ? chip_type : uint32_t{QOS_CHIP_TYPES}];
}

// The chip type of a code, QOS_CHIP_TYPES for one that no type has.
constexpr uint32_t qosChipTypeOfCode(uint32_t code)
{
    uint32_t chip_type = 0;
    for (; chip_type < QOS_CHIP_TYPES; ++chip_type)
        for (const chipCode_t own : qosChipTraits(chip_type).codes)
            if (code != CHIP_CODE_NONE && own == code)
                return chip_type;
    return chip_type;
}

namespace qosChipTraitsDetail {

template <auto Member>
constexpr auto column()
{
    std::array<std::remove_cvref_t<decltype(qosChipTraitsTable[0].*Member)>, QOS_CHIP_TYPES> values = {};
    for (uint32_t chip_type = 0; chip_type < QOS_CHIP_TYPES; ++chip_type)
        values[chip_type] = qosChipTraitsTable[chip_type].*Member;
    return values;
}

} // namespace qosChipTraitsDetail

// Columns of the table that go by names of their own. Only the steps of the Mirelle types are used.
constexpr auto qosCfgMaxSharedProfiles = qosChipTraitsDetail::column<&qosChipTraits_t::max_shared_profiles>();
constexpr auto minBufferSize = qosChipTraitsDetail::column<&qosChipTraits_t::min_buffer>();
constexpr auto qos_chip_pol_step_size = qosChipTraitsDetail::column<&qosChipTraits_t::policer_step>();

// ---- Switch models

// How lossless priorities share a port's budget. The model number decides, and not the chip type.
enum class qosPfcRule_t : uint8_t { Common, Larkin, Mirelle };

struct qosModelTraits_t {
    uint32_t model;
    qosRecords_t records; // the family that its driver speaks when it is asked for capabilities
    qosPfcRule_t pfc_rule;
    uint32_t tessel_ports; // of 10 gigabits that share a Tessel's buffer
};

constexpr qosModelTraits_t qosModelTraitsTable[] = {
    {95, qosRecords_t::Dce, qosPfcRule_t::Larkin, 12},   {96, qosRecords_t::Dce, qosPfcRule_t::Larkin, 12},
    {97, qosRecords_t::Dce, qosPfcRule_t::Larkin, 12},   {107, qosRecords_t::Dce, qosPfcRule_t::Larkin, 12},
    {112, qosRecords_t::Dce, qosPfcRule_t::Larkin, 12},  {116, qosRecords_t::Dce, qosPfcRule_t::Larkin, 12},
    {123, qosRecords_t::Dce, qosPfcRule_t::Larkin, 12},  {131, qosRecords_t::Cos, qosPfcRule_t::Mirelle, 12},
    {137, qosRecords_t::Cos, qosPfcRule_t::Mirelle, 12}, {138, qosRecords_t::Cos, qosPfcRule_t::Mirelle, 12},
    {151, qosRecords_t::Cos, qosPfcRule_t::Mirelle, 12}, {153, qosRecords_t::Cos, qosPfcRule_t::Mirelle, 12},
    {154, qosRecords_t::Cos, qosPfcRule_t::Mirelle, 12}, {155, qosRecords_t::Cos, qosPfcRule_t::Mirelle, 12},
    {164, qosRecords_t::Cos, qosPfcRule_t::Mirelle, 12}, {1000, qosRecords_t::Cos, qosPfcRule_t::Common, 12},
    {1001, qosRecords_t::Cos, qosPfcRule_t::Common, 12}, {1002, qosRecords_t::Cos, qosPfcRule_t::Common, 12},
    {1004, qosRecords_t::Cos, qosPfcRule_t::Common, 8},  {1005, qosRecords_t::Cos, qosPfcRule_t::Common, 8},
    {1006, qosRecords_t::Cos, qosPfcRule_t::Common, 12}, {1007, qosRecords_t::Cos, qosPfcRule_t::Common, 8},
    {1009, qosRecords_t::Cos, qosPfcRule_t::Common, 10}, {1011, qosRecords_t::Cos, qosPfcRule_t::Common, 8},
};

// The row of a model, or that of every model that has none.
constexpr qosModelTraits_t qosModelTraits(uint32_t model)
{
    for (const qosModelTraits_t &row : qosModelTraitsTable)
        if (row.model == model)
            return row;
    return {model, qosRecords_t::Dce, qosPfcRule_t::Common, 12};
}

#endif
