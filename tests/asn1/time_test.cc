// Times: the two ASN.1 types and the human texts.
#include "asn1/time.h"

#include "support/test.h"

namespace {

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

}  // namespace

// Reading is that of scanf: numbers of at most so many digits, blanks and signs before them.
TEST(Time, Reading) {
  const std::tuple<bool, const char *, SshBerTime> rows[] = {
      {true, "491231245960Z", {2049, 12, 31, 24, 59, 60, 0, 0, 0, 0, true}},
      {true, "500131230000Z", {1950, 1, 31, 23, 0, 0}},
      {true, "0102030405Z", {2001, 2, 3, 4, 5, 0}},
      {true, " 1+2 3 4 5 6Z!", {2001, 2, 3, 4, 5, 6, 0, 0, 0, 0, true}},
      {true, "010203040506+0130", {2001, 2, 3, 4, 5, 6, 0, true, 1, 30}},
      {true, "010203040506-0130", {2001, 2, 3, 4, 5, 6, 0, false, 1, 30}},
      {true, "010203040506?0130", {2001, 2, 3, 4, 5, 6, 0, false, 1, 30, true}},
      {true, "010203040506+ 1 3", {2001, 2, 3, 4, 5, 6, 0, true, 1, 3, true}},
      {true, "010203040506.05Z", {2001, 2, 3, 4, 5, 6, 500000}},
      {true, "010203040506.1000001Z", {2001, 2, 3, 4, 5, 6, 100000}},
      {true, "010203040506.+5Z", {2001, 2, 3, 4, 5, 6, 500000}},
      {false, "20010203040506Z", {2001, 2, 3, 4, 5, 6}},
      {false, "20010203040506+0130", {2001, 2, 3, 4, 5, 6, 0, true, 1, 30}},
  };
  SshBerTime time;
  for (const auto &[utc, text, wanted] : rows) {
    EXPECT_TRUE(decode(utc, text, time)) << text;
    EXPECT_EQ(time, wanted) << text;
  }
  for (const std::string text :
       {"", "010203Z", "010203040506", "010003040506Z", "011303040506Z", "010200040506Z",
        "010232040506Z", "010203250506Z", "010203046106Z", "010203040561Z", "010203-40506Z",
        "-10203040506Z", "010203040506+01", "010203040506+-130", "010203040506+01-3",
        "010203040506.", "010203040506.5", "010203040506.Z", "010203040506.-5Z"}) {
    EXPECT_FALSE(decode(true, text, time)) << text;
    EXPECT_FALSE(decode(false, "20" + text, time)) << text;
  }
  EXPECT_FALSE(decode(false, "20010203040506.5Z", time)) << "no fractions";
  EXPECT_FALSE(decode(true, std::string("010203040\0ZZZ", 13), time)) << "a NUL byte ends it";
  EXPECT_TRUE(decode(true, "010101000000." + std::string(5000, '9') + "Z", time));
  EXPECT_EQ(time, SshBerTime({2001, 1, 1, 0, 0, 0, 999999})) << "no number of digits overflows";
}

TEST(Time, Writing) {
  constexpr uint32_t m = UINT32_MAX;
  const SshBerTime zoned = {2001, 1, 1, 2, 3, 4, 500000, 1, 1, 30},
                   huge = {m, m, m, m, m, m, m, 1, m, m};
  EXPECT_EQ(encode(true, zoned), "010101020304.5+0130");
  EXPECT_EQ(encode(false, zoned), "20010101020304Z");
  EXPECT_EQ(encode(true, huge).size(), 2u + 5 * 10 + 11 + 1 + 20);
  EXPECT_EQ(encode(false, huge).size(), 6u * 10 + 1);
  EXPECT_EQ(human({987, 12, 1}), "0987 Dec  1st, 00:00:00 GMT");
  EXPECT_EQ(human({2001, 13, 1}), "null");
  EXPECT_EQ(human({m, 1, m, m, m, m}),
            "4294967295 Jan 4294967295th, 4294967295:4294967295:4294967295 GMT");
  constexpr std::string_view kSuffixes = "thstndrdthththththth";
  constexpr std::string_view kMonths = "JanFebMarAprMayJunJulAugSepOctNovDec";
  for (uint32_t day = 1; day <= 31; ++day) {
    const SshBerTime time = {2001, day % 12 + 1, day, 0, 0, 0, 0, 1};
    const std::string text = human(time);
    EXPECT_EQ(text.substr(5, 3), kMonths.substr(day % 12 * 3, 3));
    EXPECT_EQ(text.substr(11, 2), day / 10 == 1 ? "th" : kSuffixes.substr(day % 10 * 2, 2));
    SshBerTime back;
    EXPECT_TRUE(ssh_ber_time_set_from_string(&back, text.c_str()) && back == time) << text;
  }
}

TEST(Time, HumanTextReading) {
  const SshBerTime march = {2001, 3, 22, 14, 3, 9, 0, 1, 0, 0};
  const std::string blanks(1024 - 19, ' ');
  for (const std::string &text :
       {std::string(" 2001\tmAR22 nd,14: 3: 9"), std::string("2001/3/22/14:3:9 and more"),
        "2001/03/22/14:03:09" + blanks}) {
    SshBerTime time;
    EXPECT_TRUE(ssh_ber_time_set_from_string(&time, text.c_str()) && time == march) << text;
  }
  SshBerTime time = march;
  const std::string too_long = "2001/03/22/14:03:09 " + blanks;
  for (const char *text :
       {"2001 mar 22th, 14:03:09", "2001 Mai 22nd, 14:03:09", "2001 Mar 22nd, 24:00:00",
        "2001/03/22/23:60:00", "2001/03/22/23:00:60", "2001/03/32/23:00:00", "2001/03/00/23:00:00",
        "2001/13/22/23:00:00", "2001/03/22/-1:00:00", "2001/03/22/14:03", "2001/03/22", "2001/03/x",
        "2001/03", "2001/x", "2001 Mar 22", "2001 Mar 22nd", too_long.c_str(),
        static_cast<const char *>(nullptr)}) {
    EXPECT_FALSE(ssh_ber_time_set_from_string(&time, text)) << (text ? text : "null");
    EXPECT_EQ(time, march) << "it is left alone";
  }
}

// Around leap days, a year and a century without one.
TEST(Time, UnixTime) {
  const std::pair<uint32_t, SshBerTime> rows[] = {
      {0, {1970, 1, 1}},          {31535999, {1970, 12, 31, 23, 59, 59}},
      {951782400, {2000, 2, 29}}, {951868800, {2000, 3, 1}},
      {4107542400, {2100, 3, 1}}, {UINT32_MAX, {2106, 2, 7, 6, 28, 15}}};
  for (const auto &[seconds, want] : rows) {
    SshBerTime got = {1, 2, 3, 4, 5, 6, 7, 8, 9, 10};
    ssh_ber_time_set_from_unix_time(&got, seconds);
    EXPECT_EQ(got, want) << seconds;
  }
}
