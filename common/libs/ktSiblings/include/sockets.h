/*
 * Socket library: TCP between the processes of one gateway, on the loopback address only.
 *
 * Ports come from the text file /usr/local/data/ports.txt, read anew by every call: one "KEY PORT" per line,
 * KEY the name of a daemon (its debug port) or the decimal id of a component (its service port), PORT from 1
 * to 65535, best outside the kernel's ephemeral range. The first line of a key counts; lines that begin with
 * "#" are comments.
 *
 * Every handle is close-on-exec and at least 3: a process that runs without standard streams gets no socket
 * in their place, and callers may take any value below 1 as a failure.
 */
#ifndef KT_SIBLINGS_SOCKETS_H
#define KT_SIBLINGS_SOCKETS_H

#include "siblings_api.h"

#ifdef __cplusplus
extern "C" {
#endif

/* Bytes of the record in which simpleListener stores the address of a peer. */
#define SOCKET_PEER_RECORD_SIZE 40

/*
 * Looks up the debug port of a daemon.
 *   name    process name of the daemon, compared with its case; may be null.
 * Result:
 *   1 to 65535    the port.
 *   -1            the daemon has none, or its line holds no valid port.
 * Thread safe. Reads a file; not a cancellation point; not for signal handlers.
 */
KT_SIBLINGS_API KT_SIBLINGS_MUST_USE int socketGetDebugPortByName(const char* name);

/*
 * Opens a listening socket at 127.0.0.1. A port left behind by an ended process can be taken again at once.
 *   port    0 to 65535; 0 lets the kernel choose a free one.
 * Result:
 *   3 or more    the handle; the caller closes it with close, after shutdown if a thread waits in
 *                simpleListener.
 *   -1           failure, errno tells why (EINVAL for a port out of range).
 * Thread safe. Does not block; safe in a signal handler.
 */
KT_SIBLINGS_API KT_SIBLINGS_MUST_USE int simpleBind(int port);

/*
 * Waits for the next client. Survives signals, clients that vanish while they connect, and passing shortages
 * of descriptors or memory: during a shortage it tries again every 100 ms.
 *   handle    from simpleBind.
 *   record    SOCKET_PEER_RECORD_SIZE bytes, of any alignment, that receive the client's address as a struct
 *             sockaddr, the bytes behind it untouched; may be null.
 * Result:
 *   3 or more    the connected socket; the caller closes it with xmlClose.
 *   -1           the handle is closed, shut down or not a listening socket.
 * Another thread ends the wait, during a shortage as well, with shutdown(handle, SHUT_RDWR); close alone does
 * not wake it. Thread safe. Blocks; a cancellation point that loses no descriptor; not for signal handlers.
 */
KT_SIBLINGS_API KT_SIBLINGS_MUST_USE int simpleListener(int handle, void* record);

/*
 * Closes a connection. The peer still reads what was sent up to an orderly end, even when part of its request
 * was never read.
 *   socket    from simpleListener.
 * Result:
 *   0     closed.
 *   -1    not an open descriptor (errno EBADF).
 * Thread safe. Does not block and is not a cancellation point; safe in a signal handler.
 */
KT_SIBLINGS_API int xmlClose(int socket);

/*
 * Connects to the service port of a component.
 *   to        component id of the daemon to reach.
 *   from      component id of the caller; not used on a TCP connection.
 *   option    0; neither it nor what may follow it changes a TCP connection.
 * Result:
 *   3 or more    the connected socket; the caller closes it with socketCloseWriter.
 *   -1           failure, errno tells why (ECONNREFUSED when nobody listens or the component has no port).
 * Thread safe. Blocks until the connection is made; a cancellation point that loses no descriptor; not for
 * signal handlers.
 */
KT_SIBLINGS_API KT_SIBLINGS_MUST_USE int socketOpenWriter(int to, int from, int option, ...);

/*
 * Closes a connection of socketOpenWriter, in the way of xmlClose.
 *   socket    from socketOpenWriter.
 * Result:
 *   0     closed.
 *   -1    not an open descriptor (errno EBADF).
 * Thread safe. Does not block and is not a cancellation point; safe in a signal handler.
 */
KT_SIBLINGS_API int socketCloseWriter(int socket);

#ifdef __cplusplus
}
#endif

#endif
