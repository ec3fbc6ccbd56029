// Rows as they are read.
#include "server/row_columns.h"

namespace index_server {

version_row read_version(const sql_statement& row, int first, text_arena& texts) {
    version_row version;
    version.is_new = false;
    version.id = row.integer(first);
    version.version_guid = texts.keep(row.text(first + 1));
    version.parent = row.integer(first + 2);
    version.name = texts.keep(row.text(first + 3));
    version.name_key = texts.keep(row.text(first + 4));
    version.state = static_cast<row_state>(row.integer(first + 5));
    version.vtime = row.integer(first + 6);
    version.arrival = row.integer(first + 7);
    version.dtime = row.integer(first + 8);
    version.whole = row.integer(first + 9) != 0;
    version.data_type = row.integer_if_any(first + 10);
    version.size = row.integer_if_any(first + 11);
    version.mode = row.integer_if_any(first + 12);
    version.uid = row.integer_if_any(first + 13);
    version.gid = row.integer_if_any(first + 14);
    version.atime = row.integer_if_any(first + 15);
    version.ctime = row.integer_if_any(first + 16);
    version.mtime = row.integer_if_any(first + 17);
    version.extent_type = row.integer_if_any(first + 18);
    version.extent_size = row.integer_if_any(first + 19);
    version.extent_number = row.integer_if_any(first + 20);
    version.link_target = texts.keep(row.text(first + 21));
    version.xattr = texts.keep(row.text(first + 22));
    return version;
}

extent_row read_extent(const sql_statement& row, int first, text_arena& texts) {
    extent_row extent;
    extent.is_new = false;
    extent.id = row.integer(first);
    extent.version_guid = texts.keep(row.text(first + 1));
    extent.guid = texts.keep(row.text(first + 2));
    extent.state = static_cast<row_state>(row.integer(first + 3));
    extent.vtime = row.integer(first + 4);
    extent.arrival = row.integer(first + 5);
    extent.dtime = row.integer(first + 6);
    extent.data_type = row.integer_if_any(first + 7);
    extent.size = row.integer_if_any(first + 8);
    extent.extent_type = row.integer_if_any(first + 9);
    extent.link_target = texts.keep(row.text(first + 10));
    extent.xattr = texts.keep(row.text(first + 11));
    return extent;
}

}  // namespace index_server
