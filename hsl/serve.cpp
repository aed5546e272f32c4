// SPDX-License-Identifier: Apache-2.0
// One request from its datagram to its answer: checks, faults, the model, the frames of the answer and the log.
#include "hsl/server.h"

#include <algorithm>

constexpr size_t LOG_ENTRIES = 2000;
constexpr uint64_t LATE_MS = 16000; // later than an agent waits

// What is answered, before faults change it.
struct reply_t {
    uint16_t type;
    uint32_t seq;
    hslBuffer payload; // driver header and record, or the error number
    bool end = true;
};

struct request_t {
    qosNLHdr_t frame;
    qosDriverHdr_t driver;
    hslBytes record;
};

static hslLog_t logEntry(hslServer_t &server, const request_t &request, const hslCommand_t *row, hslBytes record,
                         uint32_t status, const std::string &outcome)
{
    return {hslNow(server),
            request.driver.target,
            row ? hslPortOf(*row, record) : 0,
            request.frame.seq,
            status,
            row,
            false,
            {record.begin(), record.end()},
            outcome};
}

static void note(hslServer_t &server, hslLog_t entry)
{
    if (server.verbose)
        std::fprintf(server.verbose, "%s\n", hslLogText(entry).c_str());
    server.log.push_back(std::move(entry));
    if (server.log.size() > LOG_ENTRIES)
        server.log.pop_front();
}

std::string hslLogText(const hslLog_t &entry)
{
    auto index = hslIsPort(entry.port) ? entry.port : entry.target;
    auto text = (entry.nested ? "  " : "") + hslIndexName(index) + " " + hslIndexText(index) + "  ";
    if (entry.row) {
        auto fields = hslFieldsText(entry.row->fields, entry.record);
        text += entry.row->name + (fields.empty() ? "" : "  " + fields);
    } else {
        text += "unknown command " + hslIndexText(static_cast<uint32_t>(hslGet(entry.record, 0, 4)));
    }
    return text + "  -> " + entry.outcome;
}

static std::string statusText(uint32_t status, const std::string &why)
{
    return status ? "status " + std::to_string(status) + (why.empty() ? "" : " (" + why + ")") : "ok";
}

// Frames.

static hslBuffer frames(const reply_t &reply)
{
    auto length = sizeof(qosNLHdr_t) + reply.payload.size();
    hslBuffer datagram(length);
    auto frame = reinterpret_cast<qosNLHdr_t *>(datagram.data());
    frame->length = static_cast<uint32_t>(length);
    frame->type = reply.type;
    frame->seq = reply.seq;
    std::copy(reply.payload.begin(), reply.payload.end(), datagram.begin() + sizeof(qosNLHdr_t));
    if (!reply.end)
        return datagram;
    datagram.resize((length + 3) / 4 * 4 + sizeof(qosNLHdr_t));
    auto end = reinterpret_cast<qosNLHdr_t *>(datagram.data() + datagram.size()) - 1;
    end->length = sizeof *end;
    end->type = NLM_DONE;
    end->seq = reply.seq;
    return datagram;
}

static void makeError(reply_t &reply, uint32_t number)
{
    reply.type = NLM_ERROR;
    reply.payload.assign(4, 0);
    hslPut(reply.payload, 0, 4, number);
}

// Driver header and response record, with the response's own length in the header.
static void makeResponse(reply_t &reply, const request_t &request, const hslBuffer &response)
{
    auto driver = request.driver;
    driver.kind = DRV_KIND_IOCTL;
    driver.response_length = static_cast<uint32_t>(response.size());
    auto bytes = reinterpret_cast<const uint8_t *>(&driver);
    reply.payload.assign(bytes, bytes + sizeof driver);
    reply.payload.insert(reply.payload.end(), response.begin(), response.end());
}

static hslBuffer garbage(size_t bytes)
{
    uint32_t state = 0x2545F491; // the same for every run, so that a failing test repeats
    hslBuffer out(bytes);
    for (auto &byte : out) {
        state = state * 1664525 + 1013904223;
        byte = static_cast<uint8_t>(state >> 24);
    }
    return out;
}

// Records.

static hslBuffer respond(hslServer_t &server, const request_t &request, const hslCommand_t &row, hslBytes record,
                         uint32_t length, uint32_t status)
{
    auto head = std::min<size_t>(hslHead(row), record.size());
    hslBuffer response(std::max(length, hslHead(row)));
    std::copy_n(record.begin(), head, response.begin());
    hslSetStatus(row, response, status);
    if (status)
        return response;
    hslModelTell(server.model, request.driver.target, row, record, hslNow(server));
    hslModelAnswer(server.model, request.driver.target, row, record, response);
    return response;
}

