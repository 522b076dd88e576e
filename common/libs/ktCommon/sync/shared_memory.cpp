#include "sync/shared_memory.h"

#include <sys/shm.h>

#include <cstdint>

void* smAlloc(key_t key, int* shmid, size_t size) {
    const int id = shmget(key, size, IPC_CREAT | 0666);
    if (shmid != nullptr) {
        *shmid = id;
    }
    void* address = id == -1 ? nullptr : shmat(id, nullptr, 0);
    const bool isRefused = reinterpret_cast<intptr_t>(address) == -1;
    return isRefused ? nullptr : address;
}

void* smGetString(key_t key, size_t size) {
    return smAlloc(key, nullptr, size);
}

int smRelease(const void* address) {
    return shmdt(address);
}

int smDestroy(int shmid) {
    return shmctl(shmid, IPC_RMID, nullptr);
}
