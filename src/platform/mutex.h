// A lock for the little process-wide state the library keeps. Constant-initialised, so a static
// one is ready before any code runs.
#pragma once

#ifndef _WIN32
#include <pthread.h>
#endif

namespace fk::platform {

class Mutex {
public:
    constexpr Mutex() = default;
    Mutex(const Mutex&) = delete;
    Mutex& operator=(const Mutex&) = delete;

    void lock();
    void unlock();

private:
#ifdef _WIN32
    void* srw_ = nullptr; // an SRWLOCK: one pointer, zero while unlocked
#else
    pthread_mutex_t m_ = PTHREAD_MUTEX_INITIALIZER;
#endif
};

// Holds a Mutex for the lifetime of a scope.
class LockGuard {
public:
    explicit LockGuard(Mutex& m) : m_(m) { m_.lock(); }
    ~LockGuard() { m_.unlock(); }
    LockGuard(const LockGuard&) = delete;
    LockGuard& operator=(const LockGuard&) = delete;

private:
    Mutex& m_;
};

} // namespace fk::platform
