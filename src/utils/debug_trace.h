// The library's one debug trace, shared by every module.
//
// QEVO_TRACE("fmt", args...) tests the marker file ./AI_DEBUG at every single
// message (nothing is cached, so creating or deleting the file takes effect at
// the next message) and, when it exists, prints to standard output
//   "\n[DEBUG:<source file>:<line>-><function>] " followed by the message.
// Nothing is flushed. Code around a trace never depends on whether it printed.
//
// The few lines printed without the gate are plain printf/puts calls at their
// place of use, not this macro.
#ifndef QEVO_SRC_UTILS_DEBUG_TRACE_H
#define QEVO_SRC_UTILS_DEBUG_TRACE_H

#include <cstdio>
#include <unistd.h>

namespace qevo_internal {

inline bool debug_trace_on() { return access("./AI_DEBUG", F_OK) == 0; }

}  // namespace qevo_internal

#define QEVO_TRACE(...)                                                              \
    do {                                                                             \
        if (::qevo_internal::debug_trace_on()) {                                     \
            std::printf("\n[DEBUG:%s:%d->%s] ", __FILE__, __LINE__, __func__);       \
            std::printf(__VA_ARGS__);                                                \
        }                                                                            \
    } while (0)

#endif  // QEVO_SRC_UTILS_DEBUG_TRACE_H
