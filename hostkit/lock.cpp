// The reader/writer lock, on the one of the C library in the mode where a waiting writer holds back new readers. The
// price of that mode, that a reader must not lock again, is part of the declaration.
#include <pthread.h>

#include <algorithm>
#include <cerrno>
#include <system_error>
#include <thread>

#include "host/concurrency.h"

namespace {

const int spin_rounds = std::thread::hardware_concurrency() > 1 ? 16 : 0;
constexpr int most_pauses = 1024;

/// Tells the processor that this is a waiting loop.
void relax() {
#if defined(__x86_64__) || defined(__i386__)
    __builtin_ia32_pause();
#elif defined(__aarch64__)
    asm volatile("yield");
#endif
}

}  // namespace

struct ZyComplexLock::Impl {
    Impl() {
        pthread_rwlockattr_t attributes;
        int ret = pthread_rwlockattr_init(&attributes);
        if (ret == 0) {
            pthread_rwlockattr_setkind_np(&attributes, PTHREAD_RWLOCK_PREFER_WRITER_NONRECURSIVE_NP);
            ret = pthread_rwlock_init(&lock, &attributes);
            pthread_rwlockattr_destroy(&attributes);
        }
        if (ret != 0) throw std::system_error(ret, std::generic_category());
    }
    ~Impl() { pthread_rwlock_destroy(&lock); }
    Impl(const Impl&) = delete;
    Impl& operator=(const Impl&) = delete;

    pthread_rwlock_t lock;
};

ZyComplexLock::ZyComplexLock() : impl_(std::make_unique<Impl>()) {}

ZyComplexLock::~ZyComplexLock() = default;

int ZyComplexLock::rdlock() {
    // More readers at once than the lock can count is the one failure that passes by itself.
    int ret;
    do {
        ret = pthread_rwlock_rdlock(&impl_->lock);
    } while (ret == EAGAIN);
    return ret;
}

// A holder is mostly through in less time than it takes to put a thread to sleep and to wake it again. The pauses grow,
// so that under contention a thread does several steps of work in a row on data that its processor has at hand.
int ZyComplexLock::rwlock() {
    int pauses = 1;
    for (int round = 0; round < spin_rounds; ++round) {
        if (pthread_rwlock_trywrlock(&impl_->lock) == 0) return 0;
        for (int pause = 0; pause < pauses; ++pause)
            relax();
        pauses = std::min(2 * pauses, most_pauses);
    }
    return pthread_rwlock_wrlock(&impl_->lock);
}

int ZyComplexLock::unlock() {
    return pthread_rwlock_unlock(&impl_->lock);
}
