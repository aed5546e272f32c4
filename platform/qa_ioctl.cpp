// The rows of the back-end table. Entries of operations that are not built yet are null, and are answered as such.
#include "platform/qa_ioctl.h"

#include "core/handler.h"
#include "platform/records.h"
#include "platform/tessel/tsl_priority.h"

namespace {

// What Tessel and both Mirelle types do alike.
constexpr qaIoctlRow_t sharedRow()
{
    qaIoctlRow_t row = {};
    row[QOS_COSTRUST_MSG] = qaUntyped<tslSetIfCosTrust>;
    row[QOS_DEFCOS_MSG] = qaUntyped<tslSetIfDefCos>;
    row[QOS_COSMAP_MSG] = qaUntyped<tslSetIfCosMap>;
    row[QOS_COSTCMAP_MSG] = qaUntyped<tslSetIfCosTcMap>;
    row[QOS_DSCPTRUST_MSG] = qaUntyped<tslSetIfDscpTrust>;
    row[QOS_DSCPMAP_MSG] = qaUntyped<tslSetIfDscpMap>;
    row[QOS_DSCPCOSMAP_MSG] = qaUntyped<tslSetIfDscpCosMap>;
    row[QOS_DSCPTCMAP_MSG] = qaUntyped<tslSetIfDscpTcMap>;
    return row;
}

constexpr qaIoctlRow_t larkinRow()
{
    return {};
}

constexpr qaIoctlRow_t tesselRow()
{
    return sharedRow();
}

constexpr qaIoctlRow_t mirelleRow()
{
    return sharedRow();
}

} // namespace

constexpr std::array<qaIoctlRow_t, QOS_CHIP_TYPES> qaIoctlFn = {larkinRow(), tesselRow(), mirelleRow(), mirelleRow()};

constexpr std::array<qaChipInit_t, QOS_CHIP_TYPES> qaL2PriChipInitFn = {};
constexpr std::array<qaChipInit_t, QOS_CHIP_TYPES> qaL3PriChipInitFn = {};

constexpr std::array<uint16_t, QOS_CHIP_TYPES> qos_chip_pol_step_size = {0, 4994, 4982, 5007};

uint32_t tslGetDbgStatDev(uint32_t device)
{
    if (device == 0)
        return STAT_DEV_DEBUG_FIRST;
    return device >= STAT_DEV_DEBUG_FIRST && device < STAT_DEV_DEBUG_LAST ? device + 1 : STAT_DEV_END;
}
