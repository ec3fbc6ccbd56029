// The random life and its lines.
#include "tests/server/namespace_model.h"

#include <algorithm>
#include <array>
#include <iterator>
#include <utility>

namespace index_server {

namespace {

// Few, so that places are taken again and again.
constexpr std::array<const char*, 4> names{"a", "b", "c", "d"};

}  // namespace

std::optional<std::string> path_in(const model_state& state, const std::string& root, const std::string& guid) {
    std::string path;
    for (std::string here = guid; here != root;) {
        const auto node = state.find(here);
        if (node == state.end()) return std::nullopt;
        path.insert(0, "/" + node->second.name);
        here = node->second.parent;
    }
    return path.empty() ? "/" : path;
}

std::string names_in(const model_state& state, const std::string& directory) {
    std::set<std::string> found;
    for (const auto& [guid, node] : state) {
        if (node.parent == directory) found.insert(node.name);
    }
    std::string text;
    for (const std::string& name : found)
        text += (text.empty() ? "" : " ") + name;
    return text;
}

random_namespace::random_namespace(unsigned seed, std::string root)
    : random_(seed), root_(std::move(root)), versions_by_second_(seed % 2 == 0) {
    past_[second_] = {};
}

const model_state& random_namespace::at(long long second) const {
    static const model_state nothing;
    const auto after = past_.upper_bound(second);
    return after == past_.begin() ? nothing : std::prev(after)->second;
}

void random_namespace::change() {
    if (pick(5) < 3) second_ += 1 + static_cast<long long>(pick(3));
    switch (pick(10)) {
        case 0:
        case 1:
        case 2:
            create();
            break;
        case 3:
        case 4:
            modify();
            break;
        case 5:
        case 6:
        case 7:
            rename();
            break;
        case 8:
            remove();
            break;
        default:
            revive();
            break;
    }
    past_[second_] = live_;
}

std::string random_namespace::any_live(bool directories_only) {
    std::vector<std::string> found;
    for (const auto& [guid, node] : live_) {
        if (node.is_directory || !directories_only) found.push_back(guid);
    }
    if (directories_only) found.push_back(root_);
    return found.empty() ? std::string() : found[pick(found.size())];
}

bool random_namespace::is_below(const std::string& guid, const std::string& above) const {
    for (std::string here = guid; here != root_; here = live_.at(here).parent) {
        if (here == above) return true;
    }
    return false;
}

/// Whatever stands in a place is gone when something else comes there.
void random_namespace::clear_place(const std::string& parent, const std::string& name, const std::string& keep) {
    for (const auto& [guid, node] : live_) {
        if (node.parent == parent && node.name == name && guid != keep)
            return remove_tree(std::string(guid), true, true);
    }
}

/// Gives the object its version of now.
void random_namespace::touch(const std::string& guid) {
    model_node& node = live_.at(guid);
    node.version = guid + "@" + (versions_by_second_ ? std::to_string(second_) : "n" + std::to_string(++counter_));
    node.changed_s = second_;
}

void random_namespace::create() {
    const std::string parent = any_live(true);
    const std::string name = names[pick(names.size())];
    clear_place(parent, name, "");
    const std::string guid = "g" + std::to_string(guids_.size());
    guids_.insert(guid);
    const bool is_directory = pick(3) == 0;
    live_[guid] = {parent, name, "", is_directory, static_cast<long long>(pick(1000)), 0};
    touch(guid);
    tell(kind::addition, guid, true);
    pending_.back().is_first = true;
}

/// A file that was deleted in an earlier second comes back, perhaps elsewhere.
void random_namespace::revive() {
    for (const auto& [guid, former] : deleted_files_) {
        if (former.changed_s >= second_) continue;
        const std::string revived = guid;
        model_node node = former;
        node.parent = any_live(true);
        clear_place(node.parent, node.name, "");
        live_[revived] = node;
        deleted_files_.erase(revived);
        touch(revived);
        return tell(kind::addition, revived, true);
    }
}

void random_namespace::modify() {
    const std::string guid = any_live(false);
    if (guid.empty()) return;
    // Two versions of one second are told apart by their order alone, which the library keeps among renames.
    const bool again = live_[guid].changed_s == second_ && !versions_by_second_;
    live_[guid].size = static_cast<long long>(pick(1000));
    touch(guid);
    tell(again ? kind::rename : kind::update, guid, again || pick(2) == 0);
}

void random_namespace::rename() {
    const std::string guid = any_live(false);
    const std::string parent = any_live(true);
    if (guid.empty() || is_below(parent, guid)) return;
    const std::string name = names[pick(names.size())];
    if (live_[guid].parent == parent && live_[guid].name == name) return;
    // What is replaced must not be above what moves there.
    for (const auto& [other, node] : live_) {
        if (node.parent == parent && node.name == name && is_below(guid, other)) return;
    }
    clear_place(parent, name, guid);
    live_[guid].parent = parent;
    live_[guid].name = name;
    touch(guid);
    tell(kind::rename, guid, true);
}

void random_namespace::remove() {
    const std::string guid = any_live(false);
    if (!guid.empty()) remove_tree(guid, true, pick(3) != 0);
}

/// What is below goes too; its deletions are told, or follow from the one above.
void random_namespace::remove_tree(const std::string& guid, bool tell_it, bool tell_below) {
    std::vector<std::string> children;
    for (const auto& [other, node] : live_) {
        if (node.parent == guid) children.push_back(other);
    }
    for (const std::string& child : children)
        remove_tree(child, tell_below, tell_below);
    if (tell_it) {
        tell(kind::deletion, guid, false);
        // One that was not told would come back with the directory above it.
        if (!live_.at(guid).is_directory) (deleted_files_[guid] = live_.at(guid)).changed_s = second_;
    }
    live_.erase(guid);
}

void random_namespace::tell(kind what, const std::string& guid, bool whole) {
    const model_node& node = live_.at(guid);
    auto known = std::find_if(pending_.begin(), pending_.end(),
                              [&](const line& one) { return one.object == guid && one.version == node.version; });
    if (known == pending_.end()) known = pending_.insert(known, {what, guid, node.version, false, {}});
    auto& fields = known->fields;
    if (what == kind::deletion) {
        known->what = what;
        fields.erase("VTIM");
        fields["DTIM"] = std::to_string(second_);
        return;
    }
    fields["CTIME"] = std::to_string(second_);
    fields["FS"] = std::to_string(node.size);
    if (!whole) return;
    fields["EPG"] = node.parent;
    fields["MODE"] = node.is_directory ? "16877" : "33188";
    fields["OTYP"] = node.is_directory ? "4" : "1";
    fields["LFN"] = node.name;
    if (what != kind::addition) return;
    fields["VTIM"] = std::to_string(second_ * 1000000000 + static_cast<long long>(pick(1000000000)));
    fields["DTIM"] = "0";
}

/// Held back are additions of new objects that no deletion or other place of theirs would overtake: neither could be
/// told from the past that the addition tells.
bool random_namespace::may_be_held_back(const line& one) {
    const bool is_alone = std::none_of(pending_.begin(), pending_.end(), [&](const line& other) {
        return other.object == one.object && (other.what == kind::deletion || other.what == kind::rename);
    });
    return !versions_by_second_ && one.is_first && is_alone && pick(4) == 0;
}

std::vector<std::string> random_namespace::take_file(bool all) {
    std::vector<line> updates, others = std::move(held_back_);
    held_back_.clear();
    for (const line& one : pending_) {
        if (!all && may_be_held_back(one))
            held_back_.push_back(one);
        else
            (one.what == kind::update ? updates : others).push_back(one);
    }
    pending_.clear();
    updates.insert(updates.end(), others.begin(), others.end());
    std::vector<std::string> texts;
    for (const line& one : updates) {
        const char* tag = one.what == kind::addition ? "ADD" : one.what == kind::deletion ? "DEL" : "UPD";
        std::string text = "<" + std::string(tag) + ">|<VGID>" + one.version + "|<BAP>" + one.object;
        std::string name;
        for (const auto& [field, value] : one.fields) {
            if (field == "LFN")
                name = "|<LFN>" + value;
            else
                text += "|<" + field + ">" + value;
        }
        texts.push_back(text + name);
    }
    return texts;
}

}  // namespace index_server
