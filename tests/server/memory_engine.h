// A storage engine in memory, which the HTTP side is tested on: it outlives restarts, can hold an application back, and
// fails when told to.
#pragma once

#include <algorithm>
#include <condition_variable>
#include <fstream>
#include <map>
#include <mutex>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

#include "server/engine.h"

namespace index_server {

/// What is stored, and the knobs. Shared by all engines over it, as a database is by all runs of a server.
struct memory_store {
    std::mutex mutex;  // guards everything here
    std::condition_variable changed;
    std::vector<share> shares;
    std::vector<token_grant> tokens;
    std::map<std::string, transaction_record> transactions;
    std::vector<std::string> applied;                                      // contents, in the order of application
    std::size_t applying = 0;                                              // applications under way
    bool hold_back = false;                                                // applications wait until this is false
    App::ProcessingStatus refused_status = App::ProcessingStatus_UNKNOWN;  // storing this one fails

    void hold_applications() {
        const std::lock_guard lock(mutex);
        hold_back = true;
    }
    void refuse(App::ProcessingStatus status) {
        const std::lock_guard lock(mutex);
        refused_status = status;
    }
    void let_go() {
        const std::lock_guard lock(mutex);
        hold_back = false;
        changed.notify_all();
    }
    void wait_until_applying(std::size_t count) {
        std::unique_lock lock(mutex);
        changed.wait(lock, [&] { return applying == count; });
    }
};

class memory_engine : public engine {
public:
    explicit memory_engine(memory_store& store) : store_(store) {}

    share register_share(const std::string& name) override {
        const std::lock_guard lock(store_.mutex);
        for (const share& known : store_.shares) {
            if (known.name == name) return known;
        }
        const std::int64_t id = static_cast<std::int64_t>(store_.shares.size()) + 1;
        store_.shares.push_back({name, id, 100 + id, 5000000000 + id, "root-" + name, "index of " + name});
        return store_.shares.back();
    }
    std::vector<share> shares() override {
        const std::lock_guard lock(store_.mutex);
        return store_.shares;
    }
    std::optional<share> share_of_subclient(std::int64_t id) override {
        const std::lock_guard lock(store_.mutex);
        for (const share& known : store_.shares) {
            if (known.subclient_id == id) return known;
        }
        return std::nullopt;
    }
    void add_token(const token_grant& grant) override {
        const std::lock_guard lock(store_.mutex);
        store_.tokens.push_back(grant);
    }
    std::vector<token_grant> tokens() override {
        const std::lock_guard lock(store_.mutex);
        return store_.tokens;
    }
    void put_transaction(const transaction_record& record) override {
        const std::lock_guard lock(store_.mutex);
        if (record.status == store_.refused_status) throw std::runtime_error("the disk is full");
        store_.transactions[record.id] = record;
    }
    std::optional<transaction_record> transaction(const std::string& id) override {
        const std::lock_guard lock(store_.mutex);
        const auto found = store_.transactions.find(id);
        return found == store_.transactions.end() ? std::nullopt : std::optional(found->second);
    }
    std::optional<transaction_record> last_transaction(std::int64_t subclient_id) override {
        const std::lock_guard lock(store_.mutex);
        std::optional<transaction_record> last;
        for (const auto& [id, record] : store_.transactions) {
            if (record.subclient_id == subclient_id && (!last || record.created_ns > last->created_ns)) last = record;
        }
        return last;
    }
    std::vector<transaction_record> open_transactions() override {
        const std::lock_guard lock(store_.mutex);
        std::vector<transaction_record> open;
        for (const auto& [id, record] : store_.transactions) {
            if (record.status == App::ProcessingStatus_QUEUED) open.push_back(record);
        }
        return open;
    }
    /// "bad" is refused at line 7, "broken" throws, anything else is applied.
    apply_outcome apply_collect_file(const share&, const std::string& path) override {
        std::ostringstream content;
        content << std::ifstream(path).rdbuf();
        std::unique_lock lock(store_.mutex);
        ++store_.applying;
        store_.changed.notify_all();
        store_.changed.wait(lock, [this] { return !store_.hold_back; });
        --store_.applying;
        if (content.str() == "broken") throw std::runtime_error("the database is gone");
        if (content.str() == "bad") return {false, 7, 7, "line 7: no such tag"};
        store_.applied.push_back(content.str());
        return {true, 1, 0, ""};
    }
    /// One result, named like the share.
    void search(const share& target, KT5ContentIndexing::ZYSearchReq&,
                KT5ContentIndexing::ZYSearchResp& response) override {
        auto results = response.getObjectAccessor(true, true, 7, 13, 14, 33);
        results->getlistobject<KT5ContentIndexing::GResultItem>(1, 1, true)
            ->emplace_back()
            .setstring(3, 9, target.name);
    }

private:
    memory_store& store_;
};

}  // namespace index_server
