// A storage engine with a fresh storage, with verbs that feed it collect lines and ask it as the library does.
#pragma once

#include <gtest/gtest.h>

#include <functional>
#include <initializer_list>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "host/message_classes.h"
#include "server/engine.h"
#include "server/search_request.h"
#include "tests/storage/test_storage.h"
#include "tests/support/scratch_directory.h"

namespace index_server {

/// How a question is put; the defaults are those of a question about now.
struct asked {
    long long at = 0;  ///< seconds; 0 for now
    long long after = 0;
    bool fold_case = false;
    long long page_size = 0;  ///< 0 for the usual one
    long long page_start = 0;
};

/// The six searches of the library.
enum class ask_for { path, path_children, guid, guid_children, extents, extents_to_back_up };

struct found_item {
    std::string path, name, object, version, parent, xattr;
    long long size = 0, mode = 0, mtime = 0, vtime = 0, dtime = 0, extent_number = 0, extent_type = 0;
    std::map<std::string, std::string> properties;
};

class engine_fixture : public testing::Test {
protected:
    engine_fixture();

    /// Applies a file of these lines, each without its start mark, closing bar and line feed: "<ADD>|<BAP>o|<LFN>a".
    apply_outcome apply(std::initializer_list<std::string> lines) { return apply(docs, lines); }
    apply_outcome apply(const share& to, const std::vector<std::string>& lines);
    apply_outcome apply_bytes(const share& to, const std::string& bytes);
    void reopen();

    /// Lines of a change at a second; an empty parent stands for the root.
    std::string added(const std::string& object, const std::string& version, long long second,
                      const std::string& parent, const std::string& name) const {
        return "<ADD>" + at(second) + "|<VGID>" + version + "|<BAP>" + object + place(parent, name);
    }
    std::string updated(const std::string& object, const std::string& version, long long second,
                        const std::string& parent, const std::string& name) const {
        return "<UPD>|<VGID>" + version + "|<BAP>" + object + "|<CTIME>" + std::to_string(second) + place(parent, name);
    }
    static std::string deleted(const std::string& object, const std::string& version, long long second) {
        return "<DEL>|<VGID>" + version + "|<BAP>" + object + "|<DTIM>" + std::to_string(second);
    }
    static std::string at(long long second) { return "|<VTIM>" + std::to_string(second * 1000000000); }
    std::string place(const std::string& parent, const std::string& name) const {
        return "|<EPG>" + (parent.empty() ? docs.root_guid : parent) + "|<LFN>" + name;
    }

    /// All items that the engine sends; `value` is the search's path or GUID. Paths start at the share's root.
    std::vector<found_item> ask(ask_for what, const std::string& value, const asked& how = {}) {
        return sent(docs, request(docs, what, value, how));
    }
    std::vector<found_item> sent(const share& of, KT5ContentIndexing::ZYSearchReq asking);
    /// The first of these items.
    found_item first(const std::string& path, const asked& how = {}) { return ask(ask_for::path, path, how).at(0); }
    /// The version GUID that a find gives the library's caller: of the first item, unless that has ended by then.
    std::string find(const std::string& path, const asked& how = {});
    /// The names that a browse gives the library's caller, in the engine's order, with a space between.
    std::string browse(const std::string& path, const asked& how = {});

    /// What is answered when each of these seconds is asked for, 0 for now: "v1, v2, -".
    static std::string over_time(const std::vector<long long>& seconds,
                                 const std::function<std::string(const asked&)>& answer);
    std::string finds(const std::string& path, const std::vector<long long>& seconds) {
        return over_time(seconds, [&](const asked& how) { return find(path, how); });
    }
    std::string browses(const std::string& path, const std::vector<long long>& seconds) {
        return over_time(seconds, [&](const asked& how) { return browse(path, how); });
    }
    /// The texts of a response's errors.
    std::string errors(KT5ContentIndexing::ZYSearchReq& request);

    KT5ContentIndexing::ZYSearchReq request(const share& of, ask_for what, const std::string& value, const asked& how);
    std::string answer_to(const share& of, const KT5ContentIndexing::ZYSearchReq& asking);
    static void add_option(KT5ContentIndexing::ZYSearchReq& request, const std::string& name, const std::string& value);
    static void add_filter(KT5ContentIndexing::ZYSearchReq& request, const std::string& name,
                           const std::vector<std::string>& values, int mode);

    /// Every row of the index but for the numbers that arrival gives; versions in the order that decides among them.
    std::string rows() const;

    const scratch_directory scratch;
    const std::string directory = scratch.path();
    const test_storage storage{directory};
    std::unique_ptr<engine> store;
    share docs;

    static bool gone(const found_item& item, const asked& how);
};

}  // namespace index_server
