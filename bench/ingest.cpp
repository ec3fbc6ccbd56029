// Intake of collect files. The clock runs from the opened file to the synced commit.
#include "bench/ingest.h"

#include <fstream>
#include <functional>
#include <optional>
#include <unordered_map>
#include <vector>

#include "server/engine.h"
#include "server/postgresql_connection.h"
#include "server/postgresql_copy.h"
#include "server/schema.h"
#include "server/sqlite_driver.h"
#include "tests/storage/postgresql_server.h"

namespace bench {

namespace {

using index_server::sql_access;
using index_server::sql_connection;
using index_server::sql_statement;
using index_server::sql_transaction;

std::string name_of(const index_iface_props& props) {
    return props.path.substr(props.path.rfind('/') + 1);
}

/// The line that a host's collect file has for the record.
std::string collect_line(const index_iface_props& props) {
    const auto field = [](const char* tag, const std::string& value) { return "|<" + std::string(tag) + ">" + value; };
    return "*??|<ADD>|<SHOW>" + field("VGID", props.version_guid) + field("VTIM", std::to_string(props.vtime)) +
           "|<ADDV>1" + field("BAP", props.object_guid) + field("EPG", props.parent_guid) + field("OTYP", "1") +
           field("FS", std::to_string(props.size)) + field("MODE", std::to_string(props.mode)) +
           field("UID", std::to_string(props.uid)) + field("GID", std::to_string(props.gid)) +
           field("ATIME", std::to_string(props.atime)) + field("CTIME", std::to_string(props.ctime)) +
           field("MTIME", std::to_string(props.mtime)) + field("DTIM", "0") + field("LFN", name_of(props)) + "|\n";
}

/// A fresh index of either kind for each batch.
class fresh_index {
public:
    virtual ~fresh_index() = default;
    virtual std::unique_ptr<index_server::engine> open() = 0;
    virtual std::unique_ptr<sql_connection> connect() = 0;
};
using make_index = std::function<std::unique_ptr<fresh_index>(const std::string& place)>;

class fresh_sqlite : public fresh_index {
public:
    explicit fresh_sqlite(const std::string& place) : directory_(place) {}
    std::unique_ptr<index_server::engine> open() override {
        return index_server::open_sqlite_engine(directory_.path());
    }
    std::unique_ptr<sql_connection> connect() override {
        return index_server::open_sqlite(directory_.file("index.db"), sql_access::write);
    }

private:
    scratch_directory directory_;
};

class fresh_postgresql : public fresh_index {
public:
    std::unique_ptr<index_server::engine> open() override {
        return index_server::open_postgresql_engine(settings_, "bench");
    }
    std::unique_ptr<sql_connection> connect() override {
        return std::make_unique<index_server::postgresql_connection>(settings_);
    }

private:
    const std::string settings_ = index_server::postgresql_server::of_process().make_database();
};

class ingest : public subject {
public:
    ingest(make_index make, const std::string& place, std::size_t lines)
        : make_(std::move(make)), place_(place), lines_(lines) {
        std::ofstream file(file_name());
        for (std::size_t number = 0; number < lines; ++number)
            file << collect_line(record(number));
        file.close();
        check(!file.fail(), "the collect file cannot be written");
    }
    std::size_t operations() const override { return lines_; }
    bool divisible() const override { return false; }
    void prepare() override {
        index_ = make_(place_.path());
        engine_ = index_->open();
        share_ = engine_->register_share("bench");
    }
    void run(std::size_t, std::size_t) override {
        const index_server::apply_outcome outcome = engine_->apply_collect_file(share_, file_name());
        check(outcome.applied && outcome.lines == lines_, "the file was not applied");
    }
    void finish() override {
        engine_.reset();
        const auto connection = index_->connect();
        sql_statement count(*connection, "SELECT count(*) FROM version WHERE state = 0");
        count.step();
        check(count.integer(0) == static_cast<std::int64_t>(lines_) + 1, "rows are missing");
        count.reset();
        index_.reset();
    }

private:
    std::string file_name() const { return place_.file("lines.zyf"); }

