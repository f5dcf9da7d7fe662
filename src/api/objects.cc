// The exports that belong to no other file: validity periods, freeing of what exports gave, and a
// function that does nothing.
#include <new>

#include "api/handles.h"
#include "util/mem.h"
#include "util/owner.h"

KwPkiValidity KWPKI_CALL KwPkiValidityAllocate(void) { return ssh_make<KwPkiValidityObject>(); }

KwPkiStatus KWPKI_CALL KwPkiValidityFree(KwPkiValidity validity) {
  ssh_destroy(validity);
  return KWPKI_OK;
}

// Every text and block that an export gives comes from ssh_xmalloc, so one function frees them all.
// It wipes them, as some hold names and keys.
KwPkiStatus KWPKI_CALL KwPkiStringFree(void *string_or_block) {
  ssh_xfree_wiped(string_or_block);
  return KWPKI_OK;
}

KwPkiStatus KWPKI_CALL KwPkiDelayLoadInitialize(void) { return KWPKI_OK; }
