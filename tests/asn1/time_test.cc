// Times: the two ASN.1 types and the human texts against tables and against scanf and printf.
#include "asn1/time.h"

#include <gtest/gtest.h>

#include <chrono>
#include <cstdio>
#include <cstring>
#include <random>
#include <string>

#include "util/owner.h"

namespace {

struct Random : std::mt19937 {
  using std::mt19937::mt19937;
  uint32_t operator()() { return static_cast<uint32_t>(std::mt19937::operator()()); }
};

using Decode = bool (*)(Bytes, SshBerTime *);

bool decode(Decode decoder, const std::string &text, SshBerTime &time) {
  // An exact copy on the heap, so that a reader that runs past the end is found.
  const auto copy = std::make_unique<uint8_t[]>(text.size());
  std::memcpy(copy.get(), text.data(), text.size());
  return decoder({copy.get(), text.size()}, &time);
}

std::string encode(size_t (*encoder)(const SshBerTime *, uint8_t *), const SshBerTime &time) {
  uint8_t out[SSH_BER_TIME_TEXT_MAX];
  return {reinterpret_cast<char *>(out), encoder(&time, out)};
}

std::string human(const SshBerTime &time) {
  const SshText text(ssh_ber_time_to_string(&time));
  return text ? text.get() : "null";
}

struct Case {
  std::string text;
  bool good;
  SshBerTime time = {};
};

void check(Decode decoder, const Case &c) {
  SCOPED_TRACE(c.text);
  SshBerTime time;
  ASSERT_EQ(decode(decoder, c.text, time), c.good);
  if (!c.good) return;
  EXPECT_EQ(time, c.time) << human(time) << " ." << time.microseconds << " " << time.tz_plus << " "
                          << time.tz_hours << ":" << time.tz_minutes;
}

// scanf_decode is the reading rule written with scanf itself.
bool scanf_decode(const std::string &text, bool utc, SshBerTime &out) {
  const char *s = text.c_str();
  int f[6] = {1998, 1, 0, 0, 0, 0}, zone[2] = {0, 0}, used = 0;
  const int n = std::sscanf(s, utc ? "%02d%02d%02d%02d%02d%02d" : "%04d%02d%02d%02d%02d%02d", &f[0],
                            &f[1], &f[2], &f[3], &f[4], &f[5]);
  size_t at = static_cast<size_t>(2 * n + (utc ? 0 : 2));
  if (n < 4 || at >= std::strlen(s)) return false;
  unsigned long micros = 0;
  if (s[at] == '.') {
    const size_t sign = s[at + 1] ? std::strcspn(s + at + 1, "-0123456789+") : 0;
    if (!utc || std::sscanf(s + at, ".%lu%n", &micros, &used) != 1) return false;
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

TEST(Time, UtcTimeTexts) {
  const Case cases[] = {
      {"491231235959Z", true, {2049, 12, 31, 23, 59, 59}},
      {"500101000000Z", true, {1950, 1, 1}},
      {"0101010000Z", true, {2001, 1, 1}},
      {"01010112Z", true, {2001, 1, 1, 12}},
      {"010101Z", false},
      {"010101126060Z", true, {2001, 1, 1, 12, 60, 60}},
      {"010101240000Z", true, {2001, 1, 1, 24}},
      {"010101250000Z", false},
      {"010101006100Z", false},
      {"010101000061Z", false},
      {"010001000000Z", false},
      {"011301000000Z", false},
      {"010100000000Z", false},
      {"010132000000Z", false},
      {"010231000000Z", true, {2001, 2, 31}},  // days are not held against the month
      {"010101000000", false},
      {"010101000000Zjunk", true, {2001, 1, 1}},
      {"010101000000+0130", true, {2001, 1, 1, 0, 0, 0, 0, 1, 1, 30}},
      {"010101000000-0130", true, {2001, 1, 1, 0, 0, 0, 0, 0, 1, 30}},
      {"010101000000?0130", true, {2001, 1, 1, 0, 0, 0, 0, 0, 1, 30}},
      {"010101000000+01", false},
      {"010101000000+", false},
      {"010101000000+-130", false},
      {"010101000000.5Z", true, {2001, 1, 1, 0, 0, 0, 500000}},
      {"010101000000.05Z", true, {2001, 1, 1, 0, 0, 0, 500000}},
      {"010101000000.0Z", true, {2001, 1, 1}},
      {"010101000000.1000000Z", true, {2001, 1, 1, 0, 0, 0, 1000000}},
      {"010101000000.10000009Z", true, {2001, 1, 1, 0, 0, 0, 1000000}},
      {"010101000000.10000010Z", true, {2001, 1, 1, 0, 0, 0, 100000}},
      {"010101000000.1000001Z", true, {2001, 1, 1, 0, 0, 0, 100000}},
      {"010101000000.9999999Z", true, {2001, 1, 1, 0, 0, 0, 999999}},
      {"010101000000." + std::string(5000, '9') + "Z", true, {2001, 1, 1, 0, 0, 0, 999999}},
      {"010101000000.5+0200", true, {2001, 1, 1, 0, 0, 0, 500000, 1, 2, 0}},
      {"010101000000.Z", false},
      {"010101000000.-5Z", false},
      {"010101000000.5", false},
      {"-10101000000Z", false},
      {"01010101-100Z", false},
      {" 10101000000Z", true, {2010, 10, 10}},  // the blank counts for the place of the zone alone
      {" 010101000000Z", false},                // so that here a digit stands for the zone
      {"+10101000000Z", true, {2001, 1, 1}},
      {std::string("0101010000\0Z", 12), false},
      {std::string("010101000000\0", 13), false},
      {"", false},
  };
  for (const Case &c : cases) check(ssh_ber_utc_time_decode, c);
}

TEST(Time, GeneralizedTimeTexts) {
  const Case cases[] = {
      {"20010101000000Z", true, {2001, 1, 1}},
      {"00000101000000Z", true, {0, 1, 1}},
      {"99991231235959Z", true, {9999, 12, 31, 23, 59, 59}},
      {"2001010112Z", true, {2001, 1, 1, 12}},
      {"20010101000000.5Z", false},
      {"20010101000000-0500", true, {2001, 1, 1, 0, 0, 0, 0, 0, 5, 0}},
      {"20011301000000Z", false},
      {"-0010101000000Z", false},
      {"20010101Z", false},
      {"20010101000000", false},
  };
  for (const Case &c : cases) check(ssh_ber_generalized_time_decode, c);
}

TEST(Time, ReadsWhatScanfReads) {
  Random random(7);
  constexpr std::string_view kOdd = "0123456789 +-.Z\t";
  size_t accepted = 0;
  for (int i = 0; i < 400000; ++i) {
    const bool utc = random() % 2;
    std::string text = utc ? "010203040506Z" : "20010203040506Z";
    if (random() % 4 == 0) text.insert(text.size() - 1, utc && random() % 2 ? ".25" : "+0130");
    for (unsigned edits = random() % 5; edits > 0; --edits) {
      const size_t at = random() % text.size();
      const char c = kOdd[random() % kOdd.size()];
      if (random() % 3)
        text[at] = c;
      else if (random() % 2)
        text.insert(at, 1, c);
      else if (text.size() > 1)
        text.erase(at, 1);
    }
    SshBerTime want, got;
    const bool good = scanf_decode(text, utc, want);
    ASSERT_EQ(decode(utc ? ssh_ber_utc_time_decode : ssh_ber_generalized_time_decode, text, got),
              good)
        << utc << " '" << text << "'";
    if (good) {
      ASSERT_EQ(got, want) << utc << " '" << text << "'";
    }
    // Octets after a zone mean nothing, but keep the reader off its path for ordinary texts.
    if (text.ends_with('Z') && good) {
      SshBerTime again;
      ASSERT_TRUE(decode(utc ? ssh_ber_utc_time_decode : ssh_ber_generalized_time_decode,
                         text + "!", again));
      ASSERT_EQ(again, got) << text;
    }
    accepted += good;
  }
  EXPECT_GT(accepted, 100000u);
  EXPECT_LT(accepted, 350000u);
}

TEST(Time, Writing) {
  const SshBerTime zoned = {2001, 1, 1, 2, 3, 4, 500000, 1, 1, 30};
  EXPECT_EQ(encode(ssh_ber_utc_time_encode, zoned), "010101020304.5+0130");
  EXPECT_EQ(encode(ssh_ber_generalized_time_encode, zoned), "20010101020304Z");
  EXPECT_EQ(encode(ssh_ber_utc_time_encode, {1999, 9, 8, 7, 6, 5, 50, 0, 0, 5}),
            "990908070605.5-0005");
  EXPECT_EQ(encode(ssh_ber_utc_time_encode, {2010, 11, 12}), "101112000000Z");
  constexpr uint32_t m = UINT32_MAX;
  const SshBerTime huge = {m, m, m, m, m, m, m, 1, m, m};
  EXPECT_EQ(encode(ssh_ber_utc_time_encode, huge).size(), 2u + 5 * 10 + 11 + 1 + 20);
  EXPECT_EQ(encode(ssh_ber_generalized_time_encode, huge).size(), 6u * 10 + 1);
}

TEST(Time, RoundTrips) {
  Random random(8);
  for (int i = 0; i < 20000; ++i) {
    SshBerTime time = {1950 + random() % 100, 1 + random() % 12, 1 + random() % 31,
                       random() % 24,         random() % 60,     random() % 60};
    SshBerTime back;
    ASSERT_TRUE(decode(ssh_ber_generalized_time_decode,
                       encode(ssh_ber_generalized_time_encode, time), back));
    ASSERT_EQ(back, time);
    const std::string text = human(time);
    ASSERT_TRUE(ssh_ber_time_set_from_string(&back, text.c_str())) << text;
    time.tz_plus = 1;
    ASSERT_EQ(back, time) << text;
    time.microseconds = 100000 + random() % 900000;  // shorter ones lose their leading zeros
    time.tz_hours = 1 + random() % 23;
    time.tz_minutes = random() % 60;
    time.tz_plus = random() % 2;
    ASSERT_TRUE(decode(ssh_ber_utc_time_decode, encode(ssh_ber_utc_time_encode, time), back));
    ASSERT_EQ(back, time);
  }
}

TEST(Time, HumanTextReading) {
  const SshBerTime march = {2001, 3, 22, 14, 3, 9, 0, 1, 0, 0};
  const Case cases[] = {
      {"2001 Mar 22nd, 14:03:09 GMT", true, march},
      {"2001 mAR 22nd, 14:03:09", true, march},
      {" 2001\tMar22 nd,14: 3: 9", true, march},
      {"2001/03/22/14:03:09", true, march},
      {"2001/3/22/14:3:9 and more", true, march},
      {"2001 mar 22th, 14:03:09", false},
      {"2001 Mar 22ND, 14:03:09", false},
      {"2001 Mai 22nd, 14:03:09", false},
      {"2001 Ma 22nd, 14:03:09", false},
      {"2001 n/a 22nd, 14:03:09", false},
      {"2001 Mar 22nd 14:03:09", false},
      {"2001 Mar 22nd, 14:03", false},
      {"2001 Mar 22nd, 24:00:00", false},
      {"2001/03/22/23:60:00", false},
      {"2001/03/22/23:00:60", false},
      {"2001/03/32/23:00:00", false},
      {"2001/03/00/23:00:00", false},
      {"2001/13/22/23:00:00", false},
      {"2001/03/22/-1:00:00", false},
      {"-001/03/22/01:00:00", false},
      {"2001/03/22/14:03", false},
      {"2001-03-22-14:03:09", false},
      {"2001/03/22/14:03:09" + std::string(1024 - 19, ' '), true, march},
      {"2001/03/22/14:03:09" + std::string(1025 - 19, ' '), false},
      {"", false},
  };
  for (const Case &c : cases) {
    SCOPED_TRACE(c.text);
    const SshBerTime before = {1, 2, 3, 4, 5, 6, 7, 8, 9, 10};
    SshBerTime time = before;
    EXPECT_EQ(ssh_ber_time_set_from_string(&time, c.text.c_str()), c.good);
    EXPECT_EQ(time, c.good ? c.time : before);
  }
  SshBerTime time;
  EXPECT_FALSE(ssh_ber_time_set_from_string(&time, nullptr));
}

TEST(Time, HumanTextWriting) {
  EXPECT_EQ(human({2001, 3, 22, 14, 3, 9}), "2001 Mar 22nd, 14:03:09 GMT");
  EXPECT_EQ(human({987, 12, 1}), "0987 Dec  1st, 00:00:00 GMT");
  EXPECT_EQ(human({2001, 0, 1}), "null");
  EXPECT_EQ(human({2001, 13, 1}), "null");
  constexpr uint32_t m = UINT32_MAX;
  EXPECT_EQ(human({m, 1, m, m, m, m}),
            "4294967295 Jan 4294967295th, 4294967295:4294967295:4294967295 GMT");
  constexpr std::string_view suffixes = "thstndrdthththththth";
  for (uint32_t day = 1; day <= 31; ++day) {
    const bool teen = day >= 11 && day <= 13;
    const std::string_view want = teen ? "th" : suffixes.substr(day % 10 * 2, 2);
    EXPECT_EQ(human({2001, 1, day}).substr(11, 2), want) << day;
  }
}

TEST(Time, UnixTimeAgreesWithTheStandardLibrary) {
  const auto check_second = [](uint32_t seconds) {
    const std::chrono::sys_seconds t{std::chrono::seconds(seconds)};
    const auto day = std::chrono::floor<std::chrono::days>(t);
    const std::chrono::year_month_day date(day);
    const std::chrono::hh_mm_ss clock(t - day);
    const auto u = [](auto v) { return static_cast<uint32_t>(v); };
    const SshBerTime want = {u(int{date.year()}),        u(unsigned{date.month()}),
                             u(unsigned{date.day()}),    u(clock.hours().count()),
                             u(clock.minutes().count()), u(clock.seconds().count())};
    SshBerTime got = {1, 2, 3, 4, 5, 6, 7, 8, 9, 10};
    ssh_ber_time_set_from_unix_time(&got, seconds);
    ASSERT_EQ(got, want) << seconds;
  };
  for (uint64_t day = 0; day * 86400 <= UINT32_MAX; ++day) {
    check_second(static_cast<uint32_t>(day * 86400));
    check_second(static_cast<uint32_t>(std::min<uint64_t>(day * 86400 + 86399, UINT32_MAX)));
  }
  Random random(9);
  for (int i = 0; i < 20000; ++i) check_second(random());
}
