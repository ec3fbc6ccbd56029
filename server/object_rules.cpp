// The application of collect lines to objects. The rules are told in the header.
#include "server/object_rules.h"

#include <algorithm>
#include <limits>
#include <utility>

#include "server/version_time.h"

namespace index_server {

namespace {

/// The type of an object by its mode, for those kinds that lines carry no type for and for lines that leave it out.
std::optional<std::int64_t> type_of_mode(std::int64_t mode) {
    switch (mode & 0xF000) {
        case 0x8000:
            return 1;
        case 0xA000:
            return 2;
        case 0xC000:
            return 3;
        case 0x4000:
            return 4;
        case 0x1000:
            return 6;
        case 0x6000:
            return 7;
        case 0x2000:
            return 8;
        default:
            return std::nullopt;
    }
}

std::optional<std::int64_t> data_type_of(const collect_line& line) {
    // A deletion says 1 for a directory.
    if (line.object_type && line.op != collect_op::remove) return line.object_type;
    return line.mode ? type_of_mode(*line.mode) : std::nullopt;
}

/// A row's values as a line tells them. Both kinds have members of the same names.
template <class Take>
void each_value(Take take) {
    take(&version_row::size, &collect_line::size);
    take(&version_row::mode, &collect_line::mode);
    take(&version_row::uid, &collect_line::uid);
    take(&version_row::gid, &collect_line::gid);
    take(&version_row::atime, &collect_line::atime);
    take(&version_row::ctime, &collect_line::ctime);
    take(&version_row::mtime, &collect_line::mtime);
    take(&version_row::extent_type, &collect_line::extent_type);
    take(&version_row::extent_size, &collect_line::extent_size);
    take(&version_row::extent_number, &collect_line::extent_number);
    take(&version_row::link_target, &collect_line::link_target);
    take(&version_row::xattr, &collect_line::xattr);
}

void lay_line_over(version_row& row, const collect_line& line, const line_place& place) {
    if (place.parent != 0 && place.parent != row.parent) {
        row.parent = place.parent;
        row.changes |= changed_place;
    }
    lay_over(row.name, place.name, row.changes, changed_place);
    lay_over(row.name_key, place.name_key, row.changes, changed_place);
    lay_over(row.data_type, data_type_of(line), row.changes, changed_place);
    each_value([&](auto to, auto from) { lay_over(row.*to, line.*from, row.changes, changed_values); });
    set_properties(row, line.custom_props);
}

version_row* named_version(object_history& object, const collect_line& line) {
    // A line that names no version tells of the newest one.
    return line.version_guid.empty() ? object.versions.newest() : object.versions.find(line.version_guid);
}

void insert(object_history& object, const collect_line& line, const line_place& place, std::int64_t vtime,
            std::int64_t arrival, std::int64_t dtime) {
    version_row row;
    row.version_guid = line.version_guid;
    row.vtime = vtime;
    row.arrival = arrival;
    row.dtime = dtime;
    row.whole = line.op == collect_op::add;
    lay_line_over(object.versions.add(std::move(row)), line, place);
}

void revive(version_row& version) {
    if (version.dtime == 0) return;
    version.revived_dtime = version.dtime;
    set_end(version, 0);
}

void apply_change(object_history& object, const collect_line& line, const line_place& place, std::int64_t arrival) {
    const std::optional<std::int64_t> end = object.is_root ? std::nullopt : line.dtime;
    const std::int64_t dtime = end.value_or(0);
    version_row* known = named_version(object, line);
    if (known == nullptr) {
        const bool ended = line.op == collect_op::add ? dtime > 0 : dtime != 0;
        insert(object, line, place, version_time(line, arrival), arrival, ended ? dtime : 0);
        return;
    }
    lay_line_over(*known, line, place);
    object.versions.arrive(*known, arrival);
    if (line.op == collect_op::add && dtime <= 0) {
        revive(*known);
    } else if (end) {
        set_end(*known, dtime);
    }
}

void end_version(version_row& version, const collect_line& line, std::int64_t arrival) {
    std::int64_t end = line.dtime.value_or(0);
    if (end == 0) {
        if (version.dtime != 0) return;
        // A version of a host whose clock is ahead must not end before it began.
        end =
            version.revived_dtime != 0 ? version.revived_dtime : std::max(second_of(arrival), second_of(version.vtime));
    }
    set_end(version, end);
}

void apply_deletion(object_history& object, const collect_line& line, const line_place& place, std::int64_t arrival) {
    const bool timed = line.dtime.value_or(0) != 0;
    const std::int64_t last_ns = timed ? last_ns_of(*line.dtime) : std::numeric_limits<std::int64_t>::max();
    const bool names_version = !line.version_guid.empty() || object.versions.empty();
    if (names_version) {
        if (version_row* known = named_version(object, line)) {
            lay_line_over(*known, line, place);
            object.versions.arrive(*known, arrival);
        } else {
            // Nothing of the object is younger than its deletion.
            insert(object, line, place, std::min(version_time(line, arrival), last_ns), arrival, 0);
        }
    }
    version_row* ended = object.versions.newest_up_to(last_ns);
    if (ended == nullptr) return;
    if (line.version_guid.empty()) lay_line_over(*ended, line, place);
    end_version(*ended, line, arrival);
}

/// The newest of all others.
version_row* newest_beside(const object_history& object, const version_row& row) {
    version_row* newest = object.versions.newest();
    return newest == &row ? object.versions.before(row) : newest;
}

void fill_values(object_history& object, version_row& row, property_budget& budget) {
    version_row* source = object.versions.before(row);
    if (source == nullptr && !row.whole) source = newest_beside(object, row);
    if (source == nullptr) return;
    fill(row.data_type, source->data_type, row.changes, changed_place);
    each_value([&](auto member, auto) { fill(row.*member, source->*member, row.changes, changed_values); });
    fill_properties(row, *source, budget);
}

void fill_places(object_history& object) {
    const auto& by_time = object.versions.by_time();
    const auto has_place = [](const auto& entry) { return entry.second->has_place(); };
    const auto newest = std::find_if(by_time.rbegin(), by_time.rend(), has_place);
    if (newest == by_time.rend()) return;
    const version_row* source = newest->second;
    const version_row* earlier = nullptr;
    for (const auto& [when, row] : by_time) {
        if (row->has_place()) {
            earlier = row;
            continue;
        }
        const version_row& from = earlier != nullptr ? *earlier : *source;
        fill(row->parent, from.parent, row->changes, changed_place);
        fill(row->name, from.name, row->changes, changed_place);
        fill(row->name_key, from.name_key, row->changes, changed_place);
        earlier = row;
    }
}

}  // namespace

void apply_line(object_history& object, const collect_line& line, const line_place& told, std::int64_t arrival) {
    const line_place place = object.is_root ? line_place{} : told;
    if (line.op != collect_op::remove) {
        apply_change(object, line, place, arrival);
    } else if (!object.is_root) {
        apply_deletion(object, line, place, arrival);
    }
}

void settle(object_history& object, property_budget& budget) {
    // Oldest first, so that what a version takes from has been filled itself.
    for (const auto& [when, row] : object.versions.by_time()) {
        if (row->is_new) fill_values(object, *row, budget);
    }
    fill_places(object);
    object.versions.settle_states();
}

}  // namespace index_server
