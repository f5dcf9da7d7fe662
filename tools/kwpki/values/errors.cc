#include "kwpki/values/errors.h"

#include <fmt/format.h>

#include <CLI/StringTools.hpp>
#include <charconv>
#include <optional>
#include <vector>

#include "asn1/ber.h"
#include "asn1/status.h"
#include "cm/objects.h"
#include "crypto/public_key.h"
#include "kwpki.h"
#include "kwpki/terminal/exit.h"
#include "kwpki/terminal/text.h"
#include "kwpki/values/values.h"
#include "kwpki_errors.h"
#include "x509/verify.h"

namespace kwpki {
namespace {

constexpr ErrorRow kErrors[] = {
// clang-format off
#define KWPKI_ROW(name, meaning, cause) {name, #name, meaning, cause},
    KWPKI_ERRORS(KWPKI_ROW)
#undef KWPKI_ROW
    // clang-format on
    {0x4000000, "AGENT_SUCCESS", "the management agent's own word for success",
     "KWMASetMessageData and KWMAPostMessage return it; any other value is a failure of theirs"},
    {999, "REQUEST", "the status that marks a request",
     "the message is a request; a reply with it was made from one"},
};

// The statuses that the layers of the library use among themselves. Logs and the texts of fatal
// errors show them. They are small numbers, and one number may have a meaning in several layers.
struct LayerRow {
  std::string_view layer;
  uint32_t code;
  std::string_view meaning;
};
constexpr LayerRow kLayers[] = {
    {"BER", SSH_BER_NO_ROOM, "writing: the header does not fit"},
    {"BER", SSH_BER_CUT, "the bytes end inside the element"},
    {"BER", SSH_BER_TAG_TOO_LONG, "a tag number of more than four bytes"},
    {"BER", SSH_BER_LENGTH_TOO_LONG, "more than four length bytes"},
    {"keys", SSH_KEY_OK, "success"},
    {"keys", SSH_KEY_FAILED, "key data could not be made, exported or imported"},
    {"keys", SSH_KEY_BAD_TAG, "a tag that is not allowed here"},
    {"keys", SSH_KEY_UNKNOWN_NAME, "an unknown action or scheme name"},
    {"keys", SSH_KEY_BAD_FORMAT, "not a key blob, or a key name that does not parse"},
    {"keys", SSH_KEY_REFUSED, "a value, slot or scheme that the key type refuses"},
    {"keys", SSH_KEY_BAD_SIGNATURE, "the signature does not fit"},
    {"keys", SSH_KEY_NO_SCHEME, "the key has no scheme for this, or there is none of that name"},
    {"keys", SSH_KEY_ABSURD, "numbers with which no key works or a computation would not end"},
    {"keys", SSH_KEY_BAD_PEER_VALUE, "a Diffie-Hellman value that is not in the group"},
    {"keys", SSH_KEY_TOO_LONG, "the data does not fit a key of this size"},
    {"keys", SSH_KEY_NO_NOISE, "the operating system has no random bytes to give"},
    {"signatures", SSH_X509_VALID, "the key's owner signed these bytes"},
    {"signatures", SSH_X509_INVALID, "the signature is not of this key, or not over these bytes"},
    {"signatures", SSH_X509_SCHEME_NOT_SUPPORTED, "a scheme that is not computed here"},
    {"signatures", SSH_X509_KEY_NOT_FIT, "no key, one of another type, too short or absurd"},
    {"objects", SSH_CM_OK, "success"},
    {"objects", SSH_CM_BAD_ENTRY_TYPE, "an entry of a database that is of another type or empty"},
    {"objects", SSH_CM_RECORD_UNREADABLE, "a stored record that is cut short"},
    {"objects", SSH_CM_CERT_UNDECODABLE, "a stored record whose certificate does not decode"},
    {"objects", SSH_CM_BER_UNDECODABLE, "an encoding that does not decode"},
    {"objects", SSH_CM_WRONG_STATE, "an object that is missing, empty or already set"},
};

// rows_of_layers finds what a status means in each layer; those of ASN.1 have their texts there.
std::vector<LayerRow> rows_of_layers(uint32_t code) {
  std::vector<LayerRow> rows;
  if (const char *text = ssh_asn1_status_text(code)) rows.push_back({"ASN.1", code, text});
  for (const LayerRow &row : kLayers) {
    if (row.code == code) rows.push_back(row);
  }
  return rows;
}

bool is_known(uint32_t code) { return find_error(code) || !rows_of_layers(code).empty(); }

std::optional<uint32_t> parse_digits(std::string_view digits, int base) {
  int64_t value = 0;
  const char *end = digits.data() + digits.size();
  const auto [stop, error] = std::from_chars(digits.data(), end, value, base);
  if (error != std::errc() || stop != end || value < INT32_MIN || value > UINT32_MAX)
    return std::nullopt;
  return static_cast<uint32_t>(value);
}

// Any 32-bit number is a code, a negative one as programs print signed numbers. Digits without 0x
// are decimal, or hexadecimal where that is the code that there is.
std::optional<uint32_t> parse_code(std::string_view text) {
  const bool prefixed = text.starts_with("0x") || text.starts_with("0X");
  if (prefixed) text.remove_prefix(2);
  const bool negative = text.starts_with("-");
  if (prefixed && negative) return std::nullopt;
  const auto decimal = prefixed ? std::nullopt : parse_digits(text, 10);
  const auto hexadecimal = negative ? std::nullopt : parse_digits(text, 16);
  if (decimal && (is_known(*decimal) || !hexadecimal || !is_known(*hexadecimal))) return decimal;
  return prefixed || (hexadecimal && is_known(*hexadecimal)) ? hexadecimal : std::nullopt;
}

// Names are found in any case, with their prefix or without.
const ErrorRow *find_named(const std::string &text) {
  const std::string name = CLI::detail::to_lower(text);
  for (const ErrorRow &row : kErrors) {
    const std::string full = CLI::detail::to_lower(std::string(row.name));
    if (name == full || "kwpki_" + name == full) return &row;
  }
  return nullptr;
}

std::string as_text(const ErrorRow &row) {
  return fmt::format("{}  0x{:08X}  {}\n  Meaning: {}\n  Likely cause: {}\n", row.name, row.code,
                     row.code, row.meaning, row.cause);
}

std::string as_text(const LayerRow &row) {
  return fmt::format("status {} of the layer \"{}\": {}\n", row.code, row.layer, row.meaning);
}

// as_json writes a code with what else is known of it.
std::string as_json(uint32_t code, const Json &members) {
  Json json = document();
  json["code"] = code;
  json["hex"] = fmt::format("0x{:08X}", code);
  json.update(members);
  return json_line(json) + "\n";
}

std::string as_json(const ErrorRow &row) {
  return as_json(row.code, {{"name", row.name}, {"meaning", row.meaning}, {"cause", row.cause}});
}

std::string as_json(const LayerRow &row) {
  return as_json(row.code, {{"layer", row.layer}, {"meaning", row.meaning}});
}

}  // namespace

std::span<const ErrorRow> error_rows() { return kErrors; }

const ErrorRow *find_error(uint32_t code) {
  for (const ErrorRow &row : kErrors) {
    if (row.code == code) return &row;
  }
  return nullptr;
}

int show_error(const ErrorOptions &options, const Streams &streams) {
  Output output(streams);
  const auto write = [&](const ErrorRow &row) {
    output.write(options.json ? as_json(row) : as_text(row));
  };
  if (options.code.empty()) {
    for (const ErrorRow &row : kErrors) write(row);
    return kExitOk;
  }
  const std::optional<uint32_t> code = parse_code(options.code);
  const ErrorRow *row = code ? find_error(*code) : find_named(options.code);
  const std::vector<LayerRow> layers = code ? rows_of_layers(*code) : std::vector<LayerRow>();
  if (row) write(*row);
  for (const LayerRow &layer : layers) output.write(options.json ? as_json(layer) : as_text(layer));
  if (row || !layers.empty()) return kExitOk;
  output.fault("", code ? fmt::format("no code of the library: 0x{:08X} ({})", *code, *code)
                        : fmt::format("no code or name of the library: {}", options.code));
  return kExitRefused;
}

}  // namespace kwpki
