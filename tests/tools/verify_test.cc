// `kwpki verify` over certificates that the openssl command made, wherever the tool runs. What is
// made while the tests run is in verify_oracle_test.cc.
#include "tools/inspect_samples.h"

namespace {

using namespace inspect_samples;

#ifdef _WIN32
constexpr bool kEdwards = false;
#else
constexpr bool kEdwards = true;
#endif
constexpr const char *kNot = ": scheme not supported";

// Certificates that signed themselves.
constexpr struct {
  const char *scheme, *base64;
} kRoots[] = {
    {"ecdsa-sha256",
     "MIIBADCBqAIBATAKBggqhkjOPQQDAjAMMQowCAYDVQQDDAFBMCAXDTI2MTEyMjA5MDgxMFoYDzIxMjYxMDI5MD"
     "kwODEwWjAMMQowCAYDVQQDDAFBMFkwEwYHKoZIzj0CAQYIKoZIzj0DAQcDQgAEcIupwTiA0Ct9a0MxJTX4van6"
     "bGQkkb30IncNL9a/06da5ej0nuYKaKI/EXrQ93rZ02DGx73d1oalF6rCbs+EXDAKBggqhkjOPQQDAgNHADBEAi"
     "BT71OCf6gdd7IdriRjdwfV4mKpF5mb0xigyf7DbwK7GAIgGG0gWW8qmKeTsRUNHUYHZIMy4yoU11nOX3OqzOJB"
     "75s="},
    {"rsa-pss",
     "MIIB8TCCASYCAQEwQQYJKoZIhvcNAQEKMDSgDzANBglghkgBZQMEAgEFAKEcMBoGCSqGSIb3DQEBCDANBglghk"
     "gBZQMEAgEFAKIDAgEgMAwxCjAIBgNVBAMMAUEwIBcNMjYxMTIyMDkwODEwWhgPMjEyNjEwMjkwOTA4MTBaMAwx"
     "CjAIBgNVBAMMAUEwgZ8wDQYJKoZIhvcNAQEBBQADgY0AMIGJAoGBAODMKP3FNmGCkX+eCKhZt+QePqXhTa/WHz"
     "mzdJUfRn0CWnzXsmFffmVJAyFbBur87oQ1L+R6ENen3ruT+riKowIBnU7axUpsJzuQrG12cJrcYLRA8A4JWUBz"
     "poas66/paxUuQ8j1FNhDspw8021y225mAWI+fYCsq0ptXe4u1XHtAgMBAAEwQQYJKoZIhvcNAQEKMDSgDzANBg"
     "lghkgBZQMEAgEFAKEcMBoGCSqGSIb3DQEBCDANBglghkgBZQMEAgEFAKIDAgEgA4GBAAlqWkep7kkM8ts2vMWY"
     "wO2Bcf0nnLhP/6N1OznvwsxIDa3HUIzf0trMcBxQvMZu6MiR6Z87RIE8h2GH6amywNSacPMqKXVMZSzghcY90G"
     "tSCz/N/GbRwKAYBs26nHFr8u/3Th/7/7joU16zDG6mUPKlvkBB0i7mNK5+vpwSAuj/"},
    {"ed25519",
     "MIHAMHQCAQEwBQYDK2VwMAwxCjAIBgNVBAMMAUEwIBcNMjYxMTIyMDkwODEwWhgPMjEyNjEwMjkwOTA4MTBaMA"
     "wxCjAIBgNVBAMMAUEwKjAFBgMrZXADIQBbUD55lvhu23w7jK62DEwC1p1Njq7bgtZZ6uRJLQrUYzAFBgMrZXAD"
     "QQBrQfhYT/DIYiGjkXltsQ//g/yMegMzDxX6MA7Fo4v/zQ+rZFcK3n6rCWTYgdInZygYiX4FYmplXd4tXNxxKM"
     "0G"},
};

TEST(Verify, WhatTheSystemComputes) {
  const Folder folder;
  for (const auto &row : kRoots) {
    const auto der = kwpki::unbase64(row.base64);
    const std::string root(der.begin(), der.end()), name = folder.add(row.scheme, root);
    const bool computed = row.scheme != std::string("ed25519") || kEdwards;
    const std::string right = computed ? ": valid" : kNot, wrong = computed ? ": invalid" : kNot;
    std::string changed = root;
    changed.back() ^= 1;
    expect_told({"verify", "--issuer", name},
                {{{}, computed ? 0 : 1, right, "", root},
                 {{}, 1, wrong, "", replaced(root, "\2\1\1", "\2\1\2")},
                 {{}, 1, wrong + ", issuer CN=A (" + row.scheme, "", changed}});
  }
}

}  // namespace
