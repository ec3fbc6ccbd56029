// Reads one journal line back into a record. Tokens are cut at every run of "|<>"; a tag's value is the next token,
// whatever it is. Only custom properties are cut at ":|", for two tokens.
#include <cstdlib>
#include <cstring>
#include <string_view>

#include "core/index_iface.h"

namespace {

constexpr char field_delimiters[] = "|<>";
constexpr char custom_delimiters[] = ":|";
constexpr std::size_t custom_prefix_length = 7;  // "custom_", skipped and not compared

/// Walks the tokens of one line; a missing token is null.
class tokens {
public:
    explicit tokens(char* line) : start_(line) {}

    char* next(const char* delimiters) {
        char* token = strtok_r(start_, delimiters, &position_);
        start_ = nullptr;
        return token;
    }

private:
    char* start_;
    char* position_ = nullptr;
};

void skip_prefix(const char* text, std::size_t length, std::string& out) {
    const std::string_view view = text;
    out = view.substr(std::min(length, view.size()));
}

// A text that is no number leaves the field alone.
template <class Number>
void read_number(const char* text, Number& out) {
    char* end = nullptr;
    if constexpr (std::is_unsigned_v<Number>) {
        const unsigned long value = strtoul(text, &end, 10);
        if (end != text) {
            out = static_cast<Number>(value);
        }
    } else {
        const long long value = strtoll(text, &end, 10);
        if (end != text) {
            out = static_cast<Number>(value);
        }
    }
}

bool read_operation(std::string_view tag, index_iface_props& props) {
    if (tag == "ADD") {
        props.idx_ops = index_iface_props::ADD;
    } else if (tag == "UPD") {
        props.idx_ops = index_iface_props::UPD;
    } else if (tag == "DEL") {
        props.idx_ops = index_iface_props::DEL;
    } else if (tag == "REN") {
        props.idx_ops = index_iface_props::REN;
    } else {
        return false;
    }
    return true;
}

std::string* text_field(std::string_view tag, index_iface_props& props) {
    if (tag == "VGID" || tag == "UKEY") {
        return &props.version_guid;
    }
    if (tag == "BAP") {
        return &props.object_guid;
    }
    if (tag == "EPG") {
        return &props.parent_guid;
    }
    if (tag == "LNKT") {
        return &props.link_target;
    }
    if (tag == "XATTR") {
        return &props.xattr;
    }
    return nullptr;
}

template <class Number>
bool number_field(bool matches, tokens& line, Number& out) {
    if (matches) {
        if (const char* value = line.next(field_delimiters)) {
            read_number(value, out);
        }
    }
    return matches;
}

// The flag is set even by a value that is no number.
bool flagged_field(bool matches, tokens& line, bool& valid, std::uint32_t& out) {
    if (matches) {
        if (const char* value = line.next(field_delimiters)) {
            valid = true;
            read_number(value, out);
        }
    }
    return matches;
}

void read_custom_property(tokens& line, index_iface_props& props) {
    const char* key = line.next(custom_delimiters);
    const char* value = line.next(custom_delimiters);
    if (key == nullptr || value == nullptr) {
        return;
    }
    std::string name;
    skip_prefix(key, custom_prefix_length, name);
    props.custom_props[name] = value;
}

void read_number_field(std::string_view tag, tokens& line, index_iface_props& props) {
    static_cast<void>(
        flagged_field(tag == "MODE", line, props.mode_valid, props.mode) ||
        number_field(tag == "FS", line, props.size) || flagged_field(tag == "UID", line, props.uid_valid, props.uid) ||
        flagged_field(tag == "GID", line, props.gid_valid, props.gid) ||
        number_field(tag == "ATIME", line, props.atime) || number_field(tag == "CTIME", line, props.ctime) ||
        number_field(tag == "MTIME", line, props.mtime) || number_field(tag == "VTIM", line, props.vtime) ||
        number_field(tag == "VTMS", line, props.vtime_sec) || number_field(tag == "DTIM", line, props.dtime) ||
        number_field(tag == "EXTP", line, props.extent_type) || number_field(tag == "EXSZ", line, props.extent_size) ||
        number_field(tag == "IEXT", line, props.is_extent) || number_field(tag == "EXTN", line, props.extent_number));
}

}  // namespace

// thread: start-up only
int index_iface::process_single_line(index_iface_cache* cache, char* line) {
    index_iface_props props;
    bool ukey_seen = false;
    tokens walk(line);
    while (const char* token = walk.next(field_delimiters)) {
        const std::string_view tag = token;
        if (read_operation(tag, props)) {
            continue;
        }
        if (std::string* text = text_field(tag, props)) {
            ukey_seen = ukey_seen || tag == "UKEY";
            if (const char* value = walk.next(field_delimiters)) {
                *text = value;
            }
        } else if (tag == "ERP") {
            if (const char* value = walk.next(field_delimiters)) {
                skip_prefix(value, sync_folder.size(), props.path);
            }
        } else if (tag == "CPRP") {
            read_custom_property(walk, props);
        } else {
            read_number_field(tag, walk, props);
        }
    }
    if (ukey_seen && props.object_guid.empty()) {
        props.object_guid = props.version_guid;
    }
    return insert_props_to_cache(cache, props);
}
