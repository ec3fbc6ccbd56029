// Bytes as hex, and random texts that nobody can guess: tokens and transaction ids.
#pragma once

#include <cstddef>
#include <string>

namespace index_server {

/// Two lower-case digits per byte.
std::string to_hex(const unsigned char* bytes, std::size_t size);

/// `bytes` bytes of the kernel's randomness in hex. Throws std::runtime_error when the kernel gives none.
std::string random_hex(std::size_t bytes);

}  // namespace index_server
