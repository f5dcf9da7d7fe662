// Any bytes as the encoded record of a certificate: what decodes is written in a form that decodes
// to the same, and the methods of a database agree.
#include <vector>

#include "cm/entries.h"
#include "fuzz.h"

namespace {

using CertOwner = Owner<SshCMCertificate, ssh_cm_cert_free>;

std::vector<uint8_t> encode(const SshCMCertificate &cert) {
  SshBuffer buffer;
  const uint32_t length = ssh_cm_cert_encode_record(cert, buffer);
  const Bytes octets = ssh_buffer_bytes(buffer);
  require(length == octets.size());
  return {octets.begin(), octets.end()};
}

}  // namespace

void check_input(Bytes input) {
  const CertOwner cert(ssh_cm_cert_allocate()), again(ssh_cm_cert_allocate());
  const bool good = ssh_cm_cert_decode_record(input, *cert) == SSH_CM_OK;
  void *object = nullptr;
  for (const uint32_t type : {SSH_CM_ENTRY_CERT, SSH_CM_ENTRY_CRL}) {
    const bool decoded = ssh_cm_entry_methods.decode(type, input, nullptr, &object) == 0;
    require(decoded == (object != nullptr));
    require(decoded == good || type == SSH_CM_ENTRY_CRL);
    ssh_cm_entry_methods.free(type, object);
  }
  if (!good) return;

  const std::vector<uint8_t> encoding = encode(*cert);
  require(ssh_cm_cert_decode_record(encoding, *again) == SSH_CM_OK);
  require(encode(*again) == encoding);
  // A text is cut at its first zero byte: one that starts with it comes back as none.
  const char *const said = ssh_cm_cert_carried(*cert).text.get();
  require(same_text(said && *said ? said : nullptr, ssh_cm_cert_carried(*again).text.get()));
  require(ssh_bytes_equal(ssh_cm_cert_encoding(*cert), ssh_cm_cert_encoding(*again)));
}
