// The entries of a CRL as text or JSON. There may be millions of them, and nearly all have one of a
// few lists of extensions. So the text of a short list is made once and kept, by its bytes.
#pragma once

#include <map>
#include <string>

#include "kwpki/terminal/text.h"
#include "util/bytes.h"
#include "x509/crl.h"

namespace kwpki {

class EntryWriter {
 public:
  explicit EntryWriter(const Style &style) : style_(style) {}

  // text and json append an entry.
  void text(const SshX509RevokedEntry &entry, size_t indent, std::string *out);
  void json(const SshX509RevokedEntry &entry, std::string *out);

 private:
  template <class Make>
  const std::string &extensions(Bytes list, Make make);

  Style style_;
  std::map<std::string, std::string, std::less<>> known_;
  std::string other_;
};

}  // namespace kwpki
