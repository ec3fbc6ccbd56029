// The benchmark program. A benchmark is named workload/threads/place/batch/subject; the time of one is that of a whole
// batch, its "per_op" the mean of one operation, and "p99" and "p99.9" come from one more batch that is timed
// operation by operation.
//
// usage: bench [--tmpfs DIR] [--disk DIR] [--batches N,N...] [--files N,N...]
//              [--indexed N,N...] [options of Google Benchmark]
#include <benchmark/benchmark.h>
#include <sys/utsname.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <array>
#include <barrier>
#include <chrono>
#include <cstdio>
#include <fstream>
#include <functional>
#include <memory>
#include <semaphore>
#include <thread>
#include <vector>

#include "bench/bench_host.h"
#include "bench/bounds.h"
#include "bench/ingest.h"
#include "bench/library_subjects.h"
#include "bench/peers.h"
#include "bench/served_subjects.h"

namespace {

using bench::subject;
using bench::subject_ptr;
using std::chrono::steady_clock;

bool all_went_well = true;

struct options {
    std::string tmpfs = "/dev/shm";
    std::string disk = ".";
    std::vector<std::size_t> batches{1000, 4096, 200000};
    std::vector<std::size_t> files{20000, 1000000};
    std::vector<std::size_t> indexed{1000000};
};

double seconds_since(steady_clock::time_point begin) {
    return std::chrono::duration<double>(steady_clock::now() - begin).count();
}

/// Runs the whole batch on one thread, or one half on each of two that start together.
double timed_run(subject& contestant, int threads) {
    const std::size_t count = contestant.operations();
    if (threads == 1) {
        const auto begin = steady_clock::now();
        contestant.run(0, count);
        return seconds_since(begin);
    }
    // Each thread takes its own times: a third one that looked on might itself not be running.
    std::barrier start(2);
    std::array<steady_clock::time_point, 2> begins, ends;
    std::array<std::exception_ptr, 2> failures;
    const auto half = [&](std::size_t which) {
        start.arrive_and_wait();
        begins[which] = steady_clock::now();
        try {
            contestant.run(which * (count / 2), which == 0 ? count / 2 : count);
        } catch (...) {
            failures[which] = std::current_exception();
        }
        ends[which] = steady_clock::now();
    };
    std::jthread other(half, 1);
    half(0);
    other.join();
    for (const std::exception_ptr& failure : failures)
        if (failure) std::rethrow_exception(failure);
    return std::chrono::duration<double>(std::ranges::max(ends) - std::ranges::min(begins)).count();
}

/// One more batch, each operation by itself. The clock's own cost is in the figures.
void time_the_tail(subject& contestant, benchmark::State& state) {
    std::vector<double> times(contestant.operations());
    contestant.prepare();
    for (std::size_t number = 0; number < times.size(); ++number) {
        const auto begin = steady_clock::now();
        contestant.run(number, number + 1);
        times[number] = seconds_since(begin);
    }
    contestant.finish();
    std::sort(times.begin(), times.end());
    state.counters["p99"] = times[times.size() * 99 / 100];
    state.counters["p99.9"] = times[times.size() * 999 / 1000];
}

void measure(benchmark::State& state, const std::function<subject_ptr()>& make, int threads) {
    try {
        const subject_ptr contestant = make();
        for (auto _ : state) {
            contestant->prepare();
            state.SetIterationTime(timed_run(*contestant, threads));
            contestant->finish();
        }
        const auto operations = static_cast<double>(contestant->operations());
        state.counters["per_op"] =
            benchmark::Counter(operations, benchmark::Counter::kIsIterationInvariantRate | benchmark::Counter::kInvert);
        state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(contestant->operations()));
        if (threads == 1 && contestant->divisible()) time_the_tail(*contestant, state);
    } catch (const std::exception& failure) {
        all_went_well = false;
        state.SkipWithError(failure.what());
    }
}

using maker = std::function<subject_ptr(const std::string& place, std::size_t batch)>;

struct contestant {
    const char* name;
    maker make;
};

maker of_store(subject_ptr (*workload)(bench::open_store, const std::string&, std::size_t), bench::open_store open) {
    return [=](const std::string& place, std::size_t batch) { return workload(open, place, batch); };
}

void register_workload(const std::string& name, int threads, const std::string& place_name, const std::string& place,
                       const std::vector<std::size_t>& batches, const std::vector<contestant>& contestants) {
    for (const std::size_t batch : batches) {
        for (const contestant& one : contestants) {
            const std::string full =
                name + "/" + std::to_string(threads) + "/" + place_name + "/" + std::to_string(batch) + "/" + one.name;
            const auto body = [make = one.make, place, batch, threads](benchmark::State& state) {
                measure(
                    state, [&] { return make(place, batch); }, threads);
            };
            benchmark::RegisterBenchmark(full.c_str(), body)->UseManualTime()->Unit(benchmark::kMillisecond);
        }
    }
}

void register_served(const options& chosen) {
    using namespace bench;
    const auto add = [&](const char* name, const std::vector<contestant>& contestants) {
        register_workload(name, 1, "disk", chosen.disk, chosen.indexed, contestants);
    };
    add("find_served_path", {{"index_iface", served_find_path}, {"bare_parts", bare_find_path}});
    add("find_served_guid", {{"index_iface", served_find_guid}, {"bare_parts", bare_find_guid}});
    add("browse_thousand", {{"index_iface", served_browse}, {"bare_parts", bare_browse}});
    add("browse_last_page", {{"index_iface", last_page}, {"first_page", first_page}});
    add("browse_last_page_then", {{"index_iface", last_page_then}, {"first_page", first_page_then}});
    add("find_ten_shares_fed", {{"index_iface", ten_shares_fed}, {"quiet", ten_shares_quiet}});
}

