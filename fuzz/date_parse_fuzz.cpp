// Any texts are dates, and a date that is written out reads as itself.
#include <sys/time.h>

#include <algorithm>

#include "target.h"

int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const std::vector<char> first = textOf(data, size, 0);
    const std::vector<char> second = textOf(data, size, std::min(first.size(), size));
    parseBuildDate(first.data(), second.data());
    const time_t moment = parseLogDate(first.data());
    const struct timeval stamp = {static_cast<int32_t>(moment), 0};
    setenv("TZ", "UTC", 1);
    tzset();
    require(parseLogDate(getLogTimestamp(&stamp)) == stamp.tv_sec);
    return 0;
}
