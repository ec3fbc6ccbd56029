// The tables of the storage, told once for all engines.
//
// share      The registered shares. last_arrival is the highest arrival given out in the share; whoever feeds or clears
//            a share begins with an update of its row, which keeps all others from it until the transaction ends.
// object     One row per (share, GUID), so that the tables below hold small numbers that grow with arrival: their
//            indexes then grow at one end, while a GUID as key would scatter every insertion. The empty GUID of a
//            share stands above its root. A parent that nothing is known of yet has a row here and no version.
// version    One row per version of an object, with the place where the object then stood.
//            state   0 the object's newest version, living; 1 its newest version, deleted; 2 superseded.
//            arrival ns, unique and rising over all lines that were ever applied to the share; breaks ties of vtime.
//            dtime   seconds; 0 while not deleted.
//            whole   1 when an addition brought the row: what its line left out was not there at that time.
//            No value in any other column means that nobody has told it yet.
//            version_by_place lists a directory in the order of its pages and holds all that is needed to skip pages.
//            version_by_name finds the newest versions of a name without a look at those that they superseded; it holds
//            the state as a sum, so that no engine that knows nothing of a table yet takes version_by_place for that.
// extent     One row per version of an extent of a file, by (file, number); state as of a version. extent_to_back_up
//            lists a share's extents without backup data in the order of their pages.
// withdrawn_share   The subclient ids of shares that were removed and of which rows may be left.
//
// What belongs to a share names it in every row and every key, and every statement asks for one share: so the tables
// can be cut by share, into partitions here or onto machines by an engine that does so. The cut is by hash, and fixed:
// registering a share then takes no lock on a table, and a plan looks at a bounded number of partitions.
//
// Names, GUIDs and all else that hosts say are bytes ($BYTES): a file name need not be valid text in any encoding, and
// what was told is given back unchanged.
#include "server/schema.h"

#include <array>
#include <chrono>
#include <stdexcept>
#include <string>
#include <string_view>
#include <thread>

#include "server/sqlite_upgrades.h"

namespace index_server {

namespace {

constexpr std::int64_t schema_version = 5;
constexpr int partitions = 8;

constexpr std::string_view record_tables = R"(
CREATE TABLE share(
    subclient_id $KEY,
    name $TEXT NOT NULL UNIQUE,
    client_id BIGINT NOT NULL UNIQUE,
    folder_id BIGINT NOT NULL UNIQUE,
    root_guid $TEXT NOT NULL,
    index_server_name $TEXT NOT NULL UNIQUE,
    last_arrival BIGINT NOT NULL DEFAULT 0);

CREATE TABLE token(
    id $TOKEN_ID, hash $TEXT NOT NULL, subclient_id BIGINT NOT NULL, UNIQUE(hash, subclient_id));

CREATE TABLE collect_transaction(
    seq $TRANSACTION_ID,
    id $TEXT NOT NULL UNIQUE,
    subclient_id BIGINT NOT NULL,
    status INTEGER NOT NULL,
    error $BYTES NOT NULL,
    created_ns BIGINT NOT NULL,
    lines BIGINT NOT NULL DEFAULT 0,
    server $TEXT NOT NULL DEFAULT '');
CREATE INDEX collect_transaction_by_subclient ON collect_transaction(subclient_id, seq);
CREATE INDEX collect_transaction_by_status ON collect_transaction(status, seq);

CREATE TABLE withdrawn_share(subclient_id $KEY);
)";

constexpr std::string_view index_tables = R"(
CREATE TABLE object(id $ID, share BIGINT NOT NULL, guid $BYTES NOT NULL, newest BIGINT$IN_SHARE)$SPREAD;
CREATE UNIQUE INDEX object_by_guid ON object(share, guid);

CREATE TABLE version(
    id $ID,
    share BIGINT NOT NULL,
    object BIGINT NOT NULL,
    version_guid $BYTES NOT NULL,
    parent BIGINT,
    name $BYTES,
    name_key $BYTES,
    state INTEGER NOT NULL,
    vtime BIGINT NOT NULL,
    arrival BIGINT NOT NULL,
    dtime BIGINT NOT NULL,
    whole INTEGER NOT NULL,
    data_type INTEGER,
    size BIGINT,
    mode BIGINT,
    uid BIGINT,
    gid BIGINT,
    atime BIGINT,
    ctime BIGINT,
    mtime BIGINT,
    extent_type BIGINT,
    extent_size BIGINT,
    extent_number BIGINT,
    link_target $BYTES,
    xattr $BYTES,
    backup_id BIGINT$IN_SHARE)$SPREAD;
CREATE UNIQUE INDEX version_by_guid ON version(share, object, version_guid);
CREATE INDEX version_by_time ON version(share, object, vtime, arrival);
CREATE INDEX version_by_name ON version(share, parent, name_key, (state + 0));
CREATE INDEX version_by_place ON version(share, parent, state, vtime, id, dtime, data_type);
CREATE INDEX version_without_place ON version(share, object) WHERE parent IS NULL OR name IS NULL;

CREATE TABLE version_property(
    share BIGINT NOT NULL,
    version BIGINT NOT NULL,
    name $BYTES NOT NULL,
    value $BYTES NOT NULL,
    PRIMARY KEY(share, version, name))$KEYED$SPREAD;

CREATE TABLE extent(
    id $ID,
    share BIGINT NOT NULL,
    file BIGINT NOT NULL,
    number BIGINT NOT NULL,
    version_guid $BYTES NOT NULL,
    guid $BYTES NOT NULL,
    state INTEGER NOT NULL,
    vtime BIGINT NOT NULL,
    arrival BIGINT NOT NULL,
    dtime BIGINT NOT NULL,
    data_type INTEGER,
    size BIGINT,
    extent_type BIGINT,
    link_target $BYTES,
    xattr $BYTES,
    backup_id BIGINT$IN_SHARE)$SPREAD;
CREATE UNIQUE INDEX extent_by_guid ON extent(share, file, number, version_guid);
CREATE INDEX extent_by_time ON extent(share, file, number, vtime, arrival);
CREATE INDEX extent_to_back_up ON extent(share, state, id, dtime, data_type, backup_id)
    WHERE backup_id IS NULL AND state < 2;

CREATE TABLE extent_property(
    share BIGINT NOT NULL,
    extent BIGINT NOT NULL,
    name $BYTES NOT NULL,
    value $BYTES NOT NULL,
    PRIMARY KEY(share, extent, name))$KEYED$SPREAD;
)";

