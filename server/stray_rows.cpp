// The search for stray rows. Each table has an index that begins with the share and the owner, so a step reads a piece
// of that index and looks each owner up by its id.
#include "server/stray_rows.h"

#include <iterator>

#include "server/place_text.h"

namespace index_server {

namespace {

/// Rows that one step looks at, about: tens of milliseconds.
constexpr std::int64_t rows_at_once = 20000;

struct row_kind {
    const char *table, *owner_column, *owner_table;
    const char *rows, *owner;  ///< in a sentence
};

constexpr row_kind kinds[] = {
    {"version", "object", "object", "versions", "object"},
    {"extent", "file", "object", "versions of extents", "object"},
    {"version_property", "version", "version", "properties", "version"},
    {"extent_property", "extent", "extent", "properties", "version of an extent"},
};

/// The owners of one kind of rows, a stretch at a time.
class owners {
public:
    owners(sql_connection& c, const row_kind& kind, std::int64_t share, std::int64_t after)
        : kind_(kind),
          share_(share),
          after_(after),
          find_last_(c,
                     ("SELECT max(owner), count(*) FROM (SELECT " + of_share() + "ORDER BY owner LIMIT ?3) p").c_str()),
          // The look-up stands where no engine makes a join of it, which could read all owners for each stretch.
          find_strays_(c, ("SELECT owner, rows_of FROM (SELECT " + counted() + "GROUP BY " + kind.owner_column +
                           ") p WHERE (SELECT o.id FROM " + kind.owner_table +
                           " o WHERE o.share = ?1 AND o.id = p.owner) IS NULL ORDER BY owner")
                              .c_str()) {}

    std::int64_t after() const { return after_; }

    /// Goes on by `most` rows or a few more, and returns how many there were.
    std::int64_t advance(std::int64_t most, const std::function<void(std::string)>& found) {
        const statement_run run(find_last_);
        find_last_.bind(1, share_).bind(2, after_).bind(3, most).step();
        const std::int64_t rows = find_last_.integer(1);
        if (rows == 0) return 0;
        const std::int64_t last = find_last_.integer(0);
        const statement_run strays(find_strays_);
        find_strays_.bind(1, share_).bind(2, after_).bind(3, last);
        while (find_strays_.step())
            found(std::to_string(find_strays_.integer(1)) + " " + kind_.rows + " belong to " + kind_.owner + " " +
                  std::to_string(find_strays_.integer(0)) + ", which is not there");
        after_ = last;
        return rows;
    }

private:
    std::string of_share() const {
        return std::string(kind_.owner_column) + " AS owner FROM " + kind_.table + " WHERE share = ?1 AND " +
               kind_.owner_column + " > ?2 ";
    }
    std::string counted() const {
        return "count(*) AS rows_of, " + of_share() + "AND " + kind_.owner_column + " <= ?3 ";
    }

    const row_kind& kind_;
    const std::int64_t share_;
    std::int64_t after_;
    sql_statement find_last_;
    sql_statement find_strays_;
};

}  // namespace

std::optional<step_place> stray_rows::step(const step_place& from, const std::function<void(std::string)>& found) {
    number_place place = read_place(from, std::ssize(kinds));
    std::int64_t left = rows_at_once;
    for (; place.list < std::ssize(kinds); place = {place.list + 1, 0}) {
        owners named(connection_, kinds[place.list], share_, place.after);
        while (const std::int64_t seen = named.advance(left, found)) {
            left -= seen;
            if (left <= 0) return place_text({place.list, named.after()});
        }
    }
    return std::nullopt;
}

}  // namespace index_server
