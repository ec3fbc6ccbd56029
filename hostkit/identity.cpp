// Who this process and its shares are, answered from the settings: [identity] and the address in [server].
#include "host/identity.h"

#include <unistd.h>

#include <cerrno>
#include <limits>
#include <new>
#include <optional>

#include "hostkit/settings.h"

namespace {

using hostkit::process_settings;

constexpr const char* identity = "identity";

// Nothing below is answered with an exception: the callers know results only.
template <class Answer>
int answer(Answer give) noexcept {
    try {
        return give();
    } catch (const std::bad_alloc&) {
        return ENOMEM;
    }
}

int read_text(const char* section, const char* key, std::string& text) {
    std::optional<std::string> found = process_settings().find(section, key);
    if (!found || found->empty()) return ENOENT;
    text = *std::move(found);
    return 0;
}

std::string machine_name() {
    char name[256] = {};
    if (::gethostname(name, sizeof name - 1) != 0) return {};
    return name;
}

}  // namespace

const char* ZYPI_Focus::getFocus() {
    // As it was at the first question: the text is promised for the life of the process. Never destroyed.
    static const std::string& focus = *new std::string(process_settings().get(identity, "focus", "Instance001"));
    return focus.c_str();
}

ZYPlatformInfo::ZYPlatformInfo() : machine_(process_settings().find(identity, "machine").value_or(machine_name())) {}

ZYPlatformInfo::~ZYPlatformInfo() = default;

void ZYPlatformInfo::setFocus(const char* focus) {
    focus_ = focus == nullptr ? "" : focus;
}

const char* ZYPlatformInfo::getPhysicalMachine() const {
    return machine_.empty() ? nullptr : machine_.c_str();
}

int ZYPlatformInfo::getNumber(const char* section, const char* key, unsigned& value) const {
    return answer([&] {
        const std::optional<long long> number = process_settings().find_number(section, key);
        if (!number) return ENOENT;
        if (*number < 0 || *number > std::numeric_limits<unsigned>::max()) return ERANGE;
        value = static_cast<unsigned>(*number);
        return 0;
    });
}

ZYClient::ZYClient(unsigned long client_id) : client_id_(client_id) {}

int ZYClient::getClientId(unsigned long& client_id) const {
    if (client_id_ == 0) return ENOENT;
    client_id = client_id_;
    return 0;
}

int ZYClient::getJobResultsDirectory(std::string& directory) const {
    return answer([&] { return read_text(identity, "job_results", directory); });
}

int ZYClient::getMangledHostName(std::string& host_name) const {
    return answer([&] { return read_text(identity, "web_host", host_name); });
}

void ZYClient::release() {
    delete this;
}

Subclient::Subclient(unsigned long subclient_id) : subclient_id_(subclient_id) {}

int Subclient::getMarlWebServerDetails(int& client_id, std::string& host_name, std::string& url, void*) const {
    // One web server serves every share of a process, so the answer does not depend on the subclient.
    static_cast<void>(subclient_id_);
    return answer([&] {
        const std::optional<long long> id = process_settings().find_number(identity, "web_client_id");
        if (!id || *id <= 0 || *id > std::numeric_limits<int>::max()) return ENOENT;
        if (const int ret = read_text(identity, "web_host", host_name); ret != 0) return ret;
        // An address that is missing is left empty; the caller says so in words of its own.
        url = process_settings().get("server", "url", "");
        client_id = static_cast<int>(*id);
        return 0;
    });
}

ApplicationId::ApplicationId(unsigned long, unsigned long id) : subclient_id_(id) {}

ApplicationId::~ApplicationId() {
    delete client_;
    delete subclient_;
}

ZYClient* ApplicationId::getClient(void*) {
    if (client_ != nullptr) return client_;
    answer([this] {
        const auto id = process_settings().find_number(identity, "client_id." + std::to_string(subclient_id_));
        if (id && *id > 0) client_ = new ZYClient(static_cast<unsigned long>(*id));
        return 0;
    });
    return client_;
}

Subclient* ApplicationId::getSubclient(void*) {
    if (subclient_ != nullptr) return subclient_;
    answer([this] {
        // Known where the deployment names a web server for it at all.
        if (process_settings().find(identity, "web_client_id")) subclient_ = new Subclient(subclient_id_);
        return 0;
    });
    return subclient_;
}

void ApplicationId::release() {
    delete this;
}
