// The two channels to the management server. Both carry a message to the address of its kind on the same server.
#include "host/management.h"

#include <cerrno>
#include <exception>

#include "hostkit/http_exchange.h"
#include "hostkit/log.h"
#include "hostkit/settings.h"

namespace {

using namespace hostkit;

/// Posts `request` and writes the answer's text. Returns 0, or an errno value with the reason in `error_text`.
int exchange_messages(unsigned long tag, const std::string& request, std::string& response, std::string& error_text) {
    http_request post;
    post.method = "POST";
    post.url = join_url(process_settings().get("server", "url", ""), "management/" + std::to_string(tag));
    post.body = request;
    post.content_type = "application/xml";
    http_answer answer;
    if (const CXoError error = http_exchange(post, answer); error.IsError()) {
        error_text = error.AsString();
        return FXErrorUtil::GetErrNo(error);
    }
    if (answer.status != 200) {
        constexpr std::size_t most_shown = 500;
        error_text = "status " + std::to_string(answer.status) + ": " + answer.body.substr(0, most_shown);
        return EIO;
    }
    response = std::move(answer.body);
    return 0;
}

/// Runs an exchange for a caller that takes no exceptions.
int answered(unsigned long tag, const std::string& request, std::string& response, std::string& error_text) noexcept {
    try {
        return exchange_messages(tag, request, response, error_text);
    } catch (const std::exception&) {
        return ENOMEM;
    }
}

}  // namespace

// The channel's interface takes the text by value.
// NOLINTBEGIN(performance-unnecessary-value-param)
int XMLHandler::handleXMLReq(unsigned long, unsigned long tag, std::string& message, std::string& error_text,
                             std::string, unsigned long) {
    return answered(tag, message, message, error_text);
}
// NOLINTEND(performance-unnecessary-value-param)

int App_ExecuteSP::executeStoredProcedure(unsigned long tag, const std::string& request, std::string& response, void*) {
    std::string error_text;
    const int ret = answered(tag, request, response, error_text);
    if (ret != 0) HOSTKIT_LOG(1, "management exchange %lu failed: %s", tag, error_text.c_str());
    return ret;
}
