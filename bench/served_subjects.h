// The index server's searches, over real sockets, beside the bare sum of what they need: the same bytes to a peer that
// does nothing, the same lookups on the database alone, the same text written from rows at hand.
#pragma once

#include <cstddef>
#include <string>

#include "bench/subject.h"

namespace bench {

// `place` is where the index lies, `objects` how many it has. All but those of ten shares use one index in common.

/// Finds of objects in an order that looks random.
subject_ptr served_find_path(const std::string& place, std::size_t objects);
subject_ptr bare_find_path(const std::string& place, std::size_t objects);
subject_ptr served_find_guid(const std::string& place, std::size_t objects);
subject_ptr bare_find_guid(const std::string& place, std::size_t objects);

/// The one page of a directory of a thousand, over and over.
subject_ptr served_browse(const std::string& place, std::size_t objects);
subject_ptr bare_browse(const std::string& place, std::size_t objects);

/// The first and the last page of the directory of all objects. Before each a reader has come through all pages but the
/// last, which is not timed.
subject_ptr first_page(const std::string& place, std::size_t objects);
subject_ptr last_page(const std::string& place, std::size_t objects);
/// The same at a past moment.
subject_ptr first_page_then(const std::string& place, std::size_t objects);
subject_ptr last_page_then(const std::string& place, std::size_t objects);

/// Finds by path in ten shares of a tenth of the objects each, one connection to a share; with and without files of
/// 1,000 lines arriving for every share all the while.
subject_ptr ten_shares_fed(const std::string& place, std::size_t objects);
subject_ptr ten_shares_quiet(const std::string& place, std::size_t objects);

}  // namespace bench
