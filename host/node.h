// SPDX-License-Identifier: Apache-2.0
// Inside the host library: the facts about this node.
#ifndef HOST_NODE_H
#define HOST_NODE_H

#include <cstdio>
#include <string>
#include <sys/types.h>

// Takes the lines of a node file into __expm and the model, up to the first malformed one: empty, or its number, what
// is wrong and the line.
std::string nodeTake(FILE *file);

// The group that RUN/node says may read, -1 for none; of a file that is malformed too, as its reader below says so.
gid_t nodeReaders(const char *run_dir);

// Reads RUN/node into __expm and the model. A file with a malformed line, or a run directory that cannot be used, is
// reported on standard error with `progname` in front and ends the process with status 1.
void nodeLoad(const char *progname);

#endif
