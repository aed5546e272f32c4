// SPDX-License-Identifier: Apache-2.0
// A node as a page in a browser, live, to look at and nothing else. Needs the library cpp-httplib.
#ifndef TOOLS_WEB_H
#define TOOLS_WEB_H

#include <ostream>
#include <string>
#include <vector>

struct ctlWeb_t {
    std::string listen = "127.0.0.1:8080"; // HOST:PORT; port 0 for any that is free
    std::vector<std::string> names{};      // by which browsers may call this machine besides its own
    unsigned slot = 1;
    double interval = 1; // seconds between two collections while somebody looks
    double timeout = 3;  // seconds for one
};

// Prints the page's address, once it can be read, and serves until a signal comes. CTL_USAGE where dorvctl was built
// without the library.
int ctlServeWeb(const ctlWeb_t &asked, std::ostream &out);

#endif
