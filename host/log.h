// The host's log.
#pragma once

#include <boost/shared_ptr.hpp>

#include "host/visibility.h"

/// Where log lines go. A line of level L is written by callers only when the current level is at least L; errors
/// have the level -1. Both operations are called from any thread and must not throw.
class IIF_HOST_API CLogWriterInterface {
public:
    virtual ~CLogWriterInterface() = default;

    /// The current level.
    virtual int GetLogLevel() const = 0;

    /// Writes one line. `function` is the signature of the calling function and `line` its source line; the two
    /// numbers after it are 0. The format is printf's.
    virtual void WriteLog(int level, const char* function, int line, int reserved1, int reserved2, const char* format,
                          ...) __attribute__((format(printf, 7, 8))) = 0;
};

/// The process's log writer. It is set before the first object is made and outlives the last one. While it is
/// null nothing is logged.
extern IIF_HOST_API boost::shared_ptr<CLogWriterInterface> g_ptrLogWriter;
