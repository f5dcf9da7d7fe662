// Core statuses to public codes: one table for every export.
// A status that is not a row of the table in status.cc is KWPKI_FAILED.
#pragma once

#include "cm/objects.h"
#include "kwpki.h"

// kwpki_status gives the public code of a certificate manager status.
[[nodiscard]] KwPkiStatus kwpki_status(SshCMStatus status);
