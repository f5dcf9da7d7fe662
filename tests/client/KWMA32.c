/* A double of the host's library KWMA32: one message at a time, checked and kept. */
#include <kwpki.h>
#include <string.h>

enum { kSuccess = 0x4000000, kRoom = 1 << 16 };

static struct Message {
  int live;
  uint32_t length;
  unsigned char data[kRoom];
} message, posted;

void *KWPKI_CALL KWMACreateMessage(uint32_t kind) {
  if (kind != 0x20090001 || message.live) return NULL;
  message.live = 1;
  message.length = 0;
  return &message;
}

uint32_t KWPKI_CALL KWMASetMessageData(void *handle, const void *data, uint32_t length) {
  if (handle != &message || !message.live || length > kRoom) return 1;
  memcpy(message.data, data, length);
  message.length = length;
  return kSuccess;
}

uint32_t KWPKI_CALL KWMAPostMessage(void *agent, void *policy_oid, void *handle, uint32_t wait_ms) {
  if (handle != &message || !policy_oid || wait_ms != 2000) return 1;
  if (!agent || strcmp(agent, "agent") != 0) return 1;
  posted = message;
  return kSuccess;
}

uint32_t KWPKI_CALL KWMADeleteMessage(void *handle) {
  if (handle == &message) message.live = 0;
  return kSuccess;
}

/* DoubleLast gives the message that was posted last, or null, and forgets it. */
const unsigned char *KWPKI_CALL DoubleLast(uint32_t *length) {
  *length = posted.length;
  posted.length = 0;
  return *length ? posted.data : NULL;
}
