// The hash table under the changes: buckets, hash, order, duplicates, emptying.
#include "tests/support/share_test.h"

using item_cache = started_share;

TEST_F(item_cache, bucket_counts_and_hash_values_are_the_worked_ones) {
    for (const auto& [limit, buckets] : {std::pair(1000, 512), {1024, 1024}, {1025, 1024}, {3, 2}, {1, 1}, {0, 512}}) {
        arguments.flush_after_count = static_cast<std::uint32_t>(limit);
        start_over();
        EXPECT_EQ(reach::num_buckets(*share), buckets);
        add("any"), add("key");
    }
    EXPECT_EQ(restart(), 0);
    auto* cache = reach::cur_cache(*share);
    for (const auto& [key, bucket] : {std::pair("abc", 295), {"ab", 195}, {"\xe9", 466}, {"a", 194}, {"axc", 295}}) {
        EXPECT_EQ(reach::insert_to_cache(*share, cache, key, new index_iface_props), 0);
        EXPECT_STREQ(cache->buckets[bucket] == nullptr ? "" : cache->buckets[bucket]->key, key);
    }
    EXPECT_STREQ(cache->buckets[295]->hash_next->key, "abc");
}

TEST_F(item_cache, a_batch_on_reused_memory_answers_as_the_first_one_did) {
    const auto object = [](int number) { return "o" + std::to_string(1000 + number); };
    arguments.flush_after_count = 256;
    make();
    ASSERT_EQ(init(), 0);
    const int many = 300;  // more than one block of items
    for (const bool full : {true, false}) {
        for (int number = 0; number < many; ++number)
            add(object(number),
                (full ? "size=7 link=l xattr=x etype=1 version=v" : "version=w") + std::to_string(number));
        for (int number = 0; number < many; ++number) {
            const auto* item = reach::find_item_with_key(*share, reach::cur_cache(*share), object(number).c_str(), -1);
            ASSERT_NE(item, nullptr);
            EXPECT_EQ(item->props->size, full ? 7 : -1);
            EXPECT_EQ(item->props->link_target + item->props->xattr, full ? "lx" : "");
            EXPECT_EQ(item->props->version_guid, (full ? "v" : "w") + std::to_string(number));
        }
        EXPECT_EQ(reach::find_item_with_key(*share, reach::cur_cache(*share), "o0999", -1), nullptr);
        ASSERT_EQ(share->flush(), 0);
        EXPECT_EQ(reach::find_item_with_key(*share, reach::cur_cache(*share), object(0).c_str(), -1), nullptr);
    }
}
