// The storage that a test works on: of the engine that the environment variable IIF_TEST_ENGINE names, sqlite or
// postgresql, so that the same tests run on each.
#pragma once

#include <memory>
#include <string>

#include "server/engine.h"
#include "server/sql.h"

namespace index_server {

/// A fresh storage. Failures are thrown as std::runtime_error.
class test_storage {
public:
    static bool is_postgresql();

    /// The embedded engine's database lies in `directory`.
    explicit test_storage(const std::string& directory);

    /// Opens the engine; its records stay from one opening to the next.
    std::unique_ptr<engine> open() const;
    /// A connection beside the engine's.
    std::unique_ptr<sql_connection> connect(sql_access what) const;

    /// The connection string; empty for the embedded engine.
    const std::string& postgresql() const { return postgresql_; }

private:
    std::string directory_;
    std::string postgresql_;
};

}  // namespace index_server
