// Every call passes the gate, which counts it, so that leaving knows when the object can go.
#include "share/share.h"

#include <cerrno>
#include <charconv>
#include <map>
#include <new>

#include "hostkit/log.h"
#include "share/share_state.h"

namespace share_host {
namespace {

/// The library lets exceptions of the message classes and of some allocations pass.
template <class Call>
int guarded(Call call) {
    try {
        return call();
    } catch (const std::bad_alloc&) {
        return ENOMEM;
    } catch (const std::exception& failure) {
        HOSTKIT_LOG(-1, "share: a call into the library threw: %s", failure.what());
        return EIO;
    }
}

/// Owns the records of a browse result.
class browse_list {
public:
    explicit browse_list(index_iface& object) : object_(object) {}
    ~browse_list() { object_.delete_browse_memory(records); }
    browse_list(const browse_list&) = delete;
    browse_list& operator=(const browse_list&) = delete;

    index_iface::props_list records;

private:
    index_iface& object_;
};

}  // namespace

share::share(share_options options) : state_(std::make_shared<state>(std::move(options))) {}

share::~share() {
    leave();
}

int share::add_item(const index_iface_props& props) {
    const call_scope call(*state_);
    return call ? guarded([&] { return state_->object->add_item(props); }) : result_not_ready;
}

int share::update_item(const index_iface_props& props) {
    const call_scope call(*state_);
    return call ? guarded([&] { return state_->object->update_item(props); }) : result_not_ready;
}

int share::delete_item(const index_iface_props& props) {
    const call_scope call(*state_);
    return call ? guarded([&] { return state_->object->delete_item(props); }) : result_not_ready;
}

int share::find_by_path(const index_iface_browse_fields& fields, index_iface_props& props) {
    const call_scope call(*state_);
    return call ? guarded([&] { return state_->object->find_by_path(fields, props); }) : result_not_ready;
}

int share::browse_by_path(const index_iface_browse_fields& fields, std::vector<index_iface_props>& results) {
    const call_scope call(*state_);
    if (!call) return result_not_ready;
    return guarded([&] {
        browse_list list(*state_->object);
        const int ret = state_->object->browse_by_path(fields, list.records);
        if (ret != 0) return ret;
        results.reserve(results.size() + list.records.size());
        for (index_iface_props* record : list.records)
            results.push_back(std::move(*record));
        return 0;
    });
}

freshness share::deliver(std::chrono::milliseconds timeout, std::stop_token stop) {
    const call_scope call(*state_);
    if (!call) return {false, result_not_ready, 0};
    return state_->worker->deliver(timeout, std::move(stop));
}

bool share::ready() const {
    const std::lock_guard guard(state_->lock);
    return state_->open;
}

std::uint64_t share::batches_delivered() const {
    const call_scope call(*state_);
    if (!call) return 0;
    std::map<std::string, std::string> counters;
    state_->object->get_counters(counters);
    const std::string& text = counters["index.flush_successes"];
    std::uint64_t count = 0;
    std::from_chars(text.data(), text.data() + text.size(), count);
    return count;
}

std::string share::flush_status() const {
    const call_scope call(*state_);
    return call ? state_->object->get_flush_status_msg() : std::string();
}

const share_options& share::options() const {
    return state_->options;
}

}  // namespace share_host
