// The workloads of the embedded stores.
#include "bench/peers.h"

#include <filesystem>
#include <vector>

#include "bench/library_subjects.h"

namespace bench {

namespace {

class on_a_store : public subject {
public:
    on_a_store(open_store open, const std::string& place, std::size_t batch)
        : open_(open), directory_(place), values_(journal_lines(place, batch)) {
        for (std::size_t number = 0; number < batch; ++number)
            keys_.push_back(record(number).object_guid);
    }
    std::size_t operations() const override { return keys_.size(); }

protected:
    void put_all() { put_some(0, keys_.size()); }
    void put_some(std::size_t from, std::size_t to) {
        for (; from < to; ++from)
            store_->put(keys_[from], values_[from]);
    }
    void check_all() {
        std::string value;
        for (std::size_t number = 0; number < keys_.size(); ++number) {
            store_->get(keys_[number], value);
            check(value == values_[number], "the store lost a value");
        }
    }
    void open_anew() {
        store_.reset();
        std::filesystem::remove_all(directory_.path());
        std::filesystem::create_directory(directory_.path());
        store_ = open_(directory_.path());
    }

    open_store open_;
    scratch_directory directory_;
    std::vector<std::string> values_;
    std::vector<std::string> keys_;
    std::unique_ptr<store> store_;
};

class put : public on_a_store {
public:
    using on_a_store::on_a_store;
    void prepare() override { open_anew(); }
    void run(std::size_t from, std::size_t to) override { put_some(from, to); }
    void finish() override { check_all(); }
};

class replace : public put {
public:
    using put::put;
    void prepare() override {
        open_anew();
        put_all();
    }
};

class get : public on_a_store {
public:
    get(open_store open, const std::string& place, std::size_t batch) : on_a_store(open, place, batch) {
        open_anew();
        put_all();
    }
    void run(std::size_t from, std::size_t to) override {
        std::string value;
        for (; from < to; ++from) {
            const std::size_t wanted = scattered(from, keys_.size());
            store_->get(keys_[wanted], value);
            check(value == values_[wanted], "the store found something else");
        }
    }
};

class recover : public on_a_store {
public:
    recover(open_store open, const std::string& place, std::size_t batch)
        : on_a_store(open, place, batch), left_(directory_.path() + ".left") {
        open_anew();
        put_all();
        // A copy of the open store is what a process that dies leaves behind.
        std::filesystem::copy(directory_.path(), left_, std::filesystem::copy_options::recursive);
    }
    ~recover() override {
        std::error_code ignored;
        std::filesystem::remove_all(left_, ignored);
    }
    bool divisible() const override { return false; }
    void prepare() override {
        store_.reset();
        std::filesystem::remove_all(directory_.path());
        std::filesystem::copy(left_, directory_.path(), std::filesystem::copy_options::recursive);
    }
    void run(std::size_t, std::size_t) override { store_ = open_(directory_.path()); }
    void finish() override { check_all(); }

private:
    std::string left_;
};

}  // namespace

subject_ptr peer_put(open_store open, const std::string& place, std::size_t batch) {
    return std::make_unique<put>(open, place, batch);
}
subject_ptr peer_replace(open_store open, const std::string& place, std::size_t batch) {
    return std::make_unique<replace>(open, place, batch);
}
subject_ptr peer_get(open_store open, const std::string& place, std::size_t batch) {
    return std::make_unique<get>(open, place, batch);
}
subject_ptr peer_recover(open_store open, const std::string& place, std::size_t batch) {
    return std::make_unique<recover>(open, place, batch);
}

}  // namespace bench
