// SPDX-License-Identifier: Apache-2.0
// Prints the inventory: slots, chips, interfaces with their priority settings.
#ifndef INVENTORY_SHOW_H
#define INVENTORY_SHOW_H

#include "core/print.h"
#include "inventory/records.h"

int qos_show_ifTable(cli_t *cli); // slots and chips first
int qosShowSlotTable(cli_t *cli);
int qosShowChipTable(cli_t *cli);
int qosShowInterfaces(cli_t *cli);
int qosShowIfL2PriInfo(cli_t *cli, const qosIf_t *interface);
int qosShowIfL3PriInfo(cli_t *cli, const qosIf_t *interface);

#endif
