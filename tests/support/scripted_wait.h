// Condition waits whose course is the test's choice, for each thread its own. scripted_wait.cpp defines
// pthread_cond_wait and pthread_cond_timedwait.
#ifndef KT_TESTS_SUPPORT_SCRIPTED_WAIT_H
#define KT_TESTS_SUPPORT_SCRIPTED_WAIT_H

#include <pthread.h>

#include <functional>

// Stands for both waits, with a null deadline for the untimed one; empty: the real ones.
extern thread_local std::function<int(pthread_cond_t*, pthread_mutex_t*, const timespec*)> t_wait;

#endif
