// The application of collect lines to extents.
#include "server/extent_rules.h"

#include <utility>

#include "server/version_time.h"

namespace index_server {

namespace {

// What stands for the number of an extent whose line has none, as in the records of the library.
constexpr std::int64_t no_number = -1;

/// The row's values that a known version takes over too.
template <class Take>
void each_value(Take take) {
    take(&extent_row::size, &collect_line::size);
    take(&extent_row::extent_type, &collect_line::extent_type);
    take(&extent_row::link_target, &collect_line::link_target);
    take(&extent_row::xattr, &collect_line::xattr);
}

extent_row& insert(extent_history& extent, const collect_line& line, std::int64_t arrival) {
    extent_row row;
    row.version_guid = line.version_guid;
    row.guid = line.object_guid;
    row.vtime = version_time(line, arrival);
    row.arrival = arrival;
    row.data_type = line.object_type;
    return extent.versions.add(std::move(row));
}

void end_as_told(extent_row& row, const collect_line& line, std::int64_t arrival) {
    const std::int64_t dtime = line.dtime.value_or(0);
    if (line.op == collect_op::remove) {
        // Without a time of its own a deletion leaves an earlier end in place, so that it can come twice.
        if (dtime != 0 || row.dtime == 0) set_end(row, dtime != 0 ? dtime : second_of(arrival));
    } else if (line.op == collect_op::add) {
        set_end(row, dtime > 0 ? dtime : 0);
    } else if (line.dtime) {
        set_end(row, dtime);
    }
}

void fill_from(extent_row& row, const extent_row& source) {
    fill(row.data_type, source.data_type, row.changes, changed_values);
    each_value([&](auto member, auto) { fill(row.*member, source.*member, row.changes, changed_values); });
}

/// Each value of the newest version that tells it, and the properties down to the newest stored version, which tells
/// those that are not in memory.
extent_row newest_values(const extent_history& extent, property_budget& budget) {
    extent_row values;
    const auto& by_time = extent.versions.by_time();
    for (auto newest = by_time.rbegin(); newest != by_time.rend(); ++newest) {
        fill_from(values, *newest->second);
        if (values.copy_from == 0) fill_properties(values, *newest->second, budget);
    }
    return values;
}

}  // namespace

std::int64_t extent_number_of(const collect_line& line) {
    return line.extent_number.value_or(no_number);
}

void apply_line(extent_history& extent, const collect_line& line, std::int64_t arrival) {
    extent_row* row = line.version_guid.empty() ? extent.versions.newest() : extent.versions.find(line.version_guid);
    if (row == nullptr) {
        row = &insert(extent, line, arrival);
    } else if (line.op != collect_op::remove || row == extent.newest_stored) {
        extent.versions.arrive(*row, arrival);
    }
    each_value([&](auto to, auto from) { lay_over(row->*to, line.*from, row->changes, changed_values); });
    set_properties(*row, line.custom_props);
    end_as_told(*row, line, arrival);
}

void settle(extent_history& extent, property_budget& budget) {
    if (extent.versions.size() > 1) {
        const extent_row values = newest_values(extent, budget);
        for (const auto& [when, row] : extent.versions.by_time()) {
            if (!row->is_new) continue;
            fill_from(*row, values);
            fill_properties(*row, values, budget);
        }
    }
    extent.versions.settle_states();
}

}  // namespace index_server
