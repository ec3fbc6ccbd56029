// Fresh storages of both kinds.
#include "tests/storage/test_storage.h"

#include <cstdlib>
#include <string_view>

#include "server/postgresql_connection.h"
#include "server/sqlite_driver.h"
#include "tests/storage/postgresql_server.h"

namespace index_server {

namespace {

/// A database with all tables and no rows. Copying it is quicker than making the tables for each test.
const std::string& empty_index() {
    static const std::string name = [] {
        const std::string settings = postgresql_server::of_process().make_database();
        open_postgresql_engine(settings, "test");
        return settings.substr(settings.rfind('=') + 1);
    }();
    return name;
}

}  // namespace

bool test_storage::is_postgresql() {
    const char* const wanted = std::getenv("IIF_TEST_ENGINE");
    return wanted != nullptr && std::string_view(wanted) == "postgresql";
}

test_storage::test_storage(const std::string& directory) : directory_(directory) {
    if (is_postgresql()) postgresql_ = postgresql_server::of_process().make_database(empty_index());
}

std::unique_ptr<engine> test_storage::open() const {
    return postgresql_.empty() ? open_sqlite_engine(directory_) : open_postgresql_engine(postgresql_, "test");
}

std::unique_ptr<sql_connection> test_storage::connect(sql_access what) const {
    if (!postgresql_.empty()) return std::make_unique<postgresql_connection>(postgresql_);
    return open_sqlite(directory_ + "/index.db", what);
}

}  // namespace index_server
