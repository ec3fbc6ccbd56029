// The endpoint that monitoring reads.
#pragma once

#include <string>

#include "server/http_service.h"
#include "server/server_metrics.h"
#include "server/share_registry.h"
#include "server/transactions.h"

namespace index_server {

/// Everything that the server counts, in the Prometheus text format. `data_dir` is looked through for sizes.
http_reply answer_metrics(const server_metrics& metrics, const std::string& data_dir, const share_registry& shares,
                          const transactions& collects);

}  // namespace index_server
