// The library in each workload. Every change is counted again at the far end, in the file that the collection service
// gets; every find is compared with what was asked for.
#include "bench/library_subjects.h"

#include <algorithm>
#include <filesystem>
#include <fstream>

#include "bench/bench_host.h"

namespace bench {

namespace {

std::vector<index_iface_props> records(std::size_t count) {
    std::vector<index_iface_props> all;
    all.reserve(count);
    for (std::size_t number = 0; number < count; ++number)
        all.push_back(record(number));
    return all;
}

/// A share and the records that its batches are made of.
class on_a_share : public subject {
public:
    on_a_share(const std::string& place, std::size_t batch) : share_(place, batch), records_(records(batch)) {}
    std::size_t operations() const override { return records_.size(); }

protected:
    void add_all() {
        for (const index_iface_props& props : records_)
            check(share_->add_item(props) == 0, "add_item failed");
    }
    void deliver_all() {
        const std::size_t before = lines_collected();
        check(share_->flush() == 0, "flush failed");
        check(lines_collected() - before == records_.size(), "not every change was delivered");
    }

    started_share share_;
    std::vector<index_iface_props> records_;
};

class add : public on_a_share {
public:
    using on_a_share::on_a_share;
    void run(std::size_t from, std::size_t to) override {
        for (; from < to; ++from)
            check(share_->add_item(records_[from]) == 0, "add_item failed");
    }
    void finish() override { deliver_all(); }
};

class update_merge : public on_a_share {
public:
    using on_a_share::on_a_share;
    void prepare() override { add_all(); }
    void run(std::size_t from, std::size_t to) override {
        for (; from < to; ++from)
            check(share_->update_item(records_[from]) == 0, "update_item failed");
    }
    void finish() override { deliver_all(); }  // one line an object: every update was merged
};

class rename_all : public on_a_share {
public:
    rename_all(const std::string& place, std::size_t batch) : on_a_share(place, batch) {
        for (const index_iface_props& props : records_)
            old_paths_.push_back("/old" + props.path);
    }
    void run(std::size_t from, std::size_t to) override {
        for (; from < to; ++from)
            check(share_->rename_item(records_[from], "old", old_paths_[from], false) == 0, "rename_item failed");
    }
    void finish() override { deliver_all(); }

private:
    std::vector<std::string> old_paths_;
};

class find_guid : public on_a_share {
public:
    find_guid(const std::string& place, std::size_t batch) : on_a_share(place, batch) { add_all(); }
    // Chains grow with the cache, and with them what a lookup costs; enough of them are enough.
    std::size_t operations() const override { return std::min<std::size_t>(records_.size(), 10000); }
    void run(std::size_t from, std::size_t to) override {
        index_iface_browse_fields fields;
        index_iface_props found;
        for (; from < to; ++from) {
            const index_iface_props& wanted = records_[scattered(from, records_.size())];
            fields.object_guid = wanted.object_guid.c_str();
            check(share_->find_by_guid(fields, found) == 0 && found.version_guid == wanted.version_guid,
                  "find_by_guid found something else");
        }
    }
};

class find_path : public on_a_share {
public:
    find_path(const std::string& place, std::size_t batch) : on_a_share(place, batch) { add_all(); }
    // A lookup by path walks the whole cache, so that a large one gets fewer of them.
    std::size_t operations() const override { return std::min<std::size_t>(records_.size(), 200); }
    void run(std::size_t from, std::size_t to) override {
        index_iface_browse_fields fields;
        index_iface_props found;
        for (; from < to; ++from) {
            const index_iface_props& wanted = records_[scattered(from, records_.size())];
            fields.path = wanted.path.c_str();
            check(share_->find_by_path(fields, found) == 0 && found.object_guid == wanted.object_guid,
                  "find_by_path found something else");
        }
    }
};

class replay : public on_a_share {
public:
    replay(const std::string& place, std::size_t batch) : on_a_share(place, batch), journals_(place) {
        add_all();
        std::filesystem::copy_file(inside::journal(*share_), journals_.file("collect_file_0000000001"));
        deliver_all();
        own_journal_ = inside::journal(*share_);
        own_number_ = inside::journal_number(*share_);
    }
    bool divisible() const override { return false; }
    void run(std::size_t, std::size_t) override {
        check(inside::replay(*share_, journals_.path()) == 0, "replay failed");
    }
    void finish() override {
        check(inside::cached(*share_) == records_.size(), "replay lost lines");
        inside::forget_replayed(*share_, own_journal_, own_number_);
    }

private:
    scratch_directory journals_;
    std::string own_journal_;
    std::uint32_t own_number_ = 0;
};

class collect : public on_a_share {
public:
    collect(const std::string& place, std::size_t batch) : on_a_share(place, batch) {
        add_all();
        check(inside::switch_cache(*share_) == 0, "the caches do not rotate");
    }
    bool divisible() const override { return false; }
    void run(std::size_t, std::size_t) override {
        check(inside::write_collect_file(*share_), "the collect file cannot be written");
    }
    void finish() override {
        check(lines_in(inside::collect_file(*share_)) == records_.size(), "the collect file lost lines");
        std::filesystem::remove(inside::collect_file(*share_));  // the next one is as new as the bare file
    }
};

std::vector<std::string> read_lines(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    std::vector<std::string> lines;
    for (std::string line; std::getline(file, line);)
        lines.push_back(line + "\n");
    return lines;
}

}  // namespace

subject_ptr library_add(const std::string& place, std::size_t batch) {
    return std::make_unique<add>(place, batch);
}
subject_ptr library_update_merge(const std::string& place, std::size_t batch) {
    return std::make_unique<update_merge>(place, batch);
}
subject_ptr library_rename(const std::string& place, std::size_t batch) {
    return std::make_unique<rename_all>(place, batch);
}
subject_ptr library_find_guid(const std::string& place, std::size_t batch) {
    return std::make_unique<find_guid>(place, batch);
}
subject_ptr library_find_path(const std::string& place, std::size_t batch) {
    return std::make_unique<find_path>(place, batch);
}
subject_ptr library_replay(const std::string& place, std::size_t batch) {
    return std::make_unique<replay>(place, batch);
}
subject_ptr library_collect(const std::string& place, std::size_t batch) {
    return std::make_unique<collect>(place, batch);
}

std::vector<std::string> journal_lines(const std::string& place, std::size_t batch) {
    const started_share share(place, batch);
    for (std::size_t number = 0; number < batch; ++number)
        check(share->add_item(record(number)) == 0, "add_item failed");
    return read_lines(inside::journal(*share));
}

std::vector<std::string> collect_lines(const std::string& place, std::size_t batch) {
    const started_share share(place, batch);
    for (std::size_t number = 0; number < batch; ++number)
        check(share->add_item(record(number)) == 0, "add_item failed");
    check(inside::switch_cache(*share) == 0 && inside::write_collect_file(*share), "no collect file");
    return read_lines(inside::collect_file(*share));
}

}  // namespace bench
