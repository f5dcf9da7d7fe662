#include "api/status.h"

namespace {

// No operation of this version gives 9, 11, 12 or 17; the codes for them are part of the interface
// all the same, and callers handle them.
constexpr struct {
  uint32_t core;
  KwPkiStatus code;
} kCodes[] = {
    {SSH_CM_OK, KWPKI_OK}, {9, KWPKI_REFUSED},         {11, KWPKI_REFUSED},
    {12, KWPKI_REFUSED},   {17, KWPKI_REFUSED_SEVERE},
};

}  // namespace

KwPkiStatus kwpki_status(SshCMStatus status) {
  for (const auto &row : kCodes) {
    if (row.core == status) return row.code;
  }
  return KWPKI_FAILED;
}
