// Runs in a virtual unit that records its reboots.
#include <gtest/gtest.h>
#include <ktcommon.h>
#include <unistd.h>

#include "support/cancellable_thread.h"
#include "support/debug_lines.h"
#include "support/files.h"
#include "support/forked_child.h"

namespace {

using kt::test::contentsOf;
using kt::test::setContents;
using kt::test::takeJournal;

constexpr char kLog[] = "/var/lognv/kt/reboot";
constexpr size_t kDateSize = 20;

std::string outputOf(const char* command) {
    char output[4096];
    systemBufferEcho(command, nullptr, output, sizeof output);
    return output;
}

std::string filesOfUnit() { return outputOf("cd /usr/local/data && find * /var/lognv/kt -type f | sort"); }

void useUnit() {
    (void)!system(
        "cd /usr/local/data && mkdir -p retries/deep/er /var/lognv/kt/rebooted fupdate &&"
        "touch retries/queued retries/deep/er/x old.backup OLD.BACKUP main.db rbac.db traces/a.trace "
        "netpanel.conf fupdate/new.bin keep.txt /var/lognv/kt/error /var/lognv/kt/rebooted/by");
    setContents(kLog, "earlier\n");
}

TEST(Reset, KeepsWhatItsTypeLeaves) {
    const std::string left = "/var/lognv/kt/reboot\nconfig_rows.txt\nfupdate/new.bin\nkeep.txt\nmfg.conf\n";
    const std::string system =
        "\n - prepForSystemResetToDefaults entry\n"
        "/bin/rm -rf /usr/local/data/main.db\nsystemEx: 0.0.[/bin/rm -rf /usr/local/data/main.db]\n"
        "/bin/rm -rf /usr/local/data/rbac.db\nsystemEx: 0.0.[/bin/rm -rf /usr/local/data/rbac.db]\n"
        "\nsystemEx: 0.0.[/bin/cp /var/lognv/kt/reboot /tmp]\nsystemEx: 0.0.[/bin/rm -fr /var/lognv/kt/*]\n"
        "systemEx: 0.0.[/bin/cp /tmp/reboot /var/lognv/kt]\n"
        "systemEx: 0.0.[/bin/rm -f /usr/local/data/traces/*]\n";
    const std::string network =
        "\n - prepForNetworkResetToDefaults entry\n/bin/rm -rf /usr/local/data/netpanel.conf\n"
        "systemEx: 0.0.[/bin/rm -rf /usr/local/data/netpanel.conf]\n\n";
    for (const int type : {1, 2}) {
        useUnit();
        EXPECT_EQ(kt::test::debugLinesOf([type] { EXPECT_EQ(initiateSystemReset(type), 0); }),
                  "\n - initiateSystemReset entry, resetType = " + std::to_string(type) + "\n" + system +
                      (type == 1 ? network : ""));
        EXPECT_EQ(filesOfUnit(), left + (type == 1 ? "ports.txt\n" : "netpanel.conf\nports.txt\n"));
        EXPECT_EQ(outputOf("find /usr/local/data/retries /usr/local/data/traces"),
                  "/usr/local/data/retries\n/usr/local/data/traces\n");
        const std::string log = contentsOf(kLog);
        EXPECT_EQ(log.substr(0, 8) + log.substr(8 + kDateSize),
                  std::string("earlier\n310 System is initiating a NEM out-of-box reset") +
                      (type == 1 ? ".\n" : " excluding communications.\n"));
    }
    EXPECT_EQ(takeJournal(), "");
}

TEST(Reset, RefusesOtherTypes) {
    useUnit();
    const std::string before = filesOfUnit();
    for (const int type : {3, -1}) {
        setContents(kLog, "");
        EXPECT_EQ(initiateSystemReset(type), -1);
        EXPECT_EQ(contentsOf(kLog).substr(kDateSize),
                  "310 System has encountered an invalid RESET command.\n");
    }
    EXPECT_EQ(filesOfUnit(), before);
}

TEST(Reset, RebootsAreAskedOfTheTools) {
    takeJournal();
    const auto asked = [] { return reboot() == 0 && access("proc", F_OK) == 0 ? 0 : 1; };
    EXPECT_EQ(kt::test::inChild(asked), 0);
    EXPECT_EQ(takeJournal(), "shutdown now -r -F\n");
    for (const int type : {0, 9}) {
        setContents(kLog, "");
        kt::test::CancellableThread asking(
            [type] { type == 0 ? (void)initiateSystemReset(type) : eject(type, "of %d%%\n", type); });
        kt::test::until([] { return contentsOf(kt::test::kJournal) == "plimb reboot\n"; });
        asking.cancel();
        EXPECT_FALSE(asking.join());
        EXPECT_EQ(takeJournal(), "plimb reboot\n");
        EXPECT_EQ(contentsOf(kLog).substr(kDateSize),
                  type == 0 ? "310 -- System is initiating a reboot.\n" : "9 of 9%\n");
    }
}

TEST(Reset, ProtocolSemaphoresAreThoseOfTheName) {
    (void)!system("cd /dev/shm && touch sem.prot_a sem.a_prot_b.sem prot_c.sem sem.prot_.sem sem.prot_x.sem");
    EXPECT_EQ(ClearGlobalProtocolSemaphores(), 0);
    EXPECT_EQ(outputOf("ls /dev/shm"), "prot_c.sem\nsem.a_prot_b.sem\nsem.prot_a\n");
}

}  // namespace
