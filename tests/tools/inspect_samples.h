// Certificates, CRLs and armour for the tool to show, as it gets them, and looks at what it shows.
#pragma once

#include <gmock/gmock.h>

#include <string>
#include <string_view>
#include <vector>

#include "kwpki/terminal/text.h"
#include "support/samples.h"
#include "support/tool.h"

namespace inspect_samples {

inline std::string octets(const Der &der) { return {der.begin(), der.end()}; }

inline std::string certificate(const Der &subject, const std::vector<Der> &extensions) {
  sample::CertParts parts;
  parts.subject = subject;
  parts.extensions = extensions;
  return octets(parts.build());
}

inline std::string crl(int64_t entries) {
  sample::CrlParts parts;
  for (int64_t serial = 1; serial <= entries; ++serial)
    parts.entries.push_back(sample::entry(serial));
  return octets(parts.build());
}

inline std::string pem(const std::string &label, const std::string &der) {
  return kwpki::pem_text(label, ssh_text_bytes(der));
}

inline std::string replaced(std::string text, const std::string &part, const std::string &with) {
  for (size_t at = 0; (at = text.find(part, at)) != std::string::npos; at += with.size())
    text.replace(at, part.size(), with);
  return text;
}

// broken gives what is cut off anywhere, the whole as well, and what has another byte anywhere.
inline std::vector<std::string> broken(const std::string &whole) {
  std::vector<std::string> all;
  for (size_t at = 0; at < whole.size(); ++at) {
    all.push_back(whole.substr(0, at + 1));
    for (const int change : {0x01, 0x02, 0x20, 0x80, 0xFF}) {
      all.push_back(whole);
      all.back()[at] = static_cast<char>(whole[at] ^ change);
    }
  }
  return all;
}

// Told is a run of the tool, and parts of what it then says.
struct Told {
  std::vector<std::string> words;
  int code;
  std::string out = "", err = "", input = "";
};

// expect_told runs a command with the words of each row.
inline void expect_told(const std::vector<std::string> &command, const std::vector<Told> &rows) {
  for (const Told &row : rows) {
    std::vector<std::string> words = command;
    words.insert(words.end(), row.words.begin(), row.words.end());
    const Result result = run(words, row.input);
    EXPECT_EQ(result.code, row.code) << testing::PrintToString(words) << result.err;
    EXPECT_TRUE(result.code != kwpki::kExitUsage || result.out.empty()) << result.out;
    EXPECT_THAT(result.out, testing::HasSubstr(row.out)) << testing::PrintToString(words);
    EXPECT_THAT(result.err, testing::HasSubstr(row.err)) << testing::PrintToString(words);
  }
}

inline size_t count(const std::string &text, const std::string &part) {
  size_t found = 0;
  for (size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + 1)) ++found;
  return found;
}

}  // namespace inspect_samples
