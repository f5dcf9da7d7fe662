#include "loopback/service.h"

#include <new>

#include "cm/objects.h"
#include "loopback/finder.h"

namespace loopback {

namespace {

using CertificateOwner = Owner<SshCMCertificate, ssh_cm_cert_free>;
using CrlOwner = Owner<SshCMCrl, ssh_cm_crl_free>;

uint32_t status_of(const StoreError &error) {
  if (error.kind() == StoreError::kBusy) return kStoreBusy;
  return error.kind() == StoreError::kReadOnly ? kStoreReadOnly : kStoreFailed;
}

// check looks at what a search may not ask for.
uint32_t check(const Constraints &constraints) {
  if (constraints.rule >= kRules) return kUnknownRule;
  return constraints.keys.size() > kKeysMax ? kTooLarge : kOk;
}

}  // namespace

// handle reads a payload as the request of its type and performs it.
template <class Request>
uint32_t handle(Service &service, Bytes payload, Output &reply) {
  Request request;
  if (!decode(payload, &request)) return kMalformed;
  return service.perform(request, reply);
}

// answer catches everything that may be thrown: it is called by functions of C. A request gets a
// reply with a status whatever happens, since somebody may wait for it.
bool Service::answer(Bytes request, SshBuffer &reply) noexcept {
  Envelope envelope;
  if (!decode_envelope(request, &envelope)) return false;
  Output payload;
  uint32_t status;
  try {
    status = dispatch(envelope, payload);
  } catch (const StoreError &error) {
    status = status_of(error);
  } catch (const std::bad_alloc &) {
    status = kOutOfMemory;
  } catch (const std::exception &) {
    status = kStoreFailed;
  }
  const Bytes octets = status == kOk ? payload.bytes() : Bytes();
  encode_reply(reply, envelope.id, envelope.type, status, octets);
  return true;
}

// dispatch checks the envelope, and finds the handler of the request's type.
uint32_t Service::dispatch(const Envelope &envelope, Output &reply) {
  using Handler = uint32_t (*)(Service &, Bytes, Output &);
  // In the order of the types.
  constexpr Handler kHandlers[] = {
      handle<CertificateAdd>, handle<CrlAdd>,        handle<Search>,
      handle<PathSearch>,     handle<CaNames>,       handle<CertificateRequest>,
      handle<StatusQuery>,    handle<RequestRemove>,
  };
  if (!envelope.whole || envelope.version != kVersion || envelope.status != kRequestStatus ||
      envelope.reserved != 0) {
    return kMalformed;
  }
  if (envelope.type >= std::size(kHandlers)) return kUnknownType;
  return kHandlers[envelope.type](*this, envelope.payload, reply);
}

// What is added is decoded before it is stored, so that everything in the store can be read. Each
// change is a transaction of its own, which is committed before the reply is made.
uint32_t Service::perform(const CertificateAdd &request, Output &) {
  const CertificateOwner cert(ssh_cm_cert_allocate());
  SshX509Cert *record = nullptr;
  if (ssh_cm_cert_set_ber(*cert, request.certificate) != SSH_CM_OK ||
      ssh_cm_cert_get_record(cert.get(), &record) != SSH_CM_OK) {
    return kUndecodable;
  }
  const CertificateFacts facts = derive_facts(*record);
  Transaction transaction(store_.database(), Transaction::kWrite);
  store_.add_certificate(request.certificate, request.options, facts);
  transaction.commit();
  return kOk;
}

uint32_t Service::perform(const CrlAdd &request, Output &) {
  const CrlOwner crl(ssh_cm_crl_allocate());
  if (ssh_cm_crl_set_ber(*crl, request.crl) != SSH_CM_OK) return kUndecodable;
  Transaction transaction(store_.database(), Transaction::kWrite);
  store_.add_crl(request.crl);
  transaction.commit();
  return kOk;
}

uint32_t Service::perform(const Search &request, Output &reply) {
  if (const uint32_t refused = check(request.constraints)) return refused;
  Transaction transaction(store_.database(), Transaction::kRead);
  encode_found(find_certificates(store_, request.constraints, request.validity), reply);
  transaction.commit();
  return kOk;
}

uint32_t Service::perform(const PathSearch &request, Output &reply) {
  if (const uint32_t refused = check(request.first)) return refused;
  if (const uint32_t refused = check(request.second)) return refused;
  Transaction transaction(store_.database(), Transaction::kRead);
  encode_found(find_path(store_, request), reply);
  transaction.commit();
  return kOk;
}

// encode_found writes certificates up to the first that does not fit into the reply. The search
// state then says how many are missing.
void Service::encode_found(const std::vector<int64_t> &ids, Output &reply) {
  Output elements;
  ListHead head;
  for (const int64_t id : ids) {
    const size_t room = reply_max_ - elements.size();
    if (!store_.encode_certificate(id, head.count + 1, room, elements)) break;
    ++head.count;
  }
  if (head.count < ids.size()) {
    head.state = kCut;
    head.text = std::to_string(ids.size() - head.count) + " more certificates do not fit";
  }
  encode_list(reply, head, elements.bytes());
}

uint32_t Service::perform(const CaNames &, Output &reply) {
  Transaction transaction(store_.database(), Transaction::kRead);
  const std::vector<std::string> names = store_.authority_names();
  transaction.commit();
  size_t size = 4;
  for (const std::string &name : names) size += 4 + name.size();
  if (size > reply_max_) return kTooLarge;
  encode_names(reply, names);
  return kOk;
}

uint32_t Service::perform(const StatusQuery &, Output &reply) {
  Transaction transaction(store_.database(), Transaction::kRead);
  const Counts counts = store_.counts();
  transaction.commit();
  const std::string text = "certificates=" + std::to_string(counts.certificates) +
                           "\nauthorities=" + std::to_string(counts.authorities) +
                           "\ncrls=" + std::to_string(counts.crls) +
                           "\nrequests=" + std::to_string(counts.requests) + "\n";
  reply.octets(ssh_text_bytes(text));
  return kOk;
}

uint32_t Service::perform(const CertificateRequest &request, Output &) {
  Transaction transaction(store_.database(), Transaction::kWrite);
  store_.keep_request(request);
  transaction.commit();
  return kOk;
}

uint32_t Service::perform(const RequestRemove &request, Output &) {
  Transaction transaction(store_.database(), Transaction::kWrite);
  if (!store_.remove_request(request.names)) return kNotFound;
  transaction.commit();
  return kOk;
}

}  // namespace loopback
