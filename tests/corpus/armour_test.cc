// The PEM files of the corpus: what the armoured reader must give, by its own simple rule and by
// what other tools found.

#include <gtest/gtest.h>

#include <filesystem>

#include "asn1/files.h"
#include "support/hex.h"
#include "support/peer.h"
#include "support/samples.h"
#include "support/tsv.h"

namespace {

const std::string kFolder = KWPKI_CORPUS_DIR;

// dashed_block gives the text between the dashed lines of the last block: dashed lines come in
// pairs, a line counts by its first dash, and the text ends one octet before the dash of the
// closing one.
std::optional<std::string> dashed_block(const std::string &file) {
  bool inside = false;
  size_t start = 0, end = 0;
  for (size_t line = 0; line < file.size();) {
    const size_t next = std::min(file.find_first_of("\r\n", line), file.size());
    const size_t dash = file.find('-', line);
    if (dash < next) {
      if (inside && dash > 0) end = dash - 1;
      inside = !inside;
      if (inside && next < file.size()) start = next + 1;
    }
    line = next + 1;
  }
  if (start >= end) return {};
  return file.substr(start, end - start);
}

using ArmourTest = sample::Balanced;

TEST_F(ArmourTest, TheCorpusFilesByTheReadersRule) {
  if (!std::filesystem::exists(kFolder + "/pem.tsv")) GTEST_SKIP() << "no corpus at " << kFolder;
  size_t files = 0, agreeing = 0, decoded = 0;
  const TsvTable table(kFolder + "/pem.tsv");
  for (const TsvRow &row : table.rows) {
    SCOPED_TRACE(row["file"]);
    const std::string path = kFolder + "/pem/" + row["file"];
    const Der file = read_file(path);
    ASSERT_EQ(std::to_string(file.size()), row["size"]);
    const auto text = dashed_block(std::string(file.begin(), file.end()));
    uint8_t *data = nullptr;
    size_t length = 0;
    const bool read = ssh_read_file_base64(path.c_str(), &data, &length);
    const SshBlock owner(read ? data : nullptr);
    ++files;
    ASSERT_EQ(read, text.has_value());
    if (!read) continue;
    size_t expected = 0;  // the decoder has tests of its own
    const SshBlock block(ssh_base64_to_buf(text->c_str(), &expected));
    EXPECT_EQ(hex({data, length}), hex({block.get(), expected}));

    // Where a file has one block and every tool reads it, all read the same.
    const bool single = row["labels"].find(',') == std::string::npos;
    const std::string cert = row["openssl_first_cert_sha256"],
                      crl = row["openssl_first_crl_sha256"];
    const bool agreed = cert == row["pyca_first_cert_sha256"] && cert != "reject";
    if (single && (agreed || (crl != "reject" && cert == "reject"))) {
      ++agreeing;
      const auto top = der::children({data, length});
      ASSERT_FALSE(top.empty());
      EXPECT_EQ(peer_sha256(top[0].whole), agreed ? cert : crl);
    }
    decoded += sample::Cert({data, length}) || sample::Crl({data, length});
  }
  std::printf("%zu files, %zu as every tool reads them, %zu decoded\n", files, agreeing, decoded);
  EXPECT_GE(files, 95u);
  EXPECT_GE(agreeing, 40u);
  EXPECT_GE(decoded, 1u);
}

}  // namespace
