// Spooled collect files.
#include "server/spool_file.h"

#include <cstdio>
#include <filesystem>
#include <system_error>
#include <utility>

#include <fcntl.h>
#include <unistd.h>

#include "hostkit/log.h"

namespace index_server {

std::string spool_path(const std::string& directory, const std::string& id) {
    return directory + "/" + id + ".zyf";
}

void empty_spool(const std::string& directory) {
    std::error_code listing;
    for (const auto& entry : std::filesystem::directory_iterator(directory, listing)) {
        std::error_code removal;
        std::filesystem::remove(entry.path(), removal);
        if (removal) {
            HOSTKIT_LOG(-1, "index server: cannot remove [%s]: %s", entry.path().c_str(), removal.message().c_str());
        }
    }
    if (listing) {
        HOSTKIT_LOG(-1, "index server: cannot list [%s]: %s", directory.c_str(), listing.message().c_str());
    }
}

spool_file::spool_file(std::string directory, std::string id)
    : directory_(std::move(directory)), id_(std::move(id)), part_(spool_path(directory_, id_) + ".part") {}

spool_file::~spool_file() {
    if (file_.is_open()) ::unlink(part_.c_str());
}

void spool_file::write(const char* data, std::size_t size) {
    open_part();
    write_all(file_, data, size, part_);
}

void spool_file::commit() {
    open_part();
    sync_file(file_, part_);
    if (std::rename(part_.c_str(), spool_path(directory_, id_).c_str()) != 0) throw_errno("cannot rename", part_);
    file_ = descriptor();
    sync_directory(directory_);
}

void spool_file::take_back() noexcept {
    ::unlink(spool_path(directory_, id_).c_str());
}

void spool_file::open_part() {
    if (!file_.is_open()) file_ = open_file(part_, O_WRONLY | O_CREAT | O_EXCL, 0600);
}

}  // namespace index_server
