// Keeps the reports of several threads apart.
#ifndef KT_INTERNAL_REPORT_LOCK_H
#define KT_INTERNAL_REPORT_LOCK_H

#include "internal/private.h"

namespace kt {

// A fatal report takes it over: from its own thread, whose report the fault interrupted, at once, and from
// one that does not get on after a moment.
class ReportLock {
  public:
    ReportLock();
    ~ReportLock();
    ReportLock(const ReportLock&) = delete;
    ReportLock& operator=(const ReportLock&) = delete;

    // Whether the thread was in the middle of a report already.
    bool isNested() const { return nested_; }

    // For the child of a fork, where nobody holds it. True if a report was in the making.
    static bool reset();

  private:
    bool nested_;
    bool locked_;
};

}  // namespace kt

#endif
