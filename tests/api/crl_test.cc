// CRLs through the public interface: from octets and from armoured files.

#include "api/client.h"

namespace {

using client::Crl;
using client::example;
using ApiCrlTest = sample::Balanced;

TEST_F(ApiCrlTest, SetTakesListsAndNothingElse) {
  size_t lists = 0;
  for (const client::File &file : client::examples()) {
    const bool is_list = client::starts(file, "crl");
    const Crl crl;
    for (int again = 0; again < 2; ++again) {
      EXPECT_EQ(client::set(crl, file.octets), is_list ? KWPKI_OK : KWPKI_FAILED) << file.name;
    }
    lists += is_list;
  }
  EXPECT_EQ(lists, 3u);

  const Crl crl;
  const Der good = sample::CrlParts().build();
  EXPECT_EQ(client::set(crl, good), KWPKI_OK);
  EXPECT_EQ(client::set(crl, {}), KWPKI_FAILED);
  EXPECT_EQ(client::set(crl, Bytes(good).first(good.size() - 1)), KWPKI_FAILED);
  EXPECT_EQ(KwPkiCrlSetBer(nullptr, 1, crl), KWPKI_FAILED);
  EXPECT_EQ(client::set(crl, der::join({good, {1, 2, 3}})), KWPKI_OK) << "octets after it";
}

TEST_F(ApiCrlTest, ReadFromFile) {
  const struct {
    const char *what;
    std::string path;
    KwPkiStatus expected;
  } rows[] = {
      {"armoured", example("crl-v2.pem"), KWPKI_OK},
      {"an armoured certificate", example("ca-root.pem"), KWPKI_FAILED},
      {"a bundle whose last block is a certificate", example("chain-bundle.pem"), KWPKI_FAILED},
      {"not armoured", example("crl-v1.der"), KWPKI_FILE_UNREADABLE},
      {"missing", example("none.pem"), KWPKI_FILE_UNREADABLE},
      {"a directory", example(""), KWPKI_FILE_UNREADABLE},
      {"no name", "", KWPKI_FILE_UNREADABLE},
  };
  const Crl crl;
  for (const auto &row : rows) {
    EXPECT_EQ(KwPkiCrlReadFromFile(row.path.c_str(), crl), row.expected) << row.what;
  }
}

}  // namespace
