// A change is refused while deliveries fail or the journal's disk is full, and both pass. So it is tried again for as
// long as it takes, with pauses up to a bound; only what can never succeed is given up.
#include "share/change_reporter.h"

#include <algorithm>
#include <cerrno>
#include <condition_variable>
#include <mutex>

#include "hostkit/log.h"

namespace share_host {
namespace {

using namespace std::chrono_literals;

constexpr auto first_pause = 500ms;
constexpr std::chrono::milliseconds longest_pause = 10s;
constexpr auto progress_period = 500ms;
constexpr int query_attempts = 4;

}  // namespace

change_reporter::change_reporter(index_port& index, const reconcile_options& options, std::stop_token stop)
    : index_(index),
      options_(options),
      stop_(std::move(stop)),
      began_(std::chrono::steady_clock::now()),
      shown_(began_) {}

bool change_reporter::add(const index_iface_props& props) {
    return insist([&] { return index_.add_item(props); }, props, summary_.added);
}

bool change_reporter::update(const index_iface_props& props) {
    return insist([&] { return index_.update_item(props); }, props, summary_.updated);
}

bool change_reporter::move(const index_iface_props& known, const index_iface_props& props) {
    return insist([&] { return index_.rename_item(props, known.parent_guid, known.path, false); }, props,
                  summary_.moved);
}

bool change_reporter::remove(const index_iface_props& props) {
    return insist([&] { return index_.delete_item(props); }, props, summary_.deleted);
}

bool change_reporter::redate(const index_iface_props& props, bool moved) {
    return insist([&] { return index_.add_item(props); }, props, moved ? summary_.moved : summary_.updated);
}

bool change_reporter::insist(const std::function<int()>& change, const index_iface_props& props,
                             std::uint64_t& counter) {
    for (std::chrono::milliseconds wait = first_pause; !ended(); wait = std::min(wait * 2, longest_pause)) {
        const int ret = change();
        if (ret == 0) {
            ++counter;
            show_progress();
            return true;
        }
        if (ret == result_not_ready) {
            lost_ = true;
            set_problem("the share was closed during the pass");
            return false;
        }
        HOSTKIT_LOG(-1, "share: the change of [%s] was refused with %d", props.path.c_str(), ret);
        if (ret == EINVAL) {
            ++summary_.refused;
            set_problem("the change of " + props.path + " is not valid for the index");
            return false;
        }
        pause(wait);
    }
    return false;
}

int change_reporter::query(const std::function<int()>& ask) {
    int ret = result_not_ready;
    std::chrono::milliseconds wait = first_pause;
    for (int attempt = 1; !ended(); ++attempt, wait *= 2) {
        ret = ask();
        if (ret == 0 || ret == ENOENT || ret == result_not_ready || attempt == query_attempts) break;
        pause(wait);
    }
    return ret;
}

int change_reporter::browse(const std::string& index_path, const std::string& guid,
                            std::vector<index_iface_props>& children) {
    const int ret = query([&] {
        index_iface_browse_fields fields;
        fields.path = index_path.c_str();
        return index_.browse_by_path(fields, children);
    });
    std::erase_if(children, [&](const index_iface_props& child) { return child.parent_guid != guid; });
    return ret;
}

int change_reporter::find(const std::string& index_path, index_iface_props& props) {
    return query([&] {
        index_iface_browse_fields fields;
        fields.path = index_path.c_str();
        return index_.find_by_path(fields, props);
    });
}

void change_reporter::count_object(const struct stat& info) {
    ++summary_.objects;
    if (S_ISREG(info.st_mode)) summary_.bytes += static_cast<std::uint64_t>(info.st_size);
    show_progress();
}

void change_reporter::count_gap(const std::string& reason) {
    ++summary_.gaps;
    set_problem(reason);
    HOSTKIT_LOG(-1, "share: %s", reason.c_str());
}

void change_reporter::set_problem(const std::string& reason) {
    if (summary_.problem.empty()) summary_.problem = reason;
}

double change_reporter::seconds() const {
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - began_).count();
}

void change_reporter::pause(std::chrono::milliseconds time) {
    std::mutex lock;
    std::condition_variable_any never;
    std::unique_lock guard(lock);
    never.wait_for(guard, stop_, time, [&] { return stop_.stop_requested(); });
}

void change_reporter::show_progress() {
    if (!options_.progress) return;
    const auto now = std::chrono::steady_clock::now();
    if (now - shown_ < progress_period) return;
    shown_ = now;
    const std::uint64_t estimate = counter_ ? counter_->total() : options_.expected_objects;
    options_.progress({summary_.objects, summary_.changes(), estimate, seconds()});
}

}  // namespace share_host
