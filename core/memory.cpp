// SPDX-License-Identifier: Apache-2.0
// qosMalloc and qosFree with their counters.
#include "core/memory.h"

#include <cstdlib>
#include <cstring>

#include "core/memtypes.h"
#include "core/state.h"
#include "core/table.h"
#include "core/trace.h"

namespace {

bool isReplicated(const char *type_name)
{
    return strcmp(type_name, "non-ha-type") != 0;
}

} // namespace

void *qosMalloc(uint32_t module, uint32_t type, uint32_t size)
{
    qosModule_t &record = qos_modules[module];
    const char *type_name = qos_ha_get_type_str(type);
    void *block;
    if (isReplicated(type_name)) {
        block = ha_calloc(qos_velmar_state.ha, size, type_name, qos_ha_get_group(type), qos_ha_get_tag(type));
        if (!block)
            QOS_ERR("Failed to allocate ha mem of size: %d, type: %s", size, type_name);
    } else {
        block = calloc(1, size);
    }
    if (!block) {
        ++record.errors[type];
        return nullptr;
    }
    ++record.allocs[type];
    record.bytes[type] += size;
    return block;
}

void qosFree(uint32_t module, uint32_t type, void **pointer, uint32_t size)
{
    if (!*pointer)
        return;
    if (isReplicated(qos_ha_get_type_str(type)))
        ha_free(qos_velmar_state.ha, *pointer);
    else
        free(*pointer);
    *pointer = nullptr;
    qosModule_t &record = qos_modules[module];
    ++record.frees[type];
    record.bytes[type] -= size;
}

bool qosShowMemStatsPart(cli_t *cli, qosCursor_t *at)
{
    while (at->stage < QOS_MODULES && qos_modules[at->stage].id == 0)
        ++at->stage;
    if (at->stage >= QOS_MODULES)
        return false;
    const qosModule_t &record = qos_modules[at->stage++];
    qosPrintText(cli, "%s\n", record.name);
    qosPrintText(cli, "MemType         Num-Allocs  Num-Frees  Bytes-Allocd  Errors\n");
    qosPrintText(cli, "====================================================\n");
    for (unsigned type = 0; type < QOS_MEM_TYPES; ++type) {
        qosPrintRecord(cli);
        qosPrintKey(cli, "module", record.name);
        qosPrintField(cli, "type", "%-25s", qosMemTypes[type].display);
        qosPrintField(cli, "allocations", "  %-10u", record.allocs[type]);
        qosPrintField(cli, "frees", "  %-10u", record.frees[type]);
        qosPrintField(cli, "bytes", " %-12u", record.bytes[type]);
        qosPrintField(cli, "errors", "  %u\n", record.errors[type]);
    }
    return true;
}
