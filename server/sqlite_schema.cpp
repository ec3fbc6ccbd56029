// The tables of the embedded engine.
//
// object     One row per (share, GUID), so that the tables below hold small numbers that grow with arrival: their
//            indexes then grow at one end, while a GUID as key would scatter every insertion. The empty GUID of a
//            share stands above its root. A parent that nothing is known of yet has a row here and no version.
// version    One row per version of an object, with the place where the object then stood.
//            state   0 the object's newest version, living; 1 its newest version, deleted; 2 superseded.
//            arrival ns, unique and rising over all lines that were ever applied; breaks ties of vtime.
//            dtime   seconds; 0 while not deleted.
//            whole   1 when an addition brought the row: what its line left out was not there at that time.
//            No value in any other column means that nobody has told it yet.
//            version_by_place lists a directory in the order of its pages and holds all that is needed to skip pages.
// extent     One row per version of an extent of a file, by (file, number); state as of a version. extent_to_back_up
//            lists a share's extents without backup data in the order of their pages.
// meta       last_arrival, the highest arrival given out.
#include "server/sqlite_schema.h"

#include <stdexcept>

namespace index_server {

namespace {

constexpr std::int64_t schema_version = 3;

constexpr const char* create_tables = R"(
CREATE TABLE meta(key TEXT PRIMARY KEY, value INTEGER NOT NULL) WITHOUT ROWID;
INSERT INTO meta VALUES('last_arrival', 0);

CREATE TABLE share(
    subclient_id INTEGER PRIMARY KEY,
    name TEXT NOT NULL UNIQUE,
    client_id INTEGER NOT NULL UNIQUE,
    folder_id INTEGER NOT NULL UNIQUE,
    root_guid TEXT NOT NULL,
    index_server_name TEXT NOT NULL UNIQUE);

CREATE TABLE token(
    id INTEGER PRIMARY KEY, hash TEXT NOT NULL, subclient_id INTEGER NOT NULL, UNIQUE(hash, subclient_id));

CREATE TABLE collect_transaction(
    seq INTEGER PRIMARY KEY,
    id TEXT NOT NULL UNIQUE,
    subclient_id INTEGER NOT NULL,
    status INTEGER NOT NULL,
    error TEXT NOT NULL,
    created_ns INTEGER NOT NULL);
CREATE INDEX collect_transaction_by_subclient ON collect_transaction(subclient_id, seq);
CREATE INDEX collect_transaction_by_status ON collect_transaction(status, seq);

CREATE TABLE object(id INTEGER PRIMARY KEY, share INTEGER NOT NULL, guid TEXT NOT NULL, newest INTEGER);
CREATE UNIQUE INDEX object_by_guid ON object(share, guid);

CREATE TABLE version(
    id INTEGER PRIMARY KEY,
    object INTEGER NOT NULL,
    version_guid TEXT NOT NULL,
    parent INTEGER,
    name TEXT,
    name_key TEXT,
    state INTEGER NOT NULL,
    vtime INTEGER NOT NULL,
    arrival INTEGER NOT NULL,
    dtime INTEGER NOT NULL,
    whole INTEGER NOT NULL,
    data_type INTEGER,
    size INTEGER,
    mode INTEGER,
    uid INTEGER,
    gid INTEGER,
    atime INTEGER,
    ctime INTEGER,
    mtime INTEGER,
    extent_type INTEGER,
    extent_size INTEGER,
    extent_number INTEGER,
    link_target TEXT,
    xattr TEXT,
    backup_id INTEGER);
CREATE UNIQUE INDEX version_by_guid ON version(object, version_guid);
CREATE INDEX version_by_time ON version(object, vtime, arrival);
CREATE INDEX version_by_name ON version(parent, name_key);
CREATE INDEX version_by_place ON version(parent, state, vtime, id, dtime, data_type);
CREATE INDEX version_without_place ON version(object) WHERE parent IS NULL OR name IS NULL;

CREATE TABLE version_property(
    version INTEGER NOT NULL, name TEXT NOT NULL, value TEXT NOT NULL, PRIMARY KEY(version, name)) WITHOUT ROWID;

CREATE TABLE extent(
    id INTEGER PRIMARY KEY,
    file INTEGER NOT NULL,
    number INTEGER NOT NULL,
    version_guid TEXT NOT NULL,
    guid TEXT NOT NULL,
    vtime INTEGER NOT NULL,
    arrival INTEGER NOT NULL,
    dtime INTEGER NOT NULL,
    data_type INTEGER,
    size INTEGER,
    extent_type INTEGER,
    link_target TEXT,
    xattr TEXT,
    backup_id INTEGER,
    share INTEGER NOT NULL,
    state INTEGER NOT NULL);
CREATE UNIQUE INDEX extent_by_guid ON extent(file, number, version_guid);
CREATE INDEX extent_by_time ON extent(file, number, vtime, arrival);
CREATE INDEX extent_to_back_up ON extent(share, state, id, dtime, data_type, backup_id)
    WHERE backup_id IS NULL AND state < 2;

CREATE TABLE extent_property(
    extent INTEGER NOT NULL, name TEXT NOT NULL, value TEXT NOT NULL, PRIMARY KEY(extent, name)) WITHOUT ROWID;

PRAGMA user_version = 3;
)";

/// In version 1 a token granted one share.
constexpr const char* upgrade_from_1 = R"(
ALTER TABLE token RENAME TO former_token;
CREATE TABLE token(
    id INTEGER PRIMARY KEY, hash TEXT NOT NULL, subclient_id INTEGER NOT NULL, UNIQUE(hash, subclient_id));
INSERT INTO token SELECT id, hash, subclient_id FROM former_token;
DROP TABLE former_token;
PRAGMA user_version = 2;
)";

/// In version 2 an extent did not know its share, nor whether it was the newest of its number.
constexpr const char* upgrade_from_2 = R"(
ALTER TABLE extent ADD COLUMN share INTEGER NOT NULL DEFAULT 0;
ALTER TABLE extent ADD COLUMN state INTEGER NOT NULL DEFAULT 2;
UPDATE extent SET share = (SELECT share FROM object WHERE id = extent.file);
UPDATE extent SET state = dtime <> 0 WHERE NOT EXISTS(
    SELECT 1 FROM extent n WHERE n.file = extent.file AND n.number = extent.number
    AND (n.vtime, n.arrival) > (extent.vtime, extent.arrival));
CREATE INDEX extent_to_back_up ON extent(share, state, id, dtime, data_type, backup_id)
    WHERE backup_id IS NULL AND state < 2;
PRAGMA user_version = 3;
)";

}  // namespace

void prepare_schema(sql_connection& connection) {
    sql_transaction transaction(connection, sql_access::write);
    sql_statement read_version(connection, "PRAGMA user_version");
    read_version.step();
    const std::int64_t found = read_version.integer(0);
    read_version.reset();
    if (found > schema_version) throw std::runtime_error("the database was written by a newer version of this program");
    if (found == 0) connection.execute(create_tables);
    if (found == 1) connection.execute(upgrade_from_1);
    if (found == 1 || found == 2) connection.execute(upgrade_from_2);
    transaction.commit();
}

}  // namespace index_server
