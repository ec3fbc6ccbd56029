// The life of collect transactions.
#include "server/transactions.h"

#include <algorithm>
#include <charconv>
#include <exception>
#include <future>
#include <stdexcept>
#include <utility>

#include <unistd.h>

#include "hostkit/log.h"
#include "server/hex_text.h"

namespace index_server {

namespace {

constexpr std::size_t id_bytes = 16;
constexpr std::chrono::milliseconds pause_before_retry{500};

std::int64_t now_ns() {
    return std::chrono::nanoseconds(std::chrono::system_clock::now().time_since_epoch()).count();
}

}  // namespace

transactions::transactions(engine& storage, const share_registry& shares, std::string spool_directory,
                           server_metrics& metrics)
    : storage_(storage), shares_(shares), spool_(std::move(spool_directory)), metrics_(metrics) {}

transactions::~transactions() {
    stop();
}

void transactions::recover() {
    for (const transaction_record& record : storage_.open_transactions()) {
        HOSTKIT_LOG(1, "index server: settling transaction [%s] of a former run", record.id.c_str());
        settle(record);
    }
    empty_spool(spool_);
}

void transactions::start(unsigned workers) {
    for (unsigned i = 0; i < workers; ++i)
        workers_.emplace_back([this] { work(); });
}

void transactions::stop() {
    {
        const std::lock_guard lock(mutex_);
        stopping_ = true;
        queued_.notify_all();
    }
    for (std::thread& worker : workers_)
        worker.join();
    workers_.clear();
    polls_.stop();
}

std::optional<std::int64_t> transactions::subclient_of(const std::string& id) {
    std::int64_t subclient = 0;
    const auto [end, error] = std::from_chars(id.data(), id.data() + id.size(), subclient);
    const std::size_t used = static_cast<std::size_t>(end - id.data());
    if (error != std::errc() || subclient <= 0 || id.size() != used + 1 + 2 * id_bytes || id[used] != '-' ||
        id.find_first_not_of("0123456789abcdef", used + 1) != std::string::npos) {
        return std::nullopt;
    }
    return subclient;
}

std::optional<transaction_record> transactions::open_of(std::int64_t subclient_id) const {
    const std::lock_guard lock(mutex_);
    const auto found = latest_.find(subclient_id);
    if (found == latest_.end() || found->second.at == stage::ended) return std::nullopt;
    return found->second.record;
}

std::unique_ptr<spool_file> transactions::make_file(std::int64_t subclient_id) const {
    return std::make_unique<spool_file>(spool_, std::to_string(subclient_id) + "-" + random_hex(id_bytes));
}

submission transactions::submit(spool_file& file, std::int64_t subclient_id) {
    transaction_record record;
    record.id = file.id();
    record.subclient_id = subclient_id;
    record.status = App::ProcessingStatus_QUEUED;
    record.created_ns = now_ns();
    {
        const std::lock_guard lock(mutex_);
        if (stopping_) throw is_stopping();
        if (retired_.contains(subclient_id)) throw is_retired();
        entry& known = latest_[subclient_id];
        if (known.at != stage::ended) return {false, known.record.id, known.record.status};
        known = {record, stage::storing};
    }
    try {
        file.commit();
        storage_.put_transaction(record);
    } catch (...) {
        file.take_back();
        record.status = App::ProcessingStatus_FAILED;
        record.error = "the file could not be stored";
        end(record);
        throw;
    }
    {
        const std::lock_guard lock(mutex_);
        latest_[subclient_id].at = stage::queued;
        queue_.push_back(record.id);
        queued_.notify_one();
    }
    HOSTKIT_LOG(2, "index server: transaction [%s] is queued", record.id.c_str());
    return {true, record.id, record.status};
}

transactions::load transactions::present_load() const {
    const std::lock_guard lock(mutex_);
    return {queue_.size(), applying_};
}

std::optional<transaction_record> transactions::find(const std::string& id) const {
    const std::optional<std::int64_t> subclient = subclient_of(id);
    if (!subclient) return std::nullopt;
    {
        const std::lock_guard lock(mutex_);
        const auto found = latest_.find(*subclient);
        if (found != latest_.end() && found->second.record.id == id) return found->second.record;
    }
    return storage_.transaction(id);
}

std::optional<transaction_record> transactions::last(std::int64_t subclient_id) const {
    {
        const std::lock_guard lock(mutex_);
        const auto found = latest_.find(subclient_id);
        // Where other servers can have taken a later one, the storage knows.
        if (found != latest_.end() && (found->second.at != stage::ended || storage_.is_embedded()))
            return found->second.record;
    }
    return storage_.last_transaction(subclient_id);
}

void transactions::wait(const std::string& id, std::chrono::milliseconds limit, const answer& done) {
    {
        const std::lock_guard lock(mutex_);
        const entry* known = latest(id);
        // Under the lock, so that an outcome cannot come between the look and the waiting.
        if (known != nullptr && known->at != stage::ended &&
            polls_.add(id, limit, [this, id, done] { done(find_for_waiter(id)); })) {
            return;
        }
    }
    done(find(id));
}

void transactions::close(const std::string& id, std::chrono::milliseconds limit, const answer& done) {
    transaction_record record;
    if (!begin_close(id, record)) {
        wait(id, limit, done);
        return;
    }
    record.status = App::ProcessingStatus_CLOSED;
    record.error = "closed before it was applied";
    try {
        put_outcome(record);
    } catch (...) {
        const std::lock_guard lock(mutex_);
        put_back(record);
        queued_.notify_one();
        throw;
    }
    end(record);
    done(record);
}

bool transactions::retire(std::int64_t subclient_id, std::chrono::milliseconds limit) {
    {
        const std::lock_guard lock(mutex_);
        retired_.insert(subclient_id);
    }
    try {
        if (const std::optional<transaction_record> open = open_of(subclient_id)) {
            std::promise<void> answered;
            close(open->id, limit, [&](const auto&) { answered.set_value(); });
            answered.get_future().wait();
        }
    } catch (...) {
        readmit(subclient_id);
        throw;
    }
    if (!open_of(subclient_id)) return true;
    readmit(subclient_id);
    return false;
}

void transactions::readmit(std::int64_t subclient_id) {
    const std::lock_guard lock(mutex_);
    retired_.erase(subclient_id);
}

void transactions::work() {
    for (;;) {
        transaction_record record;
        {
            std::unique_lock lock(mutex_);
            queued_.wait(lock, [this] { return stopping_ || !queue_.empty(); });
            if (stopping_) return;
            entry* next = latest(queue_.front());
            queue_.pop_front();
            next->at = stage::processing;
            ++applying_;
            // Not stored: a restart settles queued and processing ones alike, and each sync costs the share time.
            next->record.status = App::ProcessingStatus_PROCESSING;
            record = next->record;
        }
        bool is_put_off = false;
        try {
            settle(record);
        } catch (const std::exception& failure) {
            HOSTKIT_LOG(-1, "index server: transaction [%s] waits for the storage: %s", record.id.c_str(),
                        failure.what());
            is_put_off = true;
        }
        std::unique_lock lock(mutex_);
        --applying_;
        if (!is_put_off) continue;
        put_back(record);
        queued_.wait_for(lock, pause_before_retry, [this] { return stopping_; });
    }
}

/// Applies the file and makes the outcome known. Throws when there is no outcome, or it cannot be stored: the file then
/// stays, and to apply it another time does no harm as long as the share takes no later one.
void transactions::settle(const transaction_record& record) {
    transaction_record ended = record;
    const auto began = std::chrono::steady_clock::now();
    const apply_outcome outcome = apply(record);
    const std::chrono::duration<double> took = std::chrono::steady_clock::now() - began;
    ended.status = outcome.applied ? App::ProcessingStatus_COMPLETED : App::ProcessingStatus_FAILED;
    ended.lines = outcome.lines;
    if (!outcome.applied) ended.error = outcome.error;
    put_outcome(ended);
    metrics_.count_collect_file(outcome.applied ? "applied" : "failed", outcome.applied ? outcome.lines : 0,
                                took.count());
    if (outcome.applied) {
        HOSTKIT_LOG(2, "index server: transaction [%s] is completed, %llu lines", record.id.c_str(),
                    static_cast<unsigned long long>(outcome.lines));
    } else {
        HOSTKIT_LOG(-1, "index server: transaction [%s] failed: %s", record.id.c_str(), ended.error.c_str());
    }
    end(ended);
}

apply_outcome transactions::apply(const transaction_record& record) {
    apply_outcome outcome;
    const std::string path = spool_path(spool_, record.id);
    try {
        const std::optional<share> target = shares_.by_subclient(record.subclient_id);
        const std::optional<transaction_record> last = storage_.last_transaction(record.subclient_id);
        if (!target) {
            outcome.error = "its share is not registered";
        } else if (last && last->id != record.id) {
            // The host gave this one up and sent its content again, by way of another server. What came with that and
            // after it must not be overtaken.
            outcome.error = "a later file of its share was taken meanwhile";
        } else if (::access(path.c_str(), R_OK) != 0) {
            outcome.error = "its file did not survive in the spool";
        } else {
            outcome = storage_.apply_collect_file(*target, path);
        }
    } catch (const storage_unavailable&) {
        throw;
    } catch (const std::exception& failure) {
        outcome = {};
        outcome.error = std::string("the storage failed: ") + failure.what();
    }
    return outcome;
}

/// Stores the outcome and then removes the file. Throws as the storage does.
void transactions::put_outcome(const transaction_record& record) {
    storage_.put_transaction(record);
    ::unlink(spool_path(spool_, record.id).c_str());
}

/// Queues a transaction again that was taken out of the queue, behind those of other shares: they must not starve when
/// its turn fails again and again. locks: mutex_ held.
void transactions::put_back(const transaction_record& record) {
    entry* const known = latest(record.id);
    known->at = stage::queued;
    known->record.status = App::ProcessingStatus_QUEUED;
    queue_.push_back(record.id);
}

void transactions::end(const transaction_record& record) {
    {
        const std::lock_guard lock(mutex_);
        latest_[record.subclient_id] = {record, stage::ended};
    }
    polls_.wake(record.id);
}

/// A waiter is answered in any case: while the storage cannot tell the outcome the client is to ask again.
transaction_record transactions::find_for_waiter(const std::string& id) const noexcept {
    transaction_record unknown;
    try {
        unknown.id = id;
        unknown.status = App::ProcessingStatus_PROCESSING;
        return find(id).value_or(unknown);
    } catch (const std::exception& failure) {
        HOSTKIT_LOG(-1, "index server: cannot look up transaction [%s]: %s", id.c_str(), failure.what());
        return unknown;
    }
}

/// Takes a queued transaction out of the queue. False when it is in any other stage, or unknown.
bool transactions::begin_close(const std::string& id, transaction_record& record) {
    const std::lock_guard lock(mutex_);
    entry* known = latest(id);
    if (known == nullptr || known->at != stage::queued) return false;
    queue_.erase(std::find(queue_.begin(), queue_.end(), id));
    known->at = stage::closing;
    record = known->record;
    return true;
}

transactions::entry* transactions::latest(const std::string& id) {
    const std::optional<std::int64_t> subclient = subclient_of(id);
    if (!subclient) return nullptr;
    const auto found = latest_.find(*subclient);
    return found != latest_.end() && found->second.record.id == id ? &found->second : nullptr;
}

}  // namespace index_server
