// SPDX-License-Identifier: Apache-2.0
// What the server serves: /metrics, one collection for each, and a page that leads there.
#include "tools/exporter.h"

#include "tools/error.h"
#include "tools/metrics.h"

#ifndef DORVALD_HTTP

int ctlExport(const ctlExporter_t &, std::ostream &)
{
    ctlRefuse("this dorvctl has no exporter: it was built without cpp-httplib (Debian: libcpp-httplib-dev)");
}

#else

namespace {

constexpr const char *ROOT = "<!DOCTYPE html>\n<title>dorvald</title>\n<h1>dorvald</h1>\n"
                             "<p><a href=\"/metrics\">Metrics</a> of this node</p>\n";

// The older form is for those who ask for text and do not know the newer one, such as a browser.
bool wantsOpenMetrics(const std::string &accept)
{
    return accept.find("application/openmetrics-text") != std::string::npos ||
           accept.find("text/") == std::string::npos;
}

} // namespace

ctlHttpPath_t ctlMetricsPath(const ctlExporter_t &asked, const std::shared_ptr<std::mutex> &one)
{
    const auto collector = std::make_shared<ctlCollector_t>(ctlCollector_t{asked.slot, asked.timeout});
    return {"/metrics", [collector, one](const ctlHttpAsked_t &request) {
                const std::lock_guard alone(*one);
                const bool open = wantsOpenMetrics(request.accept);
                return ctlHttpPage_t{open ? "application/openmetrics-text; version=1.0.0; charset=utf-8"
                                          : "text/plain; version=0.0.4; charset=utf-8",
                                     ctlMetricsPage(*collector, open)};
            }};
}

int ctlExport(const ctlExporter_t &asked, std::ostream &out)
{
    ctlHttp_t http{asked.listen, "/metrics", {}};
    http.paths.push_back(ctlMetricsPath(asked, std::make_shared<std::mutex>()));
    http.paths.push_back({"/", [](const ctlHttpAsked_t &) { return ctlHttpPage_t{"text/html; charset=utf-8", ROOT}; }});
    return ctlServeHttp(http, out);
}

#endif
