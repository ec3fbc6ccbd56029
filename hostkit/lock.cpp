// The reader/writer lock, on the one of the C library in the mode where a waiting writer holds back new readers. The
// price of that mode, that a reader must not lock again, is part of the declaration.
#include <pthread.h>

#include <cerrno>
#include <system_error>

#include "host/concurrency.h"

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

int ZyComplexLock::rwlock() {
    return pthread_rwlock_wrlock(&impl_->lock);
}

int ZyComplexLock::unlock() {
    return pthread_rwlock_unlock(&impl_->lock);
}
