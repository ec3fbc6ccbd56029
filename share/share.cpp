// Every call passes the gate, which counts it, so that leaving knows when the object can go.
#include "share/share.h"

#include <cerrno>
#include <charconv>
#include <map>
#include <new>
#include <utility>

#include "hostkit/log.h"
#include "share/share_state.h"

namespace share_host {
namespace {

/// Calls into the object while it stays. The library lets exceptions of the message classes and of some allocations
/// pass.
template <class State, class Call>
int inside(State& state, Call call) {
    const call_scope scope(state);
    if (!scope) return result_not_ready;
    try {
        return call(*state.object);
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
    return inside(*state_, [&](index_iface& object) { return object.add_item(props); });
}

int share::update_item(const index_iface_props& props) {
    return inside(*state_, [&](index_iface& object) { return object.update_item(props); });
}

int share::delete_item(const index_iface_props& props) {
    return inside(*state_, [&](index_iface& object) { return object.delete_item(props); });
}

int share::rename_item(const index_iface_props& props, const std::string& old_parent_guid, const std::string& old_path,
                       bool flush_now) {
    return inside(*state_,
                  [&](index_iface& object) { return object.rename_item(props, old_parent_guid, old_path, flush_now); });
}

int share::find_by_path(const index_iface_browse_fields& fields, index_iface_props& props) {
    return inside(*state_, [&](index_iface& object) { return object.find_by_path(fields, props); });
}

int share::find_by_guid(const index_iface_browse_fields& fields, index_iface_props& props) {
    return inside(*state_, [&](index_iface& object) { return object.find_by_guid(fields, props); });
}

template <class Browse>
int share::browse(records& results, Browse ask) {
    return inside(*state_, [&](index_iface& object) {
        browse_list list(object);
        const int ret = ask(object, list.records);
        if (ret != 0) return ret;
        results.reserve(results.size() + list.records.size());
        for (index_iface_props* record : list.records)
            results.push_back(std::move(*record));
        return 0;
    });
}

int share::browse_by_path(const index_iface_browse_fields& fields, records& results) {
    return browse(results, [&](index_iface& object, auto& list) { return object.browse_by_path(fields, list); });
}

int share::browse_by_guid(const index_iface_browse_fields& fields, records& results) {
    return browse(results, [&](index_iface& object, auto& list) { return object.browse_by_guid(fields, list); });
}

int share::browse_file_extents(const index_iface_browse_fields& fields, records& results) {
    return browse(results, [&](index_iface& object, auto& list) { return object.browse_file_extents(fields, list); });
}

int share::browse_extents_not_backedup(records& results) {
    return browse(results, [](index_iface& object, auto& list) { return object.browse_extents_not_backedup(list); });
}

int share::get_counters(std::map<std::string, std::string>& counters) {
    return inside(*state_, [&](index_iface& object) { return object.get_counters(counters), 0; });
}

int share::clear_counters() {
    return inside(*state_, [](index_iface& object) { return object.clear_counters(), 0; });
}

int share::get_flush_status_msg(std::string& text) {
    return inside(*state_, [&](index_iface& object) { return text = object.get_flush_status_msg(), 0; });
}

int share::get_query_status_msg(std::string& text) {
    return inside(*state_, [&](index_iface& object) { return text = object.get_query_status_msg(), 0; });
}

int share::dump_caches() {
    return inside(*state_, [](index_iface& object) { return object.dump_caches(), 0; });
}

int share::get_num_async_browses() {
    return inside(*state_, [](index_iface& object) { return object.get_num_async_browses(); });
}

int share::stop_async_browses() {
    return inside(*state_, [](index_iface& object) { return object.stop_async_browses(), 0; });
}

int share::cleanup() {
    return inside(*state_, [&](index_iface& object) {
        {
            // Nothing may be accepted that would be thrown away at once, and a second cleanup finds nothing to do.
            const std::lock_guard guard(state_->lock);
            if (!std::exchange(state_->open, false)) return result_not_ready;
        }
        object.cleanup();
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

const share_options& share::options() const {
    return state_->options;
}

}  // namespace share_host
