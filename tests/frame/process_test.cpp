// Runs in the virtual unit: it looks for processes by their names.
#include <gtest/gtest.h>
#include <ktcommon.h>
#include <sys/wait.h>

#include <list>
#include <optional>

#include "support/cancellable_thread.h"
#include "support/files.h"

namespace {

using kt::test::contentsOf;

struct RunningProgram {
    explicit RunningProgram(const std::string& name) {
        const std::string path = "/tmp/" + name;
        (void)!symlink("/bin/sleep", path.c_str());
        if ((pid = fork()) == 0) {
            execl(path.c_str(), path.c_str(), "60", nullptr);
            _exit(1);
        }
        kt::test::until([&] { return contentsOf("/proc/" + std::to_string(pid) + "/comm") == name + '\n'; });
    }
    ~RunningProgram() {
        kill(pid, SIGKILL);
        waitpid(pid, nullptr, 0);
    }
    pid_t pid;
};

std::string nameOf(int pid, size_t n = 200) {
    std::string name(n + 1, '#');
    EXPECT_EQ(getProcessName(pid, name.data(), n), name.data());
    EXPECT_EQ(name[n], '#') << "written past the end";
    name.resize(n == 0 ? 1 : strlen(name.c_str()));
    return name;
}

TEST(Process, OverrideAnswersForEveryProcess) {
    const std::string own = nameOf(getpid());
    EXPECT_EQ(own + '\n', contentsOf("/proc/self/comm"));
    EXPECT_EQ(setProcessName("gateway core"), g_processNameOverride + sizeof "gateway core");
    EXPECT_EQ(setProcessName(nullptr), nullptr);
    for (const int pid : {getpid(), 1, -1}) { EXPECT_EQ(nameOf(pid, 13), "gateway core"); }
    EXPECT_EQ(nameOf(1, 12) + nameOf(1, 0), "gateway cor#");
    EXPECT_EQ(setProcessName(std::string(79, 'n').c_str()), g_processNameOverride + 80);
    EXPECT_EQ(setProcessName(std::string(80, 'm').c_str()), nullptr);
    EXPECT_EQ(nameOf(1), std::string(79, 'm'));
    memset(g_processNameOverride, 'd', sizeof g_processNameOverride);
    EXPECT_EQ(nameOf(1), std::string(80, 'd'));
    EXPECT_EQ(setProcessName(""), g_processNameOverride + 1);
    EXPECT_EQ(nameOf(getpid()), own);
}

TEST(Process, NameHasToFitWithALineFeed) {
    EXPECT_EQ(nameOf(RunningProgram("kt-fourteen-ch").pid, 16), "kt-fourteen-ch");
    std::optional<RunningProgram> fifteen("kt-fifteen-char");
    const int gone = fifteen->pid;
    EXPECT_EQ(nameOf(gone, 16) + "|" + nameOf(gone, 17), "|kt-fifteen-char");
    fifteen.reset();
    EXPECT_EQ(nameOf(gone), "");
}

TEST(Process, InstancesAreCounted) {
    std::list<RunningProgram> running;
    std::set<int> pids;
    for (const int expected : {-3, 1, 2, 3, 3}) {
        int first = 77;
        EXPECT_EQ(checkForMultipleInstances("kt-counted", nullptr), expected);
        EXPECT_EQ(checkForMultipleInstances("kt-counted", &first), expected);
        EXPECT_EQ(pids.count(first), expected > 0) << first;
        EXPECT_EQ(first == 77, expected == -3);
        const int any = getProcessID("kt-counted");
        EXPECT_TRUE(pids.empty() ? any == 0 : pids.count(any) == 1) << any;
        pids.insert(running.emplace_back("kt-counted").pid);
    }
    // Their ids are more than 79 characters.
    while (running.size() < 40) { running.emplace_back("kt-counted"); }
    EXPECT_EQ(checkForMultipleInstances("kt-counted", nullptr), -3);
}

TEST(Process, LookUpsWithoutANumber) {
    int first = 77;
    EXPECT_TRUE(checkForMultipleInstances(nullptr, &first) == -1 && first == 77);
    // Blanks in place of ids.
    EXPECT_TRUE(checkForMultipleInstances("kt-none\"; echo \" ", &first) == -1 && first == 0);
    EXPECT_EQ(getProcessID(nullptr), 0);
}

}  // namespace
