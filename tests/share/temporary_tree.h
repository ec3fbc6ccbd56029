// A directory of its own for a test, gone with it, and verbs to change it.
#pragma once

#include <gtest/gtest.h>
#include <filesystem>
#include <set>
#include <string>

#include "share/object_record.h"
#include "tests/support/scratch_directory.h"

namespace share_host {

class temporary_tree {
public:
    std::string at(const std::string& below) const { return place / below; }
    void write(const std::string& below, const std::string& text = "text") const { place.put(below, text); }
    void make_directory(const std::string& below) const { std::filesystem::create_directories(at(below)); }
    void hard_link(const std::string& to, const std::string& name) const {
        std::filesystem::create_hard_link(at(to), at(name));
    }
    void rename(const std::string& from, const std::string& to) const { std::filesystem::rename(at(from), at(to)); }
    void remove(const std::string& below) const { std::filesystem::remove_all(at(below)); }

    /// Every object, the root included, by its path in the index.
    std::set<std::string> index_paths() const {
        std::set<std::string> result{"/"};
        for (const auto& entry : std::filesystem::recursive_directory_iterator(path)) {
            result.insert(index_path_of(entry.path().lexically_relative(path)));
        }
        return result;
    }

    const scratch_directory place;
    const std::string path = place.path();
};

}  // namespace share_host
