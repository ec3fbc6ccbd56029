// A directory of its own for a test, gone with it, and verbs to change it.
#pragma once

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <set>
#include <string>

#include "share/object_record.h"

namespace share_host {

class temporary_tree {
public:
    temporary_tree() {
        std::string pattern = (std::filesystem::temp_directory_path() / "share_test_XXXXXX").string();
        if (!::mkdtemp(pattern.data())) throw std::runtime_error("cannot make a temporary directory");
        path = pattern;
    }
    ~temporary_tree() {
        std::error_code ignored;
        std::filesystem::remove_all(path, ignored);
    }
    temporary_tree(const temporary_tree&) = delete;
    temporary_tree& operator=(const temporary_tree&) = delete;

    std::string at(const std::string& below) const { return path + "/" + below; }
    void write(const std::string& below, const std::string& text = "text") const { std::ofstream(at(below)) << text; }
    void make_directory(const std::string& below) const { std::filesystem::create_directories(at(below)); }
    void hard_link(const std::string& to, const std::string& name) const {
        std::filesystem::create_hard_link(at(to), at(name));
    }
    void soft_link(const std::string& target, const std::string& name) const {
        std::filesystem::create_symlink(target, at(name));
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

    std::string path;
};

}  // namespace share_host
