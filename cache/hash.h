// The hash of the change caches. Bucket order is visible in path lookups, so the steps are fixed.
#pragma once

/// The largest power of two not above `count`; a count of 0 or below comes back unchanged.
constexpr int calc_hash_buckets(int count) {
    int shifts = 0;
    for (int rest = count; rest > 1; rest >>= 1) {
        ++shifts;
    }
    return (count >> shifts) << shifts;
}

/// The bucket of a key of at least one byte. `num_buckets` is a power of two. Every second byte counts, and the last
/// one once more; bytes are signed and sums wrap at 32 bits.
constexpr int calc_hash(const char* key, int length, int num_buckets) {
    const auto signed_byte = [key](int position) {
        return static_cast<unsigned>(static_cast<int>(static_cast<signed char>(key[position])));
    };
    unsigned sum = signed_byte(length - 1);
    for (int position = 0; position < length; position += 2) {
        sum += signed_byte(position);
    }
    return static_cast<int>(sum & static_cast<unsigned>(num_buckets - 1));
}
