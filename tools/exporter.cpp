// SPDX-License-Identifier: Apache-2.0
// The server: /metrics, one collection for each, and a page that leads there.
#include "tools/exporter.h"

#include "tools/error.h"

#ifndef DORVALD_HTTP

int ctlExport(const ctlExporter_t &, std::ostream &)
{
    ctlRefuse("this dorvctl has no exporter: it was built without cpp-httplib (Debian: libcpp-httplib-dev)");
}

#else

#include <atomic>
#include <csignal>
#include <httplib.h>
#include <mutex>
#include <poll.h>
#include <thread>

#include "tools/link.h"
#include "tools/metrics.h"
#include "tools/text.h"

namespace {

constexpr size_t READERS = 4;      // at a time; the collections come one after the other
constexpr time_t PATIENCE = 5;     // seconds, with a reader that is slow
constexpr size_t LONGEST_BODY = 0; // of a request: there is nothing to send

constexpr const char *ROOT = "<!DOCTYPE html>\n<title>dorvald</title>\n<h1>dorvald</h1>\n"
                             "<p><a href=\"/metrics\">Metrics</a> of this node</p>\n";

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

// The older form is for those who ask for text and do not know the newer one, such as a browser.
bool wantsOpenMetrics(const std::string &accept)
{
    return accept.find("application/openmetrics-text") != std::string::npos ||
           accept.find("text/") == std::string::npos;
}

void offer(httplib::Server &server, ctlCollector_t &collector, std::mutex &one)
{
    server.Get("/metrics", [&](const httplib::Request &request, httplib::Response &response) {
        const std::lock_guard alone(one);
        const bool open = wantsOpenMetrics(request.get_header_value("Accept"));
        response.set_content(ctlMetricsPage(collector, open),
                             open ? "application/openmetrics-text; version=1.0.0; charset=utf-8"
                                  : "text/plain; version=0.0.4; charset=utf-8");
    });
    server.Get("/", [](const httplib::Request &, httplib::Response &response) {
        response.set_content(ROOT, "text/html; charset=utf-8");
    });
}

void setUp(httplib::Server &server)
{
    server.new_task_queue = [] { return new httplib::ThreadPool(READERS); };
    server.set_keep_alive_max_count(1); // a reader that stays would keep a thread from the others
    server.set_read_timeout(PATIENCE);
    server.set_write_timeout(PATIENCE);
    server.set_payload_max_length(LONGEST_BODY);
    server.set_socket_options([](socket_t sock) { // in place of those that let two servers share a port
        const int on = 1;
        setsockopt(sock, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
    });
}

} // namespace

int ctlExport(const ctlExporter_t &asked, std::ostream &out)
{
    address_t address = addressOf(asked.listen);
    ctlCollector_t collector{asked.slot, asked.timeout};
    std::mutex one;
    httplib::Server server;
    setUp(server);
    offer(server, collector, one);
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
    out << "http://" << address.shown << ":" << address.port << "/metrics" << std::endl;
    while (!ctlInterrupted())
        ppoll(nullptr, 0, nullptr, &before);
    while (!server.is_running() && !ended) // it cannot be stopped before that
        poll(nullptr, 0, 1);
    const bool lost = ended;
    server.stop();
    serving.join();
    if (lost)
        throw ctlError_t{CTL_SILENT, "the server ended: its socket failed"};
    return CTL_DONE;
}

#endif
