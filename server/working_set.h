// The rows that some lines have to do with, held in memory while the lines are applied.
#pragma once

#include <cstdint>
#include <deque>
#include <map>
#include <memory_resource>
#include <string_view>
#include <unordered_map>
#include <utility>
#include <vector>

#include "server/collect_file.h"
#include "server/row_store.h"

namespace index_server {

/// Loads the rows that the lines touch, applies the lines to them and writes what came of it. Used once, for lines that
/// hold all that a file says of their objects. locks: inside one write transaction of the store.
class working_set {
public:
    /// `before` is the arrival of the line before the file's first. The lines outlive this.
    working_set(row_store& store, std::string_view root_guid, const std::deque<numbered_line>& lines,
                std::int64_t before);

    void apply();

private:
    /// A line with the rows that it is about.
    struct task {
        const numbered_line* line = nullptr;
        object_history* object = nullptr;  ///< of an extent its file
        extent_history* extent = nullptr;
        object_history* parent = nullptr;
    };

    void plan();
    object_history& object(std::string_view guid);
    extent_history& extent(object_history& file, std::int64_t number);
    void load_objects();
    void load_versions();
    void load_extents();
    line_place place_of(const task& one);
    void write();

    row_store& store_;
    const std::string_view root_guid_;
    const std::deque<numbered_line>& lines_;
    const std::int64_t before_;
    text_arena memory_;
    std::vector<task> tasks_;
    // All are in the order in which the lines name them first.
    std::deque<object_history> objects_;
    std::vector<object_history*> changing_;  ///< those that lines are about
    std::deque<extent_history> extents_;
    std::pmr::unordered_map<std::string_view, object_history*> object_of_guid_;
    std::map<std::pair<object_history*, std::int64_t>, extent_history*> extent_of_number_;
};

}  // namespace index_server
