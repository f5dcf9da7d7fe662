// The two functions of the policy library. A policy is its text; the agent looks only at whether
// there is one.
#include <new>
#include <string>

#include "loopback/host.h"

uint32_t KWPKI_CALL ZrpCreatePolicyOID(const char *text, void **handle) {
  if (!text || !handle) return KW_HOST_BAD_ARGUMENT;
  try {
    *handle = new std::string(text);
  } catch (const std::bad_alloc &) {
    return KW_HOST_OUT_OF_MEMORY;
  }
  return KW_HOST_OK;
}

uint32_t KWPKI_CALL ZrpClose(void *handle) {
  if (!handle) return KW_HOST_BAD_ARGUMENT;
  delete static_cast<std::string *>(handle);
  return KW_HOST_OK;
}
