// The keyed cache: what it takes over, gives back and finds.
#include "cache/mem_cache.h"

#include <gtest/gtest.h>

#include <set>
#include <string>

#include "hostkit/log.h"
#include "tests/support/scratch_directory.h"

namespace {

std::multiset<std::string> given_back;

struct payload {
    std::string key1, key2;
};

void give_back(generic_cache_element* element) {
    auto* data = static_cast<payload*>(element->data);
    given_back.insert(data->key1 + data->key2);
    delete data;
    delete element;
}

class keyed_cache : public testing::Test {
protected:
    ~keyed_cache() override {
        generic_cache_del_cache(cache);
        g_ptrLogWriter.reset();
    }
    void make(bool case_sensitive1, bool case_sensitive2) {
        generic_cache_del_cache(cache);
        cache = generic_cache_init_cache(0, -5, &give_back, nullptr, nullptr, case_sensitive1, case_sensitive2);
        given_back.clear();
    }
    static int length(const std::string& key) { return static_cast<int>(key.size()); }
    void put(const std::string& key1, const std::string& key2) {
        auto* data = new payload{key1, key2};
        auto* element = new generic_cache_element{
            data->key1.c_str(), data->key2.c_str(), length(data->key1), length(data->key2), data, 8};
        EXPECT_EQ(generic_cache_update_with_key1(cache, key1.c_str(), length(key1), element), 0);
    }
    std::string find(const std::string& key1) {
        const auto* element = generic_cache_find_element_with_key1(cache, key1.c_str(), length(key1));
        return element == nullptr ? "-" : element->key2;
    }
    int drop(const std::string& key2) { return generic_cache_delete_with_key2(cache, key2.c_str(), length(key2)); }

    generic_cache* cache = nullptr;
};

using texts = std::multiset<std::string>;

TEST_F(keyed_cache, second_element_of_a_key_replaces_the_first_and_each_is_given_back_once) {
    make(true, true);
    put("a", "x"), put("b", "x"), put("c", "y"), put("", "");
    put("a", "z");
    EXPECT_EQ(given_back, (texts{"ax"}));
    EXPECT_EQ(find("a") + find("b") + find("c") + find("d") + find(""), "zxy-");
    EXPECT_EQ(drop("x"), 0) << "the replaced one no longer stands under its second key";
    EXPECT_EQ(given_back, (texts{"ax", "bx"}));
    EXPECT_NE(drop("x"), 0);
    put("d", "y");
    EXPECT_EQ(drop("y"), 0) << "every one of that second key";
    EXPECT_EQ(given_back, (texts{"ax", "bx", "cy", "dy"}));
    generic_cache_remove_all(cache);
    EXPECT_EQ(given_back, (texts{"", "ax", "az", "bx", "cy", "dy"}));
    put("a", "w");
    EXPECT_EQ(find("a"), "w") << "it stays usable";
    scratch_directory scratch;
    hostkit::open_log({.level = 7, .file = scratch / "log"});
    generic_cache_dump_cache(cache);
    EXPECT_NE(scratch.text_of("log").find("[a] -> [w]"), std::string::npos);
    given_back.clear();
    generic_cache_del_cache(std::exchange(cache, nullptr));
    EXPECT_EQ(given_back, (texts{"aw"}));
    generic_cache_del_cache(nullptr);
}

TEST_F(keyed_cache, each_key_has_its_own_case_setting_and_its_length_ends_it) {
    make(false, true);
    put("Ab", "Xy"), put("aB", "Zz");
    EXPECT_EQ(find("AB"), "Zz");
    EXPECT_NE(drop("zz"), 0);
    make(true, false);
    put("Ab", "Xy"), put("aB", "xY");
    EXPECT_EQ(find("AB") + find("Ab"), "-Xy");
    EXPECT_EQ(drop("XY"), 0);
    EXPECT_EQ(given_back.size(), 2u);
    put("abc", "x");
    EXPECT_NE(generic_cache_find_element_with_key1(cache, "abcdef", 3), nullptr);
}

}  // namespace
