/* What the plug-ins of the tests are made of: the linker gives `entry` the names of their entry points. */
#include <ktcommon.h>
#include <stdlib.h>

int entry(void);
int entry(void) { return 0; }

__attribute__((constructor)) static void openAnother(void) {
    const char* path = getenv("KT_NESTED_PLUGIN");
    if (path != NULL) {
        unsetenv("KT_NESTED_PLUGIN");
        kt_dlclose(301, kt_dlopen(301, path, 1));
    }
}
