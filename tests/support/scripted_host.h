// What the scripted host services do and remember. They take the place of hostkit's files, sleep, thread, collection,
// HTTP and management in the library's tests; each test begins with services that all succeed.
#pragma once

#include <deque>
#include <functional>
#include <map>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "host/collect.h"
#include "host/errors.h"
#include "tests/support/fault_plan.h"

namespace scripted {

/// Outcomes are used up in order; then everything succeeds.
struct collect_script {
    struct outcome {
        CXoError error;
        App::ProcessingStatus status = App::ProcessingStatus_COMPLETED;
    };
    std::deque<outcome> submits;
    std::deque<outcome> waits;
    std::function<void()> on_wait;     ///< runs while the library waits for an outcome
    std::vector<std::string> batches;  ///< the bytes of each file that was accepted
    std::string completed;             ///< the bytes of the batches that the library heard to be complete
    std::vector<std::string> calls;
    std::string made_with;  ///< the constructor's arguments
};

struct answer {
    int ret = 0;
    std::string text;
};

/// Answers are used up in order; then `standing` is the answer to all.
struct http_script {
    std::deque<answer> answers;
    answer standing;
    int handles = 1000;  ///< pops that still give a handle
    std::vector<std::string> requests;
    std::vector<bool> puts;  ///< for each handle put back, whether its exchange failed
};

struct management_script {
    std::map<unsigned long, answer> answers;  ///< by tag
    std::vector<std::pair<unsigned long, std::string>> requests;
};

struct host_state {
    std::mutex lock;  ///< guards what two threads of the library can reach: opens, time, batches, requests
    std::vector<std::string> opens;  ///< "leaf flags mode"
    collect_script collect;
    http_script http;
    management_script management;
    std::uint64_t now_ms = 1'700'000'000'000;     ///< the clock, since 1970; only sleeps and waits move it
    std::vector<unsigned long> sleeps;            ///< every duration asked for; none is really slept
    std::function<void(unsigned long)> on_sleep;  ///< runs in each sleep
};

host_state& host();

/// Back to services that succeed, remembering nothing. No object of the library may be alive.
void reset_host();

}  // namespace scripted
