// A state is claimed by making its `directory` file, which happens in one step and fails when another process was
// faster. From then on the state is that directory's for good.
#include "share/state_dir.h"

#include <algorithm>
#include <cstdlib>
#include <filesystem>

#include "share/state_files.h"

namespace share_host {
namespace {

namespace fs = std::filesystem;

/// Content of the `directory` file.
struct state_record {
    std::string share_name;
    std::string directory;
};

std::optional<state_record> read_record(const std::string& state_path) {
    const std::optional<std::string> content = read_state_file(state_path + "/directory");
    if (!content) return std::nullopt;
    const std::size_t end = content->find('\n');
    if (end == std::string::npos) throw std::runtime_error("the file " + state_path + "/directory is damaged");
    return state_record{content->substr(0, end), content->substr(end + 1)};
}

void make_private_directory(const std::string& path) {
    if (fs::create_directories(path)) fs::permissions(path, fs::perms::owner_all);
}

/// What the directory's owner is when this is over: the asked one, or the one that had it before.
state_record claim(const std::string& state_path, const state_record& wanted) {
    if (const auto existing = read_record(state_path)) return *existing;
    make_private_directory(state_path);
    create_state_file(state_path + "/directory", wanted.share_name + "\n" + wanted.directory);
    return read_record(state_path).value();
}

std::string owner_text(const state_record& owner) {
    return owner.directory.empty() ? "a share without a directory" : owner.directory;
}

void check_share_name(const std::string& share_name) {
    if (share_name != share_name_for(share_name)) {
        throw std::runtime_error("a share's name has letters, digits, '.', '_' and '-' alone, at most 64 of them");
    }
}

state_dir claim_explicit(const std::string& path, const std::string& directory, const std::string& share_name) {
    const std::string name = share_name.empty() ? share_name_for(directory) : share_name;
    const state_record owner = claim(path, {name, directory});
    if (owner.directory != directory) {
        throw std::runtime_error("the state in " + path + " belongs to " + owner_text(owner) + ", not to " + directory);
    }
    if (!share_name.empty() && owner.share_name != share_name) {
        throw std::runtime_error("the share of " + directory + " is called " + owner.share_name + ", not " +
                                 share_name);
    }
    return {path, owner.share_name};
}

state_dir claim_in_home(const std::string& directory) {
    const std::string base = share_name_for(directory);
    for (int number = 1;; ++number) {
        const std::string name = number == 1 ? base : base + "-" + std::to_string(number);
        const std::string path = state_home() + "/" + name;
        if (claim(path, {name, directory}).directory == directory) return {path, name};
    }
}

/// The state of that directory in the state home, under whatever name it was given.
std::optional<state_dir> find_in_home(const std::string& directory) {
    for (const state_dir& state : known_states()) {
        if (served_directory(state) == directory) return state;
    }
    return std::nullopt;
}

}  // namespace

std::string state_home() {
    std::string base;
    if (const char* state = std::getenv("XDG_STATE_HOME"); state && *state) {
        base = state;
    } else if (const char* home = std::getenv("HOME"); home && *home) {
        base = std::string(home) + "/.local/state";
    } else {
        throw std::runtime_error("neither XDG_STATE_HOME nor HOME is set, so give a state directory");
    }
    return base + "/index-iface";
}

std::string share_name_for(const std::string& path) {
    std::string name = fs::path(path).lexically_normal().filename();
    if (name.empty()) name = fs::path(path).lexically_normal().parent_path().filename();
    for (char& letter : name) {
        const bool safe = (letter >= 'a' && letter <= 'z') || (letter >= 'A' && letter <= 'Z') ||
                          (letter >= '0' && letter <= '9') || letter == '.' || letter == '_' || letter == '-';
        if (!safe) letter = '_';
    }
    if (name.empty()) return "root";
    if (name[0] == '.' || name[0] == '-') name[0] = '_';
    constexpr std::size_t longest = 64;
    return name.substr(0, longest);
}

state_dir state_for_directory(const std::string& directory, const std::string& explicit_path,
                              const std::string& share_name) {
    std::error_code error;
    const std::string real_path = fs::canonical(directory, error);
    if (error || !fs::is_directory(real_path)) {
        throw std::runtime_error(directory + " is not a directory that can be served" +
                                 (error ? ": " + error.message() : std::string()));
    }
    if (!share_name.empty()) check_share_name(share_name);
    if (!explicit_path.empty()) {
        return claim_explicit(fs::absolute(explicit_path).lexically_normal(), real_path, share_name);
    }
    if (!share_name.empty()) return claim_explicit(state_home() + "/" + share_name, real_path, share_name);
    if (const auto known = find_in_home(real_path)) return *known;
    return claim_in_home(real_path);
}

state_dir state_for_share(const std::string& share_name, const std::string& home) {
    check_share_name(share_name);
    const std::string base = home.empty() ? state_home() : fs::absolute(home).lexically_normal().string();
    const std::string path = base + "/" + share_name;
    const state_record owner = claim(path, {share_name, ""});
    if (!owner.directory.empty() || owner.share_name != share_name) {
        throw std::runtime_error("the state in " + path + " belongs to " + owner_text(owner) +
                                 "; choose another name or place");
    }
    return {path, share_name};
}

std::optional<state_dir> state_at(const std::string& path) {
    const std::string absolute = fs::absolute(path).lexically_normal();
    const auto record = read_record(absolute);
    if (!record) return std::nullopt;
    return state_dir{absolute, record->share_name};
}

std::optional<state_dir> state_of_share(const std::string& share_name) {
    if (share_name != share_name_for(share_name)) return std::nullopt;
    return state_at(state_home() + "/" + share_name);
}

std::vector<state_dir> known_states() {
    std::vector<state_dir> states;
    std::error_code error;
    for (const auto& entry : fs::directory_iterator(state_home(), error)) {
        if (!entry.is_directory(error)) continue;
        if (auto state = state_at(entry.path())) states.push_back(std::move(*state));
    }
    std::sort(states.begin(), states.end(),
              [](const state_dir& a, const state_dir& b) { return a.share_name < b.share_name; });
    return states;
}

std::string served_directory(const state_dir& state) {
    const auto record = read_record(state.path);
    return record ? record->directory : std::string();
}

}  // namespace share_host
