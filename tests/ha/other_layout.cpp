// SPDX-License-Identifier: Apache-2.0
// The agent with a record that no other build has described.
#include "dorvald/startup.h"
#include "velmar/ha.h"

int main(int argc, char **argv)
{
    constexpr ha_hndl_t STORE = 1;
    static const ha_field_t fields[] = {{"word", 0, 4, "~U32"}};
    if (ha_add_struct(STORE, "otherRecord_t", 4, 1, fields) != 0)
        return 1;
    return dorvaldMain(argc, argv);
}