// The records of a bulk, one behind the other, each in the larger of its two sizes. False if one of them, or their sum,
// does not fit the bulk.
static bool splitBulk(hslBytes record, std::vector<hslBytes> *nested)
{
    size_t at = sizeof(cosBulk_t);
    auto count = hslGet(record, offsetof(cosBulk_t, num_records), 2);
    for (uint64_t i = 0; i < count; ++i) {
        auto slot = std::max(hslGet(record, at + 8, 4), hslGet(record, at + 12, 4));
        if (slot < COS_HEAD || slot > record.size() || at + slot > record.size())
            return false;
        nested->push_back(record.subspan(at, slot));
        at += slot;
    }
    return at == record.size();
}

// Answers every record of a bulk in its place. The batch ends at the first that fails: the later ones are not carried
// out, and the bulk has that record's status.
static uint32_t serveBulk(hslServer_t &server, const request_t &request, const std::vector<hslBytes> &nested,
                          hslBuffer &response, std::vector<hslLog_t> *log)
{
    auto at = static_cast<std::ptrdiff_t>(sizeof(cosBulk_t));
    uint32_t batch = 0, done = 0;
    for (auto record : nested) {
        auto row = hslFindCommand(record);
        uint32_t status = 0, length = COS_HEAD;
        std::string why = "unknown in a bulk";
        if (!row || row->family != HSL_COS || row->command == COS_BULK)
            status = DRV_UNKNOWN;
        else if (why = hslCheckLengths(*row, record, &length); !why.empty())
            status = DRV_MALFORMED;
        bool recordOnly = false;
        if (!status) {
            auto set = hslFaultsTake(server.faults, row->command, true);
            if (auto &refuse = set.of[FAULT_REFUSE]) {
                status = refuse->value.value_or(1);
                recordOnly = refuse->record_only;
            }
        } else {
            ++server.errors;
        }
        static const hslCommand_t unknown{0, -1, HSL_COS, 0, "unknown", {}, 0, nullptr, 0, {}};
        auto answer = respond(server, request, row ? *row : unknown, record, length, status);
        answer.resize(std::min(answer.size(), record.size()));
        std::copy(answer.begin(), answer.end(), response.begin() + at);
        log->push_back(logEntry(server, request, row, record, status, statusText(status, why)));
        log->back().nested = true;
        at += static_cast<std::ptrdiff_t>(record.size());
        batch = status && !recordOnly ? status : batch;
        if (batch)
            break;
        ++done;
    }
    hslPut(response, offsetof(cosBulk_t, num_processed), 2, done);
    return batch;
}

static hslBuffer respondBulk(hslServer_t &server, const request_t &request, const hslCommand_t &row, uint32_t *status,
                             std::string *why, std::vector<hslLog_t> *log)
{
    std::vector<hslBytes> nested;
    if (!splitBulk(request.record, &nested)) {
        *status = DRV_MALFORMED;
        *why = "its records do not fit its size";
        return respond(server, request, row, request.record, COS_HEAD, *status);
    }
    auto response = respond(server, request, row, request.record, 0, 0);
    // What was not carried out comes back as it was sent, its status 0.
    response.assign(request.record.begin(), request.record.end());
    *status = serveBulk(server, request, nested, response, log);
    *why = *status ? "a record of it" : "";
    hslSetStatus(row, response, *status);
    response.resize(hslGet(request.record, offsetof(cosHdr_t, out_size), 4));
    return response;
}

// Requests.

