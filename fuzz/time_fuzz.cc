// Any bytes as each of the time texts: what is read is written in a form that reads back the same.
#include <string>

#include "asn1/time.h"
#include "fuzz.h"
#include "util/owner.h"

namespace {

using Decode = bool (*)(Bytes, SshBerTime *);
using Encode = size_t (*)(const SshBerTime *, uint8_t *);

void check_content(Bytes content, Decode decode, Encode encode) {
  SshBerTime time, again;
  if (!decode(content, &time)) return;
  require(time.month >= 1 && time.month <= 12 && time.day >= 1 && time.day <= 31);
  require(time.hour <= 24 && time.minute <= 60 && time.second <= 60 &&
          time.microseconds <= 1000000);
  uint8_t text[SSH_BER_TIME_TEXT_MAX], text_again[SSH_BER_TIME_TEXT_MAX];
  const size_t length = encode(&time, text);
  require(decode({text, length}, &again));
  require(ssh_bytes_equal({text, length}, {text_again, encode(&again, text_again)}));
  const SshText human(ssh_ber_time_to_string(&time));
  require(human != nullptr);
}

void check_human(const std::string &text) {
  SshBerTime time, again;
  if (!ssh_ber_time_set_from_string(&time, text.c_str())) return;
  const SshText printed(ssh_ber_time_to_string(&time));
  require(printed != nullptr);
  require(ssh_ber_time_set_from_string(&again, printed.get()) && again == time);
}

void check_seconds(uint32_t seconds) {
  SshBerTime time, again;
  ssh_ber_time_set_from_unix_time(&time, seconds);
  uint8_t text[SSH_BER_TIME_TEXT_MAX];
  require(ssh_ber_generalized_time_decode({text, ssh_ber_generalized_time_encode(&time, text)},
                                          &again));
  require(again == time);
}

}  // namespace

void check_input(Bytes input) {
  check_content(input, ssh_ber_utc_time_decode, ssh_ber_utc_time_encode);
  check_content(input, ssh_ber_generalized_time_decode, ssh_ber_generalized_time_encode);
  check_human(std::string(ssh_bytes_text(input)));
  if (input.size() >= 4) check_seconds(ssh_load_be32(input.data()));
}
