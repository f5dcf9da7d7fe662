/*
 * The loopback host: a management agent and a certificate service in one process, for trying out
 * and testing KwPki without a host. The certificates are kept in an SQLite file.
 *
 * Open an agent, hand it to KwPki's Async functions, and pump: take each reply with
 * KwLoopbackReceive and pass it to KwPkiProcessAsyncResponce.
 *
 * An agent may be used by several threads at once. Several agents, also of different processes,
 * may have the same file open.
 */
#ifndef KWLOOPBACK_H
#define KWLOOPBACK_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

typedef struct KwLoopbackAgent KwLoopbackAgent;

/* KwLoopbackOpen opens the store in a file, which is made if it does not exist; null means a store
 * in memory, which goes with the agent. Returns null and stores the agent, or returns a message
 * (static, or valid until the thread's next call) that says why the store could not be opened. */
const char *KwLoopbackOpen(const char *path, KwLoopbackAgent **agent);

/* KwLoopbackReceive answers the oldest request that was posted and not yet answered. Returns 1 and
 * the body of the reply, which goes back through KwLoopbackFree, or 0 if there is no request. */
int KwLoopbackReceive(KwLoopbackAgent *agent, uint8_t **data, uint32_t *length);

/* KwLoopbackPeek shows the oldest request that was not yet answered, for tools that trace. Returns
 * 1 and its body, which is valid until it is answered or the agent is closed, or 0 if there is
 * none. */
int KwLoopbackPeek(KwLoopbackAgent *agent, const uint8_t **data, uint32_t *length);

/* KwLoopbackFree wipes and frees a reply. */
void KwLoopbackFree(uint8_t *data, uint32_t length);

/* KwLoopbackClose drops the requests that were not answered and closes the store; null is ignored.
 */
void KwLoopbackClose(KwLoopbackAgent *agent);

#ifdef __cplusplus
}
#endif

#endif
