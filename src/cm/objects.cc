#include "cm/objects.h"

#include <new>
#include <utility>

#include "util/fatal.h"
#include "util/mem.h"
#include "util/owner.h"
#include "x509/memory.h"

namespace {

// replace makes `fresh` (or nothing) the current record. The old one is freed, unless its encoding
// was handed out: then it is kept until the object goes. The link of the list of kept records lies
// in the old record's pool, so that it takes no block of its own.
template <auto Free, class Record>
void replace(SshCMRecord<Record> &held, Record *fresh) {
  Record *old = std::exchange(held.current, fresh);
  if (!std::exchange(held.handed_out, false)) {
    Free(old);
    return;
  }
  held.kept = old->pool.template make<typename SshCMRecord<Record>::Kept>(old, held.kept);
}

// release frees all records of an object.
template <auto Free, class Record>
void release(SshCMRecord<Record> &held) {
  Free(held.current);
  while (held.kept) {
    Record *record = held.kept->record;
    held.kept = held.kept->next;
    Free(record);
  }
}

// set decodes into a fresh record before it frees the old one, since `ber` may lie in the old one.
template <auto Decode, auto Free, class Record>
SshCMStatus set(SshCMRecord<Record> &held, Owner<Record, Free> fresh, Bytes ber) {
  const bool decoded = Decode(ber, fresh.get()) != 0;
  replace<Free, Record>(held, decoded ? fresh.release() : nullptr);
  return decoded ? SSH_CM_OK : SSH_CM_BER_UNDECODABLE;
}

}  // namespace

SshCMCertificate *ssh_cm_cert_allocate() { return ssh_make<SshCMCertificate>(); }

SshCMCertificate *ssh_cm_cert_allocate_in(SshPool &pool) {
  auto *cert = pool.make<SshCMCertificate>();
  cert->pool = &pool;
  return cert;
}

SshCMCrl *ssh_cm_crl_allocate() { return ssh_make<SshCMCrl>(); }

void ssh_cm_cert_free(SshCMCertificate *cert) {
  if (!cert) return;
  if (cert->entry) ssh_fatal("ssh_cm_cert_free: tried to free db's certificate.");
  release<ssh_x509_cert_free>(cert->cert);
  ssh_destroy(cert->carried);
  if (!cert->pool) ssh_destroy(cert);
}

void ssh_cm_crl_free(SshCMCrl *crl) {
  if (!crl) return;
  if (crl->entry) ssh_fatal("ssh_cm_crl_free: tried to free db's crl.");
  release<ssh_x509_crl_free>(crl->crl);
  ssh_destroy(crl);
}

SshCMCarried &ssh_cm_cert_carried(SshCMCertificate &cert) {
  if (!cert.carried) cert.carried = ssh_make<SshCMCarried>();
  return *cert.carried;
}

SshCMStatus ssh_cm_cert_set_ber(SshCMCertificate &cert, Bytes ber) {
  // Only the first record lies in the pool, which frees nothing before the list goes: an
  // application that sets a certificate again and again would fill it.
  SshPool *const pool = std::exchange(cert.first, false) ? cert.pool : nullptr;
  SshX509CertOwner fresh(pool ? ssh_x509_cert_allocate_in(*pool)
                              : ssh_x509_cert_allocate_for(ber.size()));
  return set<ssh_x509_cert_decode>(cert.cert, std::move(fresh), ber);
}

SshCMStatus ssh_cm_crl_set_ber(SshCMCrl &crl, Bytes ber) {
  return set<ssh_x509_crl_decode>(crl.crl, SshX509CrlOwner(ssh_x509_crl_allocate()), ber);
}

SshCMStatus ssh_cm_cert_get_ber(SshCMCertificate *cert, Bytes *ber) {
  if (!cert || !cert->cert.current) return SSH_CM_WRONG_STATE;
  cert->cert.handed_out = true;
  *ber = cert->cert.current->der;
  return SSH_CM_OK;
}

Bytes ssh_cm_cert_encoding(const SshCMCertificate &cert) {
  return cert.cert.current ? cert.cert.current->der : Bytes();
}

Bytes ssh_cm_crl_encoding(const SshCMCrl &crl) {
  return crl.crl.current ? crl.crl.current->der : Bytes();
}

size_t ssh_cm_cert_memory(const SshCMCertificate &cert) {
  const SshX509Cert *record = cert.cert.current;
  if (!record) return 0;
  const size_t block = sizeof *record + record->pool.own_room().size();
  const size_t itself = record->pool.lender() ? 0 : ssh_mem_heap_size(block);
  return itself + record->pool.held() + record->serial.held();
}

size_t ssh_cm_cert_memory_most(size_t input) { return ssh_x509_record_most(input); }

SshCMStatus ssh_cm_cert_get_record(SshCMCertificate *cert, SshX509Cert **record) {
  if (!cert || !cert->cert.current) return SSH_CM_WRONG_STATE;
  ssh_x509_name_reset(cert->cert.current->issuer_names);
  ssh_x509_name_reset(cert->cert.current->subject_names);
  *record = cert->cert.current;
  return SSH_CM_OK;
}
