// The sleep. It lasts at least as long as asked for, also when signals arrive.
#include <cerrno>
#include <ctime>

#include "host/concurrency.h"

void XOSLEEP_InTeRnAl(unsigned long duration_ms, const char*, int) {
    std::timespec left{static_cast<std::time_t>(duration_ms / 1000), static_cast<long>(duration_ms % 1000 * 1'000'000)};
    while (clock_nanosleep(CLOCK_MONOTONIC, 0, &left, &left) == EINTR) {
    }
}
