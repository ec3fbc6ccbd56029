// The working set: plan, load, apply, write.
//
// Of an object only the newest versions are loaded, and those that lines name: an object can have a long past, and
// lines tell of the present. Where a line speaks of a time before what was loaded, the object is loaded whole.
#include "server/working_set.h"

#include <algorithm>
#include <limits>
#include <unordered_set>
#include <utility>

#include "server/name_folding.h"
#include "server/version_time.h"

namespace index_server {

namespace {

// More versions than most objects have, few enough to hold for every object of many lines.
constexpr std::size_t newest_loaded = 32;
constexpr std::size_t all_versions = std::numeric_limits<std::int32_t>::max();

/// The earliest time that a line can be about.
std::int64_t earliest_time(const collect_line& line, std::int64_t arrival) {
    const std::int64_t vtime = version_time(line, arrival);
    const bool timed = line.op == collect_op::remove && line.dtime.value_or(0) != 0;
    return timed ? std::min(vtime, last_ns_of(*line.dtime)) : vtime;
}

/// The objects in the order of their GUIDs, as a storage has them: a large index is then read once from end to end, and
/// not all over. By the first bytes alone, which is near enough.
std::vector<object_history*> in_guid_order(std::deque<object_history>& objects) {
    std::vector<std::pair<std::uint64_t, object_history*>> keyed;
    keyed.reserve(objects.size());
    for (object_history& one : objects) {
        std::uint64_t key = 0;
        for (std::size_t i = 0; i < sizeof key; ++i)
            key = key << 8 | (i < one.guid.size() ? static_cast<unsigned char>(one.guid[i]) : 0u);
        keyed.emplace_back(key, &one);
    }
    std::sort(keyed.begin(), keyed.end());
    std::vector<object_history*> ordered;
    ordered.reserve(keyed.size());
    for (const auto& [key, one] : keyed)
        ordered.push_back(one);
    return ordered;
}

/// Whether there may be more versions than those loaded at first.
template <class History>
bool may_have_more(const History& history) {
    return history.versions.size() >= newest_loaded;
}

/// Gives new rows their ids and finds what is to be written.
template <class History, class Row>
class row_writer {
public:
    explicit row_writer(row_store& store, row_store::id_kind kind) : store_(store), kind_(kind) {}

    void add(const History& history) {
        for (const auto& [when, row] : history.versions.by_time()) {
            if (row->is_new) {
                new_rows_.emplace_back(&history, row);
            } else if (row->changes != 0) {
                rows_.changed.push_back({&history, row});
            }
            if (!row->properties.empty()) with_properties_.push_back(row);
            if (row->copy_from != 0) copying_.push_back(row);
        }
    }

    void give_ids() {
        if (new_rows_.empty()) return;
        // In the order of the lines, which puts rows beside each other that are likely to be asked for together.
        std::sort(new_rows_.begin(), new_rows_.end(),
                  [](const auto& a, const auto& b) { return a.second->arrival < b.second->arrival; });
        std::int64_t next = store_.reserve_ids(kind_, new_rows_.size());
        for (const auto& [history, row] : new_rows_) {
            row->id = next++;
            rows_.added.push_back({history, row});
        }
    }

