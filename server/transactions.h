// Collect transactions: from a file that arrived whole to its outcome.
//
//   storing --put_transaction--> queued --worker--> processing --applied or refused--> ended
//                                   `--close--> closing --> ended
//
//   T1  At most one transaction of a share is not ended.
//   T2  What was answered as queued survives: its file and its record are synced before the answer.
//   T3  An outcome is stored before anybody hears of it, and the spooled file goes only after that. When storing it
//       fails the transaction stays open and the file is applied again, now or by the next start, which changes
//       nothing: the share takes no later file before, whose effect the earlier one could undo.
//   T4  After a crash every open record is settled before the server listens: applied when its file is there whole,
//       failed otherwise.
//   T5  A file is not applied behind one of its share that was taken after it: the host had sent its content again by
//       way of another server, and what followed would be undone.
#pragma once

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "server/engine.h"
#include "server/long_polls.h"
#include "server/server_metrics.h"
#include "server/share_registry.h"
#include "server/spool_file.h"

namespace index_server {

/// Thrown by a submission while the server is stopping.
struct is_stopping {};

/// Thrown by a submission for a share that is being removed.
struct is_retired {};

/// What a submission led to.
struct submission {
    bool accepted = false;
    std::string id;  ///< the new transaction, or the open one that stands in the way
    App::ProcessingStatus status = App::ProcessingStatus_UNKNOWN;
};

/// Any thread may call any operation but `recover`, `start` and `stop`, which belong to the owner's thread. Failures of
/// storage and disk are thrown as std::runtime_error.
class transactions {
public:
    /// Receives a transaction, or nothing when its id is unknown. Runs on any thread, exactly once.
    using answer = std::function<void(std::optional<transaction_record>)>;

    transactions(engine& storage, const share_registry& shares, std::string spool_directory, server_metrics& metrics);
    /// Stops.
    ~transactions();
    transactions(const transactions&) = delete;
    transactions& operator=(const transactions&) = delete;

    /// Settles what a former run left open, and empties the spool.
    void recover();
    void start(unsigned workers);
    /// Lets the files being applied come to their end; answers all waiters; queued files stay for the next start.
    void stop();

    /// The share that an id belongs to; nothing when the text is no id.
    static std::optional<std::int64_t> subclient_of(const std::string& id);

    /// The open transaction of a share. Never waits for the storage.
    std::optional<transaction_record> open_of(std::int64_t subclient_id) const;

    /// A place for a file of the share.
    std::unique_ptr<spool_file> make_file(std::int64_t subclient_id) const;

    /// Makes a transaction of a file that arrived whole, unless one of the share is open. Throws is_stopping
    /// and is_retired, too.
    submission submit(spool_file& file, std::int64_t subclient_id);

    /// How many files wait, and how many are being applied.
    struct load {
        std::size_t queued = 0;
        std::size_t applying = 0;
    };
    load present_load() const;

    std::optional<transaction_record> find(const std::string& id) const;
    std::optional<transaction_record> last(std::int64_t subclient_id) const;

    /// Answers when the transaction has ended or the time is over.
    void wait(const std::string& id, std::chrono::milliseconds limit, const answer& done);

    /// Drops a queued transaction; answers at once. One that is being stored or processed is waited for.
    void close(const std::string& id, std::chrono::milliseconds limit, const answer& done);

    /// Takes no more files of a share, drops a queued one and waits for one that is being applied. False when that
    /// takes longer than the limit; files are taken again then.
    bool retire(std::int64_t subclient_id, std::chrono::milliseconds limit);
    /// Takes files of the share again.
    void readmit(std::int64_t subclient_id);

private:
    enum class stage { storing, queued, processing, closing, ended };
    struct entry {
        transaction_record record;
        stage at = stage::ended;
    };

    void work();
    void settle(const transaction_record& record);
    apply_outcome apply(const transaction_record& record);
    void put_outcome(const transaction_record& record);
    void put_back(const transaction_record& record);
    void end(const transaction_record& record);
    transaction_record find_for_waiter(const std::string& id) const noexcept;
    bool begin_close(const std::string& id, transaction_record& record);
    /// locks: mutex_ held. The entry of the id when it is its share's latest one.
    entry* latest(const std::string& id);

    engine& storage_;
    const share_registry& shares_;
    const std::string spool_;
    server_metrics& metrics_;
    long_polls polls_;

    // mutex_ guards latest_, queue_, retired_, applying_ and stopping_. Never held across the storage, file work or an
    // answer; the long polls' own mutex may be taken under it.
    mutable std::mutex mutex_;
    std::condition_variable queued_;
    std::map<std::int64_t, entry> latest_;  // the latest transaction of each share, of this run
    std::deque<std::string> queue_;
    std::set<std::int64_t> retired_;
    std::size_t applying_ = 0;
    bool stopping_ = false;
    std::vector<std::thread> workers_;
};

}  // namespace index_server
