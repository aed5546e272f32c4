// How a packed record is held to its layout.
#ifndef AGENT_MESSAGES_LAYOUT_H
#define AGENT_MESSAGES_LAYOUT_H

#include <cstddef>

#include "velmar/wire.h"

// Holds a record, called R in the conditions, to its layout.
#define QOS_LAYOUT(record, ...)                                                                                        \
    static_assert(                                                                                                     \
        [] {                                                                                                           \
            using R = record;                                                                                          \
            return __VA_ARGS__;                                                                                        \
        }(),                                                                                                           \
        #record " has another layout")

#endif
