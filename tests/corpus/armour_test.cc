// The PEM files of the corpus: where every tool reads a file with one block, the armoured reader
// gives the same, unless dashes elsewhere hide it. Others are in tests/asn1/files_test.cc.

#include <gtest/gtest.h>

#include <filesystem>

#include "asn1/files.h"
#include "support/der.h"
#include "support/peer.h"
#include "support/tsv.h"
#include "util/owner.h"

TEST(Armour, FilesThatEveryToolReads) {
  const std::string folder = KWPKI_CORPUS_DIR;
  if (!std::filesystem::exists(folder + "/pem.tsv")) GTEST_SKIP() << "no corpus at " << folder;
  size_t agreeing = 0;
  const TsvTable table(folder + "/pem.tsv");
  for (const TsvRow &row : table.rows) {
    SCOPED_TRACE(row["file"]);
    const std::string cert = row["openssl_first_cert_sha256"],
                      crl = row["openssl_first_crl_sha256"];
    const bool is_cert = cert == row["pyca_first_cert_sha256"] && cert != "reject";
    const bool is_crl = crl != "reject" && cert == "reject";
    if (row["labels"].find(',') != std::string::npos || (!is_cert && !is_crl)) continue;
    uint8_t *data = nullptr;
    size_t length = 0;
    if (!ssh_read_file_base64((folder + "/pem/" + row["file"]).c_str(), &data, &length)) continue;
    ++agreeing;
    const SshBlock owner(data);
    const auto top = der::children({data, length});
    ASSERT_FALSE(top.empty());
    EXPECT_EQ(peer_sha256(top[0].whole), is_cert ? cert : crl);
  }
  EXPECT_EQ(agreeing, 45u);
}
