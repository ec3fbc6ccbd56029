// Where find and ls get their answers: from the host that serves the share, or from a stack of their own.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "core/records.h"
#include "iif/commands.h"
#include "iif/query_source.h"

namespace iif {

/// Says on stderr that there is nothing at the path that was asked for.
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

    /// The object at the path, which is as the user gave it. False when there is none. Throws program_error.
    bool find(const std::string& path, index_iface_props& props);
    /// The entries of the directory, in the order of the index. Throws program_error.
    std::vector<index_iface_props> list(const std::string& path);

    /// Ends what was started; may end the process, with `code`, as stack::leave does.
    void leave(exit_code code);

private:
    /// `asked` is borrowed by the result.
    index_iface_browse_fields fields_for(const std::string& asked) const;
    std::vector<index_iface_props> objects_of(query_source::answer&& answer);

    std::unique_ptr<query_source> source_;
    std::int64_t before_s_ = 0;  ///< 0: now
    bool said_stale_ = false;
};

}  // namespace iif
