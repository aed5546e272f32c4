// SPDX-License-Identifier: Apache-2.0
// A small HTTP server: rows of paths, each with a page or a stream behind it, read only. Needs the library cpp-httplib;
// the file that includes this is built only where there is one.
#ifndef TOOLS_HTTP_H
#define TOOLS_HTTP_H

#include <functional>
#include <optional>
#include <ostream>
#include <string>
#include <vector>

struct ctlHttpAsked_t {
    std::string accept;
    std::string port; // the parameter of that name, empty without one
};

struct ctlHttpPage_t {
    std::string type, body;
};

// Gives the next piece of a stream, once there is one; nothing ends it. It goes away with the reader.
using ctlHttpStream_t = std::function<std::optional<std::string>()>;

struct ctlHttpPath_t {
    const char *path;
    std::function<ctlHttpPage_t(const ctlHttpAsked_t &)> page;
    std::function<ctlHttpStream_t(const ctlHttpAsked_t &)> stream{}; // of events, in place of a page
};

struct ctlHttp_t {
    std::string listen; // HOST:PORT; port 0 for any that is free
    std::string shown;  // the path that is printed
    std::vector<ctlHttpPath_t> paths;
    size_t streams = 0;             // at a time; more are told to come later
    std::function<void()> ending{}; // called ahead of the end: streams must come to theirs
    // A browser is made to read nothing but this server's own pages, and a request must name the server by an address,
    // as localhost, by the machine's name or one of `names`: with a name of its choice a foreign page could read it.
    bool guarded = false;
    std::vector<std::string> names{};
};

// Prints the address, once it can be read, and serves GET and HEAD until a signal comes. Throws with CTL_SILENT if the
// address is not to be had, CTL_USAGE if it is none.
int ctlServeHttp(const ctlHttp_t &asked, std::ostream &out);

#endif
