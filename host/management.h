// The two message channels to the management server. Both block until the answer is there, and neither throws.
#pragma once

#include <string>

#include "host/visibility.h"

/// First channel.
class IIF_HOST_API XMLHandler {
public:
    /// Sends `message`, whose kind is told by `tag`. On success `message` holds the answer's text; on failure
    /// `error_text` says why. `channel` is 1, `extra` empty and `flags` 0. Returns 0 on success.
    int handleXMLReq(unsigned long channel, unsigned long tag, std::string& message, std::string& error_text,
                     std::string extra, unsigned long flags);
};

/// Second channel.
class IIF_HOST_API App_ExecuteSP {
public:
    /// Sends `request`, whose kind is told by `tag`, and writes the answer's text. `reserved` is null. Returns 0 on
    /// success.
    int executeStoredProcedure(unsigned long tag, const std::string& request, std::string& response, void* reserved);
};
