// The functions that the database of cm/certdb.h calls for its objects: encode, decode and free
// them. The database itself does not know what an object is; these know certificates and CRLs. The
// encoded form of a certificate (a "record") is its BER with all that the service tells about it.
// A further type of entry is a row of the table in entries.cc.
#pragma once

#include "cm/certdb.h"
#include "cm/objects.h"

enum SshCMEntryType : uint32_t { SSH_CM_ENTRY_CERT = 0, SSH_CM_ENTRY_CRL = 1 };

// ssh_cm_entry_methods are the functions to create a database with. `encode` appends to the buffer
// and tells how much; `decode` makes an object that belongs to `entry`; `free` takes the object
// from its entry and frees it. The first two return SSH_CM_BAD_ENTRY_TYPE for whatever fails.
extern const SshCertDBMethods ssh_cm_entry_methods;

// ssh_cm_cert_encode_record appends a certificate with all its carried fields and returns the
// number of bytes.
uint32_t ssh_cm_cert_encode_record(const SshCMCertificate &cert, SshBuffer &output);

// ssh_cm_cert_decode_record reads such a record into an empty certificate.
// SSH_CM_RECORD_UNREADABLE if it is cut short; SSH_CM_CERT_UNDECODABLE if its certificate does not
// decode. The object may then be partly filled. A time that does not parse is left unset.
SshCMStatus ssh_cm_cert_decode_record(Bytes record, SshCMCertificate &cert);
