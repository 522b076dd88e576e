#include "messaging.h"

int _msgDrain(void) {
    return 0;
}
