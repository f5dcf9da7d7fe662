// The table of pending requests: the callback of every request whose reply has not come yet, found
// by the identifier of the request. The process has one table, and any thread may use it.
//
//   pending_add(identifier, {callback, context, KWPKI_FORM_LIST});     // before it is posted
//   if (pending_take(identifier, &request)) ...                        // when its reply comes
#pragma once

#include <cstdint>

#include "kwpki.h"

// KwPkiForm says which arguments a callback takes. A further form is a row of the table in
// replies.cc.
enum KwPkiForm : uint32_t {
  KWPKI_FORM_NONE,    // no request is of this form
  KWPKI_FORM_STATUS,  // KwPkiStatusCallback
  KWPKI_FORM_LIST,    // KwPkiCertListCallback
  KWPKI_FORM_NAMES,   // KwPkiNamesCallback
  KWPKI_FORM_DATA     // KwPkiDataCallback
};

// KwPkiCallback is any of the four; `form` says which.
using KwPkiCallback = void (*)();

struct PendingRequest {
  KwPkiCallback callback = nullptr;
  void *context = nullptr;
  KwPkiForm form = KWPKI_FORM_NONE;
};

// pending_add records a request, whose form is not KWPKI_FORM_NONE. An identifier that is pending
// already keeps what it has.
void pending_add(uint32_t identifier, const PendingRequest &request);

// pending_take takes a request out of the table. False if the identifier is not pending; `request`
// is then left alone.
[[nodiscard]] bool pending_take(uint32_t identifier, PendingRequest *request);
