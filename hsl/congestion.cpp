// SPDX-License-Identifier: Apache-2.0
// Gathers a port's congestion setup from records, judges them, and shows the result. Records are taken by their field
// names, so one function serves both families.
#include "hsl/congestion.h"

#include <algorithm>

#include "platform/records/frame.h"

uint32_t hslPortSpeed(uint32_t ifindex)
{
    static constexpr uint32_t speeds[8] = {10000, 0, 1000, 40000, 100000, 0, 0, 0};
    auto type = ifindex >> 26;
    if (type == 6 || type == 26 || type == 32)
        return speeds[ifindex >> 12 & 7];
    return type == 3 ? speeds[ifindex >> 6 & 7] : 0;
}

// One record, read by the names of its row.
struct reader_t {
    const hslCommand_t &row;
    hslBytes record;

    const hslField_t *field(const char *name) const { return hslFieldNamed(row.fields, name); }
    uint32_t get(const char *name, unsigned index = 0) const
    {
        auto found = field(name);
        return found && index < found->count ? static_cast<uint32_t>(hslValue(*found, record, index)) : 0;
    }
    std::array<uint32_t, HSL_PRIORITIES> all(const char *name) const
    {
        std::array<uint32_t, HSL_PRIORITIES> values{};
        for (unsigned p = 0; p < HSL_PRIORITIES; ++p)
            values[p] = get(name, p);
        return values;
    }
    hslPause_t pause(unsigned index) const
    {
        return {get("rx", index) != 0, get("tx", index) != 0, get("assert", index), get("de-assert", index)};
    }
    // How many priorities the record names, and the one at an index; a list of thresholds is in their own order.
    unsigned count() const { return field("priority") ? field("priority")->count : HSL_PRIORITIES; }
    unsigned priority(unsigned index) const
    {
        return (field("priority") ? get("priority", index) : index) % HSL_PRIORITIES;
    }
    bool valid(unsigned index) const { return !field("valid") || get("valid", index); }
};

// What a record means to its port: one kind for the records of both families.
enum setupKind_t {
    NOTHING,
    BUDGET,
    BUFFER,
    EMERGENCY,
    THRESHOLDS,
    PAUSE,
    PFC,
    SCHEDULE,
    SHAPE,
    W2Q,
    RED,
    LARK_RED,
    IVQ
};

static setupKind_t kindOf(const hslCommand_t &row)
{
    static constexpr struct {
        uint32_t command;
        int operation;
        setupKind_t kind;
    } kinds[] = {
        {DCE_CCB_SET, 36, BUDGET},     {DCE_CCB_SET, 38, BUFFER},   {DCE_CCB_SET, 39, EMERGENCY},
        {DCE_CCB_SET, 37, THRESHOLDS}, {DCE_CCB_SET, 31, PAUSE},    {DCE_CCB_SET, 32, PFC},
        {DCE_CCB_SET, 30, LARK_RED},   {COS_TAIL_DROP, -1, BUDGET}, {COS_PRI_TAIL_DROP, -1, THRESHOLDS},
        {COS_PAUSE, -1, PAUSE},        {COS_PFC, -1, PFC},          {COS_SCHEDULER, -1, SCHEDULE},
        {COS_PORT_SHAPER, -1, SHAPE},  {COS_W2Q_MAP, -1, W2Q},      {COS_RED_TESSEL, -1, RED},
        {COS_RED_MIRELLE, -1, RED},    {COS_IVQ_RED_MAP, -1, IVQ},
    };
    for (auto &each : kinds)
        if (each.command == row.command && each.operation == row.operation)
            return each.kind;
    return NOTHING;
}

static hslRed_t redOf(const reader_t &in)
{
    uint32_t min = in.get("min"), max = in.get("max");
    return {in.get("on") != 0, in.get("profile"), true, min, max, in.get("probability"), in.get("span") - (max - min)};
}

static void tellRed(hslSetup_t &setup, const reader_t &in, bool larkin)
{
    if (!larkin) {
        setup.queues[in.priority(0)].red = redOf(in);
        return;
    }
    for (unsigned p = 0; p < HSL_PRIORITIES; ++p)
        setup.wire[p].red =
            hslRed_t{(in.get("on for") >> p & 1) != 0, in.get("profile of 7 to 0", 7 - p), false, 0, 0, 0, 0};
}

void hslSetupTell(hslSetup_t &setup, const hslCommand_t &row, hslBytes record)
{
    reader_t in{row, record};
    switch (kindOf(row)) {
    case NOTHING:
        break;
    case BUDGET:
        if (in.valid(0))
            setup.budget = in.get("threshold");
        break;
    case BUFFER:
        setup.port_buffer = in.get("threshold");
        break;
    case EMERGENCY:
        setup.emergency = in.get("threshold");
        break;
    case THRESHOLDS:
        for (unsigned i = 0; i < in.count(); ++i)
            if (in.valid(i))
                setup.queues[in.priority(i)].threshold = in.get("threshold", i);
        break;
    case PAUSE:
        setup.pause = in.pause(0);
        break;
    case PFC:
        for (unsigned i = 0; i < in.count(); ++i)
            (row.family == HSL_DCE ? setup.wire : setup.queues)[in.priority(i)].pfc = in.pause(i);
        break;
    case SCHEDULE:
        setup.scheduler = {in.get("strict boundary"), in.all("group"),     in.all("weight"),
                           in.all("queue weight"),    in.all("bandwidth"), in.get("unlimited")};
        break;
    case SHAPE:
        setup.shaper = in.get("on") ? in.get("rate") : 0;
        break;
    case W2Q:
        setup.w2q = in.all("tc");
        break;
    case RED:
    case LARK_RED:
        tellRed(setup, in, kindOf(row) == LARK_RED);
        break;
    case IVQ:
        setup.ivq_red = in.get("pfc map");
        break;
    }
}

