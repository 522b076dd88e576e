/*
 * A daemon's own definitions of every name that the library lets a program replace, and what the library then does
 * by them. Also: both reboot functions in one source. In a virtual unit only.
 */
#include <sys/reboot.h>
/* The other one. */
#include <ktcommon.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

#define OWN "own"
const char TRACE_PATH[] = "/tmp/own-traces/";
const char SEMAPHORE_DIRECTORY[] = "/tmp/own-shm";
char FPGA_PROG_B_MAIN[28] = "/tmp/own-main";
char FPGA_PROG_B_EXP[28] = "/tmp/own-exp";
const char DEFAULT_DATE_FORMAT[] = "own %Y";
const char NTP_CONF_PATH[] = "/tmp/own-ntp.conf";
const CalendarUnit CalendarLookup[] = {{2, "moment"}, {7, "moon"}, {0, NULL}};
const int DAYS_IN_MONTH[12] = {29, 29, 29, 29, 29, 29, 29, 29, 29, 29, 29, 29};
const ComponentInfo componentInfo[] = {{300, "mine", "MINE"}, {0, "none", "NONE"}};

/* Those that the library does not read: it is enough that the program's are the ones that everybody sees. */
const char RETRYQUEUE_SEM[] = OWN, LIVETAGMAPS_SEM[] = OWN, DEBUG_PADDING[] = OWN, RESTORE_TEST_ONLY[] = OWN;
const int MAX_LOCK_RETRIES = 1;
const char EDS_FILE[] = OWN, EDS_PATH[] = OWN, DATA_PATH[] = OWN, FUP_PATH[] = OWN, TEMP_PATH[] = OWN;
const char LAST_LOGIN_FILE[] = OWN, WEBPORT_GATEWAY_NAME[] = OWN, NAN_STRING[] = OWN;
const char NETWORK_CONFIG_UPDATE[] = OWN, KICK_SYSMAINT_COMMAND[] = OWN, SHUTDOWN_COMMAND[] = OWN;
const char MTEST_BLOCK_0_PATH[] = OWN, MTEST_BLOCK_2_PATH[] = OWN, MTEST_BLOCK_4_PATH[] = OWN;
const char MTEST_BLOCK_6_PATH[] = OWN, MTEST_BLOCK_7_PATH[] = OWN, MTEST_KELP_PATH[] = OWN;
const char MTEST_MARROWBY_PATH[] = OWN;
const char INVALID_CHARS[] = OWN, INVALID_CHARS_TAG_DESC[] = OWN, INVALID_CHARS_ADDRESS[] = OWN;

static int failures;

static void check(int holds, const char* what) {
    if (!holds) {
        printf("not by the program's own definition: %s\n", what);
        failures = 1;
    }
}

int main(void) {
    if (getenv("KT_UNIT_JOURNAL") == NULL) { return 2; }
    (void)!system(
        "mkdir -p /tmp/own-traces /tmp/own-shm; touch /tmp/own-traces/t /tmp/own-shm/sem.prot_a.sem "
        "/usr/local/data/traces/t /dev/shm/sem.prot_a.sem");
    prepForSystemResetToDefaults();
    check(access("/tmp/own-traces/t", F_OK) != 0 && access("/usr/local/data/traces/t", F_OK) == 0,
          "TRACE_PATH");
    ClearGlobalProtocolSemaphores();
    check(access("/tmp/own-shm/sem.prot_a.sem", F_OK) != 0 && access("/dev/shm/sem.prot_a.sem", F_OK) == 0,
          "SEMAPHORE_DIRECTORY");
    char* date = formatTimeDate(0, NULL);
    check(date != NULL && strncmp(date, "own ", 4) == 0, "DEFAULT_DATE_FORMAT");
    free(date);
    check(strcmp(getComponentName(300), "mine") == 0 && strcmp(getComponentShortName(400), "0400") == 0,
          "componentInfo");
    check(updateNtpConf("Manual", NULL) == 0 && access("/tmp/own-ntp.conf", F_OK) == 0, "NTP_CONF_PATH");
    check(getCalUnits("moons") == 7 && strcmp(getCalString(2), "moment") == 0, "CalendarLookup");
    check(getNextTime(3456000, 1, "moon") == 5961600, "DAYS_IN_MONTH");
    check(reboot(RB_AUTOBOOT) == 0, "reboot"); /* the library's: the other one is not permitted here */

    managePROG_B("mtd0", 0);
    managePROG_B("exp", 0);
    check(access("/tmp/own-main", F_OK) == 0 && access("/tmp/own-exp", F_OK) == 0, "FPGA_PROG_B_...");
    return failures;
}
