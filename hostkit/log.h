// The log of a program that runs on this host kit: opening it, and the macro by which its own code writes lines.
#pragma once

#include <string>

#include "host/log.h"

namespace hostkit {

/// Where log lines go and how many of them.
struct log_options {
    int level = 1;     ///< lines above this level are left out; errors are -1, the most talkative level is 7
    std::string file;  ///< a file that is appended to and rotated by size; empty means standard error
};

/// Makes g_ptrLogWriter a writer of these options. Called before other threads log, and before the first object of the
/// library is made. Throws std::runtime_error with one plain sentence when the file cannot be opened.
/// A line reads: time in UTC with milliseconds, thread id, level, text. Control bytes in the text are written as
/// `\xHH`, so that no name from outside can forge a line.
void open_log(const log_options& options);

}  // namespace hostkit

/// Writes a printf-formatted line; the arguments are evaluated only when the level asks for it. Silent while there is
/// no log writer.
#define HOSTKIT_LOG(level, ...)                                                                  \
    do {                                                                                         \
        if (g_ptrLogWriter && g_ptrLogWriter->GetLogLevel() >= (level)) {                        \
            g_ptrLogWriter->WriteLog((level), __PRETTY_FUNCTION__, __LINE__, 0, 0, __VA_ARGS__); \
        }                                                                                        \
    } while (false)
