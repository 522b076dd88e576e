// The daemon of the serial ports, component 334: tells values by their names.
//
// A connection brings a name in one piece, without a terminator, and is answered with its value and a
// terminating NUL. Values come from the text file /usr/local/data/serial.txt, read anew for every one: "NAME
// VALUE" in a line, VALUE the rest of the line. An unknown name is closed without an answer, and so is who
// sends nothing in time. SIGTERM ends the daemon.
#include <sys/socket.h>

#include <cstring>

#include "daemon.h"
#include "layout.h"

namespace {

using namespace kt::siblings;

constexpr size_t kLongestName = 128;

void serve(int client) {
    char name[kLongestName + 1];
    const ssize_t got = receive(client, name, kLongestName, Clock::now() + kPatience);
    if (got <= 0) {
        return;
    }
    name[got] = '\0';
    if (const HeapText value = lookUp(kSerialValues, 0, name)) {
        send(client, value.get(), strlen(value.get()) + 1, MSG_NOSIGNAL);
    }
}

}  // namespace

int main() {
    return serveClients("334", serve);
}
