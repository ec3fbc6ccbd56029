// See bearer_token.h. The token itself appears in no message.
#include "hostkit/bearer_token.h"

#include <algorithm>
#include <fstream>
#include <mutex>
#include <stdexcept>

#include "hostkit/settings.h"

namespace hostkit {
namespace {

std::string read_token(const std::string& path) {
    std::ifstream file(path);
    std::string token;
    if (!std::getline(file, token)) throw std::runtime_error("The token file " + path + " cannot be read.");
    if (token.ends_with('\r')) token.pop_back();
    return token;
}

}  // namespace

std::string process_token() {
    if (const auto token = process_settings().find("server", "token"); token && !token->empty()) return *token;
    const std::string path = process_settings().get("server", "token_file", "");
    if (path.empty()) return {};

    static std::mutex lock;  // guards the two below
    static std::string read_path;
    static std::string read_value;
    const std::lock_guard guard(lock);
    if (read_path != path) {
        read_value = read_token(path);
        read_path = path;
    }
    return read_value;
}

bool is_token_text(const std::string& token) {
    return std::ranges::all_of(token, [](char c) { return c > ' ' && c < 0x7f; });
}

}  // namespace hostkit
