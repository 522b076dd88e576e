// Apart from their users: a compiler that sees the values would fold them, and a program's own definitions
// were ignored.
#include "text/scan.h"

extern "C" KT_WEAK const char INVALID_CHARS[] = ";^{}<>%'\",&.`";
extern "C" KT_WEAK const char INVALID_CHARS_TAG_DESC[] = ";^{}<>%'\"&`";
extern "C" KT_WEAK const char INVALID_CHARS_ADDRESS[] = ";^{}<>%'\",&`";

static_assert(sizeof INVALID_CHARS == 14 && sizeof INVALID_CHARS_TAG_DESC == 12);
static_assert(sizeof INVALID_CHARS_ADDRESS == 13);
