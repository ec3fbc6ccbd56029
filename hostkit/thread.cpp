// Detached threads.
#include <pthread.h>

#include <system_error>

#include "host/concurrency.h"

bool ZYThread::createDetachedThread(void* (*entry)(void*), void* argument) {
    pthread_attr_t attributes;
    int ret = pthread_attr_init(&attributes);
    if (ret == 0) {
        pthread_attr_setdetachstate(&attributes, PTHREAD_CREATE_DETACHED);
        pthread_t thread;
        ret = pthread_create(&thread, &attributes, entry, argument);
        pthread_attr_destroy(&attributes);
    }
    last_error_ = ret == 0 ? std::string() : std::generic_category().message(ret);
    return ret == 0;
}

std::string ZYThread::getLastError() const {
    return last_error_;
}
