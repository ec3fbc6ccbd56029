// Administration over relational storage.
#pragma once

#include <functional>
#include <memory>
#include <string>

#include "server/administration.h"
#include "server/sql.h"

namespace index_server {

/// How administration gets at the storage: each runs work in one transaction on a connection of its own, and may run it
/// again when the connection was lost.
struct storage_work {
    using work = std::function<void(sql_connection&)>;
    std::function<void(const work&)> read;
    std::function<void(const work&)> write;
    /// As administration::back_up_to.
    std::function<void(const std::string& file, bool overwrite)> back_up;
};

std::unique_ptr<administration> make_sql_administration(storage_work storage);

}  // namespace index_server
