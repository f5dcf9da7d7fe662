// What the commands that ask the certificate service have in common. A command adds its own options
// behind these; on_run makes it run, with what it throws turned into a message and an exit code.
#pragma once

#include <CLI/CLI.hpp>
#include <functional>
#include <optional>
#include <string>

#include "kwpki/client.h"
#include "kwpki/commands.h"

namespace kwpki {

struct StoreOptions {
  std::string store;
  std::string trace;
  bool json = false;
};

// add_store_options adds --store, --trace and --json.
void add_store_options(CLI::App *command, StoreOptions *options);

// Store tells whether a command may make a store that does not exist.
enum class StoreUse : uint8_t { kRead, kMake };

// open_store throws Failure if no store was named or it cannot be opened.
Session open_store(const StoreOptions &options, StoreUse use);

// on_run sets the action of a command.
using Action = std::function<int(Output &output, const Streams &streams)>;
Run on_run(Action action);

// parse_number reads 32 bits, decimal or hexadecimal with 0x; throws Failure that names the option.
uint32_t parse_number(const std::string &option, const std::string &text);

// parse_time reads "now" or a date with or without a time, UTC, in seconds since 1970; nothing if
// the text is none or lies outside of 1970 to 2106.
std::optional<uint32_t> parse_time(const std::string &text);

// parse_key_usage reads names as `kwpki inspect` writes them, separated by commas, into a mask;
// blanks, dashes and case do not matter. Nothing if a name is unknown.
std::optional<uint32_t> parse_key_usage(const std::string &text);

// write_json writes one object a line.
void write_json(Output &output, const Json &json);

// The commands that files of their own add.
void add_import_commands(CLI::App &app, Run &run);  // store import, add
void add_search_commands(CLI::App &app, Run &run);  // search, path

}  // namespace kwpki
