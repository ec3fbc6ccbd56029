// The kinds of names come from the listings, so no object is looked at. What cannot be read is left out: it is an
// estimate.
#include "share/tree_counter.h"

#include <dirent.h>

#include <memory>
#include <string_view>
#include <vector>

#include "share/disk_entry.h"
#include "share/object_record.h"

namespace share_host {

tree_counter::tree_counter(int root_fd)
    : thread_([this, root_fd](std::stop_token stop) {
          try {
              count(root_fd, stop);
          } catch (const std::bad_alloc&) {
              total_ = 0;
          }
      }) {}

void tree_counter::count(int root_fd, const std::stop_token& stop) {
    std::uint64_t names = 1;
    std::vector<std::string> directories{""};
    while (!directories.empty()) {
        const std::string here = std::move(directories.back());
        directories.pop_back();
        hostkit::descriptor fd = open_directory_below(root_fd, here);
        const std::unique_ptr<DIR, int (*)(DIR*)> stream(fd ? ::fdopendir(fd.get()) : nullptr, ::closedir);
        if (!stream) continue;
        fd.take();
        while (const dirent* entry = ::readdir(stream.get())) {
            if (stop.stop_requested()) return;
            const std::string_view name = entry->d_name;
            if (name == "." || name == "..") continue;
            ++names;
            if (entry->d_type == DT_DIR) directories.push_back(join_disk_path(here, std::string(name)));
        }
    }
    total_ = names;
}

}  // namespace share_host
