// Damaged datagrams at a running agent: batches of every code, driver responses and events, cut and with bits turned.
// Nothing is expected of the answers; under the sanitizers the agent must live, and serve a good message afterwards.
// The seed is printed, and DORVALD_SEED repeats a run.

#include "tests/support/node.h"

namespace {

constexpr unsigned BATCHES = 10000;
constexpr unsigned EVENTS = 10000;

struct Noise : Random {
    using Random::Random;

    // A few bits turned, and now and then cut, made longer, or a word of it set to a limit.
    Bytes damage(Bytes bytes)
    {
        static const uint32_t limits[] = {0, 1, 19, 20, 28, 0x7fffffff, 0x80000000, 0xffffffff};
        for (uint32_t n = below(4); n > 0 && !bytes.empty(); --n)
            bytes[below(static_cast<uint32_t>(bytes.size()))] ^= static_cast<uint8_t>(1U << below(8));
        if (oneIn(3) && bytes.size() >= 4)
            put32(bytes, below(static_cast<uint32_t>(bytes.size() - 3)), limits[below(std::size(limits))]);
        if (oneIn(4) && !bytes.empty())
            bytes.resize(below(static_cast<uint32_t>(bytes.size())));
        else if (oneIn(8))
            bytes.resize(bytes.size() + below(64));
        return bytes;
    }
    // A body of a code that would be carried out, or of any code some bytes.
    Bytes body(uint8_t code)
    {
        const uint32_t ports[] = {PORT, PORT + 0x8000, LARKIN_PORT, CHANNEL, CHIP, 0x8bc00000};
        const uint32_t port = ports[below(std::size(ports))];
        if (code == 1 || code == 66)
            return chipUpBody(CHIP + (below(8) << 16) + (below(12) << 22), below(12), below(9), below(5), below(200));
        if (code == 2)
            return ifAddBody(port, std::string(below(25), 'n'));
        if (code == 3)
            return ifDelBody(port);
        if (code >= 4 && code <= 7)
            return l2Body(port, CHIP, static_cast<uint8_t>(below(9)), static_cast<uint8_t>(below(9)));
        if (code >= 8 && code <= 11)
            return l3Body(port, CHIP);
        Bytes random(below(oneIn(10) ? 7000 : 300));
        for (uint8_t &byte : random)
            byte = oneIn(2) ? 0 : static_cast<uint8_t>(roll());
        if (random.size() >= 4)
            put32(random, 0, port);
        return random;
    }
};

uint32_t seed()
{
    const uint32_t value = environmentOr("DORVALD_SEED", std::random_device{}());
    printf("DORVALD_SEED=%u\n", value);
    return value;
}

} // namespace

class Fuzz : public ::testing::Test {
protected:
    // The agent still does what it is asked to, with a driver that answers well.
    void TearDown() override
    {
        live.driver.always([](const Bytes &request) { return std::vector<Bytes>{goodReply(request)}; });
        live.driver.script({});
        settle();
        live.manager.tell(1, chipUpBody(CHIP, 1, 0, 1));
        live.manager.tell(3, ifDelBody(PORT));
        EXPECT_EQ(get32(live.manager.tell(2, ifAddBody(PORT, "p")), 28), 0U);
        EXPECT_NE(get32(live.manager.tell(8, l3Body(PORT, CHIP)), 224), 55U);
        live.node.log.ignoreErrs();
    }
    // A refused batch ends the agent's pass over its socket, so that a pass may take no more than one datagram.
    void settle()
    {
        uint32_t before;
        do {
            before = live.node.counter("Msg Rcvd");
            live.node.sync();
            drain();
        } while (live.node.counter("Msg Rcvd") != before);
    }
    void drain()
    {
        while (!live.manager.silent())
            ;
    }

    const uint32_t start = seed();
    Noise noise{start};
    Noise driver_noise{start + 1}; // used on the driver's thread
    LiveNode live;
};

TEST_F(Fuzz, Batches)
{
    live.driver.always([this](const Bytes &request) {
        const Bytes good = goodReply(request);
        return std::vector<Bytes>{driver_noise.oneIn(2) ? driver_noise.damage(good) : good};
    });
    live.addPort();
    for (unsigned i = 0; i < BATCHES && !HasFailure(); ++i) {
        Bytes batch;
        for (uint32_t n = 1 + noise.below(3); n > 0; --n) {
            const auto code = static_cast<uint8_t>(noise.oneIn(3) ? noise.below(79) : noise.below(12));
            batch = batch + message(code, noise.body(code));
        }
        live.manager.send(noise.oneIn(4) ? batch : noise.damage(batch), static_cast<uint8_t>(noise.below(16)),
                          static_cast<uint16_t>(noise.below(65536)));
        drain();
    }
}

TEST_F(Fuzz, EventsNoticesAndStrayResponses)
{
    live.addPort();
    for (unsigned i = 0; i < EVENTS && !HasFailure(); ++i) {
        const uint32_t number = noise.below(9);
        Bytes body(number == 3 || number == 4 ? 2460 : noise.below(3000));
        if (body.size() > 4)
            put32(body, 0, number);
        const uint16_t type = noise.oneIn(3) ? 1351 : 101;
        live.driver.send(live.node.group(noise.oneIn(4) ? 1 : 6), noise.damage(eventFrame(type, noise.below(8), body)));
        Bytes notice(20 + noise.below(60));
        notice[0] = notice[1] = 0xff;
        live.manager.sock.send(live.node.socketOf(noise.oneIn(2) ? "qosMI" : "qosMIStats"), noise.damage(notice));
        drain();
    }
}
