// An index server in this process whose index is full, and the requests that the library would send to it.
//
// Each share has a directory "/all" with `objects` files and a directory "/some" with a thousand.
#pragma once

#include <cstddef>
#include <memory>
#include <string>
#include <vector>

#include "bench/subject.h"
#include "server/index_server.h"

namespace bench {

inline constexpr std::size_t page_size = 1000;

class stocked_index {
public:
    /// Fills an index in a directory of its own below `place` and starts its server.
    stocked_index(const std::string& place, std::size_t objects, std::size_t shares);

    /// The index that all workloads of a place have in common; made when it is first asked for.
    static stocked_index& common(const std::string& place, std::size_t objects, std::size_t shares = 1);

    std::size_t objects() const { return objects_; }
    unsigned short port() const { return server_->port(); }
    const std::string& database() const { return database_; }
    const index_server::share_access& share(std::size_t number = 0) const { return shares_.at(number); }

    // Whole requests, head and body.
    std::string find_by_path(const std::string& path, std::size_t share = 0) const;
    std::string find_by_guid(const std::string& guid) const;
    /// A page of a directory of the share's root; `at` is a moment in seconds, 0 for now.
    std::string browse(const std::string& directory, std::size_t offset, long long at = 0) const;
    /// The submission of a collect file.
    std::string submission(const std::string& lines, std::size_t share) const;
    /// The wait for the end of a transaction.
    std::string closing(const std::string& transaction, std::size_t share) const;

    static std::string file_name(std::size_t number) { return "f" + std::to_string(number); }
    static std::string file_guid(std::size_t number);
    /// The line of a collect file that adds a file.
    static std::string file_line(const std::string& guid, const std::string& parent, const std::string& name);

private:
    void fill(const std::string& data_dir, std::size_t shares);
    std::string post(const std::string& target, const std::string& token, const std::string& body) const;

    scratch_directory place_;
    const std::size_t objects_;
    std::string database_;
    std::unique_ptr<index_server::index_server> server_;
    std::vector<index_server::share_access> shares_;
};

}  // namespace bench
