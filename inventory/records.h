// SPDX-License-Identifier: Apache-2.0
// Every record that lives in memory and is replicated to a standby: slots, chips, interfaces and what the modules keep
// inside them, the monitored policers and ports, and the update entries. Data only.
//
// The order of the members is part of the replicated format, and so are the rows below each record, which say what of
// it a standby gets. Integers are native. A 64-bit integer is 8-aligned on every target, so that the layout does not
// hang on the ABI but for the pointers. Records come zeroed from the store. Truth values are signed words, 0 or 1. The
// parts that also travel in message bodies, such as qosSch_t, stand in agent/messages/, big-endian and unaligned there
// as here.
#ifndef INVENTORY_RECORDS_H
#define INVENTORY_RECORDS_H

#include "inventory/chip_records.h"
#include "inventory/congestion_records.h"
#include "inventory/drop_monitor_records.h"
#include "inventory/interface_records.h"
#include "inventory/policer_records.h"
#include "inventory/priority_records.h"
#include "inventory/profile_records.h"
#include "inventory/slot_records.h"
#include "platform/records/chip_traits.h"

#endif
