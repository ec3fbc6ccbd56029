// One session of find, ls or extents, on the host that serves the share or on a stack of this process.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "core/records.h"
#include "iif/commands.h"
#include "iif/query_source.h"

namespace iif {

/// Says on stderr that there is nothing at the path, or of the GUID, that was asked for.
exit_code report_missing(const query_options& options);

/// One query session for one share. Queries see what was accepted before the session began; where that could not be
/// delivered within the timeout, one line on stderr says how old the answer may be.
class query_session {
public:
    /// Finds the share's state, and the host that serves it or, when none runs, starts what is needed in this process,
    /// without a scan. Throws program_error.
    explicit query_session(const query_options& options);
    ~query_session();
    query_session(const query_session&) = delete;
    query_session& operator=(const query_session&) = delete;

    /// The object that the options name. False when there is none. Throws program_error.
    bool find(index_iface_props& props);
    /// The entries of the directory that the options name, in the order of the index. Throws program_error.
    std::vector<index_iface_props> list();
    /// The extents of a file, in ascending order. Throws program_error.
    std::vector<index_iface_props> extents(const index_iface_props& file);
    /// The extents of the whole share that have no backup id yet, ended ones too. Throws program_error.
    std::vector<index_iface_props> extents_not_backed_up();

    /// Ends what was started; may end the process, with `code`, as stack::leave does.
    void leave(exit_code code);

private:
    /// A query by `guid`, which is borrowed, or, when that is empty, by the path that the options name.
    index_iface_browse_fields fields_for(const std::string& guid) const;
    std::vector<index_iface_props> objects_of(query_source::answer&& answer);

    std::unique_ptr<query_source> source_;
    std::string path_;           ///< as the index has it
    std::string guid_;           ///< empty: by path
    std::int64_t before_s_ = 0;  ///< 0: now
    bool said_stale_ = false;
};

}  // namespace iif
