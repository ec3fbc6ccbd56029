// Random lives of a namespace, fed file by file: at every moment, past or present, the index answers by path and by
// GUID what a simple model of the namespace says.
//
// IIF_PROPERTY_SEEDS is how many lives are tried, IIF_PROPERTY_FIRST_SEED the first of them.
#include <algorithm>
#include <cstdlib>

#include "tests/server/engine_fixture.h"
#include "tests/server/namespace_model.h"

namespace index_server {

namespace {

constexpr std::size_t changes_of_a_life = 60;

unsigned number_from_environment(const char* name, unsigned otherwise) {
    const char* text = std::getenv(name);
    return text != nullptr ? static_cast<unsigned>(std::strtoul(text, nullptr, 10)) : otherwise;
}

class history_property : public engine_fixture {
protected:
    /// Lives the first `changes` changes of a seed in a share of their own. Returns what is first seen to be wrong, or
    /// an empty text.
    std::string live(unsigned seed, std::size_t changes);
    /// All lines of the latest life.
    std::string told() const;

private:
    std::string feed(random_namespace& life, bool all);
    std::string compare(random_namespace& life);
    std::string compare_at(random_namespace& life, const model_state& state, const asked& when);
    std::string compare_one(const model_state& state, const std::string& guid, const asked& when);
    std::string compare_directory(const model_state& state, const std::string& guid, const asked& when);
    std::string found(const std::vector<found_item>& items, const asked& when);
    std::string listed(const std::vector<found_item>& items, const asked& when);

    std::vector<std::vector<std::string>> files_;
    unsigned shares_ = 0;
};

std::string difference(const std::string& question, const asked& when, const std::string& answer,
                       const std::string& expected) {
    if (answer == expected) return {};
    return question + " at " + (when.at == 0 ? "present" : std::to_string(when.at)) + " gives [" + answer +
           "] and not [" + expected + "]";
}

/// What a caller of the library sees of a find.
std::string history_property::found(const std::vector<found_item>& items, const asked& when) {
    if (items.empty() || gone(items.front(), when)) return {};
    const found_item& item = items.front();
    return item.path + " " + item.version + " " + std::to_string(item.size);
}

std::string history_property::listed(const std::vector<found_item>& items, const asked& when) {
    std::vector<std::string> names;
    for (const found_item& item : items) {
        if (!gone(item, when)) names.push_back(item.name);
    }
    std::sort(names.begin(), names.end());
    std::string text;
    for (const std::string& name : names)
        text += (text.empty() ? "" : " ") + name;
    return text;
}

std::string history_property::compare_one(const model_state& state, const std::string& guid, const asked& when) {
    const std::optional<std::string> path = path_in(state, docs.root_guid, guid);
    std::string expected;
    if (path) expected = *path + " " + state.at(guid).version + " " + std::to_string(state.at(guid).size);
    std::string wrong = difference("find " + guid, when, found(ask(ask_for::guid, guid, when), when), expected);
    if (wrong.empty() && path)
        wrong = difference("find " + *path, when, found(ask(ask_for::path, *path, when), when), expected);
    return wrong;
}

std::string history_property::compare_directory(const model_state& state, const std::string& guid, const asked& when) {
    const std::optional<std::string> path = path_in(state, docs.root_guid, guid);
    const std::string expected = path ? names_in(state, guid) : "";
    std::string wrong =
        difference("browse " + guid, when, listed(ask(ask_for::guid_children, guid, when), when), expected);
    if (wrong.empty() && path)
        wrong = difference("browse " + *path, when, listed(ask(ask_for::path_children, *path, when), when), expected);
    return wrong;
}

std::string history_property::compare_at(random_namespace& life, const model_state& state, const asked& when) {
    std::string wrong = compare_directory(state, docs.root_guid, when);
    for (auto guid = life.guids().begin(); guid != life.guids().end() && wrong.empty(); ++guid) {
        wrong = compare_one(state, *guid, when);
        const auto node = state.find(*guid);
        if (wrong.empty() && (node == state.end() || node->second.is_directory))
            wrong = compare_directory(state, *guid, when);
    }
    // A place that was taken once and is free now.
    for (const char* const name : {"/a", "/b", "/c/a"}) {
        const auto taken = std::any_of(state.begin(), state.end(), [&](const auto& entry) {
            return path_in(state, docs.root_guid, entry.first) == name;
        });
        if (wrong.empty() && !taken)
            wrong = difference(std::string("find ") + name, when, found(ask(ask_for::path, name, when), when), "");
    }
    return wrong;
}

std::string history_property::compare(random_namespace& life) {
    std::string wrong = compare_at(life, life.now(), {});
    const long long seconds = life.last_second() - life.first_second();
    for (int i = 0; i < 4 && wrong.empty(); ++i) {
        const long long moment = life.first_second() + static_cast<long long>(life.pick(seconds + 2));
        wrong = compare_at(life, life.at(moment), {.at = moment});
    }
    return wrong;
}

/// Applies what was not applied yet, perhaps twice, perhaps with files before it once more.
std::string history_property::feed(random_namespace& life, bool all) {
    files_.push_back(life.take_file(all));
    const std::size_t again = life.pick(4) == 0 ? 1 + life.pick(std::min<std::size_t>(files_.size(), 3)) : 0;
    if (!apply(docs, files_.back()).applied) return "a file was refused";
    for (std::size_t i = files_.size() - again; i < files_.size(); ++i) {
        if (!apply(docs, files_[i]).applied) return "a file was refused the second time";
    }
    // What an addition that is held back would tell cannot be known yet.
    return life.holds_back() ? std::string() : compare(life);
}

std::string history_property::live(unsigned seed, std::size_t changes) {
    docs = store->register_share("life " + std::to_string(shares_++));
    files_.clear();
    random_namespace life(seed, docs.root_guid);
    std::string wrong;
    for (std::size_t i = 0; i < changes && wrong.empty(); ++i) {
        life.change();
        if (life.pick(8) == 0) wrong = feed(life, false);
    }
    return wrong.empty() ? feed(life, true) : wrong;
}

std::string history_property::told() const {
    std::string text;
    for (std::size_t i = 0; i < files_.size(); ++i) {
        for (const std::string& line : files_[i])
            text += "file " + std::to_string(i) + ": " + line + "\n";
    }
    return text;
}

TEST_F(history_property, the_index_answers_as_the_namespace_was) {
    const unsigned first = number_from_environment("IIF_PROPERTY_FIRST_SEED", 1);
    const unsigned count = number_from_environment("IIF_PROPERTY_SEEDS", test_storage::is_postgresql() ? 10 : 50);
    for (unsigned seed = first; seed < first + count; ++seed) {
        const std::string wrong = live(seed, changes_of_a_life);
        if (wrong.empty()) continue;
        std::size_t changes = 1;
        while (changes < changes_of_a_life && live(seed, changes).empty())
            ++changes;
        const std::string shortest = live(seed, changes);
        ADD_FAILURE() << "seed " << seed << ": " << wrong << "\nafter " << changes << " changes: " << shortest << "\n"
                      << told();
        return;
    }
}

}  // namespace

}  // namespace index_server
