// SPDX-License-Identifier: Apache-2.0
// Serves a node's figures over HTTP to a monitoring system. Needs the library cpp-httplib.
#ifndef TOOLS_EXPORTER_H
#define TOOLS_EXPORTER_H

#include <memory>
#include <mutex>
#include <ostream>
#include <string>

#include "tools/http.h"

struct ctlExporter_t {
    std::string listen = "127.0.0.1:9477"; // HOST:PORT; port 0 for any that is free
    unsigned slot = 1;
    double timeout = 5; // seconds for one collection
};

// Prints the page's address, once it can be read, and serves until a signal comes. CTL_USAGE where dorvctl was built
// without the library.
int ctlExport(const ctlExporter_t &asked, std::ostream &out);

// The path of the figures, for another server to have too. One collection at a time, under `one`.
ctlHttpPath_t ctlMetricsPath(const ctlExporter_t &asked, const std::shared_ptr<std::mutex> &one);

#endif