// Judging.

static void faultIfAbove(std::vector<std::string> &faults, const std::string &what, uint32_t value, uint32_t most,
                         const char *of)
{
    if (value > most)
        faults.push_back(what + " " + std::to_string(value) + " is above " + of + " " + std::to_string(most));
}

static void pauseFaults(std::vector<std::string> &faults, const std::string &what, const hslPause_t &pause,
                        uint32_t buffers)
{
    faultIfAbove(faults, what + "de-assert", pause.de_assert, pause.assert, "assert");
    faultIfAbove(faults, what + "assert", pause.assert, buffers, "the chip's buffer of");
}

static void schedulerFaults(std::vector<std::string> &faults, const reader_t &in, uint32_t speed)
{
    auto mask = in.get("unlimited");
    for (unsigned p = 0; p < HSL_PRIORITIES; ++p) {
        auto priority = "priority " + std::to_string(p) + ": ";
        if (!in.get("weight", p) || !in.get("queue weight", p))
            faults.push_back(priority + "weight 0");
        if (speed && !(mask >> p & 1))
            faultIfAbove(faults, priority + "bandwidth", in.get("bandwidth", p), speed, "the port's");
    }
}

static void redFaults(std::vector<std::string> &faults, const reader_t &in, uint32_t buffers)
{
    auto red = redOf(in);
    faultIfAbove(faults, "min", red.min, red.max, "max");
    faultIfAbove(faults, "max", red.max, buffers, "the chip's buffer of");
    // Mirelle's three values are rounded on their own.
    if (in.row.command == COS_RED_TESSEL && red.off)
        faults.push_back("span is not max - min");
}

std::vector<std::string> hslSetupFaults(const hslCommand_t &row, hslBytes record, uint32_t buffers, uint32_t speed)
{
    reader_t in{row, record};
    std::vector<std::string> faults;
    switch (kindOf(row)) {
    case BUDGET:
    case BUFFER:
    case EMERGENCY:
        faultIfAbove(faults, "threshold", in.get("threshold"), buffers, "the chip's buffer of");
        break;
    case THRESHOLDS:
        for (unsigned i = 0; i < in.count(); ++i)
            faultIfAbove(faults, "threshold of " + std::to_string(in.priority(i)), in.get("threshold", i), buffers,
                         "the chip's buffer of");
        break;
    case PAUSE:
        pauseFaults(faults, "", in.pause(0), buffers);
        break;
    case PFC:
        for (unsigned i = 0; i < in.count(); ++i)
            pauseFaults(faults, "priority " + std::to_string(in.priority(i)) + ": ", in.pause(i), buffers);
        break;
    case SCHEDULE:
        schedulerFaults(faults, in, speed);
        break;
    case SHAPE:
        if (speed)
            faultIfAbove(faults, "rate", in.get("rate"), speed, "the port's");
        break;
    case RED:
        redFaults(faults, in, buffers);
        break;
    default:
        break;
    }
    return faults;
}

// Showing.

static hslJson pauseJson(const hslPause_t &pause)
{
    return {{"rx", pause.rx}, {"tx", pause.tx}, {"assert", pause.assert}, {"de-assert", pause.de_assert}};
}

static hslJson bitsJson(uint32_t mask)
{
    auto list = hslJson::array();
    for (unsigned p = 0; p < HSL_PRIORITIES; ++p)
        if (mask >> p & 1)
            list.push_back(p);
    return list;
}

static hslJson redJson(const hslRed_t &red)
{
    hslJson out{{"on", red.on}, {"profile", red.profile}};
    if (red.curve)
        out.update({{"min", red.min}, {"max", red.max}, {"probability", red.probability}});
    return out;
}

static hslJson queueJson(const hslSetup_t &setup, unsigned p)
{
    auto &queue = setup.queues[p];
    hslJson out{{"priority", p}};
    if (queue.threshold)
        out["threshold"] = *queue.threshold;
    if (queue.pfc)
        out["pfc"] = pauseJson(*queue.pfc);
    if (auto &scheduler = setup.scheduler) {
        out["strict"] = p > scheduler->boundary;
        out["weight"] = scheduler->weight[p];
        if (!(scheduler->unlimited >> p & 1))
            out["bandwidth"] = scheduler->bandwidth[p];
    }
    if (queue.red)
        out["red"] = redJson(*queue.red);
    return out;
}

hslJson hslSetupJson(const hslSetup_t &setup)
{
    hslJson out;
    auto put = [&](const char *name, const std::optional<uint32_t> &value) {
        if (value)
            out[name] = *value;
    };
    put("budget", setup.budget);
    put("port_buffer", setup.port_buffer);
    put("emergency_pause", setup.emergency);
    put("shaper", setup.shaper);
    if (setup.pause)
        out["pause"] = pauseJson(*setup.pause);
    if (setup.scheduler)
        out["scheduler"] = {{"boundary", setup.scheduler->boundary},
                            {"group", setup.scheduler->group},
                            {"queue_weight", setup.scheduler->queue_weight},
                            {"unlimited", bitsJson(setup.scheduler->unlimited)}};
    if (setup.w2q)
        out["w2q"] = *setup.w2q;
    if (setup.ivq_red)
        out["ivq_red"] = bitsJson(*setup.ivq_red);
    for (unsigned p = 0; p < HSL_PRIORITIES; ++p)
        if (auto queue = queueJson(setup, p); queue.size() > 1)
            out["priorities"].push_back(queue);
    return out;
}
