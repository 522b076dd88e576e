// The manufacturing record of a unit: its identifiers, its first MAC address and how many of them it owns.
//
// It stands in a text file, one line "key=value" for each field. Reading takes the lines in any order, keys
// in any case, without the blanks and control characters around both (but a value of one character as it is),
// and the last of several lines with the same key; a NUL ends the text. A line without an equals sign becomes
// the front of the next line's key.
//
// The record is the caller's. A field is a text of at most 31 characters: longer ones are cut to that, and
// whatever stands in a field's last byte is taken for the terminator. Loading fills the whole record with
// zero bytes first.
//
// set and mac are not null but where null is a case of its own; file is the path of the file, not null.
// Every function may run in any thread. Those that take a path, or none, use the file without a lock: one
// that is being written may read as empty or half. They block as long as that takes, but never wait for the
// other end of a FIFO; what they open is close-on-exec. All but copyMfgElement and the two Ex functions are
// cancellation points and leave neither descriptor nor memory behind when cancelled, nor a file without its
// text. errno is not kept. Not for signal handlers.
#ifndef KT_FRAME_MFG_CONFIG_H
#define KT_FRAME_MFG_CONFIG_H

#include "internal/api.h"

#ifdef __cplusplus
extern "C" {
#endif

extern KT_API const char MFG_CONF_FILE[];  // "/usr/local/data/mfg.conf"

// Keys of the file.
extern KT_API const char MFG_PRODID[];       // "productID"
extern KT_API const char MFG_CUSTOMER[];     // "customerCode"
extern KT_API const char MFG_MODELNUM[];     // "modelNumber"
extern KT_API const char MFG_SERIALNUM[];    // "serial"
extern KT_API const char MFG_VENDORMODEL[];  // "vendormodel"
extern KT_API const char MFG_MACADDRESS[];   // "macAddress"
extern KT_API const char MFG_MACRANGE[];     // "macRange"
// For other components; here they are unknown keys.
extern KT_API const char MFG_VENDID[];   // "vendorID"
extern KT_API const char MFG_VERSION[];  // "version"

// Values of a file that is created.
extern KT_API const char PRODID_DEFAULT_VAL[];                // "5183746-02"
extern KT_API const char CUSTOMER_DEFAULT_VAL[];              // ""
extern KT_API const char MODELNUM_DEFAULT_VAL[];              // "RB-K-518-T7"
extern KT_API const char SERIALNUM_DEFAULT_VAL[];             // "K4100027"
extern KT_API const char VENDORMODEL_MARROWBY_DEFAULT_VAL[];  // "RB-K-518-T7"
extern KT_API const char DEFAULT_MAC_RANGE[];                 // "2"
// For other components.
extern KT_API const char VENDORMODEL_PENDLEWICK_DEFAULT_VAL[];  // "QN-HBL-6PX-3LN874/209"
extern KT_API const char VENDORMODEL_UNKNOWN_DEFAULT_VAL[];     // "Unknown vendor model"

// Bytes of a field, the terminator included.
enum { MFG_FIELD_SIZE = 32 };

// The manufacturing record: texts, each cut to its field with a terminator.
typedef struct MfgConfigSet {
    char productID[MFG_FIELD_SIZE];
    char customerCode[MFG_FIELD_SIZE];
    char modelNumber[MFG_FIELD_SIZE];
    char serial[MFG_FIELD_SIZE];
    char vendormodel[MFG_FIELD_SIZE];
    char macAddress[MFG_FIELD_SIZE];  // six hexadecimal octets with colons between them
    char macRange[MFG_FIELD_SIZE];    // number of consecutive addresses from macAddress on, decimal
} MfgConfigSet;

// Reads the file and never creates one. Writes "%s entry\n" with its name as a debug line.
// Returns
//      0  read; fields that the file does not set are empty, but macRange is "2"
//     -1  no such file, it cannot be opened, or memory is short: the record is all zero
KT_API int Mfg_LoadMfgConfigSet(MfgConfigSet* set, const char* file);

// As Mfg_LoadMfgConfigSet without the debug line, but first creates a missing file with
// MfgConfExistanceCheck. A directory, a FIFO, and a file that shrinks meanwhile read as empty.
// Returns as Mfg_LoadMfgConfigSet; also -1 when set is null.
KT_API int Mfg_DeserializeConfigSet(MfgConfigSet* set, const char* file);

// Writes the record, each field as "%s=%s\n" in its order, and an empty line; creates or truncates the file.
// Debug lines: "%s entry\n", before writing "%s pre-write: \n%s\n" with the text, and in every case
// "%s exit result %d\n", each with the function's name.
// Returns
//      0  opened; whether the text arrived is not looked at
//     -1  set is null, the file cannot be opened for writing (as a FIFO without a reader), or memory is
//         short: the file is as it was
KT_API int Mfg_SerializeConfigSet(const MfgConfigSet* set, const char* file);

// Creates the file with the default values and a random MAC address that begins with 02:02:02, unless
// something by that name exists. Creating seeds the C library's generator, srand, with the time.
// Returns
//     0      it exists; what is in it is not looked at
//     other  the result of Mfg_SerializeConfigSet
KT_API int MfgConfExistanceCheck(const char* file);

// Copies value into the field of that key. An unknown key changes nothing: it is written as the debug line
// "%s: Invalid MFG pair received: %s=%s\n" with the function's name, and to the error log.
// Returns
//      0  also for an unknown key
//     -1  an argument is null
KT_API int AddMfgPair(MfgConfigSet* set, const char* key, const char* value);

// Copies value into one field, cut to 31 characters. Neither is null.
// Returns the length of value.
KT_API int copyMfgElement(char* field, const char* value);

// Writes the record (null: nothing of it) as debug lines: "%s entry\n", "%s: %s=%s\n" for each field,
// "%s:\n", "%s exit\n", each with the function's name.
// Returns 0.
KT_API int Mfg_DumpConfig(const MfgConfigSet* set);

// Returns the number of MAC addresses, macRange read as atoi_s does.
KT_API int Mfg_RetrieveMacRangeEx(const MfgConfigSet* set);

// Stores the unit's MAC address number `index`, counted from 0, in *mac: a new string "%02X" six times with
// colons between, which the caller frees. The base is read as sscanf does with "%hhX" for an octet; what
// stands behind the sixth does not count. Behind FF:FF:FF:FF:FF:FF comes 00:00:00:00:00:00.
// Returns
//      0  stored
//     -1  index is negative or not below the range, the base does not read as six octets, or memory is short:
//         *mac is untouched
KT_API int Mfg_RetrieveRegisteredMacAddressEx(const MfgConfigSet* set, int index, char** mac);

// The same of the record that Mfg_DeserializeConfigSet loads from MFG_CONF_FILE. When that fails the range is
// 0 and there is no address.
KT_API int Mfg_RetrieveMacRange(void);
KT_API int Mfg_RetrieveRegisteredMacAddress(int index, char** mac);

#ifdef __cplusplus
}
#endif

#endif
