// Times: the two ASN.1 types and the human texts against tables and against scanf and printf.
#include "asn1/time.h"

#include <gtest/gtest.h>

#include <chrono>
#include <cstdio>
#include <cstring>
#include <random>
#include <string>
#include <vector>

#include "util/owner.h"

namespace {

struct Random : std::mt19937 {
  using std::mt19937::mt19937;
  uint32_t operator()() { return static_cast<uint32_t>(std::mt19937::operator()()); }
};

bool decode(bool utc, const std::string &text, SshBerTime &time) {
  // An exact copy on the heap, so that a reader that runs past the end is found.
  const std::vector<uint8_t> copy(text.begin(), text.end());
  return (utc ? ssh_ber_utc_time_decode : ssh_ber_generalized_time_decode)(copy, &time);
}

std::string encode(bool utc, const SshBerTime &time) {
  uint8_t out[SSH_BER_TIME_TEXT_MAX];
  const auto encoder = utc ? ssh_ber_utc_time_encode : ssh_ber_generalized_time_encode;
  return {reinterpret_cast<char *>(out), encoder(&time, out)};
}

std::string human(const SshBerTime &time) {
  const SshText text(ssh_ber_time_to_string(&time));
  return text ? text.get() : "null";
}

// scanf_decode is the reading rule written with scanf itself.
bool scanf_decode(const std::string &text, bool utc, SshBerTime &out) {
  const char *s = text.c_str();
  int f[6] = {1998, 1, 0, 0, 0, 0}, zone[2] = {0, 0}, used = 0;
  const int n = std::sscanf(s, utc ? "%02d%02d%02d%02d%02d%02d" : "%04d%02d%02d%02d%02d%02d", &f[0],
                            &f[1], &f[2], &f[3], &f[4], &f[5]);
  size_t at = static_cast<size_t>(2 * n + (utc ? 0 : 2));
  if (n < 4 || at >= std::strlen(s)) return false;
  unsigned long long micros = 0;  // more digits than an edited seed can have
  if (s[at] == '.') {
    const size_t sign = s[at + 1] ? std::strcspn(s + at + 1, "-0123456789+") : 0;
    if (!utc || std::sscanf(s + at, ".%llu%n", &micros, &used) != 1) return false;
    if (s[at + 1 + sign] == '-' && micros != 0) return false;
    while (micros > 1000000) micros /= 10;
    while (micros != 0 && micros * 10 < 1000000) micros *= 10;
    at += static_cast<size_t>(used);
  }
  if (!s[at] || (s[at] != 'Z' && std::sscanf(s + at + 1, "%02d%02d", &zone[0], &zone[1]) != 2)) {
    return false;
  }
  if (f[0] < 0 || f[1] < 1 || f[1] > 12 || f[2] < 1 || f[2] > 31 || f[3] < 0 || f[3] > 24)
    return false;
  if (f[4] < 0 || f[4] > 60 || f[5] < 0 || f[5] > 60 || zone[0] < 0 || zone[1] < 0) return false;
  if (utc) f[0] += f[0] < 50 ? 2000 : 1900;
  const auto u = [](int v) { return static_cast<uint32_t>(v); };
  out = {
      u(f[0]),      u(f[1]),    u(f[2]),   u(f[3]), u(f[4]), u(f[5]), static_cast<uint32_t>(micros),
      s[at] == '+', u(zone[0]), u(zone[1])};
  return true;
}

}  // namespace

TEST(Time, ReadsWhatScanfReads) {
  constexpr std::string_view kOdd("0123456789 +-.Z\t\0", 17);
  constexpr const char *kSeeds[] = {"010203040506Z", "491231245960Z", "500131230000Z",
                                    "0102030405Z",   "01020304Z",     "010203Z"};
  constexpr const char *kZones[] = {"+0130",     "?0130",     ".25",      ".05",
                                    ".10000009", ".10000010", ".1000001", ".9999999"};
  Random random(7);
  size_t accepted = 0;
  for (int i = 0; i < 400000; ++i) {
    const bool utc = random() % 2;
    std::string text = std::string(utc ? "" : "20") + kSeeds[random() % 16 % std::size(kSeeds)];
    if (random() % 4 == 0) text.insert(text.size() - 1, kZones[random() % std::size(kZones)]);
    for (unsigned edits = random() % 5; edits > 0 && !text.empty(); --edits) {
      const size_t at = random() % text.size();
      const char c = kOdd[random() % kOdd.size()];
      if (random() % 3)
        text[at] = c;
      else if (random() % 2)
        text.insert(at, 1, c);
      else
        text.erase(at, 1);
    }
    SshBerTime want, got;
    const bool good = scanf_decode(text, utc, want);
    ASSERT_EQ(decode(utc, text, got), good) << utc << " '" << text << "'";
    ASSERT_EQ(got, want) << utc << " '" << text << "'";
    // Octets after a zone mean nothing, but keep the reader off its path for ordinary texts.
    ASSERT_TRUE(!good || !text.ends_with('Z') || decode(utc, text + "!", got));
    ASSERT_EQ(got, want) << text;
    accepted += good;
  }
  EXPECT_GT(accepted, 100000u);
  EXPECT_LT(accepted, 350000u);
  SshBerTime time;
  EXPECT_TRUE(decode(true, "010101000000." + std::string(5000, '9') + "Z", time));
  EXPECT_EQ(time, SshBerTime({2001, 1, 1, 0, 0, 0, 999999})) << "no number of digits overflows";
}

