// The copy is made beside its final place and renamed there, so that nobody takes half of one for a backup.
#include "server/index_backup.h"

#include <cerrno>
#include <cstdio>
#include <string_view>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "server/administration.h"
#include "server/hex_text.h"
#include "server/posix_file.h"
#include "server/sqlite_driver.h"

namespace index_server {

namespace {

constexpr std::string_view database_start = "SQLite format 3";

/// A file that is removed again unless it was renamed.
class unfinished_copy {
public:
    explicit unfinished_copy(std::string path)
        : path_(std::move(path)), file_(open_file(path_, O_RDWR | O_CREAT | O_EXCL, 0600)) {}
    ~unfinished_copy() {
        if (!path_.empty()) ::unlink(path_.c_str());
    }
    unfinished_copy(const unfinished_copy&) = delete;
    unfinished_copy& operator=(const unfinished_copy&) = delete;

    const std::string& path() const { return path_; }

    /// Makes the copy last under its final name.
    void finish(const std::string& final_path, bool overwrite) {
        sync_file(file_, path_);
        // The kernel, not a look beforehand, decides whether something is there.
        const unsigned flags = overwrite ? 0 : RENAME_NOREPLACE;
        if (::renameat2(AT_FDCWD, path_.c_str(), AT_FDCWD, final_path.c_str(), flags) != 0) {
            if (errno == EEXIST) throw backup_refused("there is a file " + final_path + " already; give --force");
            throw_errno("cannot rename to", final_path);
        }
        path_.clear();
        const std::size_t slash = final_path.rfind('/');
        sync_directory(slash == 0 ? "/" : final_path.substr(0, slash));
    }

private:
    std::string path_;
    descriptor file_;
};

/// Refuses a file that is there, unless it may be replaced: whoever mistypes a name must not lose anything by it.
void check_target(const std::string& database, const std::string& file, bool overwrite) {
    if (file.size() < 2 || file.front() != '/' || file.back() == '/')
        throw backup_refused("the name of a backup has to be an absolute path of a file");
    struct stat there {
    }, index{};
    if (::lstat(file.c_str(), &there) != 0) return;
    if (!overwrite) throw backup_refused("there is a file " + file + " already; give --force");
    if (!S_ISREG(there.st_mode)) throw backup_refused(file + " is no regular file; choose another name");
    if (::stat(database.c_str(), &index) == 0 && index.st_dev == there.st_dev && index.st_ino == there.st_ino)
        throw backup_refused(file + " is the index itself; choose another name");
    char start[database_start.size()];
    const descriptor former = open_file(file, O_RDONLY | O_NOFOLLOW);
    const ssize_t got = ::pread(former.get(), start, sizeof start, 0);
    if (there.st_size != 0 && std::string_view(start, got > 0 ? static_cast<std::size_t>(got) : 0) != database_start)
        throw backup_refused(file + " is no backup of an index; choose another name");
}

std::string quoted(const std::string& text) {
    std::string sql = "'";
    for (const char c : text)
        sql += c == '\'' ? "''" : std::string(1, c);
    return sql + "'";
}

}  // namespace

void back_up_index(const std::string& database, const std::string& file, bool overwrite) {
    check_target(database, file, overwrite);
    unfinished_copy copy(file + "." + random_hex(4) + ".part");
    open_sqlite(database, sql_access::read)->execute(("VACUUM INTO " + quoted(copy.path())).c_str());
    copy.finish(file, overwrite);
}

}  // namespace index_server
