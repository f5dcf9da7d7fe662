#include <CLI/CLI.hpp>

#include "kwpki/commands/commands.h"
#include "kwpki/values/errors.h"

namespace kwpki {
namespace {

constexpr const char *kErrorFooter =
    R"(A CODE is decimal (signed or not), hexadecimal with 0x or without it, or a name such as
KWPKI_FAILED. Small numbers are statuses of the library's layers, as logs show them. Without a CODE
those of the interface are listed. JSON is one object a line.

Exit status: 0 the code is known; 1 it is not; 2 wrong use; 3 output could not be written.)";

}  // namespace

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
