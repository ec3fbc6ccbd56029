// Intake of collect files. The clock runs from the opened file to the synced commit.
#include "bench/ingest.h"

#include <fstream>
#include <optional>
#include <unordered_map>
#include <vector>

#include "server/engine.h"
#include "server/schema.h"
#include "server/sqlite_driver.h"

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

class ingest : public subject {
public:
    ingest(const std::string& place, std::size_t lines) : place_(place), lines_(lines) {
        std::ofstream file(file_name());
        for (std::size_t number = 0; number < lines; ++number)
            file << collect_line(record(number));
        file.close();
        check(!file.fail(), "the collect file cannot be written");
    }
    std::size_t operations() const override { return lines_; }
    bool divisible() const override { return false; }
    void prepare() override {
        directory_.emplace(place_.path());
        engine_ = index_server::open_sqlite_engine(directory_->path());
        share_ = engine_->register_share("bench");
    }
    void run(std::size_t, std::size_t) override {
        const index_server::apply_outcome outcome = engine_->apply_collect_file(share_, file_name());
        check(outcome.applied && outcome.lines == lines_, "the file was not applied");
    }
    void finish() override {
        engine_.reset();
        directory_.reset();
    }

private:
    std::string file_name() const { return place_.file("lines.zyf"); }

    scratch_directory place_;
    const std::size_t lines_;
    std::optional<scratch_directory> directory_;
    std::unique_ptr<index_server::engine> engine_;
    index_server::share share_;
};

class bare_insert : public subject {
public:
    bare_insert(const std::string& place, std::size_t lines) : place_(place) {
        records_.reserve(lines);
        for (std::size_t number = 0; number < lines; ++number)
            records_.push_back(record(number));
    }
    std::size_t operations() const override { return records_.size(); }
    bool divisible() const override { return false; }
    void prepare() override {
        directory_.emplace(place_.path());
        connection_ = index_server::open_sqlite(directory_->file("index.db"), sql_access::write);
        index_server::prepare_schema(*connection_);
    }
    void run(std::size_t, std::size_t) override {
        sql_statement object(*connection_, "INSERT INTO object(id, share, guid, newest) VALUES(?1, 1, ?2, ?3)");
        sql_statement version(*connection_,
                              "INSERT INTO version(id, share, object, version_guid, parent, name, name_key, state, "
                              "vtime, arrival, dtime, whole, data_type, size, mode, uid, gid, atime, ctime, mtime) "
                              "VALUES(?1, 1, ?2, ?3, ?4, ?5, ?5, 0, ?6, ?1, 0, 1, 1, ?7, ?8, ?9, ?10, ?11, ?12, ?13)");
        sql_transaction transaction(*connection_, sql_access::write);
        std::unordered_map<std::string_view, std::int64_t> parents;
        std::int64_t objects = 0, versions = 0;
        for (const index_iface_props& props : records_) {
            ++versions;
            const auto [parent, is_new] = parents.try_emplace(props.parent_guid, objects + 1);
            if (is_new) object.bind(1, ++objects).bind(2, props.parent_guid).bind(3, std::nullopt).run();
            object.bind(1, ++objects).bind(2, props.object_guid).bind(3, versions).run();
            const std::string name = name_of(props);
            version.bind(1, versions).bind(2, objects).bind(3, props.version_guid).bind(4, parent->second);
            version.bind(5, name).bind(6, props.vtime).bind(7, props.size).bind(8, std::int64_t{props.mode});
            version.bind(9, std::int64_t{props.uid}).bind(10, std::int64_t{props.gid});
            version.bind(11, std::int64_t{props.atime}).bind(12, std::int64_t{props.ctime});
            version.bind(13, std::int64_t{props.mtime}).run();
        }
        transaction.commit();
    }
    void finish() override {
        connection_.reset();
        directory_.reset();
    }

private:
    scratch_directory place_;
    std::vector<index_iface_props> records_;
    std::optional<scratch_directory> directory_;
    std::unique_ptr<sql_connection> connection_;
};

}  // namespace

subject_ptr sqlite_ingest(const std::string& place, std::size_t lines) {
    return std::make_unique<ingest>(place, lines);
}
subject_ptr bare_sqlite_insert(const std::string& place, std::size_t lines) {
    return std::make_unique<bare_insert>(place, lines);
}

}  // namespace bench
