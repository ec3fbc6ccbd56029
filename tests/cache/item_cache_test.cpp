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
