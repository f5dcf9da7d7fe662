#include "kwpki/errors.h"

#include <fmt/format.h>

#include <CLI/CLI.hpp>
#include <charconv>
#include <optional>

#include "kwpki.h"
#include "kwpki/commands.h"
#include "kwpki/text.h"
#include "kwpki/values.h"

namespace kwpki {
namespace {

constexpr ErrorRow kErrors[] = {
    {KWPKI_OK, "KWPKI_OK", "success",
     "nothing is wrong; of a request it means that the agent took the message, not that the "
     "service answered"},
    {KWPKI_REFUSED, "KWPKI_REFUSED", "the certificate manager refused",
     "the host's certificate manager; the library's own functions do not return it"},
    {KWPKI_REFUSED_SEVERE, "KWPKI_REFUSED_SEVERE",
     "the certificate manager refused, with the mark of a severe error",
     "the host's certificate manager; the library's own functions do not return it"},
    {KWPKI_FAILED, "KWPKI_FAILED", "bad encoding, empty object or wrong argument",
     "a certificate of today (SHA-2, elliptic curves, names in UTF-8) and the classic library, "
     "where "
     "KwPkiModern reads it; an encoding that does not decode (try `kwpki inspect`), a null handle "
     "or pointer, an object that was not filled, keys set twice, or a reply that fits no open "
     "request, such as one processed before (try `kwpki message decode`)"},
    {KWPKI_NOT_POSTED, "KWPKI_NOT_POSTED", "a request did not reach the service",
     "the libraries KWMA32 and KWPMAPI are not found, the service is not running, a handle is "
     "null, "
     "or the request takes more than 100 MiB"},
    {KWPKI_FILE_UNREADABLE, "KWPKI_FILE_UNREADABLE", "a file, or PEM in it, could not be read",
     "the file does not exist, may not be read, is larger than 100 MiB, or has no PEM "
     "block where one was asked for"},
    {KWPKI_NO_PUBLIC_KEY, "KWPKI_NO_PUBLIC_KEY", "the certificate holds no usable key",
     "a certificate with a Diffie-Hellman key"},
    {KWPKI_KEY_FAILED, "KWPKI_KEY_FAILED", "a key could not be exported or imported",
     "an empty public key, or a key blob that was cut, changed or not made by the library"},
    {0x4000000, "AGENT_SUCCESS", "the management agent's own word for success",
     "KWMASetMessageData and KWMAPostMessage return it; any other value is a failure of theirs"},
    {999, "REQUEST", "the status that marks a request",
     "the message is a request; a reply with it was made from one"},
};

struct CodeText {
  std::string_view digits;
  int base;
};

// Any 32-bit number is a code, a negative one as programs print signed numbers.
std::optional<uint32_t> parse_code(std::string_view text) {
  const bool hexadecimal = text.starts_with("0x") || text.starts_with("0X");
  const CodeText code = {text.substr(hexadecimal ? 2 : 0), hexadecimal ? 16 : 10};
  int64_t value = 0;
  const char *end = code.digits.data() + code.digits.size();
  const auto [stop, error] = std::from_chars(code.digits.data(), end, value, code.base);
  const bool negative = value < 0 || code.digits.starts_with("-");
  if (error != std::errc() || stop != end || (negative && hexadecimal)) return std::nullopt;
  if (value < INT32_MIN || value > UINT32_MAX) return std::nullopt;
  return static_cast<uint32_t>(value);
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

std::string as_json(const ErrorRow &row) {
  Json json = document();
  json["code"] = row.code;
  json["hex"] = fmt::format("0x{:08X}", row.code);
  json["name"] = row.name;
  json["meaning"] = row.meaning;
  json["cause"] = row.cause;
  return json_line(json) + "\n";
}

constexpr const char *kErrorFooter =
    R"(A CODE is decimal (signed or not), hexadecimal with 0x, or a name such as KWPKI_FAILED. Without
a CODE all are listed. JSON is one object a line.

Exit status: 0 the code is known; 1 it is not; 2 wrong use; 3 output could not be written.)";

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
  if (row) {
    write(*row);
    return kExitOk;
  }
  output.fault("", code ? fmt::format("no code of the library: 0x{:08X} ({})", *code, *code)
                        : fmt::format("no code or name of the library: {}", options.code));
  return kExitRefused;
}

void add_error_command(CLI::App &app, Run &run) {
  const auto options = std::make_shared<ErrorOptions>();
  CLI::App *command =
      app.add_subcommand("error", "Explain a code of the library: name, meaning, likely cause");
  command->footer(kErrorFooter);
  command->add_option("CODE", options->code, "The code or its name")->type_name("");
  command->add_flag("--json", options->json, "Write JSON");
  command->callback([options, &run] {
    run = [options](const Streams &streams) { return show_error(*options, streams); };
  });
}

}  // namespace kwpki
