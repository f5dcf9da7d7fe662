#include "x509/parts.h"

// An element of definite length may be cut: then its content is what there is of it. The end of one
// of indefinite length is found by checking the bytes; if that fails, its content is all the rest.
bool SshX509Pieces::next() {
  const uint8_t *const p = left_.data(), *const end = p + left_.size();
  SshBerElement element;
  if (left_.empty() || count_++ == kMost) return false;
  const SshBerStatus status = ssh_ber_open_element(p, end, element);
  if (status != SSH_BER_OK && (status != SSH_BER_CUT || element.header_length == 0)) return false;
  identifier_ = *p;
  whole_ = {};
  content_ = {p + element.header_length, end};
  if (status == SSH_BER_OK && !element.indefinite) {
    content_ = element.content();
    whole_ = {p, content_.data() + content_.size()};
  } else if (status == SSH_BER_OK) {
    SshAsn1Work work = SshAsn1Work::for_input(left_.size());
    SshAsn1Node first;
    (void)ssh_asn1_decode_in_place(left_, &work, &first);
    if (first.data == p) {
      whole_ = first.der();
      content_ = {p + element.header_length, ssh_ber_content_end(element, first.next)};
    }
  }
  left_ = {content_.data() + content_.size(), end};
  if (!whole_.empty()) left_ = {whole_.data() + whole_.size(), end};
  return true;
}

bool SshX509Pieces::take(SshAsn1Unread &element, SshX509Decoder &decoder) const {
  SshAsn1Node node;
  const bool good =
      !whole_.empty() && ssh_asn1_decode_in_place(whole_, &decoder.work, &node) == SSH_ASN1_OK;
  element.set(good ? node : SshAsn1Node());
  return static_cast<bool>(element);
}

bool ssh_x509_keep_time(SshAsn1Unread &element, SshBerTime &out, SshX509Decoder &decoder) {
  int which = -1;
  SshBerTime time;
  const bool read = decoder.read(element, "(choice (utc-time ()) (generalized-time ()))"_asn1,
                                 &which, &time, &time) &&
                    decoder.time_passes(time, element.data());
  if (read) out = time;
  return read;
}