    void write() {
        for (const Row* row : with_properties_) {
            for (const auto& [name, value] : row->properties)
                rows_.properties.push_back({row->id, name, value});
        }
        for (const Row* row : copying_)
            rows_.copies.push_back({row->id, row->copy_from});
        store_.write(rows_);
    }

private:
    row_store& store_;
    const row_store::id_kind kind_;
    std::vector<std::pair<const History*, Row*>> new_rows_;
    std::vector<const Row*> with_properties_;
    std::vector<const Row*> copying_;
    changed_rows<History, Row> rows_;
};

}  // namespace

working_set::working_set(row_store& store, std::string_view root_guid, const std::deque<numbered_line>& lines,
                         std::int64_t before)
    : store_(store), root_guid_(root_guid), lines_(lines), before_(before), object_of_guid_(memory_.memory()) {}

void working_set::apply() {
    plan();
    load_objects();
    load_versions();
    load_extents();
    for (const task& one : tasks_) {
        const std::int64_t arrival = before_ + one.line->number;
        if (one.extent != nullptr)
            apply_line(*one.extent, one.line->fields, arrival);
        else
            apply_line(*one.object, one.line->fields, place_of(one), arrival);
    }
    property_budget budget;
    for (object_history* changed : changing_)
        settle(*changed, budget);
    for (extent_history& changed : extents_)
        settle(changed, budget);
    write();
}

void working_set::plan() {
    object_of_guid_.reserve(lines_.size());
    tasks_.reserve(lines_.size());
    for (const numbered_line& line : lines_) {
        task& one = tasks_.emplace_back();
        one.line = &line;
        one.object = &object(owner_of(line.fields));
        if (line.fields.is_extent) {
            one.extent = &extent(*one.object, extent_number_of(line.fields));
            continue;
        }
        if (!one.object->is_changing) changing_.push_back(one.object);
        one.object->is_changing = true;
        // The root stays where it is, whatever a line says.
        if (!line.fields.parent_guid.empty() && !one.object->is_root) one.parent = &object(line.fields.parent_guid);
    }
}

object_history& working_set::object(std::string_view guid) {
    const auto [place, is_new] = object_of_guid_.try_emplace(guid);
    if (is_new) {
        objects_.push_back(
            {.guid = guid, .is_root = guid == root_guid_, .versions = row_history<version_row>(memory_.memory())});
        place->second = &objects_.back();
    }
    return *place->second;
}

extent_history& working_set::extent(object_history& file, std::int64_t number) {
    const auto [place, is_new] = extent_of_number_.try_emplace({&file, number});
    if (is_new) {
        extents_.push_back({.number = number, .versions = row_history<extent_row>(memory_.memory())});
        place->second = &extents_.back();
    }
    return *place->second;
}

void working_set::load_objects() {
    store_.load_objects(in_guid_order(objects_));
    const auto count = std::count_if(objects_.begin(), objects_.end(), [](const auto& one) { return one.is_new; });
    if (count == 0) return;
    std::int64_t next = store_.reserve_ids(row_store::id_kind::object, static_cast<std::size_t>(count));
    for (object_history& one : objects_) {
        if (one.is_new) one.id = next++;
    }
}

void working_set::load_versions() {
    std::vector<object_history*> stored;
    std::copy_if(changing_.begin(), changing_.end(), std::back_inserter(stored),
                 [](const object_history* one) { return one->newest_id != 0; });
    store_.load_versions(stored, newest_loaded, memory_);

    std::unordered_set<object_history*> with_past;
    std::vector<named_version<object_history>> named;
    for (const task& one : tasks_) {
        if (one.extent != nullptr || !may_have_more(*one.object)) continue;
        const version_row& oldest = *one.object->versions.by_time().begin()->second;
        const std::string_view version = one.line->fields.version_guid;
        // Versions that wait for a place may be waiting before those loaded too.
        const bool has_past =
            !oldest.has_place() || earliest_time(one.line->fields, before_ + one.line->number) <= oldest.vtime;
        if (has_past)
            with_past.insert(one.object);
        else if (!version.empty() && one.object->versions.find(version) == nullptr)
            named.push_back({one.object, version});
    }
    store_.load_versions(std::vector(with_past.begin(), with_past.end()), all_versions, memory_);
    store_.load_versions(named, memory_);
}

void working_set::load_extents() {
    for (const auto& [key, extent] : extent_of_number_)
        extent->file = key.first->id;
    std::vector<extent_history*> stored;
    for (const auto& [key, extent] : extent_of_number_) {
        if (!key.first->is_new) stored.push_back(extent);
    }
    store_.load_extents(stored, newest_loaded, memory_);
    for (extent_history* one : stored)
        one->newest_stored = one->versions.newest();

    std::vector<named_version<extent_history>> named;
    for (const task& one : tasks_) {
        if (one.extent == nullptr || !may_have_more(*one.extent)) continue;
        const std::string_view version = one.line->fields.version_guid;
        if (!version.empty() && one.extent->versions.find(version) == nullptr) named.push_back({one.extent, version});
    }
    store_.load_extents(named, memory_);
}

line_place working_set::place_of(const task& one) {
    const std::string_view name = one.line->fields.name;
    return {one.parent != nullptr ? one.parent->id : 0, name, memory_.keep(name_key(folded_name(name)))};
}

void working_set::write() {
    row_writer<object_history, version_row> versions(store_, row_store::id_kind::version);
    for (const object_history* changed : changing_)
        versions.add(*changed);
    versions.give_ids();

    row_writer<extent_history, extent_row> extents(store_, row_store::id_kind::extent);
    for (const extent_history& changed : extents_)
        extents.add(changed);
    extents.give_ids();

    changed_objects objects;
    for (const object_history& one : objects_) {
        const version_row* newest = one.versions.newest();
        if (one.is_new)
            objects.added.push_back(&one);
        else if (newest != nullptr && newest->id != one.newest_id)
            objects.changed.push_back(&one);
    }
    store_.write(objects);
    versions.write();
    extents.write();
}

}  // namespace index_server
