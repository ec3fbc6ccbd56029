// Lines of a journal as a start replays them: any line goes into the cache or is refused, and the cache can be emptied.
#include <cstring>
#include <vector>

#include "host/log.h"
#include "tests/fuzz/input.h"
#include "tests/support/share_test.h"

namespace {

/// A started share, used over and over.
class replaying_share : public share_test {
public:
    replaying_share() {
        require(init() == 0, "the share starts");
        g_ptrLogWriter.reset();
    }
    void TestBody() override {}

    void replay(std::vector<char>& lines) {
        index_iface::index_iface_cache* cache = reach::cur_cache(*share);
        char* position = nullptr;
        for (char* line = strtok_r(lines.data(), "\n", &position); line != nullptr;
             line = strtok_r(nullptr, "\n", &position)) {
            if (reach::process_single_line(*share, cache, line) != 0) break;
        }
        reach::delete_cached_items(*share, cache);
        reach::delete_cached_items(*share, reach::cur_par_cache(*share));
        require(cache->first == nullptr, "an emptied cache is empty");
    }
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static replaying_share share;
    std::vector<char> lines(data, data + size);
    lines.push_back('\0');
    share.replay(lines);
    return 0;
}
