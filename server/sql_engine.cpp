// The storage engine over relational storage: connections that write and connections that read, each search in one read
// transaction, so that it sees one state of the index however many files are applied meanwhile.
#include <cerrno>
#include <chrono>

#include "server/collect_applier.h"
#include "server/connection_pool.h"
#include "server/engine.h"
#include "server/index_backup.h"
#include "server/postgresql_connection.h"
#include "server/result_builder.h"
#include "server/row_store.h"
#include "server/schema.h"
#include "server/search_query.h"
#include "server/searcher.h"
#include "server/sql_administration.h"
#include "server/sql_records.h"
#include "server/sqlite_driver.h"
#include "server/walk_memory.h"

namespace index_server {

namespace {

constexpr std::size_t most_readers = 16;
constexpr std::size_t most_writers = 8;

using opener = std::function<std::unique_ptr<sql_connection>(sql_access)>;

std::int64_t now_ns() {
    const auto now = std::chrono::system_clock::now().time_since_epoch();
    return std::chrono::duration_cast<std::chrono::nanoseconds>(now).count();
}

/// A connection for reading, with what is prepared on it.
struct reader {
    reader(const opener& open, walk_memory& memory)
        : connection(open(sql_access::read)), searches(*connection, memory) {}

    std::unique_ptr<sql_connection> connection;
    searcher searches;
};

/// A connection for writing, with what is prepared on it.
struct writer {
    explicit writer(const opener& open) : connection(open(sql_access::write)), rows(make_row_store(*connection)) {}

    std::unique_ptr<sql_connection> connection;
    std::unique_ptr<row_store> rows;
};

class sql_engine : public engine {
    /// Runs the work on a connection of its own. All work of an engine has the same effect when it is done again, so it
    /// is done once more when the connection turns out to be dead: a storage that was restarted is not noticed outside.
    template <class Item, class Work>
    static auto on_connection(connection_pool<Item>& pool, const Work& work) {
        for (bool is_last = false;; is_last = true) {
            try {
                auto lease = pool.take();
                auto result = work(*lease);
                lease.give_back();
                return result;
            } catch (const storage_unavailable&) {
                pool.drop_idle();
                if (is_last) throw;
            }
        }
    }

    template <class Item, class Work>
    static auto in_transaction(connection_pool<Item>& pool, sql_access what, const Work& work) {
        return on_connection(pool, [&](Item& item) {
            sql_transaction transaction(*item.connection, what);
            auto result = work(item);
            transaction.commit();
            return result;
        });
    }

    template <class Work>
    auto reading(const Work& work) {
        return in_transaction(readers_, sql_access::read, work);
    }
    template <class Work>
    auto writing(const Work& work) {
        return in_transaction(writers_, sql_access::write, work);
    }

public:
    using backup_maker = std::function<void(const std::string& file, bool overwrite)>;

    /// The schema is there. `most_writers` is how many transactions the storage lets write at once.
    sql_engine(const opener& open, std::size_t most_writers, bool is_embedded, std::string server_name,
               backup_maker back_up)
        : is_embedded_(is_embedded),
          server_name_(std::move(server_name)),
          readers_(most_readers, [this, open] { return std::make_unique<reader>(open, walks_); }),
          writers_(most_writers, [open] { return std::make_unique<writer>(open); }),
          admin_(make_sql_administration(
              storage_work{[this](const storage_work::work& work) {
                               reading([&](reader& from) { return work(*from.connection), true; });
                           },
                           [this](const storage_work::work& work) {
                               writing([&](writer& to) { return work(*to.connection), true; });
                           },
                           std::move(back_up)})) {}

    share register_share(const std::string& name) override {
        return writing([&](writer& to) {
            for (;;) {
                if (const std::optional<share> known = read_share_of_name(*to.connection, name)) return *known;
                if (const std::optional<share> made = insert_share(*to.connection, name)) {
                    make_root(*to.rows, *made);
                    return *made;
                }
            }
        });
    }

    std::vector<share> shares() override {
        return reading([](reader& from) { return read_shares(*from.connection); });
    }

    std::optional<share> share_of_subclient(std::int64_t subclient_id) override {
        return reading([&](reader& from) { return read_share_of_subclient(*from.connection, subclient_id); });
    }

    void add_token(const token_grant& grant) override {
        writing([&](writer& to) { return insert_token(*to.connection, grant), true; });
    }

    void remove_token(const token_grant& grant) override {
        writing([&](writer& to) { return delete_token(*to.connection, grant), true; });
    }

    std::vector<token_grant> tokens() override {
        return reading([](reader& from) { return read_tokens(*from.connection); });
    }

    void put_transaction(const transaction_record& record) override {
        writing([&](writer& to) { return write_transaction(*to.connection, record, server_name_), true; });
    }

    std::optional<transaction_record> transaction(const std::string& id) override {
        return reading([&](reader& from) { return read_transaction(*from.connection, id, server_name_); });
    }

    std::optional<transaction_record> last_transaction(std::int64_t subclient_id) override {
        return reading(
            [&](reader& from) { return read_last_transaction(*from.connection, subclient_id, server_name_); });
    }

    std::vector<transaction_record> open_transactions() override {
        return reading([&](reader& from) { return read_open_transactions(*from.connection, server_name_); });
    }

    apply_outcome apply_collect_file(const share& target, const std::string& path) override;
    bool is_embedded() const override { return is_embedded_; }
    std::string search(const share& target, const search_request& request) override;

    administration& admin() override { return *admin_; }

private:
    const bool is_embedded_;
    const std::string server_name_;
    walk_memory walks_;
    connection_pool<reader> readers_;
    connection_pool<writer> writers_;
    const std::unique_ptr<administration> admin_;
};

apply_outcome sql_engine::apply_collect_file(const share& target, const std::string& path) {
    // Read before anything is locked: others write meanwhile.
    collect_file file(path, collect_part_bytes);
    apply_outcome outcome = outcome_of(file);
    if (!outcome.error.empty()) return outcome;
    try {
        outcome.applied = writing([&](writer& to) {
            index_server::apply_collect_file(*to.rows, target, file, now_ns());
            return true;
        });
    } catch (const too_many_properties& beyond) {
        outcome.error = beyond.what();
    }
    return outcome;
}

std::string sql_engine::search(const share& target, const search_request& request) {
    search_query query;
    const std::vector<search_fault> faults = read_search_request(request, target, query);
    if (!faults.empty()) return refusal(faults);
    try {
        return reading([&](reader& from) { return from.searches.answer(target, query); });
    } catch (const too_many_directories& beyond) {
        return refusal({{E2BIG, beyond.what()}});
    }
}

}  // namespace

std::unique_ptr<engine> open_sqlite_engine(const std::string& directory) {
    const std::string path = directory + "/index.db";
    const opener open = [path](sql_access what) { return open_sqlite(path, what); };
    prepare_schema(*open(sql_access::write));
    const auto back_up = [path](const std::string& file, bool overwrite) { back_up_index(path, file, overwrite); };
    return std::make_unique<sql_engine>(open, 1, true, "", back_up);
}

std::unique_ptr<engine> open_postgresql_engine(const std::string& settings, const std::string& server_name) {
    const opener open = [settings](sql_access) { return std::make_unique<postgresql_connection>(settings); };
    prepare_schema(*open(sql_access::write));
    const auto back_up = [](const std::string&, bool) {
        throw backup_refused("the index is in PostgreSQL; back that database up with pg_dump");
    };
    return std::make_unique<sql_engine>(open, most_writers, false, server_name, back_up);
}

}  // namespace index_server
