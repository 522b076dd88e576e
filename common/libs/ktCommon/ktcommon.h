// The common support library of the gateway's daemons: every module's public header.
#ifndef KT_KTCOMMON_H
#define KT_KTCOMMON_H

#include "diag/BackTrace.h"
#include "diag/debug.h"
#include "diag/debug_server.h"
#include "diag/split_timer.h"
#include "diag/trace_files.h"
#include "frame/component_registry.h"
#include "frame/constants.h"
#include "frame/mfg_config.h"
#include "frame/process.h"
#include "sync/atomics.h"
#include "sync/event.h"
#include "sync/lock_file.h"
#include "sync/openssl_locks.h"
#include "sync/semaphore.h"
#include "sync/shared_memory.h"
#include "sync/shutdown_monitor.h"
#include "sync/sleep.h"
#include "sync/thread_data.h"
#include "sync/thread_pool.h"
#include "sys/capture.h"
#include "sys/files.h"
#include "sys/shell.h"
#include "text/append_buffer.h"
#include "text/bounded.h"
#include "text/convert.h"
#include "text/growable.h"
#include "text/parsed_list.h"
#include "time/timestamp.h"

#endif
