// The embedded storage engine: one connection that writes, under a mutex, and a pool of connections that read, each
// search in one read transaction, so that it sees one state of the index however many files are applied meanwhile.
#include <chrono>
#include <mutex>

#include "server/collect_applier.h"
#include "server/engine.h"
#include "server/line_reader.h"
#include "server/result_builder.h"
#include "server/search_query.h"
#include "server/searcher.h"
#include "server/sqlite_db.h"
#include "server/sqlite_records.h"
#include "server/sqlite_schema.h"

namespace index_server {

namespace {

constexpr std::size_t max_idle_readers = 8;

std::int64_t now_ns() {
    const auto now = std::chrono::system_clock::now().time_since_epoch();
    return std::chrono::duration_cast<std::chrono::nanoseconds>(now).count();
}

/// A connection for reading, with what is prepared on it.
struct reader {
    explicit reader(const std::string& path)
        : connection(path, sqlite_connection::access::read_only), searches(connection) {}

    sqlite_connection connection;
    searcher searches;
};

class sqlite_engine : public engine {
public:
    explicit sqlite_engine(const std::string& directory)
        : path_(directory + "/index.db"), writer_(path_, sqlite_connection::access::read_write) {
        prepare_schema(writer_);
        applier_ = std::make_unique<collect_applier>(writer_);
    }

private:
    template <class Work>
    void writing(const Work& work) {
        const std::lock_guard lock(writer_lock_);
        sqlite_transaction transaction(writer_, sqlite_transaction::kind::write);
        work();
        transaction.commit();
    }

    /// Runs the work in one read transaction of a connection that no other thread uses meanwhile. A connection on which
    /// the work failed is not used again.
    template <class Work>
    auto reading(const Work& work) {
        std::unique_ptr<reader> from = take_reader();
        sqlite_transaction transaction(from->connection, sqlite_transaction::kind::read);
        auto result = work(*from);
        transaction.commit();
        put_reader(std::move(from));
        return result;
    }

public:
    share register_share(const std::string& name) override {
        const std::lock_guard lock(writer_lock_);
        sqlite_transaction transaction(writer_, sqlite_transaction::kind::write);
        if (std::optional<share> known = read_share_of_name(writer_, name)) return *known;
        share made = insert_share(writer_, name);
        applier_->make_root(made);
        transaction.commit();
        return made;
    }

    std::vector<share> shares() override {
        return reading([](reader& from) { return read_shares(from.connection); });
    }

    std::optional<share> share_of_subclient(std::int64_t subclient_id) override {
        return reading([&](reader& from) { return read_share_of_subclient(from.connection, subclient_id); });
    }

    void add_token(const token_grant& grant) override {
        writing([&] { insert_token(writer_, grant); });
    }

    std::vector<token_grant> tokens() override {
        return reading([](reader& from) { return read_tokens(from.connection); });
    }

    void put_transaction(const transaction_record& record) override {
        writing([&] { write_transaction(writer_, record); });
    }

    std::optional<transaction_record> transaction(const std::string& id) override {
        return reading([&](reader& from) { return read_transaction(from.connection, id); });
    }

    std::optional<transaction_record> last_transaction(std::int64_t subclient_id) override {
        return reading([&](reader& from) { return read_last_transaction(from.connection, subclient_id); });
    }

    std::vector<transaction_record> open_transactions() override {
        return reading([](reader& from) { return read_open_transactions(from.connection); });
    }

    apply_outcome apply_collect_file(const share& target, const std::string& path) override;
    void search(const share& target, KT5ContentIndexing::ZYSearchReq& request,
                KT5ContentIndexing::ZYSearchResp& response) override;

private:
    std::string apply_lines(const std::string& path, apply_outcome& outcome);

    std::unique_ptr<reader> take_reader() {
        {
            const std::lock_guard lock(readers_lock_);
            if (!idle_readers_.empty()) {
                std::unique_ptr<reader> taken = std::move(idle_readers_.back());
                idle_readers_.pop_back();
                return taken;
            }
        }
        return std::make_unique<reader>(path_);
    }

    void put_reader(std::unique_ptr<reader> from) {
        const std::lock_guard lock(readers_lock_);
        if (idle_readers_.size() < max_idle_readers) idle_readers_.push_back(std::move(from));
    }

    const std::string path_;

    // writer_lock_ guards the writing connection and what is prepared on it. It is held for the whole of a collect
    // file; nothing waits for anything else under it.
    std::mutex writer_lock_;
    sqlite_connection writer_;
    std::unique_ptr<collect_applier> applier_;

    // readers_lock_ guards the pool alone; no work is done under it.
    std::mutex readers_lock_;
    std::vector<std::unique_ptr<reader>> idle_readers_;
};

apply_outcome sqlite_engine::apply_collect_file(const share& target, const std::string& path) {
    apply_outcome outcome;
    const std::lock_guard lock(writer_lock_);
    sqlite_transaction transaction(writer_, sqlite_transaction::kind::write);
    applier_->begin(target, now_ns());
    const std::string reason = apply_lines(path, outcome);
    if (!reason.empty()) {
        outcome.error_line = outcome.lines;
        outcome.error = "line " + std::to_string(outcome.lines) + ": " + reason;
        return outcome;
    }
    applier_->finish();
    transaction.commit();
    outcome.applied = true;
    return outcome;
}

/// Applies the file's lines up to the first that cannot be understood, and returns why.
std::string sqlite_engine::apply_lines(const std::string& path, apply_outcome& outcome) {
    line_reader lines(path, max_collect_line_bytes);
    std::string_view text;
    collect_line line;
    for (;;) {
        const line_reader::result got = lines.next(text);
        if (got == line_reader::result::end) return {};
        ++outcome.lines;
        if (got == line_reader::result::too_long) return "line too long";
        if (got == line_reader::result::incomplete) return "no line feed at the end of the file";
        std::string reason = parse_collect_line(text, line);
        if (!reason.empty()) return reason;
        applier_->apply(line);
    }
}

void sqlite_engine::search(const share& target, KT5ContentIndexing::ZYSearchReq& request,
                           KT5ContentIndexing::ZYSearchResp& response) {
    search_query query;
    const std::vector<search_fault> faults = read_search_request(request, target, query);
    for (const search_fault& fault : faults)
        add_search_error(response, fault.code, fault.text);
    if (!faults.empty()) return;

    auto items = reading([&](reader& from) { return from.searches.items(target, query); });
    const auto result_set = response.getObjectAccessor(true, true, 7, 13, 14, 33);
    *result_set->getlistobject<KT5ContentIndexing::GResultItem>(1, 1, true) = std::move(items);
}

}  // namespace

std::unique_ptr<engine> open_sqlite_engine(const std::string& directory) {
    return std::make_unique<sqlite_engine>(directory);
}

}  // namespace index_server