/// In version 4 the state was not in the index of names.
constexpr const char* upgrade_from_4 =
    "DROP INDEX version_by_name; CREATE INDEX version_by_name ON version(share, parent, name_key, (state + 0))";

/// What a word of the text above means to each engine.
struct word {
    std::string_view in_text;
    std::string_view sqlite;
    std::string_view postgresql;
};

constexpr std::array<word, 9> words{{
    {"$TEXT", "TEXT", "TEXT COLLATE \"C\""},
    {"$BYTES", "TEXT", "BYTEA"},
    {"$KEYED", " WITHOUT ROWID", ""},
    {"$KEY", "INTEGER PRIMARY KEY", "BIGINT PRIMARY KEY"},
    {"$TOKEN_ID", "INTEGER PRIMARY KEY", "BIGINT PRIMARY KEY DEFAULT nextval('token_id')"},
    {"$TRANSACTION_ID", "INTEGER PRIMARY KEY", "BIGINT PRIMARY KEY DEFAULT nextval('transaction_id')"},
    {"$ID", "INTEGER PRIMARY KEY", "BIGINT NOT NULL"},
    {"$IN_SHARE", "", ", PRIMARY KEY(share, id)"},
    {"$SPREAD", "", " PARTITION BY HASH(share)"},
}};

std::string in_dialect(std::string_view text, sql_dialect dialect) {
    std::string said(text);
    for (const word& each : words) {
        const std::string_view meant = dialect == sql_dialect::sqlite ? each.sqlite : each.postgresql;
        for (std::size_t at = said.find(each.in_text); at != std::string::npos; at = said.find(each.in_text, at))
            said.replace(at, each.in_text.size(), meant);
    }
    return said;
}

void make_partitions(sql_connection& connection) {
    for (const char* const table : {"object", "version", "version_property", "extent", "extent_property"}) {
        for (int part = 0; part < partitions; ++part) {
            const std::string sql = std::string("CREATE TABLE ") + table + "_" + std::to_string(part) +
                                    " PARTITION OF " + table + " FOR VALUES WITH (MODULUS " +
                                    std::to_string(partitions) + ", REMAINDER " + std::to_string(part) + ")";
            connection.execute(sql.c_str());
        }
    }
}

void make_tables(sql_connection& connection, std::string_view text) {
    connection.execute(in_dialect(text, connection.dialect()).c_str());
}

/// 0 for a new database.
std::int64_t read_version(sql_connection& connection) {
    if (connection.dialect() == sql_dialect::postgresql) {
        connection.execute(
            "CREATE TABLE IF NOT EXISTS schema_version(version BIGINT NOT NULL);"
            "LOCK TABLE schema_version IN EXCLUSIVE MODE");
    }
    const bool is_sqlite = connection.dialect() == sql_dialect::sqlite;
    sql_statement read(connection, is_sqlite ? "PRAGMA user_version" : "SELECT version FROM schema_version");
    const statement_run run(read);
    return read.step() ? read.integer(0) : 0;
}

void write_version(sql_connection& connection) {
    const std::string number = std::to_string(schema_version);
    connection.execute(connection.dialect() == sql_dialect::sqlite
                           ? ("PRAGMA user_version = " + number).c_str()
                           : ("DELETE FROM schema_version; INSERT INTO schema_version VALUES(" + number + ")").c_str());
}

/// Returns the version that was found; what a newer program wrote is left as it is.
std::int64_t bring_up_to_date(sql_connection& connection) {
    sql_transaction transaction(connection, sql_access::write);
    const std::int64_t found = read_version(connection);
    if (found >= schema_version) return found;
    if (found == 0) {
        if (connection.dialect() == sql_dialect::postgresql) {
            connection.execute("CREATE SEQUENCE token_id; CREATE SEQUENCE transaction_id");
        }
        make_tables(connection, record_tables);
        make_tables(connection, index_tables);
        if (connection.dialect() == sql_dialect::postgresql) make_partitions(connection);
    } else if (found < 4) {
        upgrade_sqlite(connection, found, [&] { make_tables(connection, index_tables); });
    } else {
        connection.execute(upgrade_from_4);
    }
    write_version(connection);
    transaction.commit();
    return found;
}

/// A new database has no table yet that servers could lock: of those that start at once, all but one fail, each engine
/// in its own way. What the one has made is then there.
std::int64_t bring_up_to_date_beside_others(sql_connection& connection) {
    const int most_tries = connection.dialect() == sql_dialect::sqlite ? 1 : 5;
    std::chrono::milliseconds pause(100);
    for (int tries = 1; tries < most_tries; ++tries, pause *= 2) {
        try {
            return bring_up_to_date(connection);
        } catch (const std::runtime_error&) {
            std::this_thread::sleep_for(pause);
        }
    }
    return bring_up_to_date(connection);
}

}  // namespace

void prepare_schema(sql_connection& connection) {
    if (bring_up_to_date_beside_others(connection) > schema_version)
        throw std::runtime_error("the database was written by a newer version of this program");
}

}  // namespace index_server
