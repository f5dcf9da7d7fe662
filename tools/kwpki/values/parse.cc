#include "kwpki/values/parse.h"

#include <CLI/StringTools.hpp>
#include <algorithm>
#include <charconv>
#include <chrono>

#include "kwpki/terminal/exit.h"
#include "kwpki/values/values.h"

namespace kwpki {
namespace {

constexpr std::string_view kTimeForm = "0000-00-00T00:00:00";
constexpr size_t kTimeSizes[] = {10, 16, 19};  // a date, with minutes, with seconds

bool has_form(std::string_view text) {
  if (std::find(std::begin(kTimeSizes), std::end(kTimeSizes), text.size()) ==
      std::end(kTimeSizes)) {
    return false;
  }
  return std::equal(text.begin(), text.end(), kTimeForm.begin(), [](char c, char form) {
    return form == '0' ? c >= '0' && c <= '9' : c == form || (form == 'T' && c == ' ');
  });
}

int digits_at(std::string_view text, size_t at, size_t count) {
  int value = 0;
  if (at < text.size()) std::from_chars(text.data() + at, text.data() + at + count, value);
  return value;
}

std::string letters_of(std::string_view text) {
  std::string letters;
  for (const char c : text) {
    if (c != ' ' && c != '-' && c != '_') letters += c;
  }
  return CLI::detail::to_lower(letters);
}

}  // namespace

uint32_t parse_number(const std::string &option, const std::string &text) {
  const bool hexadecimal = text.starts_with("0x") || text.starts_with("0X");
  uint32_t value = 0;
  const char *end = text.data() + text.size();
  const auto [stop, error] =
      std::from_chars(text.data() + (hexadecimal ? 2 : 0), end, value, hexadecimal ? 16 : 10);
  if (error == std::errc() && stop == end) return value;
  throw Failure{kExitUsage, option, "not a number of 32 bits: " + text};
}

std::optional<uint32_t> parse_time(const std::string &text) {
  using namespace std::chrono;
  int64_t value = duration_cast<seconds>(system_clock::now().time_since_epoch()).count();
  if (text != "now") {
    std::string_view form = text;
    if (form.size() > kTimeSizes[0] && form.ends_with('Z')) form.remove_suffix(1);
    if (!has_form(form)) return {};
    const year_month_day date(year(digits_at(form, 0, 4)),
                              month(static_cast<unsigned>(digits_at(form, 5, 2))),
                              day(static_cast<unsigned>(digits_at(form, 8, 2))));
    const int hour = digits_at(form, 11, 2), minute = digits_at(form, 14, 2);
    const int second = digits_at(form, 17, 2);
    if (!date.ok() || hour > 23 || minute > 59 || second > 59) return {};
    value = int64_t{sys_days(date).time_since_epoch().count()} * 86400 + hour * 3600 + minute * 60 +
            second;
  }
  if (value < 0 || value > UINT32_MAX) return {};
  return static_cast<uint32_t>(value);
}

std::optional<uint32_t> parse_key_usage(const std::string &text) {
  constexpr uint32_t kBits = 9;
  uint32_t mask = 0;
  for (const std::string &name : CLI::detail::split(text, ',')) {
    uint32_t bit = 0;
    for (uint32_t i = 0; i < kBits && !bit; ++i) {
      const uint32_t candidate = i < 8 ? 0x80u >> i : 0x8000u >> (i - 8);
      if (letters_of(key_usage_json(candidate)[0].get<std::string>()) == letters_of(name))
        bit = candidate;
    }
    if (!bit) return {};
    mask |= bit;
  }
  return mask;
}

}  // namespace kwpki
