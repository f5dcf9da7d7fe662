// The host's agent as a floor: it takes every message and does nothing with it.
#include <cstdint>

extern "C" {
uint32_t ZrpCreatePolicyOID(const char *, void **) { return 0; }
uint32_t ZrpClose(void *) { return 0; }
void *KWMACreateMessage(uint32_t) {
  static int message;
  return &message;
}
uint32_t KWMASetMessageData(void *, const void *, uint32_t) { return 0x4000000; }
uint32_t KWMAPostMessage(void *, void *, void *, uint32_t) { return 0x4000000; }
uint32_t KWMADeleteMessage(void *) { return 0; }
}
