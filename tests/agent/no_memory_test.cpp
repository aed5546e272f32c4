// SPDX-License-Identifier: Apache-2.0
// Memory runs out in the middle of each message: at its first allocation, its second, and so on until it passes
// without. What was refused holds nothing, and the next message finds the tables whole.
#include <fnmatch.h>

#include "agent/bum_monitor.h"
#include "agent/dispatch.h"
#include "agent/drop_poll.h"
#include "agent/messages/catalogue.h"
#include "agent/messages/fields.h"
#include "tests/support/inside.h"

namespace {

int left = -1; // allocations until one fails, below 0: none does
bool failed;   // one did

bool fails()
{
    if (left < 0 || left-- > 0)
        return false;
    failed = true;
    return true;
}

} // namespace

// The linker leads the agent's allocations here.
extern "C" {
void *__real_calloc(size_t count, size_t size);
void *realHaCalloc(int ha, size_t size, const char *type, int group, int tag) __asm__("__real_" HA_CALLOC);
void *__wrap_calloc(size_t count, size_t size);
void *wrapHaCalloc(int ha, size_t size, const char *type, int group, int tag) __asm__("__wrap_" HA_CALLOC);

void *__wrap_calloc(size_t count, size_t size)
{
    return fails() ? nullptr : __real_calloc(count, size);
}

void *wrapHaCalloc(int ha, size_t size, const char *type, int group, int tag)
{
    return fails() ? nullptr : realHaCalloc(ha, size, type, group, tag);
}
}

namespace {

struct Family {
    const char *name;
    uint32_t type, chip, port;
};
constexpr Family FAMILIES[] = {
    {"Tessel", 1, CHIP, PORT}, {"Larkin", 0, LARKIN_CHIP, LARKIN_PORT}, {"Mirelle", 2, CHIP, PORT}};

// Indexes where they belong, small numbers elsewhere, so that most of it is carried out.
Bytes plausible(uint8_t code, const Family &family, Random &random)
{
    Bytes body = untouchedBody(code);
    const wireBody &layout = *qosMsgInfo(code)->body;
    for (unsigned i = 0; i < layout.numFields; ++i) {
        const wireField &field = layout.fields[i];
        const bool chip = fnmatch("*chip_ifindex", field.name, 0) == 0;
        const bool port = !chip && fnmatch("*if[iI]ndex", field.name, 0) == 0;
        if (strcmp(field.name, "status") != 0 && field.kind != wireKind::Native)
            setField(body, code, {field.name, chip ? family.chip : port ? family.port : random.below(3)});
    }
    body.resize(body.size() + 4096); // records that it may count
    return body;
}

uint64_t bytesHeld()
{
    uint64_t held = 0;
    for (const qosModule_t &module : qos_modules)
        for (const uint32_t bytes : module.bytes)
            held += bytes;
    return held;
}

// Runs it again and again, one allocation further each time, until none is left to fail.
void exhaust(const std::string &name, const std::function<uint32_t()> &work)
{
    for (int allocations = 0; allocations < 64; ++allocations) {
        const uint64_t held = bytesHeld();
        failed = false;
        left = allocations;
        const uint32_t rc = work();
        left = -1;
        if (!failed)
            return;
        EXPECT_TRUE(rc == 0 || bytesHeld() == held) << name << " was refused at allocation " << allocations;
    }
    ADD_FAILURE() << name << " allocates without an end";
}

} // namespace

struct NoMemory : Inside, testing::TestWithParam<Family> {};

TEST_P(NoMemory, EveryMessageAndPoll)
{
    log.ignoreErrs();
    Random random(environmentOr("NO_MEMORY_SEED", 1));
    const Family &family = GetParam();
    const auto chip = std::make_shared<ChipState>();
    chip->ports = {{family.port, 0}};
    driver.always(chipReply(chip));
    const Bytes up = chipUpBody(family.chip, 1, family.chip >> 16 & 7, family.type);
    exhaust("chip up", [&] { return tell(QOS_CHIPUP_MSG, Bytes(up)); });
    exhaust("interface", [&] { return tell(QOS_IFADD_MSG, ifAddBody(family.port, "p")); });
    EXPECT_TRUE(qosLookupIfEntry(family.port));
    for (int round = 0; round < 4; ++round)
        for (unsigned code = QOS_COSTRUST_MSG; qosMsgInfo(code); ++code) {
            if (!qaMsgHandlers[code].handler || !qosMsgInfo(code)->body || code == QOS_CHIPUP_MSG)
                continue;
            const Bytes body = plausible(static_cast<uint8_t>(code), family, random);
            exhaust(std::to_string(code), [&] { return tell(static_cast<uint8_t>(code), Bytes(body)); });
            if (qosChip_t *const found = qosLookupChip(8 + (family.chip >> 16 & 7)))
                exhaust("polls", [&] {
                    qaBumMonitorBumPolicersOnChip(found);
                    qaDropMonitorOnChip(found);
                    return 0U;
                });
        }
    EXPECT_EQ(tell(QOS_IFADD_MSG, ifAddBody(family.port, "p")), 0U);
}

INSTANTIATE_TEST_SUITE_P(Families, NoMemory, testing::ValuesIn(FAMILIES),
                         [](const auto &of) { return std::string(of.param.name); });
