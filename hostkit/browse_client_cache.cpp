// The client side of asynchronous browses. This host answers every browse at once, so there is nothing to hold.
#include "host/http.h"

IdxBrowseClientCache::IdxBrowseClientCache() = default;
IdxBrowseClientCache::~IdxBrowseClientCache() = default;
