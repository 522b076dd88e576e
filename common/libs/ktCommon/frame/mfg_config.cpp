#include "frame/mfg_config.h"

#include <strings.h>

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <utility>

#include "diag/debug.h"
#include "internal/component_ids.h"
#include "internal/heap_text.h"
#include "internal/released_by.h"
#include "internal/uncancelled.h"
#include "internal/whole_file.h"
#include "logging.h"
#include "text/bounded.h"
#include "text/convert.h"
#include "text/growable.h"
#include "text/parsed_list.h"

const char MFG_CONF_FILE[] = "/usr/local/data/mfg.conf";
const char MFG_PRODID[] = "productID";
const char MFG_CUSTOMER[] = "customerCode";
const char MFG_MODELNUM[] = "modelNumber";
const char MFG_SERIALNUM[] = "serial";
const char MFG_VENDORMODEL[] = "vendormodel";
const char MFG_MACADDRESS[] = "macAddress";
const char MFG_MACRANGE[] = "macRange";
const char MFG_VENDID[] = "vendorID";
const char MFG_VERSION[] = "version";
const char PRODID_DEFAULT_VAL[] = "5183746-02";
const char CUSTOMER_DEFAULT_VAL[] = "";
const char MODELNUM_DEFAULT_VAL[] = "RB-K-518-T7";
const char SERIALNUM_DEFAULT_VAL[] = "K4100027";
const char VENDORMODEL_MARROWBY_DEFAULT_VAL[] = "RB-K-518-T7";
const char VENDORMODEL_PENDLEWICK_DEFAULT_VAL[] = "QN-HBL-6PX-3LN874/209";
const char VENDORMODEL_UNKNOWN_DEFAULT_VAL[] = "Unknown vendor model";
const char DEFAULT_MAC_RANGE[] = "2";

static_assert(MFG_FIELD_SIZE == 32);
static_assert(offsetof(MfgConfigSet, productID) == 0);
static_assert(offsetof(MfgConfigSet, customerCode) == 32);
static_assert(offsetof(MfgConfigSet, modelNumber) == 64);
static_assert(offsetof(MfgConfigSet, serial) == 96);
static_assert(offsetof(MfgConfigSet, vendormodel) == 128);
static_assert(offsetof(MfgConfigSet, macAddress) == 160);
static_assert(offsetof(MfgConfigSet, macRange) == 192);
static_assert(sizeof(MfgConfigSet) == 224);

namespace {

using FieldArray = char[MFG_FIELD_SIZE];

constexpr char kSerializeName[] = "Mfg_SerializeConfigSet";
constexpr unsigned kOctets = 6;

struct Field {
    const char* key;
    FieldArray MfgConfigSet::*text;
};

constexpr Field kFields[] = {
    {MFG_PRODID, &MfgConfigSet::productID},        {MFG_CUSTOMER, &MfgConfigSet::customerCode},
    {MFG_MODELNUM, &MfgConfigSet::modelNumber},    {MFG_SERIALNUM, &MfgConfigSet::serial},
    {MFG_VENDORMODEL, &MfgConfigSet::vendormodel}, {MFG_MACADDRESS, &MfgConfigSet::macAddress},
    {MFG_MACRANGE, &MfgConfigSet::macRange},
};

// A field as text, terminated whatever the caller's record holds.
class FieldText {
  public:
    explicit FieldText(const FieldArray& field) {
        memcpy(text_, field, sizeof text_);
        text_[sizeof text_ - 1] = '\0';
    }

    const char* get() const { return text_; }

