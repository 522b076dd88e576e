/* What the driver "demo" and the daemons that open it agree upon. */
#ifndef KTPDEMO_H
#define KTPDEMO_H

#define KTPDEMO_REGISTERS 8

/* Static. */
const char* protVersion(void);

/* Until the device is open there are no registers. Return 0. */
int protOpen(void);
int protClose(void);

/* Return 0; -1 when there is no such register, with *value untouched. The latter two are other names for them. */
int protRead(int number, int* value);
int protWrite(int number, int value);
int protRegisterGet(int number, int* value);
int protRegisterSet(int number, int value);

/* Returns 0 when there is such a register, else -1. */
int protPeek(int number);

#endif
