/* A double of the host's library KWMA32: one message at a time, which must be as requests are. */
#include <kwpki.h>
#include <string.h>

enum { kSuccess = 0x4000000 };

static int live, whole;
static uint32_t next_id;

void *KWPKI_CALL KWMACreateMessage(uint32_t kind) {
  if (kind != 0x20090001 || live) return NULL;
  live = 1;
  whole = 0;
  return &live;
}

/* The identifiers of a process go up by one. */
uint32_t KWPKI_CALL KWMASetMessageData(void *handle, const void *data, uint32_t length) {
  static const unsigned char version[] = {0, 0, 0, 1}, status[] = {0, 0, 3, 0xE7};
  const unsigned char *octets = data;
  if (handle != &live || !live || length < 24) return 1;
  const uint32_t id = (uint32_t)octets[6] << 8 | octets[7];
  whole = (next_id == 0 || id == next_id) && memcmp(octets, version, 4) == 0 && octets[11] < 8 &&
          memcmp(octets + 12, status, 4) == 0;
  next_id = id + 1;
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
