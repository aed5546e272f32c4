// SPDX-License-Identifier: Apache-2.0
// Offered traffic: what arrives at a port, what its policers and queues make of it, and what is counted on the way.
// Rates are constant between two changes, so buckets and queues move along known curves, and time passes in one stride
// from one bend to the next; nothing runs on a timer. Bytes, bytes a second and seconds throughout; frames are all of
// one size.
#ifndef HSL_TRAFFIC_H
#define HSL_TRAFFIC_H

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "hsl/congestion.h"

constexpr uint32_t HSL_FRAME = 1000; // bytes of every frame
constexpr unsigned HSL_REASONS = 128;

enum hslTrafficKind_t : uint8_t { TRAFFIC_UNICAST, TRAFFIC_BROADCAST, TRAFFIC_MULTICAST, TRAFFIC_UNKNOWN_UNICAST };

// Why the chip lost a frame, beside the reasons that are asked for by number.
enum hslDrop_t : uint8_t {
    DROP_TAIL,
    DROP_RED,
    DROP_INGRESS_POLICER,
    DROP_EGRESS_POLICER,
    DROP_REASON,
    DROP_PAUSE, // a peer's pause frame that is not obeyed
    DROP_KINDS,
};

// What a policer made of a frame; RED counts by it. Frames that violate are dropped ahead of the queues.
enum hslColour_t : uint8_t { COLOUR_GREEN, COLOUR_YELLOW, COLOUR_RED, COLOURS };

struct hslFlow_t {
    unsigned priority; // as the chip counts them; where the frames carry one of the two below, from the port's maps
    std::optional<unsigned> cos, dscp;
    std::string decided_by; // the map or entry that gave the priority
    hslTrafficKind_t kind;
    double rate;
    std::optional<uint32_t> policer; // the ingress policer that takes it, else the one associated with the port
    std::optional<uint32_t> reason;  // it is dropped on arrival for this reason
    bool elsewhere = false;          // it waits in queues of the chip, and not in the port's
};

// A counter keeps fractions of a byte, so that many short strides add up to one long one. What 64 bits do not hold
// stays at their end.
inline uint64_t hslCount(double bytes)
{
    if (!(bytes > 0))
        return 0;
    return bytes < 0x1p64 ? static_cast<uint64_t>(bytes + 0.5) : UINT64_MAX;
}
inline uint64_t hslFrames(double bytes)
{
    return hslCount(bytes) / HSL_FRAME;
}

// A level that moves between 0 and a bound, in a straight line, or where `pull` is not 0 towards `rest` as
// now = rest + (then - rest) x e^(-pull x t). Behind the knee it follows another rule than ahead of it.
struct hslLevel_t {
    double now = 0, bound = 0, slope = 0, knee = 0, pull = 0, rest = 0;
};

// Two rates, two buckets: what the first cannot pay is taken to the second, and what that cannot pay is dropped.
struct hslPolicer_t {
    double cir = 0, eir = 0;
    hslLevel_t committed, excess; // tokens; bounds are the bursts
    double conform = 0, exceed = 0, violate = 0;
    double in = 0, conform_rate = 0, exceed_rate = 0; // of the current stride
};

struct hslQueue_t {
    hslLevel_t level; // bounded by the threshold; its knee is the minimum of RED
    double peak = 0;
    double enqueued = 0, forwarded = 0, dropped = 0; // `dropped`: at the threshold
    double red[COLOURS] = {};
    double held = 0;                           // what the sender kept back because it was paused
    double pause_sent = 0, pause_received = 0; // frames
    double xoff = 0, paused = 0;               // seconds that the peer, and this queue, stood still
    bool peer_pauses = false;
    bool lossless = false;
    bool obeys = false; // stands still for a peer's pause, of the priority or of the port
    // Of the current stride.
    double in = 0, yellow = 0, out = 0, forwarded_rate = 0, pause_rate = 0, xoff_share = 0;
    double red_span = 0, red_most = 0; // of the ramp behind the knee: its length, and its probability at the end
    double red_share = 0;              // of what is lost
    bool red_bounds = false;           // the bound is the maximum of RED
    bool loses = false;
};

// What a port has of it.
struct hslTraffic_t {
    std::vector<hslFlow_t> flows;
    hslQueue_t queues[HSL_PRIORITIES];
    std::optional<uint32_t> policer[2]; // associated: egress, ingress
    bool peer_pauses = false;           // the whole port
    double pause_received = 0;          // frames of the whole port
    double peak = 0;                    // of all queues together
    double drops[DROP_KINDS] = {};
    std::map<uint32_t, double> reasons; // what was offered to be dropped, by reason
    hslLevel_t pool, reserve;           // Larkin: what all queues hold together, and the lossless ones
    double drop_rate[DROP_KINDS] = {};  // of the current stride: policers and pause frames
};

// High water of a chip: of each priority over all ports, and of all together.
struct hslPeaks_t {
    double priority[HSL_PRIORITIES] = {}, all = 0;
};

// Policers of a chip: ingress or not, group x 2^32 + id.
using hslPolicers_t = std::map<std::pair<bool, uint64_t>, hslPolicer_t>;

struct hslModel_t;

// Brings every queue, bucket and counter to `now`, ms on the server's clock. To be called before anything that they
// depend on changes, and before they are read.
void hslTrafficAdvance(hslModel_t &model, uint64_t now);

// A policer as the add record has it, with full buckets; one that exists keeps its counters.
void hslPolicerSet(hslPolicer_t &policer, double cir, double cbs, double eir, double ebs);

// "priority=P rate=2G [kind=broadcast] [policer=ID]", "cos=N dscp=N rate=2G" and the like, "drop reason=N rate=R",
// "pause priority=P|all on|off" or "off". Empty, or what is wrong. A rate of 0 ends the one flow.
std::string hslTrafficSet(hslModel_t &model, uint32_t ifindex, const std::vector<std::string> &words);

hslJson hslTrafficList(const hslModel_t &model);
hslJson hslTrafficJson(const hslTraffic_t &traffic);
hslJson hslPolicersJson(const hslPolicers_t &policers);

#endif
