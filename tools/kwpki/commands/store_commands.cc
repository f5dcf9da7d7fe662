#include "kwpki/commands/store_commands.h"

#include <fmt/format.h>

#include <filesystem>

#include "kwpki/input/input.h"
#include "kwpki/terminal/system.h"
#include "kwpki/terminal/text.h"

namespace kwpki {
namespace {

constexpr size_t kRequestNames = 4;

constexpr const char *kAnswerFooter =
    R"(Exit status: 0 the service answered; 1 it refused or there was nothing to show; 2 wrong use; 3 the
store could not be opened, a file not be read or output not be written.)";

int show_ca_names(const StoreOptions &options, Output &output) {
  Session session = open_store(options, StoreUse::kRead);
  NamesAnswer answer;
  session.exchange(
      [&](void *agent) { return KwPkiCaNamesAsync(NamesAnswer::take, &answer, agent); });
  check_answer(answer.status);
  size_t position = 0;
  for (const std::string &name : answer.names) {
    ++position;
    if (options.json) {
      Json json = {{"position", position}};
      set_text(json, "name", name);
      write_json(output, json);
    } else {
      output.write(escape(name) + "\n");
    }
  }
  if (answer.names.empty()) output.message("", "there are no CAs in the store");
  output.flush();
  return answer.names.empty() ? kExitRefused : kExitOk;
}

// set_line adds a line "name=value" of the status block.
void set_line(Json &json, const std::string &line) {
  const size_t split = std::min(line.find('='), line.size());
  const std::string name = as_utf8(line.substr(0, split));
  const std::string value = split < line.size() ? line.substr(split + 1) : "";
  uint32_t number = 0;
  if (CLI::detail::lexical_cast(value, number)) {
    json[name] = number;
  } else {
    set_text(json, name, value);
  }
}

// The service's state is a block of lines "name=value".
int show_status(const StoreOptions &options, Output &output) {
  Session session = open_store(options, StoreUse::kRead);
  DataAnswer answer;
  session.exchange([&](void *agent) { return KwPkiStatusAsync(DataAnswer::take, &answer, agent); });
  check_answer(answer.status);
  Json json = Json::object();
  for (const std::string &line : CLI::detail::split(answer.data, '\n')) {
    if (!line.empty()) set_line(json, line);
  }
  if (options.json) {
    write_json(output, json);
  } else {
    for (const auto &[name, value] : json.items()) {
      const std::string text = value.is_string() ? value.get<std::string>() : value.dump();
      output.write(fmt::format("{}: {}\n", escape(name), escape(text)));
    }
  }
  return kExitOk;
}

struct RequestOptions {
  StoreOptions store;
  std::vector<std::string> names;
  std::string file;
  std::string further;
  bool remove = false;
};

std::vector<uint8_t> read_request(const std::string &file, const Streams &streams) {
  std::vector<uint8_t> octets;
  const std::string problem = read_source({file}, streams.in, nullptr, &octets);
  if (!problem.empty()) throw Failure{kExitUnreadable, file, problem};
  return octets;
}

// do_request hands a request in, or takes it back with `remove`.
int do_request(const RequestOptions &options, Output &output, const Streams &streams) {
  const char *names[kRequestNames] = {};
  for (size_t i = 0; i < options.names.size(); ++i) names[i] = options.names[i].c_str();
  const std::vector<uint8_t> octets =
      options.remove ? std::vector<uint8_t>() : read_request(options.file, streams);
  Session session = open_store(options.store, options.remove ? StoreUse::kRead : StoreUse::kMake);
  StatusAnswer answer;
  session.exchange([&](void *agent) {
    if (options.remove)
      return KwPkiCertRequestRemoveAsync(names, StatusAnswer::take, &answer, agent);
    const KwPkiBlock block = {octets.data(), static_cast<uint32_t>(octets.size())};
    return KwPkiCertRequestAsync(&block, names, options.further.c_str(), StatusAnswer::take,
                                 &answer, agent);
  });
  check_answer(answer.status);
  const char *done = options.remove ? "removed" : "kept";
  if (options.store.json) {
    Json list = Json::array();
    for (const std::string &name : options.names) list.push_back(as_utf8(name));
    write_json(output, {{"request", done}, {"names", list}});
  } else {
    output.write(fmt::format("certificate request {}\n", done));
  }
  return kExitOk;
}

// check_request looks at what must and must not stand together.
void check_request(const RequestOptions &options) {
  if (options.names.size() > kRequestNames)
    throw CLI::ValidationError("--name", fmt::format("there are at most {} names", kRequestNames));
  if (options.names.empty()) throw CLI::RequiredError("--name");
  if (!options.remove && options.file.empty()) throw CLI::RequiredError("FILE");
  if (options.remove && !(options.file.empty() && options.further.empty()))
    throw CLI::ValidationError("remove", "takes neither a FILE nor --further");
}

void add_request_command(CLI::App &app, Run &run) {
  const auto options = std::make_shared<RequestOptions>();
  CLI::App *command =
      app.add_subcommand("request", "Hand in a request for a certificate, or take it back");
  command->footer(std::string("A FILE is handed in as it stands; \"-\" means standard input. Up to "
                              "four names tell which request it\nis; those that are not given are "
                              "empty. One of the same names is replaced.\n\n") +
                  kAnswerFooter);
  command->add_option("FILE", options->file, "The request")->type_name("");
  command->add_option("--name", options->names, "A name of the request; up to four")
      ->allow_extra_args(false)
      ->type_name("NAME");
  command->add_option("--further", options->further, "A further text")->type_name("TEXT");
  add_store_options(command, &options->store);
  CLI::App *remove = command->add_subcommand("remove", "Take a request back, by its names");
  command->callback([options, remove, &run] {
    options->remove = remove->parsed();
    check_request(*options);
    run = on_run([options](Output &output, const Streams &streams) {
      return do_request(*options, output, streams);
    });
  });
}

// add_simple_command adds a command without options of its own.
void add_simple_command(CLI::App &app, Run &run, const char *name, const char *help,
                        int (*show)(const StoreOptions &, Output &)) {
  const auto options = std::make_shared<StoreOptions>();
  CLI::App *command = app.add_subcommand(name, help);
  command->footer(kAnswerFooter);
  add_store_options(command, options.get());
  command->callback([options, show, &run] {
    run = on_run([=](Output &output, const Streams &) { return show(*options, output); });
  });
}

}  // namespace

