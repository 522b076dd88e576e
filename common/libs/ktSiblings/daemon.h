// Private to the daemons that stand in for others of the gateway: clients one after another, requests in time.
#pragma once

#include <sys/types.h>

#include <chrono>
#include <cstddef>

namespace kt::siblings {

using Clock = std::chrono::steady_clock;

constexpr std::chrono::seconds kPatience(2);  // with a client

// What has arrived, at most `size` bytes; 0 or less when nothing comes any more.
ssize_t receive(int client, char* data, size_t size, Clock::time_point deadline);

// Listens at the service port of a component, with the usual handling of signals whatever the parent had, and
// has each client served. SIGTERM ends the process. Returns an exit status when it cannot go on, having told
// why.
int serveClients(const char* component, void (*serve)(int client));

}  // namespace kt::siblings