void register_all(const options& chosen) {
    using namespace bench;
    const std::vector<contestant> add{{"index_iface", library_add},
                                      {"bare_write", bare_journal_writes},
                                      {"leveldb", of_store(peer_put, open_leveldb)},
                                      {"rocksdb", of_store(peer_put, open_rocksdb)},
                                      {"sqlite", of_store(peer_put, open_sqlite)}};
    register_workload("add", 1, "tmpfs", chosen.tmpfs, chosen.batches, add);
    register_workload("add", 1, "disk", chosen.disk, chosen.batches, add);
    register_workload("add", 2, "tmpfs", chosen.tmpfs, chosen.batches, {add[0], add[1], add[2], add[3]});
    register_workload("update_merge", 1, "tmpfs", chosen.tmpfs, chosen.batches,
                      {{"index_iface", library_update_merge},
                       {"bare_write", bare_journal_writes},
                       {"leveldb", of_store(peer_replace, open_leveldb)},
                       {"rocksdb", of_store(peer_replace, open_rocksdb)},
                       {"sqlite", of_store(peer_replace, open_sqlite)}});
    register_workload("rename", 1, "tmpfs", chosen.tmpfs, chosen.batches,
                      {{"index_iface", library_rename}, {"bare_write", bare_journal_writes}});
    register_workload("find_cached_guid", 1, "tmpfs", chosen.tmpfs, chosen.batches,
                      {{"index_iface", library_find_guid},
                       {"leveldb", of_store(peer_get, open_leveldb)},
                       {"rocksdb", of_store(peer_get, open_rocksdb)},
                       {"sqlite", of_store(peer_get, open_sqlite)}});
    register_workload("find_cached_path", 1, "tmpfs", chosen.tmpfs, chosen.batches,
                      {{"index_iface", library_find_path}});
    register_workload("replay", 1, "tmpfs", chosen.tmpfs, chosen.batches,
                      {{"index_iface", library_replay},
                       {"bare_parse", bare_parse},
                       {"leveldb", of_store(peer_recover, open_leveldb)},
                       {"rocksdb", of_store(peer_recover, open_rocksdb)}});
    register_workload("collect", 1, "tmpfs", chosen.tmpfs, chosen.batches,
                      {{"index_iface", library_collect}, {"bare_write", bare_collect_writes}});
    register_workload("ingest_sqlite", 1, "disk", chosen.disk, chosen.files,
                      {{"index_iface", sqlite_ingest}, {"bare_insert", bare_sqlite_insert}});
    register_workload("ingest_postgresql", 1, "tmp", chosen.disk, chosen.files,
                      {{"index_iface", postgresql_ingest}, {"bare_copy", bare_postgresql_copy}});
    register_served(chosen);
}

std::string processor() {
    std::ifstream info("/proc/cpuinfo");
    for (std::string line; std::getline(info, line);)
        if (line.starts_with("model name")) return line.substr(line.find(':') + 2);
    return "unknown";
}

void describe(const options& chosen) {
    utsname system{};
    ::uname(&system);
    benchmark::AddCustomContext("machine", processor() + ", " + std::to_string(std::thread::hardware_concurrency()) +
                                               " cores, " + system.sysname + " " + system.release);
    benchmark::AddCustomContext("compiler", IIF_BENCH_COMPILER);
    benchmark::AddCustomContext("build", IIF_BENCH_BUILD);
    benchmark::AddCustomContext("line_bytes", std::to_string(bench::journal_lines(chosen.tmpfs, 1).at(0).size()));
    benchmark::AddCustomContext("journal_sync", "none, and the peers do not sync either");
    benchmark::AddCustomContext("places", "tmpfs is " + chosen.tmpfs + ", disk is " + chosen.disk);
}

/// Figures of a slow build would be taken for the library's.
bool is_a_measuring_build() {
#if !defined(NDEBUG) || defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
    return false;
#else
    return std::string(IIF_BENCH_SANITIZE).empty();
#endif
}

}  // namespace

int main(int count, char** arguments) {
    if (!is_a_measuring_build()) {
        std::fprintf(stderr, "bench: this is a debug or sanitizer build; build with the preset release.\n");
        return 2;
    }
    benchmark::Initialize(&count, arguments);
    options chosen;
    CLI::App app("Measures the library beside what bounds it and what could be taken instead");
    app.add_option("--tmpfs", chosen.tmpfs, "A directory in memory")->capture_default_str();
    app.add_option("--disk", chosen.disk, "A directory on a disk")->capture_default_str();
    app.add_option("--batches", chosen.batches, "Changes in one batch")->delimiter(',')->capture_default_str();
    app.add_option("--files", chosen.files, "Lines of one collect file")->delimiter(',')->capture_default_str();
    app.add_option("--indexed", chosen.indexed, "Objects in the index that is searched")
        ->delimiter(',')
        ->capture_default_str();
    CLI11_PARSE(app, count, arguments);
    try {
        bench::prepare_host();
        describe(chosen);
        register_all(chosen);
        // The kernel takes short cuts for a process of one thread, which no host is: all contestants run beside one
        // that sleeps.
        std::binary_semaphore wakes(0);
        const std::jthread sleeper([&wakes] { wakes.acquire(); });
        const std::shared_ptr<void> end(nullptr, [&wakes](void*) { wakes.release(); });
        benchmark::RunSpecifiedBenchmarks();
    } catch (const std::exception& failure) {
        std::fprintf(stderr, "bench: %s\n", failure.what());
        return 1;
    }
    benchmark::Shutdown();
    return all_went_well ? 0 : 1;
}
