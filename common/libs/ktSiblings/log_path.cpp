#include "logging.h"

// Alone in its unit: where a weak constant is defined, the compiler would fold its value into the code that
// reads it.
extern "C" __attribute__((weak)) const char LOG_PATH[] = "/var/lognv/kt";
