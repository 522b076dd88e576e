#include "empty_call.h"

int emptyCall(int, const char*, ...) {
    return 0;
}
