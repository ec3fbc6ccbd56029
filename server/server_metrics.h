// What the server counts of itself, and how it tells that in the Prometheus text format.
#pragma once

#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <map>
#include <mutex>
#include <string>
#include <utility>

namespace index_server {

/// How many durations lay below each of a fixed row of bounds.
class duration_histogram {
public:
    static constexpr std::array<double, 14> bounds_s{0.0005, 0.001, 0.0025, 0.005, 0.01, 0.025, 0.05,
                                                     0.1,    0.25,  0.5,    1,     2.5,  10,    60};
    void add(double seconds);
    /// Count of those up to bounds_s[i].
    std::uint64_t up_to(std::size_t i) const;
    std::uint64_t count() const { return count_; }
    double sum_s() const { return sum_s_; }

private:
    std::array<std::uint64_t, bounds_s.size()> counts_{};
    std::uint64_t count_ = 0;
    double sum_s_ = 0;
};

/// What is not counted but looked up when somebody asks.
struct metric_gauges {
    std::size_t queued_files = 0;
    std::size_t applying_files = 0;
    std::size_t shares = 0;
    std::uint64_t database_bytes = 0;
    std::uint64_t spool_bytes = 0;
};

/// All names and label values come from the program, so they are few and need no escaping. Any thread.
class server_metrics {
public:
    /// An answered request. Bytes are those of the bodies.
    void count_request(const char* route, unsigned status, double seconds, std::uint64_t received, std::uint64_t sent);
    void connection_begins();
    void connection_ends() { --connections_; }
    void count_refused_connection(const char* reason);
    /// A collect file that came to an end; `lines` are those that its share's index took.
    void count_collect_file(const char* outcome, std::uint64_t lines, double seconds);

    /// All of it.
    std::string text(const metric_gauges& gauges) const;

private:
    mutable std::mutex mutex_;  // guards everything but the atomic; a leaf
    std::map<std::pair<std::string, unsigned>, std::uint64_t> requests_;
    std::map<std::string, duration_histogram> latencies_;
    std::uint64_t received_bytes_ = 0;
    std::uint64_t sent_bytes_ = 0;
    std::uint64_t all_connections_ = 0;
    std::map<std::string, std::uint64_t> refused_connections_;
    std::map<std::string, std::uint64_t> collect_files_;
    std::uint64_t collect_lines_ = 0;
    duration_histogram apply_times_;
    std::atomic<std::int64_t> connections_{0};  // written by every connection, read by whoever asks
};

}  // namespace index_server
