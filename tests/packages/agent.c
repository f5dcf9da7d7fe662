/* A double of the host's agent that answers every request with the reply in the file which is its
 * store, under the identifier of the request. */
#include <kwloopback.h>
#include <kwpki.h>
#include <stdio.h>
#include <string.h>

#define SHOWN __declspec(dllexport)
enum { kSuccess = 0x4000000 };

static uint8_t reply[8192];
static uint32_t length, open;

SHOWN void *KWPKI_CALL KWMACreateMessage(uint32_t kind) { return kind ? reply : NULL; }

SHOWN uint32_t KWPKI_CALL KWMASetMessageData(void *handle, const uint8_t *data, uint32_t size) {
  if (handle != reply || size < 8) return 1;
  memcpy(reply + 4, data + 4, 4);
  return kSuccess;
}

SHOWN uint32_t KWPKI_CALL KWMAPostMessage(void *agent, void *oid, void *handle, uint32_t wait_ms) {
  open = agent == &length && oid && handle == reply && wait_ms;
  return open ? kSuccess : 1;
}

SHOWN uint32_t KWPKI_CALL KWMADeleteMessage(void *handle) { return handle ? kSuccess : 1; }

SHOWN uint32_t KWPKI_CALL ZrpCreatePolicyOID(const char *text, void **oid) {
  *oid = reply;
  return !text;
}

SHOWN uint32_t KWPKI_CALL ZrpClose(void *oid) { return oid != reply; }

SHOWN const char *KwLoopbackOpen(const char *path, KwLoopbackAgent **agent) {
  FILE *file = path ? fopen(path, "rb") : NULL;
  if (!file) return "the double has no such store";
  length = (uint32_t)fread(reply, 1, sizeof reply, file);
  fclose(file);
  *agent = (KwLoopbackAgent *)&length;
  return NULL;
}

SHOWN int KwLoopbackReceive(KwLoopbackAgent *agent, uint8_t **data, uint32_t *size) {
  (void)agent;
  *data = reply;
  *size = length;
  const int answers = (int)open;
  open = 0;
  return answers;
}

SHOWN void KwLoopbackFree(uint8_t *data, uint32_t size) { memset(data, 0, size); }
SHOWN void KwLoopbackClose(KwLoopbackAgent *agent) { (void)agent; }
