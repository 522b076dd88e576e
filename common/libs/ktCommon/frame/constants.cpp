// The weak ones may stand with the others, since the library itself reads none of them.
#include "frame/constants.h"

const char EIPS_ALL_NVRAM_FILES[] = "/usr/local/data/eip_nvram*.bin";
const char EIPS_NVRAM_FILE[] = "/usr/local/data/eip_nvram.bin";

extern "C" KT_WEAK const char EDS_FILE[] = "/usr/local/data/gateway.eds";
extern "C" KT_WEAK const char EDS_PATH[] = "/usr/local/data/";
extern "C" KT_WEAK const char DATA_PATH[] = "/usr/local/data/";
extern "C" KT_WEAK const char FUP_PATH[] = "/usr/local/data/fupdate/";
extern "C" KT_WEAK const char TEMP_PATH[] = "/tmp/";
extern "C" KT_WEAK const char LAST_LOGIN_FILE[] = "/http/temp/_lastLogin";
extern "C" KT_WEAK const char WEBPORT_GATEWAY_NAME[] = "Gateway";
extern "C" KT_WEAK const char NAN_STRING[] = "NaN";
extern "C" KT_WEAK const char NETWORK_CONFIG_UPDATE[] = "NetworkConfigUpdate";
extern "C" KT_WEAK const char KICK_SYSMAINT_COMMAND[] = "KickSysMaint";
extern "C" KT_WEAK const char SHUTDOWN_COMMAND[] = "GameOver";
extern "C" KT_WEAK const char MTEST_BLOCK_0_PATH[] = "/mtest_block_0.linux.bpp";
extern "C" KT_WEAK const char MTEST_BLOCK_2_PATH[] = "/mtest_block_2.linux.bpp";
extern "C" KT_WEAK const char MTEST_BLOCK_4_PATH[] = "/mtest_block_4.linux.bpp";
extern "C" KT_WEAK const char MTEST_BLOCK_6_PATH[] = "/mtest_block_6.linux.bpp";
extern "C" KT_WEAK const char MTEST_BLOCK_7_PATH[] = "/mtest_block_7.linux.bpp";
extern "C" KT_WEAK const char MTEST_KELP_PATH[] = "/mtest_kelp.linux.bpp";
extern "C" KT_WEAK const char MTEST_MARROWBY_PATH[] = "/mtest_marrowby.linux.bpp";

int32_t g_Nem2StatusLEDState = 0;
int32_t g_nem2DisplayOnTime_sec = 0;
int32_t g_nem2DisplayCounter = 0;
int32_t g_resetButtonBypassDuration = 0;
