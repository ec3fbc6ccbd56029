// Marks the host services as visible across shared objects: libindex_iface leaves them undefined, and the
// process that hosts it supplies them.
#pragma once

#define IIF_HOST_API __attribute__((visibility("default")))
