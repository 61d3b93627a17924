#include "OVUtility/Concurrency/PThreadMutex.h"

#include <cstring>

#include "OVUtility/Platform/Fatal.h"

namespace ov {

PThreadMutex::PThreadMutex(Type type) {
    std::memset(&unsafeMutex, 0, sizeof unsafeMutex);

    pthread_mutexattr_t attributes;
    if (pthread_mutexattr_init(&attributes) != 0) {
        ov::fatal("PThreadMutex: pthread_mutexattr_init failed");
    }
    (void)pthread_mutexattr_settype(
        &attributes, type == Type::normal ? PTHREAD_MUTEX_NORMAL : PTHREAD_MUTEX_RECURSIVE);
    if (pthread_mutex_init(&unsafeMutex, &attributes) != 0) {
        ov::fatal("PThreadMutex: pthread_mutex_init failed");
    }
    // The attribute object is deliberately not destroyed: its destruction
    // releases nothing (glibc keeps no resources in it), and the mutex does
    // not refer to it after initialisation.
}

PThreadMutex::~PThreadMutex() {
    (void)pthread_mutex_destroy(&unsafeMutex);
}

void PThreadMutex::lock() {
    (void)pthread_mutex_lock(&unsafeMutex);
}

void PThreadMutex::unlock() {
    (void)pthread_mutex_unlock(&unsafeMutex);
}

bool PThreadMutex::tryLock() {
    return pthread_mutex_trylock(&unsafeMutex) == 0;
}

}  // namespace ov