// Sends the reply as the faults want it, and says in words what they did.
static std::string dispatch(hslServer_t &server, reply_t &reply, const std::string &path, const hslFaultSet_t &set)
{
    std::string words;
    auto met = [&](hslFaultKind_t kind) {
        if (!set.of[kind])
            return false;
        words += std::string(", ") + hslFaultName(kind);
        return true;
    };
    if (met(FAULT_ERROR))
        makeError(reply, set.of[FAULT_ERROR]->value.value_or(5));
    if (met(FAULT_WRONG_COMMAND))
        hslPut(reply.payload, sizeof(qosDriverHdr_t), 4, hslGet(reply.payload, sizeof(qosDriverHdr_t), 4) + 1);
    if (met(FAULT_WRONG_TYPE))
        reply.type = static_cast<uint16_t>(set.of[FAULT_WRONG_TYPE]->value.value_or(reply.type + 1u));
    if (met(FAULT_WRONG_SEQUENCE))
        --reply.seq;
    reply.end = !met(FAULT_NO_END);
    auto bytes = frames(reply);
    if (met(FAULT_GARBAGE))
        bytes = garbage(bytes.size());
    if (met(FAULT_TRUNCATE))
        bytes.resize(std::min<size_t>(bytes.size(), set.of[FAULT_TRUNCATE]->value.value_or(10)));
    if (met(FAULT_DROP))
        return words;
    auto due = std::max(hslNow(server), server.busy_until);
    if (met(FAULT_DELAY))
        server.busy_until = due += *set.of[FAULT_DELAY]->value;
    bool held = false;
    if (met(FAULT_LATE)) {
        held = !set.of[FAULT_LATE]->value;
        due += set.of[FAULT_LATE]->value.value_or(LATE_MS);
    }
    if (server.outbox.size() >= HSL_MAX_OUTBOX) {
        hslModelWarn(server.model, "the outbox is full; an answer is lost");
        return words + ", lost";
    }
    server.outbox.push_back({due, due + 1000, path, std::move(bytes), held, false});
    return words;
}

static void serveRecord(hslServer_t &server, const request_t &request, const hslCommand_t &row, reply_t &reply,
                        const std::string &path)
{
    uint32_t status = 0, length;
    auto why = hslCheckLengths(row, request.record, &length);
    if (why.empty() && request.driver.request_length != request.record.size())
        why = "driver header says " + std::to_string(uint32_t{request.driver.request_length}) + " bytes";
    if (!why.empty()) {
        status = DRV_MALFORMED;
        ++server.errors;
    }
    auto set = hslFaultsTake(server.faults, row.command, false);
    if (auto &refuse = set.of[FAULT_REFUSE]; refuse && !status) {
        status = refuse->value.value_or(1);
        why = "told to refuse";
    }
    if (!status)
        status = hslModelRefuses(server.model, request.driver.target, row, request.record, &why);
    if (!status && request.driver.response_length < length)
        hslModelWarn(server.model, std::string(row.name) + ": driver header expects fewer bytes than the response has");
    hslBuffer response;
    std::vector<hslLog_t> nested;
    if (row.command == COS_BULK && !status)
        response = respondBulk(server, request, row, &status, &why, &nested);
    else
        response = respond(server, request, row, request.record, length, status);
    makeResponse(reply, request, response);
    auto words = dispatch(server, reply, path, set);
    note(server, logEntry(server, request, &row, request.record, status, statusText(status, why) + words));
    for (auto &entry : nested)
        note(server, std::move(entry));
}

void hslServe(hslServer_t &server, hslBytes datagram, const std::string &path)
{
    ++server.requests;
    for (auto &send : server.outbox)
        if (send.held) {
            send.held = false;
            send.due = hslNow(server);
        }
    if (path.empty())
        hslModelWarn(server.model, "a request came from a socket without a path and cannot be answered");
    request_t request{};
    std::copy_n(datagram.begin(), std::min(datagram.size(), sizeof request.frame),
                reinterpret_cast<uint8_t *>(&request.frame));
    reply_t reply{request.frame.type, request.frame.seq, {}};
    auto error = [&](uint32_t number, const std::string &why) {
        ++server.errors;
        makeError(reply, number);
        auto set = hslFaultsTake(server.faults, static_cast<uint32_t>(hslGet(request.record, 0, 4)), false);
        auto words = dispatch(server, reply, path, set);
        auto outcome = "error " + std::to_string(number) + (why.empty() ? "" : " (" + why + ")") + words;
        note(server, logEntry(server, request, nullptr, request.record, number, outcome));
    };
    if (datagram.size() < NL_RECORD_OFFSET + 4 || request.frame.length != datagram.size())
        return error(DRV_MALFORMED, "frame of " + std::to_string(datagram.size()) + " bytes says " +
                                        std::to_string(uint32_t{request.frame.length}));
    std::copy_n(datagram.begin() + sizeof request.frame, sizeof request.driver,
                reinterpret_cast<uint8_t *>(&request.driver));
    request.record = datagram.subspan(NL_RECORD_OFFSET);
    if (request.driver.kind != DRV_KIND_IOCTL)
        return error(DRV_MALFORMED, "kind " + std::to_string(uint32_t{request.driver.kind}));
    auto row = hslFindCommand(request.record);
    if (!row)
        return error(DRV_UNKNOWN, "");
    serveRecord(server, request, *row, reply, path);
}
