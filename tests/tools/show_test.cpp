// SPDX-License-Identifier: Apache-2.0
// What the agent prints of its tables, to the letter, and what dorvctl reads out of it.
#include <utility>

#include "core/memory.h"
#include "core/msgq.h"
#include "core/state.h"
#include "core/table.h"
#include "ha/vss.h"
#include "inventory/show.h"
#include "tests/support/inside.h"
#include "tests/support/printer.h"
#include "tools/error.h"
#include "tools/show.h"

namespace {

template <typename... Args>
std::string printed(int (*show)(cli_t *, Args...), std::type_identity_t<Args>... args)
{
    Printer printer;
    cli_t cli = printer.cli(0);
    EXPECT_EQ(show(&cli, args...), 0);
    return printer.text;
}

template <qosShowPart_t Part>
ctlJson rowsOf()
{
    return ctlShowRows(printed(qosShowWhole<qosShowJson<Part>>));
}
template <qosShow_t Show>
ctlJson rowsOf()
{
    return rowsOf<qosShowOnce<Show>>();
}

// Gives an interface something of everything.
void fill(qosIf_t &port, qosCosMutateMap_t &named)
{
    strcpy(named.hdr.map_name, "gold");
    qosIfL2Pri_t &l2 = port.l2_pri;
    l2 = {};
    l2.l2PriFlags = 0xab;
    l2.def_cos = 5;
    l2.def_tc = 6;
    l2.cos_trust = 1;
    l2.cos_trust_status = 22;
    l2.cos_trust_handle[7] = {0x12, 0xfedcba9876543210, 0xc, 0x1ff};
    l2.cos_mutate = &named;
    for (uint8_t i = 0; i < 8; ++i) {
        l2.cos_map[i] = 7 - i;
        l2.tc_map[i] = i / 2;
    }
    qosIfL3Pri_t &l3 = port.l3_pri;
    l3 = {};
    for (uint8_t i = 0; i < 64; ++i)
        l3.dscp_map[i] = 63 - i;
    l3.dscp_map_status = 0x01020304;
    l3.tc_map[63] = 9;
}

} // namespace

TEST(Show, Interfaces)
{
    Bare node;
    tell(QOS_CHIPUP_MSG, chipUpBody(0x88400000, 1, 0, QOS_CHIP_LARKIN, 12));
    qosIf_t *port = qosProcessPortAdd(0x18408000, "te1/1");
    qosIf_t *channel = qosProcessPortAdd(0x24000001, "{\"}\\\t,\xff\xc3\xa9\xed\xa0\x80\xc3"); // a name may be anything
    ASSERT_TRUE(port && channel);
    qosCosMutateMap_t named = {};
    fill(*port, named);
    std::string handles;
    for (int i = 0; i < 7; ++i)
        handles += "\t\tcos_trust_handle[" + std::to_string(i) + "] =  0000000000000000:0000000000000000:0000:0\n";
    EXPECT_EQ(printed(qosShowIfL2PriInfo, port),
              "\tL2 Pri Info:\n\t\tl2PriFlags = 0x000000ab\n\t\tdef_cos = 5, def_tc = 6, def_cos_status = 0\n"
              "\t\tcos_trust = Enabled, cos_trust_status = 22\n" +
                  handles +
                  "\t\tcos_trust_handle[7] =  0000000000000012:fedcba9876543210:000c:1ff\n"
                  "\t\tCoS Mutation Map applied = gold\n\t\tCoS Map:\n"
                  "\t\tIn Cos:  0  1  2  3  4  5  6  7 \n\t\tOut Cos:  7  6  5  4  3  2  1  0 \n"
                  "\t\tCoS Map Status = 0\n\t\tCos:  0  1  2  3  4  5  6  7 \n\t\tTC:  0  0  1  1  2  2  3  3 \n"
                  "\t\tCoS TC Map Status = 0\n");

    // Rows begin nine entries apart, and the last goes on into the status behind the map.
    const std::string l3 = printed(qosShowIfL3PriInfo, port);
    EXPECT_NE(l3.find("\t\tDSCP Map:\n\t\t\tDSCP 0 -> 63, \t\t\tDSCP 1 -> 62, "), std::string::npos) << l3;
    EXPECT_NE(l3.find("DSCP 7 -> 56, \n\t\t\tDSCP 9 -> 54, "), std::string::npos);
    std::string last = "\n\t\t\tDSCP 63 -> 0, ";
    const auto *behind = reinterpret_cast<const unsigned char *>(port->l3_pri.dscp_map) + 64;
    for (int i = 64; i < 71; ++i)
        last += "\t\t\tDSCP " + std::to_string(i) + " -> " + std::to_string(behind[i - 64]) + ", ";
    EXPECT_NE(l3.find(last + "\n\t\tDSCP Map Status = 16909060\n\t\tDSCP CoS Map:\n\t\t\tDSCP 0 -> CoS 0, "),
              std::string::npos);
    EXPECT_NE(l3.find("\t\t\tDSCP 63 -> TC 9, "), std::string::npos);
    EXPECT_NE(l3.find("\t\tdscp_trust_handle[63] =  0000000000000000:"), std::string::npos);

    // As JSON they have the same keys, whatever there is of them.
    const ctlJson ports = rowsOf<qosShowInterfacesPart>();
    ASSERT_EQ(ports.size(), 2u);
    port->l2_pri.cos_mutate = nullptr; // it is none of the store's
    const ctlJson &one = ports[0]["chip"] == 8 ? ports[0] : ports[1],
                  &other = ports[0]["chip"] == 8 ? ports[1] : ports[0];
    EXPECT_EQ(one["ifindex"], 0x18408000);
    EXPECT_EQ(rowsOf<qosShowPortsPart>()[1].dump(), R"({"name":"te1/1","ifindex":406880256,"chip":8})");
    EXPECT_EQ(one["cos_trust_handles"].size(), 8u);
    EXPECT_EQ(one["cos_trust_handles"][7], "0000000000000012:fedcba9876543210:000c:1ff");
    EXPECT_EQ(one["cos_mutation_map"], "gold");
    EXPECT_EQ(other["name"], "{\"}\\\t,\ufffd\u00e9\ufffd\ufffd\ufffd\ufffd");
    EXPECT_EQ(other["chip"], -1);
    EXPECT_EQ(other["cos_trust_handles"], ctlJson::array());
    EXPECT_EQ(other["cos_mutation_map"], nullptr);
    EXPECT_EQ(one["dscp_map"].size(), 64u);
    EXPECT_EQ(one["dscp_map"][62], 1); // the text has no cell for it
    EXPECT_EQ(one["dscp_tc_map"][63], 9);
    auto key = one.begin();
    for (const auto &[name, value] : other.items())
        EXPECT_EQ(name, (key++).key());

    // Rows come and go between the parts.
    Printer printer;
    cli_t cli = printer.cli(0);
    qosCursor_t at = {};
    EXPECT_TRUE(qosShowInterfacesPart(&cli, &at));
    ASSERT_EQ(at.row, 0x24000001U);
    printer.text.clear();
    EXPECT_EQ(qosProcessPortDelete(at.row), 0);
    EXPECT_TRUE(qosProcessPortAdd(0x38000001, "ahead") && qosProcessPortAdd(0x18410000, "te1/2"));
    while (qosShowInterfacesPart(&cli, &at))
        continue;
    EXPECT_TRUE(printer.text.starts_with("te1/1\n"));
    EXPECT_NE(printer.text.find("\nte1/2\n"), std::string::npos);
    EXPECT_EQ(printer.text.find("ahead"), std::string::npos);
}

