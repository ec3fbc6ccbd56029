// The settings of a program that runs on this host kit: sections of keys and texts, read from one INI file and
// completed by the program itself.
#pragma once

#include <map>
#include <optional>
#include <shared_mutex>
#include <string>
#include <utility>

namespace hostkit {

/// Texts by section and key. Sections and keys compare with case. Any thread; no call blocks for long.
class settings {
public:
    /// Reads an INI file over what is there; keys that it does not name stay. Throws std::runtime_error with one
    /// plain sentence when the file cannot be read or understood; nothing is changed then.
    void load(const std::string& path);

    /// Sets one key; an empty text is a value too.
    void set(const std::string& section, const std::string& key, const std::string& value);

    /// The text of a key, nothing when it is not set.
    std::optional<std::string> find(const std::string& section, const std::string& key) const;

    /// The text of a key, `fallback` when it is not set.
    std::string get(const std::string& section, const std::string& key, const std::string& fallback) const;

    /// The text of a key as a whole decimal number; nothing when it is not set or is no such number.
    std::optional<long long> find_number(const std::string& section, const std::string& key) const;

private:
    mutable std::shared_mutex lock_;  // guards values_; nothing else is done under it
    std::map<std::pair<std::string, std::string>, std::string> values_;
};

/// The settings that the host services of this process read. Starts empty; lives as long as the process.
settings& process_settings();

/// Loads the process's settings from `path` or, when that is empty, from the file named by the environment variable
/// INDEX_IFACE_CONFIG; with neither nothing is loaded. Throws as settings::load, also when journal_sync is misspelt.
void load_process_settings(const std::string& path = {});

}  // namespace hostkit
