#pragma once

#include <pthread.h>

#include <cerrno>

namespace pthread_helper {

// A pthread mutex whose failures end the process: a lock that cannot be taken, given back or destroyed is a
// fault of the program. The failure is reported on standard output with the call stack, then the process is
// killed (SIGKILL). Works with std::lock_guard and std::unique_lock.
class mutex {
public:
    // type: a pthread mutex type. The default notices a second lock by the same thread and an unlock by
    // another one.
    explicit mutex(int type = PTHREAD_MUTEX_ERRORCHECK);
    ~mutex();
    mutex(const mutex&) = delete;
    mutex& operator=(const mutex&) = delete;

    void lock();
    void unlock();

private:
    [[noreturn]] void fail(const char* condition, int result, int line) const;

    pthread_mutex_t _handle;
};

// The conditions below appear in the report word for word.
static_assert(EDEADLK == 35 && EBUSY == 16);

#define LUMO_MUTEX_CHECK(condition)                                                                          \
    do {                                                                                                     \
        if (!(condition)) [[unlikely]] {                                                                     \
            fail(#condition, res, __LINE__);                                                                 \
        }                                                                                                    \
    } while (false)

inline mutex::mutex(int type) {
    pthread_mutexattr_t attributes;
    int res = pthread_mutexattr_init(&attributes);
    LUMO_MUTEX_CHECK(res == 0);
    res = pthread_mutexattr_settype(&attributes, type);
    LUMO_MUTEX_CHECK(res == 0);
    res = pthread_mutex_init(&_handle, &attributes);
    LUMO_MUTEX_CHECK(res == 0);
    pthread_mutexattr_destroy(&attributes);
}

inline mutex::~mutex() {
    const int res = pthread_mutex_destroy(&_handle);
    LUMO_MUTEX_CHECK(res != 16);
    LUMO_MUTEX_CHECK(res == 0);
}

inline void mutex::lock() {
    const int res = pthread_mutex_lock(&_handle);
    LUMO_MUTEX_CHECK(res != 35);
    LUMO_MUTEX_CHECK(res == 0);
}

inline void mutex::unlock() {
    const int res = pthread_mutex_unlock(&_handle);
    LUMO_MUTEX_CHECK(res == 0);
}

#undef LUMO_MUTEX_CHECK

} // namespace pthread_helper
