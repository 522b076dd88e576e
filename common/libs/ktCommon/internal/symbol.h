// The name of an address. Safe in a fatal report, where it gives up what takes too long.
#ifndef KT_INTERNAL_SYMBOL_H
#define KT_INTERNAL_SYMBOL_H

#include "internal/private.h"

namespace kt {

class Symbol {
  public:
    explicit Symbol(unsigned long address);
    ~Symbol();
    Symbol(const Symbol&) = delete;
    Symbol& operator=(const Symbol&) = delete;

    // False where no name is known, as for static functions.
    explicit operator bool() const { return name_ != nullptr; }

    // Demangled if it is a C++ name.
    const char* name() const { return demangled_ == nullptr ? name_ : demangled_; }
    const char* object() const { return object_; }
    unsigned long start() const { return start_; }

  private:
    void demangle();

    const char* name_ = nullptr;
    char* demangled_ = nullptr;
    const char* object_ = nullptr;
    unsigned long start_ = 0;
};

}  // namespace kt

#endif
