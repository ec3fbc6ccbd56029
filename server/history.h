// The versions of objects that stand, or stood, in a directory, with the moment at which each one's stay there ends.
//
// A version ends in its place when it is deleted, when a newer version of the object stands elsewhere, or when the
// newer version that took its place there ends. This is worked out from the rows at each search: it cannot disagree
// with them, in whatever order they arrived.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "server/engine.h"
#include "server/sql.h"

namespace index_server {

/// One version of an object and its stay in the place asked about.
struct version_in_place {
    std::int64_t id = 0;
    std::int64_t object = 0;
    std::int64_t vtime = 0;
    std::int64_t end_s = 0;  ///< seconds; 0 when it has not ended
    std::int64_t data_type = 0;
    std::int64_t parent = 0;  ///< where it stands; 0 when nobody has told
    bool in_place = false;    ///< false for a version that stands elsewhere
    std::string name;
};

/// The place asked about: a directory, or one name in it.
struct place_filter {
    std::int64_t parent = 0;
    std::optional<std::string> name;
    bool fold_case = false;
};

/// Prepared on one connection. locks: called inside a read transaction.
class history {
public:
    explicit history(sql_connection& connection);

    /// Begins the questions of one search.
    void begin(const share& target) { share_ = target.subclient_id; }

    /// The object above the share's root; 0 when the share has none.
    std::int64_t top();

    /// Each object's newest version, if it stands in the place.
    void newest(const place_filter& place, const std::function<void(const version_in_place&)>& visit);

    /// All versions of each object that ever stood in the place, newest first, one call for an object.
    void all(const place_filter& place, const std::function<void(const std::vector<version_in_place>&)>& visit);

    /// The object's newest version, wherever it stands; nothing when none is known.
    std::optional<version_in_place> newest_of(std::int64_t object);

    /// All versions of the object, wherever they stand, newest first.
    std::vector<version_in_place> all_of(std::int64_t object);

private:
    bool matches(const place_filter& place, std::string_view name) const;

    std::int64_t share_ = 0;
    std::string folded_;
    std::unordered_map<std::int64_t, std::int64_t> tops_;  ///< by share; neither ever changes nor comes again
    sql_statement find_top_;
    sql_statement newest_in_directory_;
    sql_statement newest_of_name_;
    sql_statement all_in_directory_;
    sql_statement all_of_name_;
    sql_statement newest_of_object_;
    sql_statement all_of_object_;
};

}  // namespace index_server
