// One share with all it stands on in this process.
#include "iif/stack.h"

#include <cstdio>
#include <cstdlib>

#include "hostkit/http_exchange.h"
#include "hostkit/log.h"
#include "hostkit/settings.h"
#include "iif/output.h"
#include "server/index_server.h"
#include "server/settings_reader.h"

namespace iif {
namespace {

// The settings file wins over what the program would choose.
void set_default(const std::string& section, const std::string& key, const std::string& value) {
    hostkit::settings& settings = hostkit::process_settings();
    if (!settings.find(section, key)) settings.set(section, key, value);
}

// Whether the running embedded server still knows the identity that the state remembers: its data may have been
// removed since.
bool is_granted(const share_host::share_identity& identity, const std::string& base_url) {
    hostkit::http_request request;
    request.url =
        hostkit::join_url(base_url, "collect/transactions/last?subclient=" + std::to_string(identity.subclient_id));
    request.bearer_token = identity.token;
    hostkit::http_answer answer;
    // No transaction yet is an answer too; a token that does not count gives 401 or 403.
    return !hostkit::http_exchange(request, answer).IsError() && (answer.status == 200 || answer.status == 404);
}

}  // namespace

void prepare_process(const common_options& options) {
    hostkit::load_process_settings(options.config);
    const hostkit::settings& settings = hostkit::process_settings();
    hostkit::log_options log;
    log.level = options.log_level.value_or(static_cast<int>(settings.find_number("host", "log_level").value_or(0)));
    log.file = options.log_file.empty() ? settings.get("host", "log_file", "") : options.log_file;
    hostkit::open_log(log);
    set_default("Lumo", "nDisableJournalSave", "1");
    set_default("identity", "web_client_id", "1");
    set_default("identity", "web_host", "localhost");
}

void notice(const std::string& sentence) {
    std::fprintf(stderr, "iif: %s\n", printable(sentence).c_str());
}

stack::stack(share_host::state_dir state) : state_(std::move(state)), lock_(state_) {}

stack::~stack() = default;

void stack::use_embedded_server() {
    index_server::server_settings settings = index_server::read_server_settings(hostkit::process_settings());
    settings.data_dir = state_.path + "/server";
    // Nobody but this process speaks to it.
    settings.listen_address = "127.0.0.1";
    settings.port = 0;
    settings.tls_certificate.clear();
    settings.tls_key.clear();
    server_ = std::make_unique<index_server::index_server>(settings);
    server_->start();
    share_host::share_identity identity = share_host::load_identity(state_).value_or(share_host::share_identity());
    if (!identity.server_url.empty())
        throw program_error(exit_code::refused, "The share " + state_.share_name + " is kept at " +
                                                    identity.server_url +
                                                    "; use iif share, or another state with --state.");
    if (identity.token.empty() || !is_granted(identity, server_->base_url())) {
        const index_server::share_access access = server_->register_share(state_.share_name);
        identity = {access.name, static_cast<std::uint64_t>(access.subclient_id),
                    static_cast<std::uint64_t>(access.client_id), access.token, ""};
        share_host::save_identity(state_, identity);
    }
    set_identity(identity);
    hostkit::process_settings().set("server", "url", server_->base_url());
}

void stack::use_server(const share_host::share_identity& identity) {
    set_identity(identity);
    hostkit::process_settings().set("server", "url", identity.server_url);
}

void stack::set_identity(const share_host::share_identity& identity) {
    identity_ = identity;
    hostkit::settings& settings = hostkit::process_settings();
    settings.set("server", "token", identity.token);
    settings.set("identity", "client_id." + std::to_string(identity.subclient_id), std::to_string(identity.client_id));
    set_default("identity", "job_results", state_.path);
}

share_host::start_result stack::start(std::stop_token stop) {
    share_host::share_options options;
    options.name = state_.share_name;
    options.root_dir = state_.journal_root();
    options.subclient_id = identity_.subclient_id;
    options.notice = notice;
    share_ = std::make_unique<share_host::share>(std::move(options));
    return share_->start(stop);
}

void stack::leave(exit_code code) {
    if (share_ && !share_->leave()) {
        std::fflush(nullptr);
        std::_Exit(static_cast<int>(code));
    }
    share_.reset();
    server_.reset();
}

}  // namespace iif
