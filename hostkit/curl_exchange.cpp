// One HTTP exchange: the options of the handle, the streams of both bodies, and what a failure is called. HTTP 1.1
// only, no redirects and no proxy: the services stand at the addresses in the settings and the token goes nowhere else.
#include "hostkit/curl_exchange.h"

#include <curl/curl.h>
#include <fcntl.h>
#include <sys/stat.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <new>
#include <stdexcept>

#include "hostkit/bearer_token.h"
#include "hostkit/descriptor.h"
#include "hostkit/errors.h"
#include "hostkit/settings.h"

namespace hostkit {
namespace {

// Set and cleared by interrupt_exchanges, read by exchanges under way. Nothing else hangs on it, so order is free.
std::atomic<bool> interrupted{false};
static_assert(std::atomic<bool>::is_always_lock_free, "a signal handler sets it");

/// A failure on the way to the answer.
struct exchange_failure : std::runtime_error {
    exchange_failure(int number_, const std::string& text) : std::runtime_error(text), number(number_) {}
    int number;
};

long long number_setting(const char* key, long long fallback) {
    const auto number = process_settings().find_number("server", key);
    return number && *number > 0 ? *number : fallback;
}

/// The body of a request that comes from a file.
class file_body {
public:
    explicit file_body(const std::string& path) : file_(::open(path.c_str(), O_RDONLY | O_CLOEXEC)) {
        struct stat status {};
        if (!file_ || ::fstat(file_.get(), &status) != 0)
            throw exchange_failure(errno, "the file " + path + " cannot be read");
        if (!S_ISREG(status.st_mode)) throw exchange_failure(EINVAL, path + " is no regular file");
        size_ = status.st_size;
    }

    off_t size() const { return size_; }

    static std::size_t read(char* buffer, std::size_t, std::size_t count, void* self) {
        auto* body = static_cast<file_body*>(self);
        ssize_t got = 0;
        do
            got = ::pread(body->file_.get(), buffer, count, body->offset_);
        while (got < 0 && errno == EINTR);
        // The announced length must be kept: a file that became shorter ends the exchange instead of stalling it.
        if (got < 0 || (got == 0 && body->offset_ < body->size_)) return CURL_READFUNC_ABORT;
        body->offset_ += got;
        return static_cast<std::size_t>(got);
    }

private:
    descriptor file_;
    off_t size_ = 0;
    off_t offset_ = 0;
};

/// The body of an answer, gathered up to a bound.
struct gathered_body {
    std::string text;
    std::size_t most;
    bool too_large = false;
    bool no_memory = false;

    static std::size_t write(const char* data, std::size_t, std::size_t count, void* self) {
        auto* body = static_cast<gathered_body*>(self);
        if (count > body->most - body->text.size()) {
            body->too_large = true;
            return CURL_WRITEFUNC_ERROR;
        }
        try {
            body->text.append(data, count);
        } catch (const std::exception&) {
            body->no_memory = true;
            return CURL_WRITEFUNC_ERROR;
        }
        return count;
    }
};

class header_list {
public:
    header_list() = default;
    ~header_list() { curl_slist_free_all(list_); }
    header_list(const header_list&) = delete;
    header_list& operator=(const header_list&) = delete;

