// Paths, keywords and commands that the daemons share, and some of their state. The library reads none of it.
#ifndef KT_FRAME_CONSTANTS_H
#define KT_FRAME_CONSTANTS_H

#include <stdint.h>

#include "internal/api.h"

#ifdef __cplusplus
extern "C" {
#endif

extern KT_API const char EIPS_ALL_NVRAM_FILES[];  // "/usr/local/data/eip_nvram*.bin"
extern KT_API const char EIPS_NVRAM_FILE[];       // "/usr/local/data/eip_nvram.bin"

// Weak: a program may define its own.
extern KT_API const char EDS_FILE[];   // "/usr/local/data/gateway.eds", the EtherNet/IP electronic data sheet
extern KT_API const char EDS_PATH[];   // "/usr/local/data/"
extern KT_API const char DATA_PATH[];  // "/usr/local/data/"
extern KT_API const char FUP_PATH[];   // "/usr/local/data/fupdate/"
extern KT_API const char TEMP_PATH[];  // "/tmp/"
extern KT_API const char LAST_LOGIN_FILE[];        // "/http/temp/_lastLogin"
extern KT_API const char WEBPORT_GATEWAY_NAME[];   // "Gateway"
extern KT_API const char NAN_STRING[];             // "NaN"
extern KT_API const char NETWORK_CONFIG_UPDATE[];  // "NetworkConfigUpdate"
extern KT_API const char KICK_SYSMAINT_COMMAND[];  // "KickSysMaint"
extern KT_API const char SHUTDOWN_COMMAND[];       // "GameOver"
extern KT_API const char MTEST_BLOCK_0_PATH[];     // "/mtest_block_0.linux.bpp"
extern KT_API const char MTEST_BLOCK_2_PATH[];     // "/mtest_block_2.linux.bpp"
extern KT_API const char MTEST_BLOCK_4_PATH[];     // "/mtest_block_4.linux.bpp"
extern KT_API const char MTEST_BLOCK_6_PATH[];     // "/mtest_block_6.linux.bpp"
extern KT_API const char MTEST_BLOCK_7_PATH[];     // "/mtest_block_7.linux.bpp"
extern KT_API const char MTEST_KELP_PATH[];        // "/mtest_kelp.linux.bpp"
extern KT_API const char MTEST_MARROWBY_PATH[];    // "/mtest_marrowby.linux.bpp"

// 0 when the library is loaded. The threads of a daemon that share them need a lock of its own.
extern KT_API int32_t g_Nem2StatusLEDState;
extern KT_API int32_t g_nem2DisplayOnTime_sec;
extern KT_API int32_t g_nem2DisplayCounter;
extern KT_API int32_t g_resetButtonBypassDuration;

#ifdef __cplusplus
}
#endif

#endif
