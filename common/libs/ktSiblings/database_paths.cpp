#include "config_data.h"

// Alone in their unit: where a weak constant is defined, the compiler would fold its value into the code that
// reads it.
extern "C" __attribute__((weak)) const char SQL_MAIN_DB_NAME[] = "/usr/local/data/main.db";
extern "C" __attribute__((weak)) const char SQL_RBAC_DB_NAME[] = "/usr/local/data/rbac.db";