void add_store_options(CLI::App *command, StoreOptions *options) {
  command->add_option("--store", options->store, "The file of the store")
      ->envname("KWPKI_STORE")
      ->type_name("FILE");
  command
      ->add_option("--trace", options->trace,
                   "Write requests and replies into this folder: 0001-request.bin, ...")
      ->type_name("DIR");
  command->add_flag("--json", options->json, "Write JSON, one object a line");
}

Session open_store(const StoreOptions &options, StoreUse use) {
  if (!stores_are_files()) return Session(options.store, options.trace);
  if (options.store.empty())
    throw Failure{kExitUsage, "", "no store: give --store FILE or set KWPKI_STORE"};
  std::error_code error;
  if (use == StoreUse::kRead && !std::filesystem::exists(options.store, error)) {
    throw Failure{kExitUnreadable, options.store,
                  error ? error.message() : "no such store; `kwpki add` makes one"};
  }
  return Session(options.store, options.trace);
}

Run on_run(Action action) {
  return [action](const Streams &streams) {
    Output output(streams);
    try {
      return action(output, streams);
    } catch (const Failure &failure) {
      output.fault(failure.name, failure.text);
      return failure.exit;
    }
  };
}

void write_json(Output &output, const Json &json) {
  Json whole = document();
  whole.update(json);
  whole.update(document());  // whatever the members of a service are called
  output.write(json_line(whole) + "\n");
}

void add_store_commands(CLI::App &app, Run &run) {
  add_add_command(app, run);
  add_search_commands(app, run);
  add_simple_command(app, run, "ca-names", "List the names of the CAs in the store", show_ca_names);
  add_simple_command(app, run, "status", "Show what the store holds", show_status);
  add_request_command(app, run);
}

}  // namespace kwpki
