// RocksDB as a peer.
#include <rocksdb/db.h>

#include "bench/peers.h"

namespace bench {

namespace {

class rocksdb_store : public store {
public:
    explicit rocksdb_store(const std::string& directory) {
        rocksdb::Options options;
        options.create_if_missing = true;
        options.write_buffer_size = std::size_t{512} << 20;
        options.allow_fallocate = false;             // or each new log is filled with zeros, where files are memory
        options.avoid_flush_during_recovery = true;  // its quickest recovery: the log is read, and no table is written
        rocksdb::DB* opened = nullptr;
        check(rocksdb::DB::Open(options, directory, &opened).ok(), "RocksDB does not open");
        db_.reset(opened);
    }
    void put(const std::string& key, const std::string& value) override {
        check(db_->Put(rocksdb::WriteOptions(), key, value).ok(), "RocksDB Put failed");
    }
    void get(const std::string& key, std::string& value) override {
        check(db_->Get(rocksdb::ReadOptions(), key, &value).ok(), "RocksDB Get failed");
    }

private:
    std::unique_ptr<rocksdb::DB> db_;
};

}  // namespace

std::unique_ptr<store> open_rocksdb(const std::string& directory) {
    return std::make_unique<rocksdb_store>(directory);
}

}  // namespace bench
