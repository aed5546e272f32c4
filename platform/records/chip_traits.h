// The chip types and what is told of each by number alone.
#ifndef PLATFORM_RECORDS_CHIP_TRAITS_H
#define PLATFORM_RECORDS_CHIP_TRAITS_H

#include <array>
#include <cstdint>

// Values of chip_type, the row of qaIoctlFn.
enum : uint32_t {
    QOS_CHIP_LARKIN = 0,
    QOS_CHIP_TESSEL = 1,
    QOS_CHIP_MIRELLE = 2,
    QOS_CHIP_MIRELLE2 = 3,
    QOS_CHIP_TYPES = 4,
};

// Policer step of each chip type, in bytes per second. Only those of the Mirelle types are used.
constexpr std::array<uint16_t, QOS_CHIP_TYPES> qos_chip_pol_step_size = {0, 4994, 4982, 5007};

#endif
