#include "support/scripted_wait.h"

#include <dlfcn.h>

thread_local std::function<int(pthread_cond_t*, pthread_mutex_t*, const timespec*)> t_wait;

#pragma GCC visibility push(default)
int pthread_cond_wait(pthread_cond_t* condition, pthread_mutex_t* mutex) {
    static const auto real = reinterpret_cast<decltype(&pthread_cond_wait)>(dlsym(RTLD_NEXT, __func__));
    return t_wait ? t_wait(condition, mutex, nullptr) : real(condition, mutex);
}
int pthread_cond_timedwait(pthread_cond_t* condition, pthread_mutex_t* mutex, const timespec* deadline) {
    static const auto real = reinterpret_cast<decltype(&pthread_cond_timedwait)>(dlsym(RTLD_NEXT, __func__));
    return t_wait ? t_wait(condition, mutex, deadline) : real(condition, mutex, deadline);
}
#pragma GCC visibility pop
