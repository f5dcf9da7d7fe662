// The handles of the public interface and the objects of the core that they stand for.
// A handle is its object's address; a new kind of handle is a pair of lines here.
// Exports check handles for null before they use them.
#pragma once

#include "asn1/time.h"
#include "cm/cert_list.h"
#include "cm/certdb.h"
#include "cm/objects.h"
#include "cm/search.h"
#include "kwpki.h"

// kwpki_cert and kwpki_crl give the object behind a handle (null for null); kwpki_handle the handle
// of an object.
inline SshCMCertificate *kwpki_cert(KwPkiCert cert) {
  return reinterpret_cast<SshCMCertificate *>(cert);
}
inline KwPkiCert kwpki_handle(SshCMCertificate *cert) { return reinterpret_cast<KwPkiCert>(cert); }
inline SshCMCrl *kwpki_crl(KwPkiCrl crl) { return reinterpret_cast<SshCMCrl *>(crl); }
inline KwPkiCrl kwpki_handle(SshCMCrl *crl) { return reinterpret_cast<KwPkiCrl>(crl); }

// KwPkiValidityObject is a validity period; both times start unset.
struct KwPkiValidityObject {
  SshBerTime not_before, not_after;
};

// KwPkiSearchKeyObject is a set of search keys.
struct KwPkiSearchKeyObject {
  SshCertDBKey *keys = nullptr;
};

// kwpki_search and kwpki_handle lead from constraints to their handle and back.
inline SshCMSearchConstraints *kwpki_search(KwPkiSearch search) {
  return reinterpret_cast<SshCMSearchConstraints *>(search);
}
inline KwPkiSearch kwpki_handle(SshCMSearchConstraints *search) {
  return reinterpret_cast<KwPkiSearch>(search);
}

// KwPkiSearchState is what the service says of a search.
struct KwPkiSearchState {
  uint32_t reserved = 0;  // comes with a reply and is not used
  uint32_t state = 0;
  SshText text;  // null: nothing said
};

// KwPkiCertListObject is the result of a search: the certificates, and the database that owns them.
struct KwPkiCertListObject {
  SshCertDB *database = nullptr;
  SshCMCertList *list = nullptr;
  KwPkiSearchState *search_state = nullptr;
};
