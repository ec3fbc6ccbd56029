// The settings: an INI file laid over what is there.
#include "hostkit/settings.h"

#include <boost/property_tree/ini_parser.hpp>
#include <charconv>
#include <cstdlib>
#include <mutex>
#include <stdexcept>

#include "hostkit/journal_sync.h"

namespace hostkit {

void settings::load(const std::string& path) {
    boost::property_tree::ptree file;
    try {
        boost::property_tree::read_ini(path, file);
    } catch (const boost::property_tree::ini_parser_error& failure) {
        std::string place = path;
        if (failure.line() > 0) place += ", line " + std::to_string(failure.line());
        throw std::runtime_error("cannot read the settings file " + place + ": " + failure.message() + ".");
    }
    const std::unique_lock guard(lock_);
    auto merged = values_;
    for (const auto& [section, keys] : file) {
        for (const auto& [key, value] : keys)
            merged[{section, key}] = value.data();
    }
    values_.swap(merged);
}

void settings::set(const std::string& section, const std::string& key, const std::string& value) {
    const std::unique_lock guard(lock_);
    values_[{section, key}] = value;
}

std::optional<std::string> settings::find(const std::string& section, const std::string& key) const {
    const std::shared_lock guard(lock_);
    const auto found = values_.find({section, key});
    if (found == values_.end()) return std::nullopt;
    return found->second;
}

std::string settings::get(const std::string& section, const std::string& key, const std::string& fallback) const {
    return find(section, key).value_or(fallback);
}

std::optional<long long> settings::find_number(const std::string& section, const std::string& key) const {
    const std::optional<std::string> text = find(section, key);
    if (!text) return std::nullopt;
    long long number = 0;
    const char* end = text->data() + text->size();
    const auto [rest, failure] = std::from_chars(text->data(), end, number);
    if (failure != std::errc{} || rest != end) return std::nullopt;
    return number;
}

settings& process_settings() {
    // Never destroyed: threads that outlive main may still ask.
    static settings& the_settings = *new settings;
    return the_settings;
}

void load_process_settings(const std::string& path) {
    const char* from_environment = std::getenv("INDEX_IFACE_CONFIG");
    if (!path.empty()) {
        process_settings().load(path);
    } else if (from_environment != nullptr && *from_environment != '\0') {
        process_settings().load(from_environment);
    }
    // Found at the first journal otherwise, where a program could only try again.
    if (!journal_sync_ms()) {
        throw std::runtime_error("the setting journal_sync in [host] is not none, always or interval:<ms>.");
    }
}

}  // namespace hostkit
