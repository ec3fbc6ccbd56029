// The bare system call and the bare parse.
#include "bench/bounds.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <charconv>
#include <numeric>
#include <string_view>
#include <vector>

#include "bench/library_subjects.h"

namespace bench {

namespace {

class bare_writes : public subject {
public:
    bare_writes(const std::string& place, std::vector<std::string> lines)
        : directory_(place), lines_(std::move(lines)) {
        bytes_ = std::accumulate(lines_.begin(), lines_.end(), std::size_t{0},
                                 [](std::size_t sum, const std::string& line) { return sum + line.size(); });
    }
    ~bare_writes() override { close_file(); }

    std::size_t operations() const override { return lines_.size(); }
    void prepare() override {
        close_file();
        file_ = ::open(name().c_str(), O_WRONLY | O_CREAT | O_EXCL | O_APPEND | O_CLOEXEC, 0644);
        check(file_ >= 0, "the file cannot be made");
    }
    void run(std::size_t from, std::size_t to) override {
        for (; from < to; ++from) {
            const std::string& line = lines_[from];
            check(::write(file_, line.data(), line.size()) == static_cast<ssize_t>(line.size()), "a write failed");
        }
    }
    void finish() override {
        struct stat about {};
        check(::fstat(file_, &about) == 0 && static_cast<std::size_t>(about.st_size) == bytes_, "bytes are missing");
        close_file();
        ::unlink(name().c_str());
    }

private:
    std::string name() const { return directory_.file("lines"); }
    void close_file() {
        if (file_ >= 0) ::close(file_);
        file_ = -1;
    }

    scratch_directory directory_;
    std::vector<std::string> lines_;
    std::size_t bytes_ = 0;
    int file_ = -1;
};

/// The fields that an add's line carries, as texts and numbers of one record that is used again for each line.
class bare_parse_of_lines : public subject {
public:
    explicit bare_parse_of_lines(std::vector<std::string> lines) : lines_(std::move(lines)) {}
    std::size_t operations() const override { return lines_.size(); }
    void run(std::size_t from, std::size_t to) override {
        for (; from < to; ++from) {
            parse(lines_[from]);
            check(props_.size == static_cast<long long>(from) && !props_.object_guid.empty(), "a line was misread");
        }
    }

private:
    void parse(std::string_view line) {
        for (std::size_t at = line.find("|<"); at != std::string_view::npos;) {
            const std::size_t tag_end = line.find('>', at);
            if (tag_end == std::string_view::npos) return;
            const std::size_t next = line.find("|<", tag_end);
            field(line.substr(at + 2, tag_end - at - 2), line.substr(tag_end + 1, next - tag_end - 1));
            at = next;
        }
    }

    void field(std::string_view tag, std::string_view value) {
        if (tag == "BAP") props_.object_guid = value;
        if (tag == "VGID") props_.version_guid = value;
        if (tag == "EPG") props_.parent_guid = value;
        if (tag == "ERP") props_.path = value;
        if (tag == "FS") number(value, props_.size);
        if (tag == "MODE") number(value, props_.mode);
        if (tag == "UID") number(value, props_.uid);
        if (tag == "GID") number(value, props_.gid);
        if (tag == "ATIME") number(value, props_.atime);
        if (tag == "CTIME") number(value, props_.ctime);
        if (tag == "MTIME") number(value, props_.mtime);
        if (tag == "VTIM") number(value, props_.vtime);
        if (tag == "VTMS") number(value, props_.vtime_sec);
    }

    template <class Number>
    static void number(std::string_view text, Number& out) {
        std::from_chars(text.data(), text.data() + text.size(), out);
    }

    std::vector<std::string> lines_;
    index_iface_props props_;
};

}  // namespace

subject_ptr bare_journal_writes(const std::string& place, std::size_t batch) {
    return std::make_unique<bare_writes>(place, journal_lines(place, batch));
}
subject_ptr bare_collect_writes(const std::string& place, std::size_t batch) {
    return std::make_unique<bare_writes>(place, collect_lines(place, batch));
}
subject_ptr bare_parse(const std::string& place, std::size_t batch) {
    return std::make_unique<bare_parse_of_lines>(journal_lines(place, batch));
}

}  // namespace bench
