// Administration over relational storage: each operation in a transaction of its own.
#include "server/sql_administration.h"

#include <utility>

#include "server/history_purge.h"
#include "server/integrity_check.h"
#include "server/page_of_objects.h"
#include "server/share_upkeep.h"

namespace index_server {

namespace {

/// What the work returns, from inside a transaction.
template <class Work>
auto run(const std::function<void(const storage_work::work&)>& in_transaction, const Work& work) {
    decltype(work(std::declval<sql_connection&>())) result{};
    in_transaction([&](sql_connection& connection) { result = work(connection); });
    return result;
}

class sql_administration : public administration {
public:
    explicit sql_administration(storage_work storage) : storage_(std::move(storage)) {}

    share_rows rows_of(const share& of) override {
        return run(storage_.read, [&](sql_connection& c) { return rows_of_share(c, of); });
    }

    std::vector<listed_transaction> transactions_before(std::optional<std::int64_t> subclient_id, std::int64_t place,
                                                        std::int64_t most) override {
        return run(storage_.read,
                   [&](sql_connection& c) { return read_transactions_before(c, subclient_id, place, most); });
    }

    purge_step purge(const share& of, std::int64_t bound_s, const step_place& from) override {
        return run(storage_.write, [&](sql_connection& c) {
            lock_share(c, of.subclient_id);
            return history_purge(c, of, bound_s).step(from);
        });
    }

    backup_mark_step mark_backed_up(const share& of, std::int64_t backup_id, std::optional<std::int64_t> up_to_s,
                                    const step_place& from) override {
        return run(storage_.write, [&](sql_connection& c) { return mark_extents(c, of, backup_id, up_to_s, from); });
    }

    check_step check(const share& of, const step_place& from) override {
        return run(storage_.read, [&](sql_connection& c) { return integrity_check(c, of).step(from); });
    }

    void withdraw_share(const share& gone) override {
        storage_.write([&](sql_connection& c) { index_server::withdraw_share(c, gone); });
    }

    std::vector<std::int64_t> withdrawn_shares() override { return run(storage_.read, read_withdrawn_shares); }

    bool remove_rows(std::int64_t subclient_id) override {
        return run(storage_.write, [&](sql_connection& c) { return remove_share_rows(c, subclient_id); });
    }

    void back_up_to(const std::string& file, bool overwrite) override { storage_.back_up(file, overwrite); }

private:
    const storage_work storage_;
};

}  // namespace

std::unique_ptr<administration> make_sql_administration(storage_work storage) {
    return std::make_unique<sql_administration>(std::move(storage));
}

}  // namespace index_server
