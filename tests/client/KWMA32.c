/* A double of the host's library KWMA32: one message at a time, which must be given data. */
#include <kwpki.h>
#include <string.h>

enum { kSuccess = 0x4000000 };

static int live, whole;

void *KWPKI_CALL KWMACreateMessage(uint32_t kind) {
  if (kind != 0x20090001 || live) return NULL;
  live = 1;
  whole = 0;
  return &live;
}

uint32_t KWPKI_CALL KWMASetMessageData(void *handle, const void *data, uint32_t length) {
  whole = handle == &live && live && data && length >= 24;
  return kSuccess;
}

uint32_t KWPKI_CALL KWMAPostMessage(void *agent, void *policy_oid, void *handle, uint32_t wait_ms) {
  if (handle != &live || !whole || !policy_oid || wait_ms != 2000) return 1;
  return agent && strcmp(agent, "agent") == 0 ? kSuccess : 1;
}

uint32_t KWPKI_CALL KWMADeleteMessage(void *handle) {
  if (handle == &live) live = 0;
  return kSuccess;
}
