#include "api/status.h"

namespace {

// 9, 11, 12 and 17 come from the service, which alone knows what they mean.
constexpr struct {
  uint32_t core;
  KwPkiStatus code;
} kRows[] = {
    {SSH_CM_OK, KWPKI_OK}, {9, KWPKI_REFUSED},         {11, KWPKI_REFUSED},
    {12, KWPKI_REFUSED},   {17, KWPKI_REFUSED_SEVERE},
};

}  // namespace

KwPkiStatus kwpki_status(SshCMStatus status) {
  for (const auto &row : kRows) {
    if (row.core == status) return row.code;
  }
  return KWPKI_FAILED;
}
