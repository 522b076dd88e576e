// Apart from any user: a compiler that sees a value would fold it, and a program's own definition were
// ignored.
#include "frame/product.h"

KT_WEAK char FPGA_PROG_B_MAIN[28] = "/sys/class/gpio/gpio6/value";
KT_WEAK char FPGA_PROG_B_EXP[28] = "/sys/class/gpio/gpio7/value";
