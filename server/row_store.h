// What the application of a collect file needs of the storage: to read the rows that a file can have to do with, and to
// write those that it made or changed, many at once.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <string_view>
#include <vector>

#include "server/extent_rules.h"
#include "server/object_rules.h"
#include "server/sql.h"
#include "server/text_arena.h"

namespace index_server {

/// A version that a line names.
template <class History>
struct named_version {
    History* of = nullptr;
    std::string_view version_guid;
};

struct property_change {
    std::int64_t row = 0;
    std::string_view name;
    std::string_view value;
};

struct property_copy {
    std::int64_t row = 0;
    std::int64_t from = 0;
};

/// What is to be written. Every row has its id.
template <class History, class Row>
struct changed_rows {
    struct entry {
        const History* of = nullptr;
        const Row* row = nullptr;
    };
    std::vector<entry> added;
    std::vector<entry> changed;
    std::vector<property_change> properties;
    /// Made after the rows and the properties; a property that the row has stays.
    std::vector<property_copy> copies;
};

struct changed_objects {
    std::vector<const object_history*> added;
    std::vector<const object_history*> changed;  ///< those with another newest version
};

/// One share's rows, on one connection. locks: called inside one write transaction. Failures of the storage are thrown.
class row_store {
public:
    enum class id_kind { object, version, extent };

    virtual ~row_store() = default;

    /// Says which share is meant from now on, and keeps all other writers from it until the transaction ends. Returns
    /// the highest arrival that was given out to it; none is given out twice. Throws for a share that was removed.
    virtual std::int64_t begin(std::int64_t share) = 0;
    virtual void keep_arrival(std::int64_t last) = 0;
    /// The first of `count` numbers in a row that no row of the kind in this share has.
    virtual std::int64_t reserve_ids(id_kind kind, std::size_t count) = 0;

    /// Completes those objects of the given GUIDs that are stored; the others stay new.
    virtual void load_objects(std::span<object_history* const> objects) = 0;
    /// Adds the newest versions of each, `most` at most. Texts are kept in the arena, here and below.
    virtual void load_versions(std::span<object_history* const> objects, std::size_t most, text_arena& texts) = 0;
    virtual void load_versions(std::span<const named_version<object_history>> named, text_arena& texts) = 0;
    virtual void load_extents(std::span<extent_history* const> extents, std::size_t most, text_arena& texts) = 0;
    virtual void load_extents(std::span<const named_version<extent_history>> named, text_arena& texts) = 0;

    virtual void write(const changed_objects& objects) = 0;
    virtual void write(const changed_rows<object_history, version_row>& versions) = 0;
    virtual void write(const changed_rows<extent_history, extent_row>& extents) = 0;
};

/// The store of the connection's kind, prepared on it; it must not outlive the connection.
std::unique_ptr<row_store> make_row_store(sql_connection& connection);

}  // namespace index_server
