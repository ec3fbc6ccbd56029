// Asks the management server which index serves a client. Both functions block on the network, log their failures, keep
// no state and may be called from any thread.
#pragma once

#include <string>

#include "core/visibility.h"

/// Fills the name, the cloud id and the kind of the index of `client_id`. Returns 0, or -1 with what one half of the
/// answer gave filled in. An answer without any client is 0 and fills nothing.
IIF_API int get_index_cloud_id(int client_id, std::string& index_server_name, int& cloud_id, bool& is_solr_cloud);

/// Fills the cloud id and the kind of the index server whose own client is `client_id`. Returns 0 or -1.
IIF_API int get_cloud_id(int client_id, int& cloud_id, bool& is_solr_cloud);
