#include "kwpki/message.h"

#include <fmt/format.h>

#include <CLI/CLI.hpp>
#include <cerrno>
#include <cstring>

#include "kwpki/commands.h"
#include "kwpki/input.h"
#include "kwpki/message_decode.h"
#include "kwpki/message_encode.h"
#include "kwpki/system.h"
#include "kwpki/text.h"

namespace kwpki {
namespace {

constexpr size_t kBytesOnLine = 8;

constexpr const char *kDecodeHelp = "Show a request or reply: every field with its bytes";
constexpr const char *kDecodeFooter =
    R"(A FILE is the body of a message; "-" and no FILE mean standard input. Each line has the offset and
length of a field in bytes, the bytes themselves, cut short with "..", and the value in words.

With --json the message is one JSON document, of which `kwpki message encode` makes the same
bytes. Bytes are a JSON string where that is readable text, else {"hex": "..."}. Counts stand
there only if they are wrong.

What cannot be decoded is named on standard error with its field and offset; the bytes from there
on are the "rest".

Exit status: 0 everything was decoded; 1 not everything; 2 wrong use; 3 the file could not be read
or output not be written.)";

constexpr const char *kEncodeHelp = "Make a request or reply from JSON";
constexpr const char *kEncodeFooter =
    R"(The JSON is what `kwpki message decode --json` writes. Only "request_type" and the "type" of a key
must be given; both may be names or numbers. Without "kind" a message whose "status" is 999 or not
given is a request. The defaults: version 1; status 999 of a request, 0 of a reply; path_length
"any"; every other number 0, bytes and lists empty. Counts are those of the lists, unless they
are given. In an object with a "rest", which goes behind its fields, they end at the first that
is not given.

Bytes are a string, {"hex": "..."}, or {"dn": "..."} for the bytes of a search key with this name.

Exit status: 0 the message was written; 1 the JSON is not a message; 2 wrong use; 3 the file could
not be read or output not be written.)";

std::string hex_row(Bytes octets) {
  std::string out;
  for (const uint8_t octet : octets) out += fmt::format("{}{:02x}", out.empty() ? "" : " ", octet);
  return out;
}

std::string heading() {
  return fmt::format("{:>7}  {:>7}  {:<25} field\n", "offset", "length", "bytes");
}

// line_text is one line, or with `full` as many as the octets take.
std::string line_text(const MessageLine &line, bool full) {
  const std::string name =
      std::string(line.depth * 2, ' ') + line.name + (line.value.empty() ? "" : ": ") + line.value;
  if (line.octets.empty()) return fmt::format("{:43} {}\n", "", name);
  const bool cut = !full && line.octets.size() > kBytesOnLine;
  const Bytes first = line.octets.first(std::min(kBytesOnLine, line.octets.size()));
  std::string text = fmt::format("{:7}  {:7}  {:<25} {}\n", line.offset, line.octets.size(),
                                 hex_row(first) + (cut ? ".." : ""), name);
  for (size_t at = kBytesOnLine; full && at < line.octets.size(); at += kBytesOnLine) {
    const size_t count = std::min(kBytesOnLine, line.octets.size() - at);
    text += fmt::format("{:7}  {:7}  {}\n", line.offset + at, "",
                        hex_row(line.octets.subspan(at, count)));
  }
  return text;
}

std::string_view shown_name(const std::string &file) {
  return file == "-" ? "standard input" : std::string_view(file);
}

void write_decoded_text(Bytes message, const MessageDecodeOptions &options, Output *output,
                        DecodedMessage *decoded) {
  std::string text = heading();
  *decoded = decode_message(
      message, options.kind,
      [&](const MessageLine &line) {
        const std::string shown = line_text(line, options.full);
        text += line.name == "rest" ? output->style().warning(shown) : shown;
        if (text.size() < 0x10000) return;
        output->write(text);
        text.clear();
      },
      options.full);
  output->write(text);
}

// write_output writes to a file and gives "" or why it could not.
std::string write_output(const std::string &name, std::string_view octets) {
  errno = 0;
  std::FILE *file = std::fopen(name.c_str(), "wb");
  if (!file) return std::strerror(errno);
  const bool written = std::fwrite(octets.data(), 1, octets.size(), file) == octets.size();
  const int error = errno;
  if (std::fclose(file) != 0 || !written) return std::strerror(written ? errno : error);
  return "";
}

