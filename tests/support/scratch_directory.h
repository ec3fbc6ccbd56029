// A directory of its own for one test, removed with it.
#pragma once

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <stdexcept>
#include <string>

class scratch_directory {
public:
    scratch_directory() {
        std::string name = std::filesystem::temp_directory_path() / "index_iface_test.XXXXXX";
        if (mkdtemp(name.data()) == nullptr) throw std::runtime_error("no scratch directory");
        path_ = name;
    }
    ~scratch_directory() {
        std::error_code ignored;
        std::filesystem::remove_all(path_, ignored);
    }
    scratch_directory(const scratch_directory&) = delete;
    scratch_directory& operator=(const scratch_directory&) = delete;

    const std::string& path() const { return path_; }
    std::string operator/(const std::string& name) const { return path_ + '/' + name; }

    void put(const std::string& name, const std::string& text) const {
        std::ofstream(*this / name, std::ios::binary) << text;
    }

    std::string text_of(const std::string& name) const {
        std::ostringstream text;
        text << std::ifstream(*this / name, std::ios::binary).rdbuf();
        return text.str();
    }

private:
    std::string path_;
};
