// Counting, and the Prometheus text format.
#include "server/server_metrics.h"

#include <cstdio>

namespace index_server {

namespace {

/// Writes families: a head each, and samples.
class exposition {
public:
    void family(const std::string& name, const char* type, const char* help) {
        name_ = "index_server_" + name;
        text_ += "# HELP " + name_ + " " + help + "\n# TYPE " + name_ + " " + type + "\n";
    }

    void sample(double value, const std::string& labels = {}, const char* suffix = "") {
        char number[32];
        std::snprintf(number, sizeof number, "%.15g", value);
        text_ += name_ + suffix + (labels.empty() ? "" : "{" + labels + "}") + " " + number + "\n";
    }

    void only(const std::string& name, const char* type, const char* help, double value) {
        family(name, type, help);
        sample(value);
    }

    void histogram(const duration_histogram& times, const std::string& labels = {}) {
        const std::string others = labels.empty() ? "" : labels + ",";
        for (std::size_t i = 0; i < duration_histogram::bounds_s.size(); ++i) {
            char bound[32];
            std::snprintf(bound, sizeof bound, "%g", duration_histogram::bounds_s[i]);
            sample(static_cast<double>(times.up_to(i)), others + label("le", bound), "_bucket");
        }
        sample(static_cast<double>(times.count()), others + label("le", "+Inf"), "_bucket");
        sample(times.sum_s(), labels, "_sum");
        sample(static_cast<double>(times.count()), labels, "_count");
    }

    static std::string label(const char* name, const std::string& value) {
        return std::string(name) + "=\"" + value + "\"";
    }

    std::string take() { return std::move(text_); }

private:
    std::string text_;
    std::string name_;
};

}  // namespace

void duration_histogram::add(double seconds) {
    ++count_;
    sum_s_ += seconds;
    for (std::size_t i = 0; i < bounds_s.size(); ++i) {
        if (seconds <= bounds_s[i]) {
            ++counts_[i];
            return;
        }
    }
}

std::uint64_t duration_histogram::up_to(std::size_t i) const {
    std::uint64_t sum = 0;
    for (std::size_t at = 0; at <= i; ++at)
        sum += counts_[at];
    return sum;
}

void server_metrics::count_request(const char* route, unsigned status, double seconds, std::uint64_t received,
                                   std::uint64_t sent) {
    const std::lock_guard lock(mutex_);
    ++requests_[{route, status}];
    latencies_[route].add(seconds);
    received_bytes_ += received;
    sent_bytes_ += sent;
}

void server_metrics::connection_begins() {
    ++connections_;
    const std::lock_guard lock(mutex_);
    ++all_connections_;
}

void server_metrics::count_refused_connection(const char* reason) {
    const std::lock_guard lock(mutex_);
    ++refused_connections_[reason];
}

void server_metrics::count_collect_file(const char* outcome, std::uint64_t lines, double seconds) {
    const std::lock_guard lock(mutex_);
    ++collect_files_[outcome];
    collect_lines_ += lines;
    apply_times_.add(seconds);
}

std::string server_metrics::text(const metric_gauges& gauges) const {
    exposition out;
    const std::lock_guard lock(mutex_);
    out.family("http_requests_total", "counter", "Answered requests.");
    for (const auto& [key, count] : requests_) {
        out.sample(static_cast<double>(count), exposition::label("route", key.first) + "," +
                                                   exposition::label("status", std::to_string(key.second)));
    }
    out.family("http_request_seconds", "histogram", "From a request's first byte to the last of its answer.");
    for (const auto& [route, times] : latencies_)
        out.histogram(times, exposition::label("route", route));
    out.only("http_received_bytes_total", "counter", "Bodies of requests.", static_cast<double>(received_bytes_));
    out.only("http_sent_bytes_total", "counter", "Bodies of answers.", static_cast<double>(sent_bytes_));
    out.only("connections", "gauge", "Connections that are open.", static_cast<double>(connections_));
    out.only("connections_total", "counter", "Connections that were taken.", static_cast<double>(all_connections_));
    out.family("connections_refused_total", "counter", "Connections that were closed at once, or never became one.");
    for (const auto& [reason, count] : refused_connections_)
        out.sample(static_cast<double>(count), exposition::label("reason", reason));
    out.family("collect_files_total", "counter", "Collect files that came to an end.");
    for (const auto& [outcome, count] : collect_files_)
        out.sample(static_cast<double>(count), exposition::label("outcome", outcome));
    out.only("collect_lines_total", "counter", "Lines of the files that were applied.",
             static_cast<double>(collect_lines_));
    out.family("collect_apply_seconds", "histogram", "Time that one collect file took to apply.");
    out.histogram(apply_times_);
    out.only("collect_queue_files", "gauge", "Files that wait.", static_cast<double>(gauges.queued_files));
    out.only("collect_applying_files", "gauge", "Files being applied.", static_cast<double>(gauges.applying_files));
    out.only("shares", "gauge", "Registered shares.", static_cast<double>(gauges.shares));
    out.only("database_bytes", "gauge", "Embedded database on the disk.", static_cast<double>(gauges.database_bytes));
    out.only("spool_bytes", "gauge", "Spooled collect files on the disk.", static_cast<double>(gauges.spool_bytes));
    return out.take();
}

}  // namespace index_server
