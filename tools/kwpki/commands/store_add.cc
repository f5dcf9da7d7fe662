// `kwpki add`.
#include <fmt/format.h>

#include "kwpki/commands/store_commands.h"
#include "kwpki/input/input.h"
#include "kwpki/terminal/text.h"
#include "loopback/status.h"
#include "x509/cert.h"
#include "x509/crl.h"

namespace kwpki {
namespace {

constexpr const char *kImportFooter =
    R"(A FILE is a DER or PEM file, a bundle of PEM blocks, or a directory, which is read recursively in
the order of names; "-" means standard input. Certificates and CRLs are added; what is neither is
refused, or passed over if it is a block of another label or an unrelated file of a directory.
What the store holds already is kept once.

JSON is one object for each certificate and CRL, and one with the counts at the end.

Exit status: 0 everything was added; 1 something was refused; 2 wrong use; 3 a file could not be
read, the store not be opened or output not be written. If 1 and 3 both apply, it is 3.)";

struct ImportOptions {
  StoreOptions store;
  std::vector<std::string> paths;
  std::string flags = "0";
};

uint32_t number_of_options(const std::string &text) {
  if (const auto number = parse_number(text)) return *number;
  throw Failure{kExitUsage, "--options", "not a number of 32 bits: " + text};
}

// Importer adds what it finds, one request each, and counts what became of it.
class Importer {
 public:
  Importer(const ImportOptions &options, Output &output, const Streams &streams)
      : options_(options),
        output_(output),
        streams_(streams),
        flags_(number_of_options(options.flags)),
        session_(open_store(options.store, StoreUse::kMake)) {}

  int run();

 private:
  void import_source(const Source &source);
  void import_block(const Place &place, const Block &block);
  void import_object(const Place &place, Bytes octets);
  void add(const Place &place, const char *kind,
           const std::function<KwPkiStatus(StatusAnswer *answer, void *agent)> &post);
  void refuse(const Place &place, const std::string &why);
  void pass_over(const Place &place, const std::string &why);
  void report(const Place &place, const char *result, const char *key, const std::string &value);
  void unreadable(const std::string &name, const std::string &why);
  void summarize();

