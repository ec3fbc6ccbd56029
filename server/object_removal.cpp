// The removal of whole objects.
#include "server/object_removal.h"

#include "server/page_of_objects.h"

namespace index_server {

namespace {

/// Some extents of the files in the set.
std::string extents_of(const std::string& set, int limit) {
    return "(SELECT id FROM extent WHERE share = ?1 AND file IN " + set + " ORDER BY id LIMIT ?" +
           std::to_string(limit) + ")";
}

}  // namespace

object_removal::object_removal(sql_connection& c, const std::string& set, int parameters)
    : limit_(parameters + 1),
      extent_properties_(
          c, ("DELETE FROM extent_property WHERE share = ?1 AND extent IN " + extents_of(set, limit_)).c_str()),
      extents_(c, (by_ids(c, "DELETE FROM extent") + extents_of(set, limit_) + " RETURNING 1").c_str()),
      properties_(c, ("DELETE FROM version_property WHERE share = ?1 AND version IN "
                      "(SELECT id FROM version WHERE share = ?1 AND object IN " +
                      set + ")")
                         .c_str()),
      versions_(c, ("DELETE FROM version WHERE share = ?1 AND object IN " + set + " RETURNING object, parent").c_str()),
      object_(c, "DELETE FROM object WHERE share = ?1 AND id = ?2") {}

bool object_removal::remove(std::int64_t share, const binder& bind, removal_tally& tally) {
    if (tally.rows_left <= 0) return false;
    for (sql_statement* statement : {&extent_properties_, &extents_, &properties_, &versions_})
        bind(*statement);
    extent_properties_.bind(limit_, tally.rows_left).run();
    const std::int64_t extents = run_and_count(extents_.bind(limit_, tally.rows_left));
    tally.removed.extents += static_cast<std::uint64_t>(extents);
    tally.rows_left -= extents;
    if (tally.rows_left <= 0) return false;

    properties_.run();
    std::set<std::int64_t> gone;
    {
        const statement_run run(versions_);
        while (versions_.step()) {
            gone.insert(versions_.integer(0));
            if (!versions_.is_null(1)) tally.emptied.insert(versions_.integer(1));
            ++tally.removed.versions;
            --tally.rows_left;
        }
    }
    for (const std::int64_t object : gone)
        object_.bind(1, share).bind(2, object).run();
    tally.removed.objects += gone.size();
    return true;
}

}  // namespace index_server