TEST(Time, Writing) {
  constexpr uint32_t m = UINT32_MAX;
  const SshBerTime zoned = {2001, 1, 1, 2, 3, 4, 500000, 1, 1, 30},
                   huge = {m, m, m, m, m, m, m, 1, m, m};
  EXPECT_EQ(encode(true, zoned), "010101020304.5+0130");
  EXPECT_EQ(encode(false, zoned), "20010101020304Z");
  EXPECT_EQ(encode(true, {1999, 9, 8, 7, 6, 5, 50, 0, 0, 5}), "990908070605.5-0005");
  EXPECT_EQ(encode(true, huge).size(), 2u + 5 * 10 + 11 + 1 + 20);
  EXPECT_EQ(encode(false, huge).size(), 6u * 10 + 1);
  EXPECT_EQ(human({987, 12, 1}), "0987 Dec  1st, 00:00:00 GMT");
  EXPECT_EQ(human({2001, 0, 1}), "null");
  EXPECT_EQ(human({2001, 13, 1}), "null");
  EXPECT_EQ(human({m, 1, m, m, m, m}),
            "4294967295 Jan 4294967295th, 4294967295:4294967295:4294967295 GMT");
  constexpr std::string_view kSuffixes = "thstndrdthththththth";
  constexpr std::string_view kMonths = "JanFebMarAprMayJunJulAugSepOctNovDec";
  for (uint32_t day = 1; day <= 31; ++day) {
    const SshBerTime time = {2001, day % 12 + 1, day, 0, 0, 0, 0, 1};
    const bool teen = day >= 11 && day <= 13;
    const std::string text = human(time);
    EXPECT_EQ(text.substr(5, 3), kMonths.substr(day % 12 * 3, 3));
    EXPECT_EQ(text.substr(11, 2), teen ? "th" : kSuffixes.substr(day % 10 * 2, 2));
    SshBerTime back;
    EXPECT_TRUE(ssh_ber_time_set_from_string(&back, text.c_str()) && back == time) << text;
  }
}

TEST(Time, HumanTextReading) {
  const SshBerTime march = {2001, 3, 22, 14, 3, 9, 0, 1, 0, 0};
  const std::string blanks(1024 - 19, ' ');
  for (const std::string &text :
       {std::string("2001 mAR 22nd, 14:03:09"), std::string(" 2001\tMar22 nd,14: 3: 9"),
        std::string("2001/3/22/14:3:9 and more"), "2001/03/22/14:03:09" + blanks}) {
    SshBerTime time;
    EXPECT_TRUE(ssh_ber_time_set_from_string(&time, text.c_str())) << text;
    EXPECT_EQ(time, march) << text;
  }
  SshBerTime time = march;
  const std::string too_long = "2001/03/22/14:03:09 " + blanks;
  for (const char *text :
       {"2001 mar 22th, 14:03:09", "2001 Mar 22ND, 14:03:09", "2001 Mai 22nd, 14:03:09",
        "2001 Mar 22nd 14:03:09", "2001 Mar 22nd, 24:00:00", "2001/03/22/23:60:00",
        "2001/03/22/23:00:60", "2001/03/32/23:00:00", "2001/03/00/23:00:00", "2001/13/22/23:00:00",
        "2001/03/22/-1:00:00", "-001/03/22/01:00:00", "2001/03/22/14:03", "",
        static_cast<const char *>(nullptr), too_long.c_str()}) {
    EXPECT_FALSE(ssh_ber_time_set_from_string(&time, text)) << (text ? text : "null");
    EXPECT_EQ(time, march) << "it is left alone";
  }
}

TEST(Time, UnixTimeAgreesWithTheStandardLibrary) {
  Random random(9);
  uint64_t step = 0;  // to the first second of each day, and to another one
  for (uint64_t seconds = 0; seconds <= UINT32_MAX; seconds += step) {
    step = seconds % 86400 ? 86400 - seconds % 86400 : 1 + random() % 86399;
    const std::chrono::sys_seconds t{std::chrono::seconds(seconds)};
    const auto day = std::chrono::floor<std::chrono::days>(t);
    const std::chrono::year_month_day date(day);
    const std::chrono::hh_mm_ss clock(t - day);
    const auto u = [](auto v) { return static_cast<uint32_t>(v); };
    const SshBerTime want = {u(int{date.year()}),        u(unsigned{date.month()}),
                             u(unsigned{date.day()}),    u(clock.hours().count()),
                             u(clock.minutes().count()), u(clock.seconds().count())};
    SshBerTime got = {1, 2, 3, 4, 5, 6, 7, 8, 9, 10};
    ssh_ber_time_set_from_unix_time(&got, u(seconds));
    ASSERT_EQ(got, want) << seconds;
  }
}
