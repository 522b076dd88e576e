// The components of the gateway that the library itself refers to, by the ids of their rows in componentInfo.
#ifndef KT_INTERNAL_COMPONENT_IDS_H
#define KT_INTERNAL_COMPONENT_IDS_H

#include "internal/private.h"

namespace kt::component {

constexpr int kTracer = 308;
constexpr int kCommon = 310;  // the library's own entries in the logs
constexpr int kConfiguration = 311;
constexpr int kSerialPorts = 334;
constexpr int kQilOwner = 337;
constexpr int kCommands = 365;
constexpr int kDebugServer = 400;

}  // namespace kt::component

#endif
