// What is left of a daemon that dies: the reports of a victim program, whose functions can be made to hang or
// fault.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <sys/wait.h>

#include "support/files.h"

namespace {

using namespace std::string_literals;

constexpr char kLog[] = "/var/lognv/kt/stacktrace";
const std::string kBanner = "\n===== Signal FAULT ===== ";
#if defined(__arm__)
constexpr char kAborting[] = "";  // the C library's abort has no unwind tables there
#else
constexpr char kAborting[] = "( callAbort() + 0x";
#endif

enum Errors { kRead, kClosed, kFull, kFullNonBlocking };  // what becomes of standard error

struct Case {
    std::string fault;  // a function without arguments, or a symbol
    std::string place, words, frame, caller = {};
    bool isLogged = true;
    int sig = SIGSEGV;
    Errors errors = kRead;
    bool isSent = false;
};

std::string symbol(const std::string& name) {
    return name[0] == '_' ? name : "_Z" + std::to_string(name.size()) + name + 'v';
}

pid_t start(const Case& one, int errors, int marks) {
    const std::string command = "exec " KT_RUN_PREFIX " " FAULT_VICTIM " " + symbol(one.fault) + ' ' +
                                symbol(one.place) + " '" + one.words + '\'';
    const pid_t pid = fork();
    if (pid == 0) {
        dup2(errors, STDERR_FILENO);
        dup2(marks, 3);
        execl("/bin/sh", "sh", "-c", command.c_str(), nullptr);
        _exit(127);
    }
    return pid;
}

// 8 threads leave 8 marks; the process ends with the pipe. Returns the exit status, -SIGKILL when it hangs.
int await(pid_t pid, int marks, int sent) {
    pollfd entry = {marks, POLLIN, 0};
    char bytes[8];
    int limit = 60000;
    while (poll(&entry, 1, limit) == 1 && read(marks, bytes, sizeof bytes) > 0) {
        limit = 3000;
        kill(pid, sent);
    }
    kill(pid, entry.revents == 0 ? SIGKILL : 0);
    int status;
    waitpid(pid, &status, 0);
    close(marks);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
}

void expectWhole(const Case& one, const std::string& report) {
    const char* const reason = one.isSent           ? "(0) \"sent by kill, sigsend, raise\""
                               : one.sig == SIGABRT ? "(-6) \"sent by tkill system call\""
                                                    : "(";
    const std::string signal = std::to_string(one.sig) + " (SIG" + sigabbrev_np(one.sig) + ") ";
    const std::string parts[] = {kBanner,
                                 " =====\n\nCaught signal " + signal,
                                 "\nReason: "s + reason,
                                 "\n\nSIGNAL CONTEXT:\n",
                                 "\n\nFault frame:\n",
                                 "\n\nStack backtrace:\nFrame: ",
                                 one.frame,
                                 one.caller,
                                 '\n' + std::string(73, '=') + "\n\n"};
    size_t end = 0;
    for (const std::string& part : parts) {
        const size_t at = report.find(part, end);
        ASSERT_NE(at, std::string::npos) << part << " is missing in " << report;
        end = at + part.size();
    }
    EXPECT_TRUE(report.size() == end && report.find(kBanner) == report.rfind(kBanner)) << report;
}

// One whole report, in the log and where it is read.
void expectReport(const Case& one) {
    SCOPED_TRACE(one.fault + ' ' + one.place + ' ' + one.words + ", errors " + std::to_string(one.errors));
    int marks[2], errors[2];
    unlink(kLog);
    EXPECT_TRUE(pipe2(marks, O_CLOEXEC) == 0 && pipe2(errors, O_CLOEXEC) == 0);
    fcntl(errors[1], F_SETFL, O_NONBLOCK);
    while (one.errors >= kFull && write(errors[1], kLog, sizeof kLog) > 0) {}
    fcntl(errors[1], F_SETFL, one.errors == kFullNonBlocking ? O_NONBLOCK : 0);
    close(one.errors == kClosed ? errors[0] : -1);
    const pid_t pid = start(one, errors[1], marks[1]);
    close(marks[1]);
    close(errors[1]);
    EXPECT_EQ(await(pid, marks[0], one.isSent ? one.sig : 0), one.sig);
    const std::string logged = kt::test::contentsOf(kLog);
    const std::string read = kt::test::contentsOf("/dev/fd/" + std::to_string(errors[0]));
    expectWhole(one, one.isLogged ? logged : read);
    EXPECT_TRUE(!one.isLogged || one.errors != kRead || read == logged) << read;
    close(one.errors == kClosed ? -1 : errors[0]);
}

// Every fault in both places with every standard error, eight at once, and signals that are sent; unless it is the
// soak, each fault either in the storm or out of it.
void expectReports(bool isSoak) {
    const Case faults[] = {
        {"readNull", "inWorker", "", "( readNull() + 0x", "( inMain() + 0x"},
        {"callAbort", "inWorker", "", kAborting, "", true, SIGABRT},
        {"runIllegal", "inWorker", "", "( runIllegal() + 0x", "( inMain() + 0x", true, SIGILL},
        {"readBehindFile", "inWorker", "", "( readBehindFile() + 0x", "( inMain() + 0x", true, SIGBUS},
        {"divideByZero", "inWorker", "", "( divideByZero() + 0x", "( inMain() + 0x", true, SIGFPE},
        {"overflow", "inPort", "", "( overflow() + 0x", "( overflow() + 0x"}};
    for (const Case& fault : faults) {
        for (int i = 0; i < 16; ++i) {
            Case one = fault;
            one.place = i / 2 % 2 == 0 ? "inMain" : fault.place;
            one.words = i % 2 == 0 ? "" : "storm";
            one.errors = static_cast<Errors>(i / 4);
            if (isSoak || i % 2 == (i / 2 + i / 4) % 2) { expectReport(one); }
        }
    }
    for (int i = 0; i < (isSoak ? 100 : 4); ++i) {
        expectReport({"readNull", "inEight", "", "( readNull() + 0x"});
    }
    for (int i = 0; i < (isSoak ? 200 : 10); ++i) {
        expectReport(
            {"allocate", "inMain", "storm", "", "", true, i % 2 == 0 ? SIGSEGV : SIGABRT, kRead, true});
    }
}

TEST(Fault, IsReportedWhereverItHappens) { expectReports(false); }

TEST(Fault, DISABLED_soak) { expectReports(true); }

// The symbol of a function whose name has so many numbers, and how it is shown.
std::pair<std::string, std::string> nameWith(int numbers) {
    std::string symbol = "_Z5namedISt16integer_sequenceIiJ";
    std::string shown = "( void named<std::integer_sequence<int";
    for (int i = 0; i < numbers; ++i) {
        symbol += "Li" + std::to_string(i) + 'E';
        shown += ", " + std::to_string(i);
    }
    return {symbol + "EEEvv", shown + "> >() + 0x"};
}

TEST(Fault, DescentIsNamed) {
    for (const int numbers : {6, 20, 47, 153}) {
        const auto [symbol, shown] = nameWith(numbers);
        expectReport({symbol, "inMain", "", shown, "( main + 0x"});
    }
    expectReport({"askNull", "inMain", "", "( askNull() + 0x", "( main + 0x"});
    expectReport({"callNull", "inMain", "", "( callNull() + 0x", "( main + 0x"});
    expectReport({"callData", "inMain", "", "( callData() + 0x", "( main + 0x"});
    expectReport({"smashStack", "inMain", "", "( readNull() + 0x"});
}

TEST(Fault, IsReportedThoughFunctionsHangOrFault) {
    const auto [symbol, shown] = nameWith(6);
    const std::string raw = "( " + symbol + " + 0x";
    const std::string number = "] \nFrame:   1: [0x";  // of a frame that otherwise has a name
    const std::string everything = "malloc realloc dladdr localtime_r __cxa_demangle logStackTrace exit";
    const std::pair<std::string, std::string> logged[] = {
        {"malloc realloc", raw}, {"__cxa_demangle!", raw}, {"dladdr", number},       {"localtime_r", shown},
        {"exit", shown},         {"exit!", shown},         {"logStackTrace?", shown}};
    for (const auto& [words, frame] : logged) { expectReport({symbol, "inMain", words, frame}); }
    for (const char* words : {"logStackTrace", "logStackTrace!", "logStackTrace*"}) {
        expectReport({symbol, "inMain", words, shown, "", false});
    }
    for (const char* place : {"inMain", "inPort"}) {
        expectReport({symbol, place, everything, number, "", false});
    }
    expectReport({symbol, "inChild", "", shown});
    expectReport({symbol, "besideAssertion", "logStackTrace", shown, "", false});
    expectReport({"faultCancelled", "inWorker", "", "( faultCancelled() + 0x"});
    expectReport({"failAssertion", "inMain", "logStackTrace!", "( failAssertion() + 0x", "", false});
}

}  // namespace
