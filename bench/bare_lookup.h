// What a search asks of the database, and nothing else.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "server/index_server.h"
#include "server/sql.h"

namespace bench {

class bare_lookup {
public:
    /// All columns of an answer; numbers as text.
    using row = std::vector<std::string>;

    bare_lookup(const std::string& database, const index_server::share_access& share);

    /// The newest version of the object at /directory/name of the share; false when there is none.
    bool by_path(const std::string& directory, const std::string& name);
    /// The newest version of an object and the names above it.
    bool by_guid(const std::string& guid);
    /// The first rows of a directory.
    std::vector<row> page(const std::string& directory, std::size_t size);

    /// The rows as text, as an answer has them.
    static std::string written(const std::vector<row>& rows);

private:
    std::int64_t object_at(std::int64_t parent, const std::string& name);
    std::int64_t directory_at(const std::string& name);

    const std::int64_t share_;
    const std::string folder_;
    std::unique_ptr<index_server::sql_connection> connection_;
    index_server::sql_statement find_object_;
    index_server::sql_statement find_name_;
    index_server::sql_statement find_newest_;
    index_server::sql_statement read_row_;
    index_server::sql_statement read_page_;
};

}  // namespace bench
