// What is measured: a subject does a batch of operations, the library or something that it is held against. All of
// them get the same records, and each checks what came out.
#pragma once

#include <cstddef>
#include <memory>
#include <stdexcept>
#include <string>

#include "core/records.h"

namespace bench {

/// One contestant in one workload. A batch is prepare, run over all its operations, finish; only run is timed.
class subject {
public:
    virtual ~subject() = default;

    /// Operations of one batch.
    virtual std::size_t operations() const = 0;
    /// Makes ready for a batch.
    virtual void prepare() {}
    /// Does operations `from` up to `to`. Two threads may each do one half.
    virtual void run(std::size_t from, std::size_t to) = 0;
    /// Checks what the batch did, throws check_failed when it is wrong, and clears up.
    virtual void finish() {}
    /// False when the batch is one piece, so that single operations cannot be timed.
    virtual bool divisible() const { return true; }
};

using subject_ptr = std::unique_ptr<subject>;

struct check_failed : std::runtime_error {
    using std::runtime_error::runtime_error;
};

inline void check(bool holds, const char* what) {
    if (!holds) throw check_failed(what);
}

/// The record of one object as a host reports a regular file. The same number gives the same record at all times.
index_iface_props record(std::size_t number);

/// A number between 0 and `count`, in an order that looks random and is the same in each run.
std::size_t scattered(std::size_t number, std::size_t count);

/// A directory of its own below `place`, removed with all its contents at the end.
class scratch_directory {
public:
    explicit scratch_directory(const std::string& place);
    ~scratch_directory();
    scratch_directory(const scratch_directory&) = delete;
    scratch_directory& operator=(const scratch_directory&) = delete;

    std::string file(const std::string& name) const { return path_ + "/" + name; }
    const std::string& path() const { return path_; }

private:
    std::string path_;
};

}  // namespace bench
