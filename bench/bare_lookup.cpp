// The statements of a search.
#include "bench/bare_lookup.h"

#include "hostkit/message_escape.h"
#include "server/sqlite_driver.h"

namespace bench {

namespace {

using index_server::statement_run;

#define IIF_ROW                                                                                                    \
    "SELECT v.name, o.guid, v.version_guid, p.guid, v.size, v.mtime, v.atime, v.backup_id, v.uid, v.gid, v.mode, " \
    "v.extent_type, v.ctime, v.xattr, v.extent_number, v.vtime, v.dtime, v.extent_size, v.link_target "            \
    "FROM version v JOIN object o ON o.id = v.object LEFT JOIN object p ON p.id = v.parent "
constexpr const char* read_row_sql = IIF_ROW "WHERE v.share = ?1 AND v.id = ?2";
constexpr const char* read_page_sql =
    IIF_ROW "WHERE v.share = ?1 AND v.parent = ?2 AND v.state < 2 ORDER BY v.state, v.vtime, v.id LIMIT ?3";
#undef IIF_ROW
constexpr int row_columns = 19;

constexpr const char* attribute_names[row_columns] = {
    "fileName",     "objectGuid",  "versionGuid", "parentGuid", "size",      "modifiedTime", "accessTime",
    "backupId",     "owner",       "group",       "mode",       "isExtent",  "changeTime",   "extendedAttributes",
    "extentNumber", "versionTime", "deletedTime", "extentSize", "linkTarget"};

bare_lookup::row row_of(const index_server::sql_statement& rows) {
    bare_lookup::row made;
    made.reserve(row_columns);
    for (int column = 0; column < row_columns; ++column)
        made.emplace_back(rows.text(column));
    return made;
}

}  // namespace

bare_lookup::bare_lookup(const std::string& database, const index_server::share_access& share)
    : share_(share.subclient_id),
      folder_(std::to_string(share.folder_id)),
      connection_(index_server::open_sqlite(database, index_server::sql_access::read)),
      find_object_(*connection_, "SELECT id FROM object WHERE share = ?1 AND guid = ?2"),
      find_name_(*connection_,
                 "SELECT object, id FROM version WHERE share = ?1 AND parent = ?2 AND name_key = ?3 AND +state < 2"),
      find_newest_(*connection_,
                   "SELECT id, parent, name FROM version WHERE share = ?1 AND object = ?2 "
                   "ORDER BY vtime DESC, arrival DESC LIMIT 1"),
      read_row_(*connection_, read_row_sql),
      read_page_(*connection_, read_page_sql) {}

std::int64_t bare_lookup::object_at(std::int64_t parent, const std::string& name) {
    const statement_run run(find_name_);
    return find_name_.bind(1, share_).bind(2, parent).bind(3, name).step() ? find_name_.integer(0) : 0;
}

std::int64_t bare_lookup::directory_at(const std::string& name) {
    const statement_run run(find_object_);
    if (!find_object_.bind(1, share_).bind(2, std::string_view("")).step()) return 0;
    return object_at(object_at(find_object_.integer(0), folder_), name);
}

bool bare_lookup::by_path(const std::string& directory, const std::string& name) {
    const statement_run run(find_name_);
    const std::int64_t parent = directory_at(directory);
    if (!find_name_.bind(1, share_).bind(2, parent).bind(3, name).step()) return false;
    const statement_run read(read_row_);
    return read_row_.bind(1, share_).bind(2, find_name_.integer(1)).step() && !row_of(read_row_).empty();
}

bool bare_lookup::by_guid(const std::string& guid) {
    std::int64_t object = 0, version = 0;
    {
        const statement_run run(find_object_);
        if (!find_object_.bind(1, share_).bind(2, guid).step()) return false;
        object = find_object_.integer(0);
    }
    std::string path;
    while (object != 0) {
        const statement_run run(find_newest_);
        if (!find_newest_.bind(1, share_).bind(2, object).step()) break;
        if (version == 0) version = find_newest_.integer(0);
        path = "/" + std::string(find_newest_.text(2)) + path;
        object = find_newest_.integer(1);
    }
    const statement_run read(read_row_);
    return !path.empty() && read_row_.bind(1, share_).bind(2, version).step() && !row_of(read_row_).empty();
}

std::vector<bare_lookup::row> bare_lookup::page(const std::string& directory, std::size_t size) {
    const std::int64_t parent = directory_at(directory);
    std::vector<row> rows;
    const statement_run run(read_page_);
    read_page_.bind(1, share_).bind(2, parent).bind(3, static_cast<std::int64_t>(size));
    while (read_page_.step())
        rows.push_back(row_of(read_page_));
    return rows;
}

std::string bare_lookup::written(const std::vector<row>& rows) {
    std::string text;
    for (const row& each : rows) {
        text += "<resultItems";
        for (int column = 0; column < row_columns; ++column) {
            if (each[static_cast<std::size_t>(column)].empty()) continue;
            text.append(" ").append(attribute_names[column]).append("=\"");
            hostkit::append_escaped(text, each[static_cast<std::size_t>(column)]);
            text += '"';
        }
        text += "/>";
    }
    return text;
}

}  // namespace bench
