// Which of the host's calls, or of the allocations, fails next. Every call that the host could refuse is counted as it
// arrives, whichever service it goes to, so that a test can let the first, the second, ... of them fail until what it
// does succeeds.
#pragma once

#include <string>
#include <vector>

/// Begins the function to which the linker sends all calls of a symbol of the host (see tests/CMakeLists.txt); what
/// they called is named real_ and the function's name.
#define SCRIPTED_CALL(result, name, symbol, ...)           \
    result real_##name(__VA_ARGS__) asm("__real_" symbol); \
    result name(__VA_ARGS__) asm("__wrap_" symbol);        \
    result name(__VA_ARGS__)

namespace scripted {

struct fault_mode {
    bool for_good = false;  ///< the calls after the nth fail too
    bool cut = false;       ///< a write leaves half of its bytes and says so; any other call fails with an error
};

/// What the scripted services answer where they are told to fail.
constexpr int refused_errno = 122;
constexpr int failed_exchange = -7;

/// The nth call from now on fails; 0 lets all succeed. Forgets the calls that failed so far.
void fail_call(int nth, fault_mode mode = {});
/// The calls that failed since then, as "service file".
std::vector<std::string> failed_calls();

/// For the services: counts a call and says whether it is to fail, and whether a failing write is to be cut.
bool refuses(const std::string& call);
bool cuts_writes();

/// The nth allocation of this thread from now on, of whichever kind, finds no memory; 0 lets all succeed.
void fail_memory(int nth, bool for_good = false);
bool allocation_failed();

/// While one lives, this thread's allocations succeed and are not counted: what the host needs for itself.
class own_memory {
public:
    own_memory();
    ~own_memory();
    own_memory(const own_memory&) = delete;
    own_memory& operator=(const own_memory&) = delete;
};

}  // namespace scripted
