// The steps from each former version to the next.
#include "server/sqlite_upgrades.h"

namespace index_server {

namespace {

/// In version 1 a token granted one share.
constexpr const char* upgrade_from_1 = R"(
ALTER TABLE token RENAME TO former_token;
CREATE TABLE token(
    id INTEGER PRIMARY KEY, hash TEXT NOT NULL, subclient_id INTEGER NOT NULL, UNIQUE(hash, subclient_id));
INSERT INTO token SELECT id, hash, subclient_id FROM former_token;
DROP TABLE former_token;
)";

/// In version 2 an extent did not know its share, nor whether it was the newest of its number.
constexpr const char* upgrade_from_2 = R"(
ALTER TABLE extent ADD COLUMN share INTEGER NOT NULL DEFAULT 0;
ALTER TABLE extent ADD COLUMN state INTEGER NOT NULL DEFAULT 2;
UPDATE extent SET share = (SELECT share FROM object WHERE id = extent.file);
UPDATE extent SET state = dtime <> 0 WHERE NOT EXISTS(
    SELECT 1 FROM extent n WHERE n.file = extent.file AND n.number = extent.number
    AND (n.vtime, n.arrival) > (extent.vtime, extent.arrival));
)";

/// In version 3 rows did not name their share, and one counter of arrivals served all shares.
constexpr const char* set_aside_3 = R"(
ALTER TABLE share ADD COLUMN last_arrival BIGINT NOT NULL DEFAULT 0;
UPDATE share SET last_arrival = (SELECT value FROM meta WHERE key = 'last_arrival');
DROP TABLE meta;
CREATE TABLE withdrawn_share(subclient_id INTEGER PRIMARY KEY);
ALTER TABLE collect_transaction ADD COLUMN lines BIGINT NOT NULL DEFAULT 0;
ALTER TABLE collect_transaction ADD COLUMN server TEXT NOT NULL DEFAULT '';
DROP INDEX IF EXISTS object_by_guid;
DROP INDEX IF EXISTS version_by_guid;
DROP INDEX IF EXISTS version_by_time;
DROP INDEX IF EXISTS version_by_name;
DROP INDEX IF EXISTS version_by_place;
DROP INDEX IF EXISTS version_without_place;
DROP INDEX IF EXISTS extent_by_guid;
DROP INDEX IF EXISTS extent_by_time;
DROP INDEX IF EXISTS extent_to_back_up;
ALTER TABLE object RENAME TO former_object;
ALTER TABLE version RENAME TO former_version;
ALTER TABLE version_property RENAME TO former_version_property;
ALTER TABLE extent RENAME TO former_extent;
ALTER TABLE extent_property RENAME TO former_extent_property;
)";

constexpr const char* take_over_3 = R"(
INSERT INTO object(id, share, guid, newest) SELECT id, share, guid, newest FROM former_object;
INSERT INTO version(id, share, object, version_guid, parent, name, name_key, state, vtime, arrival, dtime, whole,
                    data_type, size, mode, uid, gid, atime, ctime, mtime, extent_type, extent_size, extent_number,
                    link_target, xattr, backup_id)
    SELECT v.id, o.share, v.object, v.version_guid, v.parent, v.name, v.name_key, v.state, v.vtime, v.arrival, v.dtime,
           v.whole, v.data_type, v.size, v.mode, v.uid, v.gid, v.atime, v.ctime, v.mtime, v.extent_type, v.extent_size,
           v.extent_number, v.link_target, v.xattr, v.backup_id
    FROM former_version v JOIN former_object o ON o.id = v.object;
INSERT INTO version_property(share, version, name, value)
    SELECT v.share, p.version, p.name, p.value FROM former_version_property p JOIN version v ON v.id = p.version;
INSERT INTO extent(id, share, file, number, version_guid, guid, state, vtime, arrival, dtime, data_type, size,
                   extent_type, link_target, xattr, backup_id)
    SELECT id, share, file, number, version_guid, guid, state, vtime, arrival, dtime, data_type, size, extent_type,
           link_target, xattr, backup_id
    FROM former_extent;
INSERT INTO extent_property(share, extent, name, value)
    SELECT e.share, p.extent, p.name, p.value FROM former_extent_property p JOIN extent e ON e.id = p.extent;
DROP TABLE former_extent_property;
DROP TABLE former_extent;
DROP TABLE former_version_property;
DROP TABLE former_version;
DROP TABLE former_object;
)";

}  // namespace

void upgrade_sqlite(sql_connection& connection, std::int64_t found, const std::function<void()>& make_index_tables) {
    if (found < 2) connection.execute(upgrade_from_1);
    if (found < 3) connection.execute(upgrade_from_2);
    connection.execute(set_aside_3);
    make_index_tables();
    connection.execute(take_over_3);
}

}  // namespace index_server