    void add(const std::string& line) {
        curl_slist* longer = curl_slist_append(list_, line.c_str());
        if (longer == nullptr) throw std::bad_alloc();
        list_ = longer;
    }
    curl_slist* get() const { return list_; }

private:
    curl_slist* list_ = nullptr;
};

template <class Value>
void set_option(CURL* handle, CURLoption option, Value value) {
    const CURLcode code = curl_easy_setopt(handle, option, value);
    if (code == CURLE_OUT_OF_MEMORY) throw std::bad_alloc();
    if (code != CURLE_OK) throw exchange_failure(EINVAL, curl_easy_strerror(code));
}

void set_headers(header_list& headers, const http_request& request) {
    const std::string token = request.bearer_token ? *request.bearer_token : process_token();
    if (!is_token_text(token)) throw exchange_failure(EINVAL, "the token holds characters that no token has");
    if (!token.empty()) headers.add("Authorization: Bearer " + token);
    if (!request.content_type.empty()) headers.add("Content-Type: " + request.content_type);
    // No pause before the body: the server refuses by closing, and a second's wait for its consent helps nobody.
    headers.add("Expect:");
}

void set_connection_options(CURL* handle, const http_request& request) {
    set_option(handle, CURLOPT_URL, request.url.c_str());
    set_option(handle, CURLOPT_PROTOCOLS_STR, "http,https");
    set_option(handle, CURLOPT_PROXY, "");
    set_option(handle, CURLOPT_FOLLOWLOCATION, 0L);
    set_option(handle, CURLOPT_HTTP_VERSION, static_cast<long>(CURL_HTTP_VERSION_1_1));
    set_option(handle, CURLOPT_NOSIGNAL, 1L);
    set_option(handle, CURLOPT_TCP_KEEPALIVE, 1L);
    set_option(handle, CURLOPT_CONNECTTIMEOUT_MS, static_cast<long>(number_setting("connect_timeout_ms", 5000)));

    long total_ms = request.total_timeout_ms;
    if (total_ms == 0) total_ms = static_cast<long>(number_setting("total_timeout_ms", 60000));
    set_option(handle, CURLOPT_TIMEOUT_MS, std::max(total_ms, 0L));
    if (request.stall_timeout_ms > 0) {
        set_option(handle, CURLOPT_LOW_SPEED_LIMIT, 1L);
        set_option(handle, CURLOPT_LOW_SPEED_TIME, (request.stall_timeout_ms + 999) / 1000);
    }

    const bool verify = process_settings().find_number("server", "verify_tls").value_or(1) != 0;
    set_option(handle, CURLOPT_SSL_VERIFYPEER, verify ? 1L : 0L);
    set_option(handle, CURLOPT_SSL_VERIFYHOST, verify ? 2L : 0L);
    const std::string ca_file = process_settings().get("server", "ca_file", "");
    if (!ca_file.empty()) set_option(handle, CURLOPT_CAINFO, ca_file.c_str());

    set_option(handle, CURLOPT_NOPROGRESS, 0L);
    set_option(
        handle, CURLOPT_XFERINFOFUNCTION,
        +[](void*, curl_off_t, curl_off_t, curl_off_t, curl_off_t) { return exchanges_interrupted() ? 1 : 0; });
}

void set_body_options(CURL* handle, const http_request& request, file_body* file) {
    if (request.method == "GET") {
        set_option(handle, CURLOPT_HTTPGET, 1L);
        return;
    }
    if (request.method != "POST") throw exchange_failure(EINVAL, "the method is not supported");
    set_option(handle, CURLOPT_POST, 1L);
    if (file == nullptr) {
        set_option(handle, CURLOPT_POSTFIELDSIZE_LARGE, static_cast<curl_off_t>(request.body.size()));
        set_option(handle, CURLOPT_POSTFIELDS, request.body.data());
        return;
    }
    set_option(handle, CURLOPT_POSTFIELDSIZE_LARGE, static_cast<curl_off_t>(file->size()));
    set_option(handle, CURLOPT_READFUNCTION, &file_body::read);
    set_option(handle, CURLOPT_READDATA, file);
    // A kept connection may be closed by the server while the body is on its way, which cannot be told from a refusal.
    set_option(handle, CURLOPT_FRESH_CONNECT, 1L);
}

int error_number_of(CURLcode code) {
    switch (code) {
        case CURLE_COULDNT_CONNECT:
            return ECONNREFUSED;
        case CURLE_COULDNT_RESOLVE_HOST:
            return EHOSTUNREACH;
        case CURLE_OPERATION_TIMEDOUT:
            return ETIMEDOUT;
        case CURLE_PARTIAL_FILE:
        case CURLE_GOT_NOTHING:
        case CURLE_SEND_ERROR:
        case CURLE_RECV_ERROR:
            return ECONNRESET;
        case CURLE_ABORTED_BY_CALLBACK:
            return exchanges_interrupted() ? ECANCELED : EIO;
        case CURLE_URL_MALFORMAT:
        case CURLE_UNSUPPORTED_PROTOCOL:
            return EINVAL;
        case CURLE_SSL_CONNECT_ERROR:
        case CURLE_PEER_FAILED_VERIFICATION:
        case CURLE_SSL_CACERT_BADFILE:
            return EPROTO;
        case CURLE_OUT_OF_MEMORY:
            return ENOMEM;
        default:
            return EIO;
    }
}

/// True when the answer said how long its body is. One that ends with its connection cannot be told from a cut one.
bool has_known_length(CURL* handle, long status) {
    curl_off_t length = -1;
    curl_easy_getinfo(handle, CURLINFO_CONTENT_LENGTH_DOWNLOAD_T, &length);
    curl_header* encoding = nullptr;
    return length >= 0 || status == 204 || status == 304 ||
           curl_easy_header(handle, "Transfer-Encoding", 0, CURLH_HEADER, -1, &encoding) == CURLHE_OK;
}

void perform(CURL* handle, const http_request& request, http_answer& answer) {
    curl_easy_reset(handle);
    header_list headers;
    set_headers(headers, request);
    set_connection_options(handle, request);
    std::optional<file_body> file;
    if (!request.body_file.empty()) file.emplace(request.body_file);
    set_body_options(handle, request, file ? &*file : nullptr);
    set_option(handle, CURLOPT_HTTPHEADER, headers.get());

    const long long most = number_setting("max_response_bytes", 256LL << 20);
    gathered_body body{{}, static_cast<std::size_t>(most)};
    set_option(handle, CURLOPT_WRITEFUNCTION, &gathered_body::write);
    set_option(handle, CURLOPT_WRITEDATA, &body);
    char detail[CURL_ERROR_SIZE] = "";
    set_option(handle, CURLOPT_ERRORBUFFER, &detail[0]);

    const CURLcode code = curl_easy_perform(handle);
    curl_easy_setopt(handle, CURLOPT_ERRORBUFFER, nullptr);
    curl_easy_setopt(handle, CURLOPT_HTTPHEADER, nullptr);
    if (body.no_memory) throw std::bad_alloc();
    if (body.too_large) throw exchange_failure(EFBIG, "the answer is larger than " + std::to_string(most) + " bytes");
    if (code != CURLE_OK)
        throw exchange_failure(error_number_of(code), detail[0] != '\0' ? detail : curl_easy_strerror(code));
    long status = 0;
    curl_easy_getinfo(handle, CURLINFO_RESPONSE_CODE, &status);
    if (!has_known_length(handle, status)) throw exchange_failure(EPROTO, "the answer does not say where it ends");
    answer.status = status;
    answer.body = std::move(body.text);
}

/// The address without user and password.
std::string url_in_text(const std::string& url) {
    const std::size_t scheme = url.find("://");
    const std::size_t host = scheme == std::string::npos ? 0 : scheme + 3;
    const std::size_t at = url.substr(0, url.find_first_of("/?#", host)).rfind('@');
    return at == std::string::npos || at < host ? url : url.substr(0, host) + url.substr(at + 1);
}

}  // namespace

void interrupt_exchanges(bool on) noexcept {
    interrupted.store(on, std::memory_order_relaxed);
}

bool exchanges_interrupted() noexcept {
    return interrupted.load(std::memory_order_relaxed);
}

CXoError exchange_on(void* handle, const http_request& request, http_answer& answer) {
    answer = {};
    int number = 0;
    std::string reason;
    try {
        if (handle == nullptr) throw std::bad_alloc();
        if (exchanges_interrupted()) throw exchange_failure(ECANCELED, "this process is leaving");
        perform(handle, request, answer);
        return CXoError::Success();
    } catch (const exchange_failure& failure) {
        number = failure.number;
        reason = failure.what();
    } catch (const std::bad_alloc&) {
        return make_service_error(0, ENOMEM, "no memory for an HTTP exchange");
    } catch (const std::exception& failure) {
        number = EIO;
        reason = failure.what();
    }
    return make_service_error(0, number, request.method + ' ' + url_in_text(request.url) + ": " + reason);
}

}  // namespace hostkit
