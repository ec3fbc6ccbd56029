// iif admin share: the shares of an index server, and who may use them.
#include <boost/json.hpp>
#include <cstdio>

#include "iif/admin_client.h"
#include "iif/output.h"
#include "iif/stack.h"
#include "iif/text_table.h"

namespace iif {
namespace {

namespace json = boost::json;

/// What was issued: once as the file that --token-file takes, once for people.
void print_token(const json::object& share, bool as_json) {
    if (as_json) {
        std::printf("%s\n", json::serialize(share).c_str());
        return;
    }
    std::printf("token for %s (shown this once): %s\n", printable(text_of(share, "name")).c_str(),
                text_of(share, "token").c_str());
}

}  // namespace

exit_code run_admin_share_add(const admin_options& options) {
    prepare_process(options.common);
    const admin_client server(options);
    // Hosts register again and again; an administrator who adds what is there has the wrong name.
    if (server.has_share(options.name))
        throw program_error(exit_code::refused, "There is a share " + printable(options.name) +
                                                    " already; iif admin share token gives a token for it.");
    print_token(server.post("api/shares", {{"name", options.name}}), options.json);
    return exit_code::done;
}

exit_code run_admin_share_list(const admin_options& options) {
    prepare_process(options.common);
    text_table table({"NAME", "SUBCLIENT", "CLIENT", "FOLDER"});
    admin_client(options).for_each("api/shares", "shares", [&](const json::object& share) {
        if (options.json) {
            std::printf("%s\n", json::serialize(share).c_str());
            return;
        }
        table.add({printable(text_of(share, "name")), std::to_string(number_of(share, "subclient_id")),
                   std::to_string(number_of(share, "client_id")), std::to_string(number_of(share, "folder_id"))});
    });
    if (!options.json) table.print();
    return exit_code::done;
}

exit_code run_admin_share_show(const admin_options& options) {
    prepare_process(options.common);
    const admin_client server(options);
    const json::object share = server.get(share_path(server.share(options.name)));
    if (options.json) {
        std::printf("%s\n", json::serialize(share).c_str());
        return exit_code::done;
    }
    for (const auto& [member, value] : share) {
        const std::string text = value.is_string() ? std::string(value.get_string()) : json::serialize(value);
        std::printf("%-20s %s\n", std::string(member).c_str(), printable(text).c_str());
    }
    return exit_code::done;
}

exit_code run_admin_share_remove(const admin_options& options) {
    prepare_process(options.common);
    const admin_client server(options);
    const json::object share = server.share(options.name);
    if (!options.yes)
        throw program_error(exit_code::usage, "This forgets all that is indexed of " + printable(options.name) +
                                                  ", and nothing brings it back; give --yes if it is meant.");
    // The server lets a collect file that is being applied come to its end first.
    constexpr long patience_ms = 120000;
    const json::object answer = server.post(share_path(share, "/remove"), {{"name", options.name}}, patience_ms);
    if (options.json)
        std::printf("%s\n", json::serialize(answer).c_str());
    else
        std::printf("%s is removed; its rows go in the background\n", printable(options.name).c_str());
    return exit_code::done;
}

exit_code run_admin_share_token(const admin_options& options) {
    prepare_process(options.common);
    const admin_client server(options);
    const json::object share = server.share(options.name);
    print_token(server.post(share_path(share, "/token"), {{"revoke", options.revoke}}), options.json);
    return exit_code::done;
}

}  // namespace iif
