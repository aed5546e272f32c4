// SPDX-License-Identifier: Apache-2.0
// Prints the inventory: slots, chips, interfaces with their priority settings.
#ifndef INVENTORY_SHOW_H
#define INVENTORY_SHOW_H

#include "core/print.h"
#include "inventory/records.h"
#include "lib/views.h"

// The row of a table behind the last one that was printed, of which `last` has the key; null behind the end.
template <typename Record>
const Record *qosShowNext(const tnx_avl_tree_t *table, const Record &last, qosCursor_t *at)
{
    const tnx_avl_node_t *node = at->has_row ? avl_get_next(table, &last) : avl_getfirst(table);
    at->has_row = true;
    return node ? avlPayload<const Record>(node) : nullptr;
}

bool qosShowIfTablePart(cli_t *cli, qosCursor_t *at); // slots and chips first
int qosShowSlotTable(cli_t *cli);
bool qosShowChipTablePart(cli_t *cli, qosCursor_t *at);
bool qosShowInterfacesPart(cli_t *cli, qosCursor_t *at);
bool qosShowPortsPart(cli_t *cli, qosCursor_t *at); // their names, as JSON alone
int qosShowIfL2PriInfo(cli_t *cli, const qosIf_t *interface);
int qosShowIfL3PriInfo(cli_t *cli, const qosIf_t *interface);

#endif
