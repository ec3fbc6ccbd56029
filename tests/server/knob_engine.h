// The storage engine as the HTTP side is tested on it: its records are the real ones, its applications wait and fail
// when told to.
#pragma once

#include <atomic>
#include <condition_variable>
#include <fstream>
#include <iterator>
#include <memory>
#include <mutex>
#include <stdexcept>
#include <string>
#include <vector>

#include "server/engine.h"

namespace index_server {

/// What the engines of all runs of one server share.
struct engine_knobs {
    std::mutex mutex;  // guards everything here
    std::condition_variable changed;
    std::vector<std::string> applied;                                      // contents, in the order of application
    std::size_t applying = 0;                                              // applications under way
    bool hold_back = false;                                                // applications wait until this is false
    bool is_away = false;                                                  // looking up a share or tokens fails
    std::atomic<bool> is_shared = false;                                   // like a storage of several servers
    std::size_t readings = 0;                                              // of all tokens, begun
    bool hold_readings = false;                                            // they wait until this is false
    App::ProcessingStatus refused_status = App::ProcessingStatus_UNKNOWN;  // storing this one fails

    void hold_applications(bool hold = true) {
        const std::lock_guard lock(mutex);
        hold_back = hold;
        changed.notify_all();
    }
    void go_away(bool away) {
        const std::lock_guard lock(mutex);
        is_away = away;
    }
    void hold_all_readings(bool hold) {
        const std::lock_guard lock(mutex);
        hold_readings = hold;
        changed.notify_all();
    }
    std::size_t readings_now() {
        const std::lock_guard lock(mutex);
        return readings;
    }
    void wait_until_read(std::size_t count) {
        std::unique_lock lock(mutex);
        changed.wait(lock, [&] { return readings >= count; });
    }
    void let_go() { hold_applications(false); }
    void refuse(App::ProcessingStatus status) {
        const std::lock_guard lock(mutex);
        refused_status = status;
    }
    void wait_until_applying(std::size_t count) {
        std::unique_lock lock(mutex);
        changed.wait(lock, [&] { return applying == count; });
    }
};

class knob_engine : public engine {
public:
    knob_engine(std::unique_ptr<engine> real, engine_knobs& knobs) : real_(std::move(real)), knobs_(knobs) {}

    share register_share(const std::string& name) override { return real_->register_share(name); }
    std::vector<share> shares() override { return real_->shares(); }
    std::optional<share> share_of_subclient(std::int64_t id) override {
        const std::lock_guard lock(knobs_.mutex);
        if (knobs_.is_away) throw std::runtime_error("no connection to the database");
        return real_->share_of_subclient(id);
    }
    void add_token(const token_grant& grant) override { real_->add_token(grant); }
    void remove_token(const token_grant& grant) override { real_->remove_token(grant); }
    std::vector<token_grant> tokens() override {
        std::unique_lock lock(knobs_.mutex);
        ++knobs_.readings;
        knobs_.changed.notify_all();
        knobs_.changed.wait(lock, [this] { return !knobs_.hold_readings; });
        if (knobs_.is_away) throw storage_unavailable("no connection to the database");
        return real_->tokens();
    }
    std::optional<transaction_record> transaction(const std::string& id) override { return real_->transaction(id); }
    std::optional<transaction_record> last_transaction(std::int64_t id) override { return real_->last_transaction(id); }
    std::vector<transaction_record> open_transactions() override { return real_->open_transactions(); }
    void put_transaction(const transaction_record& record) override {
        const std::lock_guard lock(knobs_.mutex);
        if (record.status == knobs_.refused_status) throw std::runtime_error("the disk is full");
        real_->put_transaction(record);
    }
    /// "bad" is refused at line 7, "broken" throws, anything else is applied.
    apply_outcome apply_collect_file(const share&, const std::string& path) override {
        std::ifstream file(path, std::ios::binary);
        const std::string content(std::istreambuf_iterator<char>(file), {});
        std::unique_lock lock(knobs_.mutex);
        ++knobs_.applying;
        knobs_.changed.notify_all();
        knobs_.changed.wait(lock, [this] { return !knobs_.hold_back; });
        --knobs_.applying;
        if (content == "broken") throw std::runtime_error("the database is gone");
        if (content == "bad") return {false, 7, 7, "line 7: no such tag"};
        knobs_.applied.push_back(content);
        return {true, 1, 0, ""};
    }
    /// One result, named like the share.
    std::string search(const share& target, const search_request&) override {
        return "<ZYSearchResp><resultSet><resultItems name=\"" + target.name + "\"/></resultSet></ZYSearchResp>";
    }

    bool is_embedded() const override { return real_->is_embedded() && !knobs_.is_shared; }
    administration& admin() override { return real_->admin(); }

private:
    const std::unique_ptr<engine> real_;
    engine_knobs& knobs_;
};

}  // namespace index_server