TEST(Show, TablesAsJson)
{
    Bare node;
    tell(QOS_CHIPUP_MSG, chipUpBody(0x88400000, 1, 0, QOS_CHIP_LARKIN, 12));
    qosSlotTable[3].updBufferFull = 0x700000009;
    const ctlJson slots = rowsOf<qosShowSlotTable>();
    ASSERT_EQ(slots.size(), 10u);
    EXPECT_EQ(slots[3].dump(),
              R"({"slot":3,"state":"Down","registered":false,"updates":0,"pending":0,"buffer_full":7})");
    const ctlJson chips = rowsOf<qosShowChipTablePart>();
    ASSERT_EQ(chips.size(), 1u);
    EXPECT_EQ(chips[0]["type"], "Larkin");
    EXPECT_EQ(chips[0]["ports"], 12);
    const ctlJson memory = rowsOf<qosShowMemStatsPart>();
    size_t modules = 0;
    for (const qosModule_t &module : qos_modules)
        modules += module.id != 0;
    EXPECT_EQ(memory.size(), modules * 45);
    EXPECT_EQ(memory[0].dump(),
              R"({"module":"QOS VSS","type":"ChipEntry","allocations":0,"frees":0,"bytes":0,"errors":0})");
    const vss_state_t stage = vss_state;
    vss_state.stage = VSS_HALT;
    EXPECT_EQ(rowsOf<qos_vss_show>().dump(), R"([{"ha":true,"stage":"Halt","startup":null}])");
    vss_state.stage = VSS_ACTIVE;
    vss_state.bootmode = VSS_WARM;
    EXPECT_EQ(rowsOf<qos_vss_show>().dump(), R"([{"ha":true,"stage":"Active","startup":"Warm"}])");
    EXPECT_EQ(printed(qos_vss_show),
              "QOS VelmarOS State Synchronization summary:\n    VSS HA Enabled\n    Stage: Active, Startup: Warm\n");
    vss_state = stage;
    const MSG_Q_ID queue = std::exchange(qos_velmar_state.msgq, nullptr);
    EXPECT_EQ(rowsOf<qos_msgq_show>(), ctlJson::array());
    qos_velmar_state.msgq = queue;
    for (const char *answer : {"", "SlotID : 0\n", "[{\"slot\":0},", "{\"slot\":0}", "[0]"})
        EXPECT_THROW(ctlShowRows(answer), ctlError_t) << answer;
}