    const make_index make_;
    scratch_directory place_;
    const std::size_t lines_;
    std::unique_ptr<fresh_index> index_;
    std::unique_ptr<index_server::engine> engine_;
    index_server::share share_;
};

/// The rows that the records make.
class bare_rows : public subject {
public:
    bare_rows(make_index make, const std::string& place, std::size_t lines) : make_(std::move(make)), place_(place) {
        records_.reserve(lines);
        for (std::size_t number = 0; number < lines; ++number)
            records_.push_back(record(number));
    }
    std::size_t operations() const override { return records_.size(); }
    bool divisible() const override { return false; }
    void prepare() override {
        index_ = make_(place_.path());
        connection_ = index_->connect();
        index_server::prepare_schema(*connection_);
    }
    void finish() override {
        connection_.reset();
        index_.reset();
    }

protected:
    /// Calls `object(id, guid, newest)` for each object and `version(id, object, parent, props)` for each version, in
    /// the order of the records.
    template <class Object, class Version>
    void each_row(const Object& object, const Version& version) const {
        std::unordered_map<std::string_view, std::int64_t> parents;
        std::int64_t objects = 0, versions = 0;
        for (const index_iface_props& props : records_) {
            const auto [parent, is_new] = parents.try_emplace(props.parent_guid, objects + 1);
            if (is_new) object(++objects, props.parent_guid, std::optional<std::int64_t>());
            object(++objects, props.object_guid, std::optional<std::int64_t>(++versions));
            version(versions, objects, parent->second, props);
        }
    }
    sql_connection& connection() { return *connection_; }

private:
    const make_index make_;
    scratch_directory place_;
    std::vector<index_iface_props> records_;
    std::unique_ptr<fresh_index> index_;
    std::unique_ptr<sql_connection> connection_;
};

class bare_insert : public bare_rows {
public:
    using bare_rows::bare_rows;
    void run(std::size_t, std::size_t) override {
        sql_statement object(connection(), "INSERT INTO object(id, share, guid, newest) VALUES(?1, 1, ?2, ?3)");
        sql_statement version(connection(),
                              "INSERT INTO version(id, share, object, version_guid, parent, name, name_key, state, "
                              "vtime, arrival, dtime, whole, data_type, size, mode, uid, gid, atime, ctime, mtime) "
                              "VALUES(?1, 1, ?2, ?3, ?4, ?5, ?5, 0, ?6, ?1, 0, 1, 1, ?7, ?8, ?9, ?10, ?11, ?12, ?13)");
        sql_transaction transaction(connection(), sql_access::write);
        each_row([&](std::int64_t id, const std::string& guid,
                     std::optional<std::int64_t> newest) { object.bind(1, id).bind(2, guid).bind(3, newest).run(); },
                 [&](std::int64_t id, std::int64_t of, std::int64_t parent, const index_iface_props& props) {
                     const std::string name = name_of(props);
                     version.bind(1, id).bind(2, of).bind(3, props.version_guid).bind(4, parent).bind(5, name);
                     version.bind(6, props.vtime).bind(7, props.size).bind(8, std::int64_t{props.mode});
                     version.bind(9, std::int64_t{props.uid}).bind(10, std::int64_t{props.gid});
                     version.bind(11, std::int64_t{props.atime}).bind(12, std::int64_t{props.ctime});
                     version.bind(13, std::int64_t{props.mtime}).run();
                 });
        transaction.commit();
    }
};

class bare_copy : public bare_rows {
public:
    using bare_rows::bare_rows;
    void run(std::size_t, std::size_t) override {
        sql_transaction transaction(connection(), sql_access::write);
        connection().execute(
            "CREATE TEMPORARY TABLE new_object(LIKE object) ON COMMIT DROP;"
            "CREATE TEMPORARY TABLE new_version(LIKE version) ON COMMIT DROP");
        copy_objects();
        copy_versions();
        connection().execute(
            "INSERT INTO object SELECT * FROM new_object ON CONFLICT(share, id) DO UPDATE SET newest = "
            "excluded.newest;"
            "INSERT INTO version SELECT * FROM new_version ON CONFLICT(share, id) DO UPDATE SET size = excluded.size");
        transaction.commit();
    }

private:
    // One COPY at a time: the records are gone over once for each table.
    void copy_objects() {
        index_server::postgresql_copy to(connection(),
                                         "COPY new_object(share, id, guid, newest) FROM STDIN (FORMAT binary)");
        each_row([&](std::int64_t id, const std::string& guid,
                     std::optional<std::int64_t> newest) { to.row(4).add(1).add(id).add(guid).add(newest); },
                 [](std::int64_t, std::int64_t, std::int64_t, const index_iface_props&) {});
        to.finish();
    }
    void copy_versions() {
        index_server::postgresql_copy to(connection(),
                                         "COPY new_version(share, id, object, version_guid, parent, name, name_key, "
                                         "state, vtime, arrival, dtime, whole, data_type, size, mode, uid, gid, atime, "
                                         "ctime, mtime) FROM STDIN (FORMAT binary)");
        each_row([](std::int64_t, const std::string&, std::optional<std::int64_t>) {},
                 [&](std::int64_t id, std::int64_t of, std::int64_t parent, const index_iface_props& props) {
                     const std::string name = name_of(props);
                     to.row(20).add(1).add(id).add(of).add(props.version_guid).add(parent).add(name).add(name);
                     to.add_small(0).add(props.vtime).add(id).add(0).add_small(1).add_small(1).add(props.size);
                     to.add(props.mode).add(props.uid).add(props.gid).add(props.atime).add(props.ctime);
                     to.add(props.mtime);
                 });
        to.finish();
    }
};

std::unique_ptr<fresh_index> in_sqlite(const std::string& place) {
    return std::make_unique<fresh_sqlite>(place);
}
std::unique_ptr<fresh_index> in_postgresql(const std::string&) {
    return std::make_unique<fresh_postgresql>();
}

}  // namespace

subject_ptr sqlite_ingest(const std::string& place, std::size_t lines) {
    return std::make_unique<ingest>(in_sqlite, place, lines);
}
subject_ptr bare_sqlite_insert(const std::string& place, std::size_t lines) {
    return std::make_unique<bare_insert>(in_sqlite, place, lines);
}
subject_ptr postgresql_ingest(const std::string& place, std::size_t lines) {
    return std::make_unique<ingest>(in_postgresql, place, lines);
}
subject_ptr bare_postgresql_copy(const std::string& place, std::size_t lines) {
    return std::make_unique<bare_copy>(in_postgresql, place, lines);
}

}  // namespace bench
