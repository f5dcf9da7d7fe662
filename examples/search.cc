// search.cc, called from the folder above, uses every class of kwpki.hpp: it reads certificates and
// a CRL, adds them to a store in memory, asks for those of a DNS name, of a key and on a path, and
// prints what is found.
//     c++ -std=c++17 examples/search.cc $(pkg-config --cflags --libs kwpki-modern kwpki-loopback)
#include <kwloopback.h>
#include <kwpki.hpp>

#include <cstdio>
#include <memory>

namespace {

void print(const char *what, const kwpki::Text &text) { std::printf("%s%s\n", what, text.c_str()); }

int failed(const char *what, const std::error_code &error) {
  const kwpki::ErrorText *text = kwpki::find_error_text(static_cast<uint32_t>(error.value()));
  std::fprintf(stderr, "%s: %s; perhaps: %s\n", what, error.message().c_str(),
               text ? text->cause : "see the host");
  return 1;
}

// Agent closes itself.
struct AgentClose {
  void operator()(KwLoopbackAgent *agent) const { KwLoopbackClose(agent); }
};
using Agent = std::unique_ptr<KwLoopbackAgent, AgentClose>;

// answer has every request answered; each reply calls the callback of its request.
void answer(KwLoopbackAgent *agent) {
  uint8_t *reply = nullptr;
  for (uint32_t length = 0; KwLoopbackReceive(agent, &reply, &length);
       KwLoopbackFree(reply, length)) {
    if (const auto result = kwpki::process_reply({reply, length}); !result)
      failed("a reply", result.error());
  }
}

// Found counts what its callbacks were given, and prints it.
struct Found {
  int count = 0;
  void show(uint32_t status, kwpki::CertificateList list) {
    for (const kwpki::CertificateView cert : list) {
      const auto subject = cert.subject();
      const auto serial = cert.serial_number();
      const auto key = cert.public_key();
      if (!subject || !serial || !key) continue;
      std::printf("%d. ", ++count);
      print("", *subject);
      print("   serial ", *serial);
      std::printf("   key of %zu bytes\n", key->blob().size());
    }
    if (status || !list) std::printf("status %u\n", static_cast<unsigned>(status));
    if (const auto state = list.state(); !state.words.empty()) print("", state.words);
  }
};

}  // namespace

int main() {
  // What is not there is told in words, and nothing is thrown.
  const auto missing = kwpki::Certificate::from_file("examples/no-such.pem");
  if (missing.error() != kwpki::Error::FileUnreadable) return 1;
  std::printf("no-such.pem: %s\n", missing.error().message().c_str());

  KwLoopbackAgent *opened = nullptr;
  if (const char *problem = KwLoopbackOpen(nullptr, &opened)) return std::puts(problem), 1;
  const Agent agent(opened);
  kwpki::PublicKey key;
  for (const char *path : {"examples/ca-issuing.pem", "examples/v3-rich.der"}) {
    auto cert = kwpki::Certificate::from_file(path);
    if (!cert) return failed(path, cert.error());
    if (auto exported = cert->public_key()) key = *std::move(exported);
    // A request may outlive the certificate; the path is in the callback's state.
    const auto posted = kwpki::post_add(*cert, agent.get(), [path](uint32_t status) {
      std::printf("added %s: status %u\n", path, static_cast<unsigned>(status));
    });
    if (!posted) return failed(path, posted.error());
  }
  kwpki::Crl crl;
  if (const auto read = crl.read("examples/crl-v2.pem"); !read) return failed("CRL", read.error());
  if (const auto posted = kwpki::post_add(
          crl, agent.get(),
          [](uint32_t status) { std::printf("CRL: status %u\n", static_cast<unsigned>(status)); });
      !posted)
    return failed("CRL", posted.error());

  Found found;
  const auto show = [&found](uint32_t status, kwpki::CertificateList list) {
    found.show(status, std::move(list));
  };
  kwpki::SearchKey name, same_key, issuer;
  kwpki::Search by_name, by_key, by_issuer;
  try {  // value() throws std::system_error where something failed
    name.add_dns("www.example.com").value();
    by_name.set_keys(name).value();
    same_key.add_public_key(key).value();
    by_key.set_keys(same_key).value();
    issuer.add_dn("C=FI, O=Example Oy, CN=Example Issuing").value();
    by_issuer.set_keys(issuer).value();
    by_name.post(agent.get(), show).value();
    by_key.post(agent.get(), show).value();
    by_name.post_path(by_issuer, agent.get(), show).value();
  } catch (const std::system_error &error) {
    return failed("search", error.code());
  }
  answer(agent.get());
  return found.count == 4 ? 0 : 1;  // one by name, one by key, and a path of two
}
