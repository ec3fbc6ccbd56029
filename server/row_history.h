// The rows of the index as the application of a collect file holds them in memory: plain values, and the versions of
// one object or extent in the order that decides among them.
//
// Texts point into memory that outlives the rows. A number without value and an empty text both mean that nobody has
// told the value yet.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <iterator>
#include <limits>
#include <map>
#include <memory_resource>
#include <optional>
#include <stdexcept>
#include <string_view>
#include <utility>
#include <vector>

namespace index_server {

enum class row_state : std::int64_t {
    living = 0,      ///< the newest version, and not deleted
    deleted = 1,     ///< the newest version, and deleted
    superseded = 2,  ///< not the newest version
};

/// Groups of columns that are written together, since the same indexes hold them.
enum row_change : unsigned {
    changed_values = 1u << 0,
    changed_place = 1u << 1,  ///< and the data type, which the order of a directory's pages holds too
    changed_arrival = 1u << 2,
    changed_end = 1u << 3,  ///< deletion time and state
};

/// What versions of objects and of extents have in common.
struct dated_row {
    std::int64_t id = 0;
    std::string_view version_guid;
    std::int64_t vtime = 0;  ///< ns
    std::int64_t arrival = 0;
    std::int64_t dtime = 0;  ///< seconds; 0 while not deleted
    row_state state = row_state::superseded;
    std::optional<std::int64_t> data_type;
    std::optional<std::int64_t> size;
    std::optional<std::int64_t> extent_type;
    std::string_view link_target;
    std::string_view xattr;

    bool is_new = true;    ///< not stored yet
    unsigned changes = 0;  ///< row_change bits, for a stored row
    /// Properties to be set, by name. Those that are stored already are not read.
    std::map<std::string_view, std::string_view> properties;
    std::int64_t copy_from = 0;  ///< stored row whose properties this one takes where it has none of that name; or 0
};

struct version_row : dated_row {
    std::int64_t parent = 0;  ///< id of an object; 0 when not told
    std::string_view name;
    std::string_view name_key;
    bool whole = false;  ///< an addition brought the row: what its line left out was not there at that time
    std::optional<std::int64_t> mode;
    std::optional<std::int64_t> uid;
    std::optional<std::int64_t> gid;
    std::optional<std::int64_t> atime;
    std::optional<std::int64_t> ctime;
    std::optional<std::int64_t> mtime;
    std::optional<std::int64_t> extent_size;
    std::optional<std::int64_t> extent_number;
    /// The end that an addition took away, should a deletion without a time follow in the same file; or 0.
    std::int64_t revived_dtime = 0;

    bool has_place() const { return parent != 0 && !name.empty(); }
};

struct extent_row : dated_row {
    std::string_view guid;
};

/// Versions under their GUIDs and in the order of (version time, arrival). Rows stay where they are in memory.
template <class Row>
class row_history {
public:
    using moment = std::pair<std::int64_t, std::int64_t>;

    /// The memory outlives this.
    explicit row_history(std::pmr::memory_resource* memory = std::pmr::get_default_resource())
        : by_guid_(memory), by_time_(memory) {}

    static moment moment_of(const Row& row) { return {row.vtime, row.arrival}; }

    bool empty() const { return by_time_.empty(); }
    std::size_t size() const { return by_time_.size(); }
    /// Oldest first.
    const std::pmr::map<moment, Row*>& by_time() const { return by_time_; }

    Row* find(std::string_view version_guid) {
        const auto found = by_guid_.find(version_guid);
        return found == by_guid_.end() ? nullptr : &found->second;
    }
    Row* newest() const { return empty() ? nullptr : by_time_.rbegin()->second; }
    /// The newest one whose version time is not after the moment.
    Row* newest_up_to(std::int64_t vtime) const {
        return last_before(by_time_.upper_bound({vtime, std::numeric_limits<std::int64_t>::max()}));
    }
    Row* before(const Row& row) const { return last_before(by_time_.lower_bound(moment_of(row))); }

    /// A row under a GUID that is there already is not taken: what is in memory may have been changed.
    Row& add(Row row) {
        const auto [place, is_new] = by_guid_.try_emplace(row.version_guid, std::move(row));
        if (is_new) by_time_.emplace(moment_of(place->second), &place->second);
        return place->second;
    }

    /// The row has come again.
    void arrive(Row& row, std::int64_t arrival) {
        by_time_.erase(moment_of(row));
        row.arrival = arrival;
        row.changes |= changed_arrival;
        by_time_.emplace(moment_of(row), &row);
    }

    /// Gives each row the state that its place in the order and its end make.
    void settle_states() {
        for (const auto& [when, row] : by_time_) {
            const row_state state = row != newest()   ? row_state::superseded
                                    : row->dtime != 0 ? row_state::deleted
                                                      : row_state::living;
            if (state != row->state) row->changes |= changed_end;
            row->state = state;
        }
    }

private:
    Row* last_before(typename std::pmr::map<moment, Row*>::const_iterator after) const {
        return after == by_time_.begin() ? nullptr : std::prev(after)->second;
    }

    std::pmr::map<std::string_view, Row> by_guid_;
    std::pmr::map<moment, Row*> by_time_;
};

/// Sets the row's deletion time.
inline void set_end(dated_row& row, std::int64_t dtime) {
    if (row.dtime != dtime) row.changes |= changed_end;
    row.dtime = dtime;
}

/// Takes a value over, if there is one; `changes` gets the bit when that makes a difference.
template <class Value>
void lay_over(std::optional<Value>& to, const std::optional<Value>& value, unsigned& changes, unsigned bit) {
    if (!value || to == value) return;
    to = value;
    changes |= bit;
}
inline void lay_over(std::string_view& to, std::string_view value, unsigned& changes, unsigned bit) {
    if (value.empty() || to == value) return;
    to = value;
    changes |= bit;
}

/// Takes a value over where there is none.
template <class Value>
void fill(Value& to, const Value& value, unsigned& changes, unsigned bit) {
    if (to != Value{} || value == Value{}) return;
    to = value;
    changes |= bit;
}

/// Sets properties; they replace those of the same names.
template <class Properties>
void set_properties(dated_row& row, const Properties& properties) {
    for (const auto& [name, value] : properties)
        row.properties.insert_or_assign(name, value);
}

/// Thrown for a file that nothing can be done about; nothing of it is stored.
class too_many_properties : public std::runtime_error {
public:
    too_many_properties() : std::runtime_error("its versions take over too many custom properties") {}
};

/// Bounds what rows of one part of a file take over from each other: some lines that tell many properties, and many
/// that tell none, would otherwise multiply in memory and in the storage.
class property_budget {
public:
    static constexpr std::size_t most = 4'000'000;

    explicit property_budget(std::size_t left = most) : left_(left) {}

    /// Throws too_many_properties when there is not that much left.
    void spend(std::size_t count) {
        if (count > left_) throw too_many_properties();
        left_ -= count;
    }

private:
    std::size_t left_;
};

/// Lets a new row have the properties of another, where it has none of that name itself. Throws too_many_properties.
inline void fill_properties(dated_row& row, const dated_row& source, property_budget& budget) {
    row.copy_from = source.is_new ? source.copy_from : source.id;
    if (!source.is_new) return;
    budget.spend(source.properties.size());
    row.properties.insert(source.properties.begin(), source.properties.end());
}

}  // namespace index_server
