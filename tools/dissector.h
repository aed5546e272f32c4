// SPDX-License-Identifier: Apache-2.0
// The dissector of captures: a program for a network analyser that has the tables of this build in it.
#ifndef TOOLS_DISSECTOR_H
#define TOOLS_DISSECTOR_H

#include <ostream>

// Writes it, in Lua; always CTL_DONE.
int ctlWriteDissector(std::ostream &out);

#endif
