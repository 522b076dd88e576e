#include "sync/atomics.h"

int atomic_add(int* target, int delta) {
    return __atomic_add_fetch(target, delta, __ATOMIC_SEQ_CST);
}

int atomic_store(int* target, int value) {
    __atomic_store_n(target, value, __ATOMIC_SEQ_CST);
    return value;
}
