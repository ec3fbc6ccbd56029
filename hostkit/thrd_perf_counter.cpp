// The timing counters. For each id: how many spans ended, their total and longest time, and a histogram by powers of
// two of a microsecond. Starts are kept per thread, so overlapping spans of one id never mix.
#include <algorithm>
#include <array>
#include <atomic>
#include <bit>
#include <chrono>
#include <map>
#include <mutex>
#include <new>
#include <string>

#include "host/perf_counter.h"
#include "hostkit/log.h"

namespace {

using span_clock = std::chrono::steady_clock;

constexpr std::size_t histogram_steps = 32;

struct counter {
    std::string name;
    std::atomic<std::uint64_t> count{0};
    std::atomic<std::uint64_t> total_us{0};
    std::atomic<std::uint64_t> longest_us{0};
    std::array<std::atomic<std::uint64_t>, histogram_steps> histogram{};

    void add(std::uint64_t us) {
        ++count;
        total_us += us;
        std::uint64_t longest = longest_us;
        while (us > longest && !longest_us.compare_exchange_weak(longest, us)) {
        }
        ++histogram[std::min<std::size_t>(std::bit_width(us), histogram_steps - 1)];
    }

    void clear() {
        count = 0;
        total_us = 0;
        longest_us = 0;
        for (auto& step : histogram)
            step = 0;
    }

    /// A time that the given share of the spans does not exceed: the upper end of their histogram step.
    std::uint64_t quantile_us(double share) const {
        const std::uint64_t spans = count;
        const std::uint64_t longest = longest_us;
        const auto wanted = static_cast<std::uint64_t>(static_cast<double>(spans) * share);
        std::uint64_t seen = 0;
        for (std::size_t step = 0; step + 1 < histogram_steps; ++step) {  // the last step has no upper end
            seen += histogram[step];
            if (seen > wanted) return std::min<std::uint64_t>((1ULL << step) - 1, longest);
        }
        return longest;
    }
};

/// Where the calling thread's open spans began, by counter object and id.
std::map<std::pair<const void*, int>, span_clock::time_point>& open_spans() {
    static thread_local std::map<std::pair<const void*, int>, span_clock::time_point> spans;
    return spans;
}

}  // namespace

struct ThrdPerfCounter::Impl {
    std::mutex lock;  // guards the table, not the counters in it; a counter once added stays where it is
    std::map<int, counter> counters;

    counter* find(int id) {
        const std::lock_guard guard(lock);
        const auto at = counters.find(id);
        return at == counters.end() ? nullptr : &at->second;
    }
};

ThrdPerfCounter::ThrdPerfCounter(LwEvent*) : impl_(std::make_unique<Impl>()) {}

ThrdPerfCounter::~ThrdPerfCounter() = default;

void ThrdPerfCounter::AddPerfCounter(int id, const std::string& name, CTRBASETYPE, bool) {
    const std::lock_guard guard(impl_->lock);
    impl_->counters[id].name = name;
}

void ThrdPerfCounter::_StartPerfCounter(const char*, int id) {
    try {
        open_spans()[{this, id}] = span_clock::now();
    } catch (const std::bad_alloc&) {
        // This span is not counted: what is timed must not fail for it.
    }
}

void ThrdPerfCounter::_StopPerfCounter(const char*, int id, std::uint64_t) {
    const auto span = open_spans().find({this, id});
    if (span == open_spans().end()) return;
    const auto time = std::chrono::duration_cast<std::chrono::microseconds>(span_clock::now() - span->second);
    open_spans().erase(span);
    if (counter* counted = impl_->find(id)) counted->add(static_cast<std::uint64_t>(time.count()));
}

// NOLINTBEGIN(performance-unnecessary-value-param): the library's signatures
void ThrdPerfCounter::_LogPerfCounters(const char* text, std::string label, std::int64_t) {
    const std::lock_guard guard(impl_->lock);
    HOSTKIT_LOG(1, "performance counters, %s, %s:", text, label.c_str());
    for (const auto& [id, counted] : impl_->counters) {
        HOSTKIT_LOG(1, "  %d %s: count %lu, total %lu us, longest %lu us, half within %lu us, 99 of 100 within %lu us",
                    id, counted.name.c_str(), counted.count.load(), counted.total_us.load(), counted.longest_us.load(),
                    counted.quantile_us(0.5), counted.quantile_us(0.99));
    }
}

void ThrdPerfCounter::_ResetPerfCounters(const char*, std::string, std::int64_t) {
    const std::lock_guard guard(impl_->lock);
    for (auto& [id, counted] : impl_->counters)
        counted.clear();
}
// NOLINTEND(performance-unnecessary-value-param)
