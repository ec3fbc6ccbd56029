// The asking side of the control socket.
#include <sys/socket.h>

#include <cerrno>
#include <system_error>

#include "share/control.h"
#include "share/unix_socket.h"

namespace share_host {

control_client::control_client(const std::string& path) : fd_(connect_to(path)) {}

std::string control_client::ask(const std::string& line) {
    if (!send_all(fd_.get(), line + "\n")) {
        throw std::system_error(errno, std::generic_category(), "the share's host closed the connection");
    }
    std::size_t searched = 0;
    for (;;) {
        if (const std::size_t end = received_.find('\n', searched); end != std::string::npos) {
            std::string answer = received_.substr(0, end);
            received_.erase(0, end + 1);
            return answer;
        }
        searched = received_.size();
        char block[65536];
        const ssize_t count = ::recv(fd_.get(), block, sizeof block, 0);
        if (count < 0 && errno == EINTR) continue;
        if (count <= 0) {
            throw std::system_error(count < 0 ? errno : ECONNRESET, std::generic_category(),
                                    "the share's host closed the connection");
        }
        received_.append(block, static_cast<std::size_t>(count));
    }
}

}  // namespace share_host
