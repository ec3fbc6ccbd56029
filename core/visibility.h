// Marks what libindex_iface exports; everything else in the shared library is hidden.
#pragma once

#define IIF_API __attribute__((visibility("default")))
