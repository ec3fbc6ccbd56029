// One collect file on its way into the spool: <id>.zyf.part while it arrives, <id>.zyf once it is whole and synced.
#pragma once

#include <cstddef>
#include <string>

#include "server/posix_file.h"

namespace index_server {

/// The name under which a whole file is spooled.
std::string spool_path(const std::string& directory, const std::string& id);

/// Removes everything from the spool. What cannot be removed is left to the next start, with a line in the log.
void empty_spool(const std::string& directory);

/// Belongs to one thread at a time. What was not committed is removed by the destructor.
class spool_file {
public:
    /// Touches nothing yet; the file is made by the first write, or by the commit.
    spool_file(std::string directory, std::string id);
    ~spool_file();
    spool_file(const spool_file&) = delete;
    spool_file& operator=(const spool_file&) = delete;

    const std::string& id() const { return id_; }

    /// Throws std::runtime_error; the file is then to be given up.
    void write(const char* data, std::size_t size);

    /// Makes the file last under its final name. Throws std::runtime_error.
    void commit();

    /// Removes a committed file again.
    void take_back() noexcept;

private:
    void open_part();

    std::string directory_;
    std::string id_;
    std::string part_;
    descriptor file_;
};

}  // namespace index_server
