// The application of collect files, part by part.
#include "server/collect_applier.h"

#include <algorithm>
#include <string>

#include "server/working_set.h"

namespace index_server {

apply_outcome outcome_of(const collect_file& file) {
    apply_outcome outcome;
    outcome.lines = static_cast<std::uint64_t>(file.lines());
    if (!file.error().empty()) {
        outcome.error_line = outcome.lines;
        outcome.error = "line " + std::to_string(outcome.lines) + ": " + file.error();
    }
    return outcome;
}

void apply_collect_file(row_store& store, const share& target, collect_file& file, std::int64_t now_ns) {
    // Each line takes one step more than the one before it, even if the clock was set back in between.
    const std::int64_t before = std::max(now_ns, store.begin(target.subclient_id));
    for (std::size_t which = 0; which < file.parts(); ++which)
        working_set(store, target.root_guid, file.part(which), before).apply();
    store.keep_arrival(before + file.lines());
}

void make_root(row_store& store, const share& target) {
    store.begin(target.subclient_id);
    object_history above, root;
    root.guid = target.root_guid;
    above.id = store.reserve_ids(row_store::id_kind::object, 2);
    root.id = above.id + 1;

    const std::string name = std::to_string(target.folder_id);
    // Its version time is the earliest of all, so that the root is there at every moment that can be asked about.
    version_row version;
    version.id = store.reserve_ids(row_store::id_kind::version, 1);
    version.state = row_state::living;
    version.parent = above.id;
    version.name = version.name_key = name;
    version.whole = true;
    version.mode = 040755;
    version.data_type = 4;
    const version_row& made = root.versions.add(version);

    store.write(changed_objects{{&above, &root}, {}});
    store.write(changed_rows<object_history, version_row>{{{&root, &made}}, {}, {}, {}});
}

}  // namespace index_server
