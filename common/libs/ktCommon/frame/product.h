// What unit this is: the product record, the software's revision, the boot partition, and the FPGAs' program
// lines.
//
// The record is filled once in a process, by the first getProductInfo; library start-up sees to that before
// there are threads. showProductInfo, whoAreWe and managePROG_B call it first of all, with all that belongs
// to its first call. Nothing is locked: a thread that calls while another one makes the first call fills the
// record a second time. Afterwards every function may run in any thread and the record is only read; what
// changes in its sources is seen by processes started later.
//
// Functions that print write to standard output and block as long as it does. Functions that run shell
// commands block as long as those do; both kinds are cancellation points. errno is not kept. Nothing here is
// for signal handlers.
#ifndef KT_FRAME_PRODUCT_H
#define KT_FRAME_PRODUCT_H

#include <stdint.h>

#include "internal/api.h"

#ifdef __cplusplus
extern "C" {
#endif

#define KT_PRODUCT_TEXT_SIZE 30     // bytes, terminator included
#define KT_PRODUCT_VERSION_SIZE 50  // likewise

// Every text is NUL-terminated: one that is too long is cut. MFG_CONF_FILE is read up to 1023 bytes.
typedef struct ProductInfo {
    char productClass[KT_PRODUCT_TEXT_SIZE];    // PRODUCT_CLASS_GATEWAY
    char productName[KT_PRODUCT_TEXT_SIZE];     // line "productName=" of MFG_CONF_FILE, as those below
    char productId[KT_PRODUCT_TEXT_SIZE];       // "productID="
    char processor[KT_PRODUCT_TEXT_SIZE];       // lines "Processor" of /proc/cpuinfo
    char modelNumber[KT_PRODUCT_TEXT_SIZE];     // "modelNumber="
    int32_t modelNumberOrd;                     // 5
    char serialNumber[KT_PRODUCT_TEXT_SIZE];    // "serial="
    char customerCode[KT_PRODUCT_TEXT_SIZE];    // "customerCode="
    char vendorModel[KT_PRODUCT_TEXT_SIZE];     // "vendormodel="
    char version[KT_PRODUCT_VERSION_SIZE];      // versionTag()
    char vendorId[KT_PRODUCT_TEXT_SIZE];        // "Marrowby"
    char databaseSchema[KT_PRODUCT_TEXT_SIZE];  // configuration row "databaseSchema"
    char macAddress[KT_PRODUCT_TEXT_SIZE];      // "macAddress="
} ProductInfo;

// A version in numbers.
typedef struct PackageVersion {
    int32_t major;
    float minor;
    int32_t build;
} PackageVersion;

// All zero until the first getProductInfo.
extern KT_API ProductInfo g_ProductInfo;

extern KT_API const char PRODUCT_CLASS_GATEWAY[];    // "Gateway"
extern KT_API const char KTCOMMON_VERSION_STRING[];  // "0.01"
extern KT_API const PackageVersion packageVersion;   // {1, 0.01, 0}; for others, as the next
extern KT_API const char VERSION_STAMP_FILE[];       // "/usr/local/data/versionStamp.tmp"

// The program lines of the main and of the expansion FPGA: "/sys/class/gpio/gpio6/value" and
// "/sys/class/gpio/gpio7/value". Weak: a program may define its own.
extern KT_API char FPGA_PROG_B_MAIN[28];
extern KT_API char FPGA_PROG_B_EXP[28];

// Fills the record at the first call, running shell commands and reading MFG_CONF_FILE: its lines are found
// in the order macAddress, vendormodel, serial, modelNumber, customerCode, productID, productName, each
// above the one before it. What a source does not tell stays empty. If the file cannot be opened, that goes
// to the error log ("mfg.conf missing/damaged recreating", component 310), "ktcommon - mfg.conf
// missing/damaged" to standard output, and THE UNIT IS REBOOTED (see reboot, which changes the working
// directory, too); until it goes down, the record has what the other sources tell.
// Returns 0, with *info the address of g_ProductInfo
//     -1  info is null; nothing else happens
KT_API int getProductInfo(ProductInfo** info);

// Prints the record, but for processor and vendor model.
// Returns 0.
KT_API int showProductInfo(void);

// Copies the record's model number to `model` (KT_PRODUCT_TEXT_SIZE bytes; may be null).
// Returns the record's modelNumberOrd.
KT_API int whoAreWe(char* model);

// Returns the software version, three decimal numbers joined by dots; static.
KT_API const char* versionTag(void);

// Prints project, version, and who built it when and on which machine.
// Returns the result of the last printf.
KT_API int showRevision(void);

// Prints project, version and build time, then what busybox and uname tell of the running system: empty where
// a command fails.
// Returns the result of the last printf.
KT_API int showRevisionExtended(void);

// Asks the boot tool ("abget rfs") for the root file system in use.
// Returns its output, with the line feed, as a new string that the caller frees; null when the tool could not
// be started or memory is short.
KT_API char* getCurrentBootPartition(void) KT_WARN_UNUSED;

// Holds (level 0) or releases (level 1) the program line of an FPGA, by writing the level to the line's file,
// and prints "Holding PROG_B\n" or "Releasing PROG_B\n". On a unit whose product class is not "Gateway" (in
// any case) it first takes the interface eth1 down and waits for 2 seconds. target: device path or name of
// the FPGA's image; the expansion's line if it contains "/mtd5", "/mtd7" or "exp", else the main one's, also
// for null.
// Returns 0, whether or not the file could be written, after at least 5 seconds.
KT_API int managePROG_B(const char* target, int level);

// Parts of getProductInfo. _getVersion and _getVendorID write to g_ProductInfo whatever `info` is.
// Return 0
//     -1  info is null
KT_API int _getVersion(ProductInfo* info);
KT_API int _getVendorID(ProductInfo* info);

// Stores the values of the lines "Processor" of /proc/cpuinfo in the array buf of `size` bytes: whole lines
// as far as they fit, joined without line feeds.
// Returns the text's length; 0 when there is none; negative as systemBufferEcho (-2: buf is null).
KT_API int _getProcessor(char* buf, int size);

// Finds the first occurrence of key anywhere in text and ends the text at the end of that line, so a later
// call finds only what stands above. Neither may be null.
// Returns what follows the key, trimmed, inside text; null, with text unchanged, when the key or a line feed
// behind it is missing.
KT_API char* _getTargetValue(char* text, const char* key);

#ifdef __cplusplus
}
#endif

#endif
