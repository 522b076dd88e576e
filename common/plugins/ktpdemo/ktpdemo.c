/*
 * A protocol driver, as a user would write one: a device with eight registers, in memory. Installed as
 * /usr/local/lib/ktpdemo.pil it is the driver "demo". What its functions take and return is between it and the daemon
 * that opens it.
 */
#include "ktpdemo.h"

#include <stddef.h>

static int registers[KTPDEMO_REGISTERS];
static int isOpen;

static int* find(int number) {
    return isOpen && number >= 0 && number < KTPDEMO_REGISTERS ? &registers[number] : NULL;
}

const char* protVersion(void) {
    return "1.0";
}

int protOpen(void) {
    isOpen = 1;
    return 0;
}

int protClose(void) {
    isOpen = 0;
    return 0;
}

int protRead(int number, int* value) {
    const int* found = find(number);
    if (found == NULL) {
        return -1;
    }
    *value = *found;
    return 0;
}

int protWrite(int number, int value) {
    int* found = find(number);
    if (found == NULL) {
        return -1;
    }
    *found = value;
    return 0;
}

int protRegisterGet(int number, int* value) {
    return protRead(number, value);
}

int protRegisterSet(int number, int value) {
    return protWrite(number, value);
}

int protPeek(int number) {
    return find(number) == NULL ? -1 : 0;
}
