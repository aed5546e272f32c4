// SPDX-License-Identifier: Apache-2.0
// The server behind the pages. Empty where the library is missing.
#include "tools/http.h"

#ifdef DORVALD_HTTP

#include <algorithm>
#include <arpa/inet.h>
#include <atomic>
#include <csignal>
#include <httplib.h>
#include <memory>
#include <poll.h>
#include <thread>
#include <unistd.h>

#include "tools/error.h"
#include "tools/link.h"
#include "tools/text.h"

namespace {

constexpr size_t READERS = 4;      // of pages at a time
constexpr time_t PATIENCE = 5;     // seconds, with a reader that is slow
constexpr size_t LONGEST_BODY = 0; // of a request: there is nothing to send

constexpr const char *POLICY = "default-src 'none'; script-src 'self'; style-src 'self'; connect-src 'self'; "
                               "img-src data:; base-uri 'none'; form-action 'none'; frame-ancestors 'none'";

struct address_t {
    std::string host, shown;
    int port;
};

address_t addressOf(const std::string &listen)
{
    const size_t colon = listen.rfind(':');
    const auto port = colon == std::string::npos ? std::nullopt : ctlParseNumber(listen.substr(colon + 1), 65535);
    std::string host = listen.substr(0, colon);
    if (!port || host.empty())
        ctlRefuse("'" + listen + "' is no address to listen at, as 127.0.0.1:9477 or [::1]:9477 is");
    const std::string shown = host;
    if (host.front() == '[' && host.back() == ']')
        host = host.substr(1, host.size() - 2);
    return {host, shown, static_cast<int>(*port)};
}

bool isAddress(const std::string &host)
{
    in6_addr address;
    if (host.size() > 2 && host.front() == '[' && host.back() == ']')
        return inet_pton(AF_INET6, host.substr(1, host.size() - 2).c_str(), &address) == 1;
    return inet_pton(AF_INET, host.c_str(), &address) == 1;
}

// The port may be any: somebody else's may lead here.
bool mayBeCalled(std::string host, const std::vector<std::string> &names)
{
    const size_t colon = host.rfind(':');
    if (colon != std::string::npos && host.back() != ']') {
        if (!ctlParseNumber(host.substr(colon + 1), 65535))
            return false;
        host.resize(colon);
    }
    char own[256] = "";
    (void)gethostname(own, sizeof own - 1);
    std::vector<std::string> known = names;
    known.insert(known.end(), {"localhost", own});
    return isAddress(host) || (!host.empty() && std::any_of(known.begin(), known.end(), [&](const std::string &name) {
               return strcasecmp(name.c_str(), host.c_str()) == 0;
           }));
}

using httplib::Request, httplib::Response, httplib::Server;

void refuse(Response &response, int status, const std::string &text)
{
    response.status = status;
    response.set_content("dorvctl: " + text + "\n", "text/plain; charset=utf-8");
}

Server::HandlerResponse look(const ctlHttp_t &asked, const Request &request, Response &response)
{
    if (request.method != "GET" && request.method != "HEAD") {
        response.set_header("Allow", "GET, HEAD");
        refuse(response, 405, "this server is read only");
    } else if (asked.guarded && !mayBeCalled(request.get_header_value("Host"), asked.names)) {
        refuse(response, 403, "this server is not known by that name; --name NAME of dorvctl web gives it one");
    } else {
        return Server::HandlerResponse::Unhandled;
    }
    return Server::HandlerResponse::Handled;
}

ctlHttpAsked_t askedOf(const Request &request)
{
    return {request.get_header_value("Accept"), request.get_param_value("port")};
}

// A reader's place, taken for as long as his stream lasts.
struct place_t {
    std::atomic<size_t> &taken;
    ctlHttpStream_t next{};
    explicit place_t(std::atomic<size_t> &places) : taken(places) {}
    place_t(const place_t &) = delete;
    place_t &operator=(const place_t &) = delete;
    ~place_t() { taken--; }
};

void offerStream(const ctlHttp_t &asked, const ctlHttpPath_t &row, std::atomic<size_t> &taken, const Request &request,
                 Response &response)
{
    const bool room = taken++ < asked.streams;
    const auto place = std::make_shared<place_t>(taken);
    if (!room)
        return refuse(response, 503, "there are " + std::to_string(asked.streams) + " readers already");
    if (request.method == "HEAD")
        return response.set_content("", "text/event-stream");
    place->next = row.stream(askedOf(request));
    response.set_chunked_content_provider("text/event-stream", [place](size_t, httplib::DataSink &sink) {
        const auto piece = place->next();
        if (piece)
            sink.write(piece->data(), piece->size());
        else
            sink.done();
        return true;
    });
}

void setUp(Server &server, const ctlHttp_t &asked, std::atomic<size_t> &taken)
{
    server.new_task_queue = [&asked] { return new httplib::ThreadPool(READERS + asked.streams); };
    server.set_keep_alive_max_count(1); // a reader that stays would keep a thread from the others
    server.set_read_timeout(PATIENCE);
    server.set_write_timeout(PATIENCE);
    server.set_payload_max_length(LONGEST_BODY);
    server.set_socket_options([](socket_t sock) { // in place of those that let two servers share a port
        const int on = 1;
        setsockopt(sock, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
    });
    server.set_pre_routing_handler(
        [&asked](const Request &request, Response &response) { return look(asked, request, response); });
    if (asked.guarded)
        server.set_default_headers({{"Content-Security-Policy", POLICY},
                                    {"Cross-Origin-Resource-Policy", "same-origin"},
                                    {"X-Content-Type-Options", "nosniff"},
                                    {"Referrer-Policy", "no-referrer"},
                                    {"Cache-Control", "no-store"}});
    for (const ctlHttpPath_t &row : asked.paths)
        server.Get(row.path, [&](const Request &request, Response &response) {
            if (row.stream)
                return offerStream(asked, row, taken, request, response);
            const ctlHttpPage_t page = row.page(askedOf(request));
            response.set_content(page.body, page.type.c_str());
        });
}

} // namespace

int ctlServeHttp(const ctlHttp_t &asked, std::ostream &out)
{
    address_t address = addressOf(asked.listen);
    std::atomic<size_t> taken{0};
    Server server;
    setUp(server, asked, taken);
    if (address.port == 0)
        address.port = server.bind_to_any_port(address.host);
    else if (!server.bind_to_port(address.host, address.port))
        address.port = -1;
    if (address.port < 0)
        throw ctlError_t{CTL_SILENT, "cannot listen at " + asked.listen + ": no such address here, or it is taken"};

    // Signals come to this thread alone, and only while it waits for them.
    sigset_t ends, before;
    sigemptyset(&ends);
    sigaddset(&ends, SIGINT);
    sigaddset(&ends, SIGTERM);
    pthread_sigmask(SIG_BLOCK, &ends, &before);
    const pthread_t waiting = pthread_self();
    std::atomic<bool> ended{false};
    std::thread serving([&] {
        server.listen_after_bind();
        ended = true;
        pthread_kill(waiting, SIGTERM); // where it ends by itself
    });
    out << "http://" << address.shown << ":" << address.port << asked.shown << std::endl;
    while (!ctlInterrupted())
        ppoll(nullptr, 0, nullptr, &before);
    while (!server.is_running() && !ended) // it cannot be stopped before that
        poll(nullptr, 0, 1);
    const bool lost = ended;
    if (asked.ending)
        asked.ending();
    server.stop();
    serving.join();
    if (lost)
        throw ctlError_t{CTL_SILENT, "the server ended: its socket failed"};
    return CTL_DONE;
}

#endif
