// SPDX-License-Identifier: Apache-2.0
// The agent with a record of which a field became something else: it describes it ahead of the agent, whose own
// description of it is then refused.
#include "dorvald/startup.h"
#include "inventory/records.h"
#include "velmar/fields.h"

int main(int argc, char **argv)
{
    constexpr ha_hndl_t STORE = 1;
    static auto fields = qosStoreRows<qosPauseProfile_t>;
    fields[1].type = "~I32";
    if (ha_add_struct(STORE, "qosPauseProfile_t", sizeof(qosPauseProfile_t), fields.size(), fields.data()) != 0)
        return 1;
    return dorvaldMain(argc, argv);
}
