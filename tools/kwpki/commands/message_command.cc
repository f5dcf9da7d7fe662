#include <CLI/CLI.hpp>

#include "kwpki/commands/commands.h"
#include "kwpki/message/message.h"

namespace kwpki {
namespace {

constexpr const char *kDecodeHelp = "Show a request or reply: every field with its bytes";
constexpr const char *kDecodeFooter =
    R"(A FILE is the body of a message; "-" and no FILE mean standard input. Each line has the offset and
length of a field in bytes, the bytes themselves, cut short with "..", and the value in words.

With --html it is a page for a browser, with the fields beside the bytes.

With --json the message is one JSON document, of which `kwpki message encode` makes the same
bytes. Bytes are a JSON string where that is readable text, else {"hex": "..."}. Counts are given
only if they are wrong.

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
  command->add_flag("--html", options->html,
                    "Write a page for a browser: the fields beside their bytes");
  command->callback([options, &run] {
    if (options->html && (options->json || options->full))
      throw CLI::ValidationError("--html", "shows everything; no other view goes with it");
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
  command->callback([options, &run] {
    run = [options](const Streams &streams) { return message_encode(*options, streams); };
  });
}

}  // namespace

void add_message_commands(CLI::App &app, Run &run) {
  CLI::App *command = app.add_subcommand("message", "Show and make requests and replies");
  command->require_subcommand(1);
  add_decode(command, run);
  add_encode(command, run);
}

}  // namespace kwpki
