#include "asn1/status.h"

#include <iterator>

namespace {

struct StatusRow {
  const char *text;  // null ends the table
  uint32_t code;
};

constexpr StatusRow kStatuses[] = {
    {"Ok", SSH_ASN1_OK},
    {"Ok garbage at end", SSH_ASN1_OK_GARBAGE},
    {"Bad garbage at end", SSH_ASN1_BAD_GARBAGE},
    {"Operation failed", SSH_ASN1_FAILED},
    {"Constructed assumed", SSH_ASN1_CONSTRUCTED_ASSUMED},
    {"List empty", SSH_ASN1_LIST_EMPTY},
    {"Missing closing marker", SSH_ASN1_NO_CLOSING_MARKER},
    {"Format string too short", SSH_ASN1_FORMAT_TOO_SHORT},
    {"Unknown command", SSH_ASN1_UNKNOWN_COMMAND},
    {"Format string ended", SSH_ASN1_FORMAT_ENDED},
    {"Node null", SSH_ASN1_NODE_NULL},
    {"All null", SSH_ASN1_ALL_NULL},
    {"No child", SSH_ASN1_NO_CHILD},
    {"No parent", SSH_ASN1_NO_PARENT},
    {"Ber open failed", SSH_ASN1_BER_OPEN_FAILED},
    {"Ber step failed", SSH_ASN1_BER_STEP_FAILED},
    {"Ber close failed", SSH_ASN1_BER_CLOSE_FAILED},
    {"Ber decode failed", SSH_ASN1_DECODE_FAILED},
    {"Ber decode failed", SSH_ASN1_ENCODE_FAILED},
    {"Buffer overflow", SSH_ASN1_BUFFER_OVERFLOW},
    {"Buffer too small", SSH_ASN1_BUFFER_TOO_SMALL},
    {"Match not found", SSH_ASN1_MATCH_NOT_FOUND},
    {"Choice too many matches", SSH_ASN1_TOO_MANY_MATCHES},
    {"Not yet implemented", SSH_ASN1_NOT_IMPLEMENTED},
    {nullptr, 0},
};
static_assert(std::size(kStatuses) == SSH_ASN1_NOT_IMPLEMENTED + 2);

}  // namespace

const char *ssh_asn1_status_text(uint32_t status) {
  for (const StatusRow *row = kStatuses; row->text; ++row) {
    if (row->code == status) return row->text;
  }
  return nullptr;
}
