#include "kwpki/message/message.h"

#include <fmt/format.h>

#include <cerrno>
#include <cstring>

#include "kwpki/input/input.h"
#include "kwpki/message/decode.h"
#include "kwpki/message/encode.h"
#include "kwpki/page/page_parts.h"
#include "kwpki/terminal/exit.h"
#include "kwpki/terminal/system.h"
#include "kwpki/terminal/text.h"

namespace kwpki {
namespace {

constexpr size_t kBytesOnLine = 8;

std::string hex_row(Bytes octets) {
  std::string out;
  for (const uint8_t octet : octets) out += fmt::format("{}{:02x}", out.empty() ? "" : " ", octet);
  return out;
}

std::string heading() {
  return fmt::format("{:>7}  {:>7}  {:<25} field\n", "offset", "length", "bytes");
}

// line_text is one line, or with `full` as many as the bytes take.
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

// message_page gives the page of a message: its fields as elements, groups and lists with the bytes of
// all that is in them.
Html message_page(const std::string &name, Bytes message, std::optional<MessageKind> kind,
                  DecodedMessage *decoded) {
  constexpr size_t kFieldsMost = 10000;
  BesideBytes view(message);
  const auto add = [&](const MessageLine &line) {
    if (view.count() == kFieldsMost) return view.omit(1);
    const size_t size = line.octets.size();
    view.add({.offset = line.offset,
              .header = 0,
              .content = size ? size : kOpenEnd,
              .own = size,
              .depth = line.depth,
              .name = line.name,
              .value = line.value});
  };
  *decoded = decode_message(message, kind, add, false);
  std::vector<std::string> wrong;
  for (const MessageFault &fault : decoded->faults) {
    wrong.push_back(fmt::format("{}, offset {}: {}", fault.field, fault.offset, fault.text));
    view.blame(fault.offset, fault.text);
  }
  const std::string kind_name(kKindNames[static_cast<size_t>(decoded->kind)]);
  return page_html({.title = "A " + kind_name + ": " + name,
                    .about = std::string("kwpki ") + KWPKI_VERSION,
                    .notes = {},
                    .summary = {},
                    .objects = section_html({.id = "o1",
                                             .name = name,
                                             .kind = kind_name,
                                             .where = octet_count(message.size()),
                                             .wrong = wrong,
                                             .fields = {},
                                             .view = view.html("without --html there are all")})});
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

}  // namespace

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
  if (options.html) {
    output.write(message_page(std::string(name), message, options.kind, &decoded).code());
  } else if (options.json) {
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

}  // namespace kwpki
