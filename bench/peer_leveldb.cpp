// LevelDB as a peer.
#include <leveldb/db.h>

#include "bench/peers.h"

namespace bench {

namespace {

class leveldb_store : public store {
public:
    explicit leveldb_store(const std::string& directory) {
        leveldb::Options options;
        options.create_if_missing = true;
        options.write_buffer_size = std::size_t{512} << 20;
        options.reuse_logs = true;  // its quickest recovery: the log is read, and no table is written
        leveldb::DB* opened = nullptr;
        check(leveldb::DB::Open(options, directory, &opened).ok(), "LevelDB does not open");
        db_.reset(opened);
    }
    void put(const std::string& key, const std::string& value) override {
        check(db_->Put(leveldb::WriteOptions(), key, value).ok(), "LevelDB Put failed");
    }
    void get(const std::string& key, std::string& value) override {
        check(db_->Get(leveldb::ReadOptions(), key, &value).ok(), "LevelDB Get failed");
    }

private:
    std::unique_ptr<leveldb::DB> db_;
};

}  // namespace

std::unique_ptr<store> open_leveldb(const std::string& directory) {
    return std::make_unique<leveldb_store>(directory);
}

}  // namespace bench
