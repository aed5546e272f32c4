// Offered traffic: what arrives at a port, what its policers and queues make of it, and the counters that follow. Rates
// are constant between two changes, so buckets and queues move in straight lines, and time passes in one stride from
// one bend to the next; nothing runs on a timer. Bytes and bytes a second throughout; frames are all of one size.
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

enum hslTrafficKind_t : uint8_t { TRAFFIC_UNICAST, TRAFFIC_BROADCAST, TRAFFIC_MULTICAST, TRAFFIC_UNKNOWN_UNICAST };

struct hslFlow_t {
    unsigned priority; // as the chip counts them; where the frames carry one of the two below, from the port's maps
    std::optional<unsigned> cos, dscp;
    std::string decided_by; // the map or entry that gave the priority
    hslTrafficKind_t kind;
    double rate;
    std::optional<uint32_t> policer; // the ingress policer that takes it, else the one associated with the port
};

// A counter keeps fractions of a byte, so that many short strides add up to one long one.
inline uint64_t hslCount(double bytes)
{
    return static_cast<uint64_t>(bytes + 0.5);
}
inline uint64_t hslFrames(double bytes)
{
    return hslCount(bytes) / HSL_FRAME;
}

// A level that moves between 0 and a bound; `slope` is scratch of the current stride.
struct hslLevel_t {
    double now = 0, bound = 0, slope = 0;
};

// Two rates, two buckets: what the first cannot pay is taken to the second, and what that cannot pay is dropped.
struct hslPolicer_t {
    double cir = 0, eir = 0;
    hslLevel_t committed, excess; // tokens; bounds are the bursts
    double conform = 0, exceed = 0, violate = 0;
    double in = 0, conform_rate = 0, exceed_rate = 0; // of the current stride
};

struct hslQueue_t {
    hslLevel_t level; // bounded by the threshold
    double enqueued = 0, forwarded = 0, dropped = 0;
    double held = 0;                                          // what the sender kept back because it was paused
    double in = 0, accepted = 0, out = 0, forwarded_rate = 0; // of the current stride
    bool lossless = false;
};

// What a port has of it.
struct hslTraffic_t {
    std::vector<hslFlow_t> flows;
    hslQueue_t queues[HSL_PRIORITIES];
    std::optional<uint32_t> policer[2]; // associated: egress, ingress
};

// Policers of a chip: ingress or not, group x 2^32 + id.
using hslPolicers_t = std::map<std::pair<bool, uint64_t>, hslPolicer_t>;

struct hslModel_t;

// Brings every queue, bucket and counter to `now`, ms on the server's clock. To be called before anything that they
// depend on changes, and before they are read.
void hslTrafficAdvance(hslModel_t &model, uint64_t now);

// A policer as the add record has it, with full buckets; one that exists keeps its counters.
void hslPolicerSet(hslPolicer_t &policer, double cir, double cbs, double eir, double ebs);

constexpr const char *HSL_TRAFFIC_USAGE =
    "traffic takes PORT SELECTION rate=R [kind=K] [policer=ID], 'PORT off', or 'list'; SELECTION is priority=P, or "
    "cos=N, dscp=N or both";

// "priority=P rate=2G [kind=broadcast] [policer=ID]", "cos=N rate=2G" and the like, or "off". Empty, or what is wrong.
// A rate of 0 ends the one flow.
std::string hslTrafficSet(hslModel_t &model, uint32_t ifindex, const std::vector<std::string> &words);

hslJson hslTrafficList(const hslModel_t &model);
hslJson hslTrafficJson(const hslTraffic_t &traffic);
hslJson hslPolicersJson(const hslPolicers_t &policers);

// Statistics that come from traffic: into a read's response behind its head; a clear sets them to 0.
void hslTrafficRead(hslModel_t &model, uint32_t target, hslBytes record, hslBuffer &response);
void hslTrafficClear(hslModel_t &model, uint32_t target, hslBytes record);

#endif
