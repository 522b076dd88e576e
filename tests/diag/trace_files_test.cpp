// Runs in the virtual unit, in its directory of traces. The program has tags and an engineering log of its own.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <ktcommon.h>
#include <sys/stat.h>
#include <tags.h>

#include <map>
#include <string>

#include "support/debug_lines.h"
#include "support/files.h"
#include "support/logged.h"

static std::map<int, std::string> tags;

char* getTagValueByID(void*, int id, void*, int) {
    return tags.count(id) == 0 ? nullptr : strdup(tags[id].c_str());
}

namespace {

constexpr time_t kTenDays = 864000;

std::string pathOf(const std::string& name) { return TRACE_PATH + name; }

void age(const char* name, time_t seconds) {
    close(open(pathOf(name).c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600));
    const struct timespec then[] = {{time(nullptr) - seconds, 0}, {time(nullptr) - seconds, 0}};
    EXPECT_EQ(utimensat(AT_FDCWD, pathOf(name).c_str(), then, 0), 0);
}

bool isThere(const char* name) {
    struct stat state;
    return lstat(pathOf(name).c_str(), &state) == 0;
}

TEST(TraceFiles, OldOnesAreDeleted) {
    mkdir("/usr/local/data/traces/sub.log", 0700);
    (void)!symlink("nowhere", "/usr/local/data/traces/dangling.log");
    for (const char* kept : {"x.txt", "log", "sub.log/a.log", "sub.log"}) { age(kept, 2 * kTenDays); }
    time_t start;
    do {
        start = time(nullptr);
        age("ten.log", kTenDays);
        cleanOldTracerFiles();
    } while (start != time(nullptr));
    EXPECT_TRUE(isThere("ten.log"));
    logged.clear();
    age("x.pcap.old", kTenDays + 1);
    age("future.pcap", -5000);
    const std::string told = kt::test::debugLinesOf(cleanOldTracerFiles) + logged;
    for (const char* text : {"/ file '/usr/local/data/traces/x.pcap.old' is > 10days old, deleting.\n",
                             " - cleanOldTracerFiles() / future.pcap / fileAge = -",
                             "308 File 'x.pcap.old' is > 10 days old, deleting\n"}) {
        EXPECT_TRUE(told.find(text) != std::string::npos) << told;
    }
    EXPECT_EQ(truncate64((age("huge.log", 0), pathOf("huge.log").c_str()), 3LL << 30), 0);
    age("huge.log", kTenDays + 1);
    EXPECT_EQ(cleanOldTracerFiles(), 0);
    EXPECT_FALSE(isThere("x.pcap.old") || isThere("huge.log"));
    for (const char* kept : {"future.pcap", "dangling.log", "x.txt", "log", "sub.log/a.log"}) {
        EXPECT_TRUE(isThere(kept)) << kept;
    }
}

TEST(TraceFiles, NamesAreMadeOfTagValues) {
    tags = {
        {12, "Line 1"}, {15, "10:15"}, {7, std::string(300, 'x')}, {8, "/a: b/"}, {9, std::string(250, 'y')}};
    const std::string suffix(260, 's');
    const std::tuple<const char*, const char*, const char*, const char*, std::string> cases[] = {
        {"/usr/local/data/traces/", "{12},{15}", "-", ".log", "/usr/local/data/traces/Line_1-1015.log"},
        {"a: b/", ",8,,{{12}},\n12", " /", nullptr, "a: b/a_b_Line_1_Line_1"},
        {nullptr, "12,99,15", "+", nullptr, "Line_1++1015"},
        {nullptr, "12,15", nullptr, "/:", "Line_11015/:"},
        {"p/", "", "-", ".log", "p/.log"},
        {nullptr, "7", nullptr, ".log", std::string(246, 'x') + ".log"},
        {"/", "7", nullptr, nullptr, "/" + std::string(249, 'x')},
        {nullptr, "9", nullptr, ".log", std::string(250, 'y') + ".log"},
        {nullptr, "7", nullptr, suffix.c_str(), suffix},
        {"p", nullptr, "-", ".log", "Need_file_params"}};
    for (const auto& [prefix, ids, separator, ending, expected] : cases) {
        char* name = buildOutputFilename(prefix, ids, separator, ending);
        EXPECT_STREQ(name, expected.c_str());
        free(name);
    }
}

}  // namespace
