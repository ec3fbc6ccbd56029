// The one failure of the storage that passes by itself.
#pragma once

#include <stdexcept>

namespace index_server {

/// The storage cannot be reached, or gave way to another's work: nothing of the transaction stays, and the same may
/// succeed later.
class storage_unavailable : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

}  // namespace index_server