  private:
    FieldArray text_;
};

using OwnedList = kt::Owned<ParsedNode, deleteParsedString>;

// Null without memory.
kt::HeapText fileText(const MfgConfigSet& set) {
    char* text = nullptr;
    bool isWhole = true;
    for (const Field& field : kFields) {
        isWhole =
            isWhole && strcat_x(&text, "%s=%s\n", field.key, FieldText(set.*field.text).get()) != nullptr;
    }
    isWhole = isWhole && strcat_x(&text, "\n") != nullptr;
    kt::HeapText owned(text);
    return isWhole ? std::move(owned) : nullptr;
}

// The text is made first, so that a shortage does not cost the file. A thread that is cancelled in between
// would leave an empty one, which nobody repairs.
int writeRecord(const MfgConfigSet& set, const char* file) {
    const kt::Uncancelled uncancelled;
    const kt::HeapText text = fileText(set);
    if (text == nullptr) {
        return -1;
    }
    kt::OutputFile output(file);
    if (!output) {
        return -1;
    }
    __debug(__LINE__, "%s pre-write: \n%s\n", kSerializeName, text.get());
    output.replaceContents(text.get(), strlen(text.get()));
    return 0;
}

// The file as it was at the first look, empty if it has become shorter since. Null when it cannot be opened
// or memory is short.
kt::HeapText contentsOf(const char* file) {
    kt::InputFile input(file);
    size_t got = 0;
    kt::HeapText text = input.contents(1, got);
    if (text != nullptr && static_cast<int64_t>(got) < input.size()) {
        *text = '\0';
    }
    return text;
}

// False when memory is short.
bool takePairs(MfgConfigSet& set, const char* text) {
    const OwnedList pairs(parseDelimtedString(text, '=', '\n'));
    for (const ParsedNode* pair = pairs.get(); pair != nullptr; pair = pair->next) {
        AddMfgPair(&set, pair->tag, pair->value);
    }
    return pairs != nullptr || strchr(text, '=') == nullptr;
}

int readRecord(MfgConfigSet& set, const char* file) {
    set = {};
    const kt::HeapText text = contentsOf(file);
    if (text == nullptr || !takePairs(set, text.get())) {
        return -1;
    }
    if (*set.macRange == '\0') {
        AddMfgPair(&set, MFG_MACRANGE, DEFAULT_MAC_RANGE);
    }
    return 0;
}

unsigned randomOctet() {
    return static_cast<unsigned>(rand()) % 255;
}

MfgConfigSet defaultRecord() {
    MfgConfigSet set = {};
    copyMfgElement(set.customerCode, CUSTOMER_DEFAULT_VAL);
    copyMfgElement(set.modelNumber, MODELNUM_DEFAULT_VAL);
    copyMfgElement(set.productID, PRODID_DEFAULT_VAL);
    copyMfgElement(set.serial, SERIALNUM_DEFAULT_VAL);
    copyMfgElement(set.macRange, DEFAULT_MAC_RANGE);
    copyMfgElement(set.vendormodel, VENDORMODEL_MARROWBY_DEFAULT_VAL);
    srand(static_cast<unsigned>(time(nullptr)));
    const unsigned fourth = randomOctet();
    const unsigned fifth = randomOctet();
    const unsigned sixth = randomOctet();
    snprintf(set.macAddress, sizeof set.macAddress, "02:02:02:%02X:%02X:%02X", fourth, fifth, sixth);
    return set;
}

bool parseAddress(const FieldText& text, uint64_t& address) {
    unsigned char octets[kOctets];
    if (sscanf(text.get(), "%hhX:%hhX:%hhX:%hhX:%hhX:%hhX", &octets[0], &octets[1], &octets[2], &octets[3],
               &octets[4], &octets[5]) != static_cast<int>(kOctets)) {
        return false;
    }
    address = 0;
    for (const unsigned char octet : octets) {
        address = address << 8 | octet;
    }
    return true;
}

// What is beyond the sixth octet is dropped.
char* newAddressText(uint64_t address) {
    unsigned octets[kOctets];
    for (unsigned i = 0; i < kOctets; ++i) {
        octets[i] = static_cast<unsigned>(address >> 8 * (kOctets - 1 - i)) & 0xFF;
    }
    char* text = nullptr;
    sprintf_x(&text, "%02X:%02X:%02X:%02X:%02X:%02X", octets[0], octets[1], octets[2], octets[3], octets[4],
              octets[5]);
    return text;
}

}  // namespace

int Mfg_LoadMfgConfigSet(MfgConfigSet* set, const char* file) {
    __debug(__LINE__, "%s entry\n", __func__);
    return readRecord(*set, file);
}

int Mfg_DeserializeConfigSet(MfgConfigSet* set, const char* file) {
    if (set == nullptr) {
        return -1;
    }
    MfgConfExistanceCheck(file);
    return readRecord(*set, file);
}

int Mfg_SerializeConfigSet(const MfgConfigSet* set, const char* file) {
    __debug(__LINE__, "%s entry\n", kSerializeName);
    const int result = set == nullptr ? -1 : writeRecord(*set, file);
    __debug(__LINE__, "%s exit result %d\n", kSerializeName, result);
    return result;
}

int MfgConfExistanceCheck(const char* file) {
    int64_t size = 0;
    if (kt::findFile(file, size)) {
        return 0;
    }
    const MfgConfigSet set = defaultRecord();
    return Mfg_SerializeConfigSet(&set, file);
}

int AddMfgPair(MfgConfigSet* set, const char* key, const char* value) {
    if (set == nullptr || key == nullptr || value == nullptr) {
        return -1;
    }
    for (const Field& field : kFields) {
        if (strcasecmp(key, field.key) == 0) {
            copyMfgElement(set->*field.text, value);
            return 0;
        }
    }
    __debug(__LINE__, "%s: Invalid MFG pair received: %s=%s\n", __func__, key, value);
    logError(kt::component::kConfiguration, "Invalid MFG pair received: %s=%s", key, value);
    return 0;
}

int copyMfgElement(char* field, const char* value) {
    return static_cast<int>(strlcpy(field, value, MFG_FIELD_SIZE));
}

int Mfg_DumpConfig(const MfgConfigSet* set) {
    __debug(__LINE__, "%s entry\n", __func__);
    if (set != nullptr) {
        for (const Field& field : kFields) {
            __debug(__LINE__, "%s: %s=%s\n", __func__, field.key, FieldText(set->*field.text).get());
        }
        __debug(__LINE__, "%s:\n", __func__);
    }
    __debug(__LINE__, "%s exit\n", __func__);
    return 0;
}

int Mfg_RetrieveMacRangeEx(const MfgConfigSet* set) {
    return atoi_s(FieldText(set->macRange).get(), 0);
}

int Mfg_RetrieveRegisteredMacAddressEx(const MfgConfigSet* set, int index, char** mac) {
    uint64_t address = 0;
    if (index < 0 || index >= Mfg_RetrieveMacRangeEx(set) ||
        !parseAddress(FieldText(set->macAddress), address)) {
        return -1;
    }
    char* text = newAddressText(address + static_cast<uint64_t>(index));
    if (text == nullptr) {
        return -1;
    }
    *mac = text;
    return 0;
}

int Mfg_RetrieveMacRange(void) {
    MfgConfigSet set;
    Mfg_DeserializeConfigSet(&set, MFG_CONF_FILE);
    return Mfg_RetrieveMacRangeEx(&set);
}

int Mfg_RetrieveRegisteredMacAddress(int index, char** mac) {
    MfgConfigSet set;
    Mfg_DeserializeConfigSet(&set, MFG_CONF_FILE);
    return Mfg_RetrieveRegisteredMacAddressEx(&set, index, mac);
}
