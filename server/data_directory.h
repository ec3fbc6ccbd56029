// The directory that one running server owns: its lock, its spool and the admin token.
#pragma once

#include <string>

#include "server/posix_file.h"

namespace index_server {

/// The token in a file that somebody else made. Throws std::runtime_error, also when the file holds something that is
/// no token.
std::string read_token_file(const std::string& path);

/// Holds the directory's lock while it lives.
class data_directory {
public:
    /// Makes the directory and its spool when missing and takes the lock. Throws std::runtime_error, which names the
    /// process that holds the lock.
    explicit data_directory(const std::string& path);

    const std::string& path() const { return path_; }
    const std::string& spool() const { return spool_; }

    /// The admin token, made at the first call ever. Throws std::runtime_error, also when the file holds something
    /// that is no token.
    std::string admin_token() const;

    /// The name under which a database that several servers work on knows this one; random, made at the first call
    /// ever. Throws std::runtime_error.
    std::string server_name() const;

private:
    std::string path_;
    std::string spool_;
    descriptor lock_;
};

}  // namespace index_server
