#include <kwpki.h>

#include <iostream>
#include <memory>

// The Free functions make handles that free themselves.
template <auto Free>
struct Freed {
  template <class T>
  void operator()(T *object) const {
    Free(object);
  }
};
using Cert = std::unique_ptr<KwPkiCertObject, Freed<KwPkiCertFree>>;
template <class T>
using Given = std::unique_ptr<T, Freed<KwPkiStringFree>>;

int main(int argc, char **argv) {
  if (argc != 2) return 2;
  uint8_t *octets = nullptr;
  uint32_t length = 0;
  if (KwPkiReadFile(argv[1], 0, &octets, &length) != KWPKI_OK) return 1;
  const Given<uint8_t> file(octets);
  const Cert cert(KwPkiCertAllocate());
  char *text = nullptr;
  if (KwPkiCertSetBer(file.get(), length, cert.get()) != KWPKI_OK) return 1;
  if (KwPkiCertGetSubjectDN(cert.get(), &text) != KWPKI_OK) return 1;
  std::cout << Given<char>(text).get() << "\n";
}