  const ImportOptions &options_;
  Output &output_;
  Streams streams_;
  uint32_t flags_;
  Session session_;
  size_t certificates_ = 0, crls_ = 0, refused_ = 0, passed_ = 0;
  int exit_ = kExitOk;
};

int Importer::run() {
  const Found found = find_sources(options_.paths);
  for (const Problem &problem : found.problems) unreadable(problem.name, problem.text);
  try {
    for (const Source &source : found.sources) import_source(source);
  } catch (const Failure &failure) {  // what was added stays
    output_.fault(failure.name, failure.text);
    exit_ = std::max(exit_, failure.exit);
  }
  summarize();
  output_.flush();
  return exit_;
}

void Importer::unreadable(const std::string &name, const std::string &why) {
  output_.fault(name, why);
  exit_ = kExitUnreadable;
}

void Importer::import_source(const Source &source) {
  std::vector<uint8_t> file;
  const Place place{source.name};
  const std::string problem = read_source(source, streams_.in, &output_, &file);
  if (!problem.empty()) return unreadable(place.name(), problem);

  const std::vector<Block> blocks = find_blocks(file);
  for (size_t i = 0; i < blocks.size(); ++i) import_block({source.name, i + 1}, blocks[i]);
  if (!blocks.empty()) return;
  if (source.from_directory && !is_plainly_der(file))
    return pass_over(place, "neither a certificate nor a CRL");
  import_object(place, file);
}

void Importer::import_block(const Place &place, const Block &block) {
  if (!block.readable) return pass_over(place, fmt::format("line {}: {}", block.line, block.label));
  if (!block.fault.empty())
    output_.fault(place.name(), fmt::format("line {}: {}", block.line, block.fault));
  import_object(place, block_octets(block));
}

// import_object adds the one element that was read. Bytes around it, such as the trust settings of
// a TRUSTED CERTIFICATE, do not go into the store.
void Importer::import_object(const Place &place, Bytes octets) {
  const auto set = [](auto function, auto object, Bytes own) {
    return function(own.data(), static_cast<uint32_t>(own.size()), object) == KWPKI_OK;
  };
  const SshX509CertOwner cert_record(ssh_x509_cert_allocate());
  const SshX509CrlOwner crl_record(ssh_x509_crl_allocate());
  const Cert cert(KwPkiCertAllocate());
  const Crl crl(KwPkiCrlAllocate());
  if (ssh_x509_cert_decode(octets, cert_record.get()) &&
      set(KwPkiCertSetBer, cert.get(), cert_record->element)) {
    return add(place, "certificate", [&](StatusAnswer *answer, void *agent) {
      return KwPkiCertAddAsync(cert.get(), StatusAnswer::take, answer, flags_, agent);
    });
  }
  if (ssh_x509_crl_decode(octets, crl_record.get()) &&
      set(KwPkiCrlSetBer, crl.get(), crl_record->element)) {
    return add(place, "crl", [&](StatusAnswer *answer, void *agent) {
      return KwPkiCrlAddAsync(crl.get(), StatusAnswer::take, answer, agent);
    });
  }
  refuse(place, "neither a certificate nor a CRL that the library reads; `kwpki inspect` shows it");
}

// add adds one object. A status that is about the object itself refuses it. Any other status, such
// as that of a store that is full or locked, would come again for all that follow: it ends the
// command.
void Importer::add(const Place &place, const char *kind,
                   const std::function<KwPkiStatus(StatusAnswer *, void *)> &post) {
  StatusAnswer answer;
  session_.exchange([&](void *agent) { return post(&answer, agent); });
  if (answer.status == loopback::kUndecodable) return refuse(place, status_text(answer.status));
  check_answer(answer.status, place.name());
  ++(kind[1] == 'e' ? certificates_ : crls_);
  report(place, "added", "kind", kind);
  output_.progress(options_.store.store, "certificates and CRLs added", certificates_ + crls_);
}

void Importer::refuse(const Place &place, const std::string &why) {
  ++refused_;
  exit_ = std::max<int>(exit_, kExitRefused);
  output_.fault(place.name(), "refused: " + why);
  report(place, "refused", "reason", why);
}

void Importer::pass_over(const Place &place, const std::string &why) {
  ++passed_;
  output_.message(place.name(), "passed over: " + why);
  report(place, "passed over", "reason", why);
}

void Importer::report(const Place &place, const char *result, const char *key,
                      const std::string &value) {
  if (!options_.store.json) return;
  Json json = Json::object();
  set_place(json, place);
  json["result"] = result;
  set_text(json, key, value);
  write_json(output_, json);
}

void Importer::summarize() {
  if (options_.store.json) {
    return write_json(output_, {{"certificates", certificates_},
                                {"crls", crls_},
                                {"refused", refused_},
                                {"passed_over", passed_}});
  }
  const std::string refused = fmt::format("{} refused", refused_);
  output_.write(fmt::format("{} certificates and {} CRLs added, {}, {} passed over\n",
                            certificates_, crls_,
                            refused_ ? output_.style().warning(refused) : refused, passed_));
}

}  // namespace

void add_add_command(CLI::App &app, Run &run) {
  const auto options = std::make_shared<ImportOptions>();
  CLI::App *command =
      app.add_subcommand("add", "Add the certificates and CRLs of files and folders to the store");
  command->footer(kImportFooter);
  command->add_option("FILE", options->paths, "What to add")->type_name("")->required();
  command
      ->add_option("--options", options->flags,
                   "Options that are handed to the service with each certificate [0]")
      ->type_name("N");
  add_store_options(command, &options->store);
  command->callback([options, &run] {
    run = on_run([options](Output &output, const Streams &streams) {
      return Importer(*options, output, streams).run();
    });
  });
}

}  // namespace kwpki
