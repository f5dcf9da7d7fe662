// The host functions that KwPki looks for: four of a management agent, two of a policy library.
// Their names and prototypes are the host's; only the values of failures are this host's own.
// An agent is what KwLoopbackOpen gives, a policy what ZrpCreatePolicyOID gives.
#pragma once

#include <cstdint>

#include "kwpki.h"

#if defined(_WIN32)
#define KW_HOST_EXPORT __declspec(dllexport)
#else
#define KW_HOST_EXPORT __attribute__((visibility("default")))
#endif

// KW_MESSAGE_KIND is the only kind of message there is.
constexpr uint32_t KW_MESSAGE_KIND = 0x20090001;

// KwHostStatus is what the functions return.
enum KwHostStatus : uint32_t {
  KW_HOST_OK = 0x04000000,
  KW_HOST_BAD_ARGUMENT = 0x84000001,  // null, or a message without data
  KW_HOST_NO_AGENT = 0x84000002,      // the agent is not open
  KW_HOST_TOO_LARGE = 0x84000003,     // more data than KW_MESSAGE_MAX
  KW_HOST_OUT_OF_MEMORY = 0x84000004,
};

// KW_MESSAGE_MAX bounds the data of a message: the library's longest payload in its envelope.
constexpr uint32_t KW_MESSAGE_MAX = 0x63FE000 + 24;

extern "C" {

// KWMACreateMessage returns a message without data, to be released with KWMADeleteMessage; null for
// another kind, or without memory.
KW_HOST_EXPORT void *KWPKI_CALL KWMACreateMessage(uint32_t kind);

// KWMASetMessageData replaces a message's data by a copy of `length` bytes.
KW_HOST_EXPORT uint32_t KWPKI_CALL KWMASetMessageData(void *message, const void *data,
                                                      uint32_t length);

// KWMAPostMessage puts a copy of the message's data into the agent's queue and never waits. The
// message stays the caller's.
KW_HOST_EXPORT uint32_t KWPKI_CALL KWMAPostMessage(void *agent, void *policy_oid, void *message,
                                                   uint32_t wait_ms);

// KWMADeleteMessage wipes and releases a message.
KW_HOST_EXPORT uint32_t KWPKI_CALL KWMADeleteMessage(void *message);

// ZrpCreatePolicyOID stores a policy made from dotted text; ZrpClose releases it.
KW_HOST_EXPORT uint32_t KWPKI_CALL ZrpCreatePolicyOID(const char *text, void **handle);
KW_HOST_EXPORT uint32_t KWPKI_CALL ZrpClose(void *handle);
}