void add_decode(CLI::App *parent, Run &run) {
  const auto options = std::make_shared<MessageDecodeOptions>();
  CLI::App *command = parent->add_subcommand("decode", kDecodeHelp);
  command->footer(kDecodeFooter);
  command->add_option("FILE", options->file, "The message")->type_name("");
  const auto kind_flag = [&](const char *name, MessageKind kind, const char *help) {
    return command->add_flag_callback(
        name, [options, kind] { options->kind = kind; }, help);
  };
  CLI::Option *request =
      kind_flag("--request", MessageKind::kRequest, "Take the message for a request");
  kind_flag("--reply", MessageKind::kReply, "Take the message for a reply")->excludes(request);
  command->add_flag("--hex", options->hex, "The FILE is hexadecimal text");
  command->add_flag("--json", options->json, "Write JSON");
  command->add_flag("--full", options->full, "Shorten nothing");
  add_profile_option(*command);
  command->callback([options, &run] {
    run = [options](const Streams &streams) { return message_decode(*options, streams); };
  });
}

void add_encode(CLI::App *parent, Run &run) {
  const auto options = std::make_shared<MessageEncodeOptions>();
  CLI::App *command = parent->add_subcommand("encode", kEncodeHelp);
  command->footer(kEncodeFooter);
  command->add_option("FILE", options->file, "The JSON [standard input]")->type_name("");
  command->add_option("--output", options->output, "Write to this file")->type_name("FILE");
  command->add_flag("--hex", options->hex, "Write hexadecimal text");
  add_profile_option(*command);
  command->callback([options, &run] {
    run = [options](const Streams &streams) { return message_encode(*options, streams); };
  });
}

}  // namespace

std::string message_text(Bytes message, std::optional<MessageKind> kind, bool full) {
  std::string text = heading();
  decode_message(
      message, kind, [&](const MessageLine &line) { text += line_text(line, full); }, full);
  return text;
}

int message_decode(const MessageDecodeOptions &options, const Streams &streams) {
  Output output(streams);
  const std::string_view name = shown_name(options.file);
  std::vector<uint8_t> message;
  const std::string problem = read_source({options.file}, streams.in, &output, &message);
  if (!problem.empty()) {
    output.fault(name, problem);
    return kExitUnreadable;
  }
  if (options.hex) {
    auto octets = parse_hex(ssh_bytes_text(message));
    if (!octets) {
      output.fault(name, "not hexadecimal text");
      return kExitRefused;
    }
    message = std::move(*octets);
  }
  DecodedMessage decoded;
  if (options.json) {
    decoded = decode_message(message, options.kind, {}, true);
    Json json = document();
    json.update(decoded.json);
    output.write(json.dump(2, ' ', true) + "\n");
  } else {
    write_decoded_text(message, options, &output, &decoded);
  }
  for (const MessageFault &fault : decoded.faults)
    output.fault(name, fmt::format("{}, offset {}: {}", fault.field, fault.offset, fault.text));
  output.flush();
  return decoded.faults.empty() ? kExitOk : kExitRefused;
}

int message_encode(const MessageEncodeOptions &options, const Streams &streams) {
  Output output(streams);
  const std::string_view name = shown_name(options.file);
  if (options.output.empty() && !options.hex && is_terminal(streams.out)) {
    output.message("", "a message is no text for a terminal; use --hex or --output");
    return kExitUsage;
  }
  std::vector<uint8_t> file, message;
  std::string problem = read_source({options.file}, streams.in, &output, &file);
  if (!problem.empty()) {
    output.fault(name, problem);
    return kExitUnreadable;
  }
  try {
    message = encode_message(parse_message_json(ssh_bytes_text(file)));
  } catch (const MessageError &error) {
    output.fault(name, error.what());
    return kExitRefused;
  }
  const std::string octets =
      options.hex ? hex(message) + "\n" : std::string(ssh_bytes_text(message));
  if (options.output.empty()) {
    output.write(octets);
    return kExitOk;
  }
  problem = write_output(options.output, octets);
  if (!problem.empty()) output.fault(options.output, problem);
  return problem.empty() ? kExitOk : kExitUnreadable;
}

void add_message_commands(CLI::App &app, Run &run) {
  CLI::App *command = app.add_subcommand("message", "Show and make requests and replies");
  command->require_subcommand(1);
  add_decode(command, run);
  add_encode(command, run);
}

}  // namespace kwpki
