#include "internal/symbol.h"

#include <cxxabi.h>
#include <dlfcn.h>

#include <cstdlib>
#include <cstring>

#include "internal/fatal_report.h"
#include "internal/fault_registers.h"

namespace kt {
namespace {

constexpr fatal::milliseconds kLookUpLimit{250};
constexpr fatal::milliseconds kDemangleLimit{250};

// A name that might need more than the large stack of a fatal report stays as it is.
constexpr size_t kLongestDemangled = 4096;

}  // namespace

Symbol::Symbol(unsigned long address) {
    static bool givenUp;
    Dl_info info = {};
    const auto lookUp = [&info, address] { findSymbol(address, info); };
    givenUp = givenUp || !fatal::attempt(kLookUpLimit, lookUp);
    if (!givenUp && info.dli_sname != nullptr) {
        name_ = info.dli_sname;
        object_ = info.dli_fname;
        start_ = reinterpret_cast<unsigned long>(info.dli_saddr);
        demangle();
    }
}

Symbol::~Symbol() {
    // It might wait for the allocator's lock, and a dying process needs no memory back.
    if (!fatal::isReporter()) {
        free(demangled_);
    }
}

// The demangler would take a C name such as "f" for a type.
void Symbol::demangle() {
    static bool givenUp;
    if (givenUp || strncmp(name_, "_Z", 2) != 0 || strlen(name_) > kLongestDemangled) {
        return;
    }
    char* result = nullptr;
    givenUp = !fatal::attempt(kDemangleLimit, [this, &result] {
        int status = -1;
        result = abi::__cxa_demangle(name_, nullptr, nullptr, &status);
    });
    demangled_ = givenUp ? nullptr : result;
}

}  // namespace kt
