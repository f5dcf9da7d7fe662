// `kwpki search` and `kwpki path`. A further kind of key that is text is a row of kTextKeys, a
// further constraint a row of kConstraintOptions.
#include <fmt/format.h>

#include <algorithm>

#include "kwpki/commands/store_commands.h"
#include "kwpki/input/input.h"
#include "kwpki/show/brief.h"
#include "kwpki/terminal/system.h"
#include "kwpki/terminal/text.h"
#include "kwpki/values/describe.h"
#include "kwpki/values/parse.h"
#include "x509/dn.h"
#include "x509/oid_registry.h"

namespace kwpki {
namespace {

constexpr size_t kNameMax = 0x100000;  // as the library has it

constexpr const char *kSearchFooter =
    R"(Options of keys may be repeated: what is found has all of the keys, or with --any one at least.
Without keys every certificate is looked at. Values of names are compared without regard
to case and runs of blanks, other keys byte by byte. NAME is a name as `kwpki inspect` prints it,
in the order of the certificate; if that finds nothing, the other order is tried. CERT is a DER or
PEM file, or "-".

TIME is "now" or in UTC: 2026-01-31, 2026-01-31T12:00, 2026-01-31T12:00:00Z. USAGES are names as
`kwpki inspect` writes them, separated by commas; a certificate that does not restrict its key has
them all.)";

constexpr const char *kSearchExit =
    R"(

JSON is one object a certificate: "position", "subject" (null if it has no text; "readable" then
has its values), "serial", "key" (null if there is none to export), "not_after", "fingerprints",
"der" in base64.

Exit status: 0 something was found; 1 nothing was, or not all of it could be had; 2 wrong use; 3 the
store could not be opened, a file not be read or output not be written.)";

// Criteria are what a search asks for, or one end of a path: `end` is then its option.
struct Criteria {
  std::string end;
  std::vector<std::string> dn, dn_of, dns, email, uri, ip, oid, key_of;
  std::optional<std::string> valid_at, key_usage, key_type, path_length, rule;
  bool any = false;

  [[nodiscard]] std::string option(const char *name) const {
    return end.empty() ? std::string("--") + name : end + " " + name;
  }
};

[[noreturn]] void refuse(const std::string &option, const std::string &why,
                         const std::string &value) {
  throw Failure{kExitUsage, option, why + ": " + value};
}

// Name is a distinguished name.
struct Name {
  Name() = default;
  ~Name() { ssh_dn_clear(&dn); }
  Name(const Name &) = delete;
  Name &operator=(const Name &) = delete;

  // reverse puts the relative names into the other order, which other programs write.
  void reverse() {
    if (dn.count) std::reverse(dn.rdns, dn.rdns + dn.count);
  }
  [[nodiscard]] bool add(KwPkiSearchKey key) const {
    uint8_t *der = nullptr;
    size_t length = 0;
    if (!ssh_dn_encode_der(&dn, false, &der, &length)) return false;
    const SshBlock owner(der);
    return KwPkiSearchKeySetDNDer(der, static_cast<uint32_t>(length), key) == KWPKI_OK;
  }

  SshDN dn = {};
};

bool add_name(const std::string &value, bool reversed, KwPkiSearchKey key) {
  Name name;
  if (value.size() > kNameMax || !ssh_dn_decode_ldap(library_name(value).c_str(), &name.dn))
    return false;
  if (reversed) name.reverse();
  return name.dn.count > 0 && name.add(key);
}

bool add_dn(const std::string &value, KwPkiSearchKey key) { return add_name(value, false, key); }

bool add_reversed_dn(const std::string &value, KwPkiSearchKey key) {
  return add_name(value, true, key);
}

// add_text adds bytes as they stand. A length of 0 would mean null-terminated text to the library,
// so an empty value is refused.
template <auto Set>
bool add_text(const std::string &value, KwPkiSearchKey key) {
  return !value.empty() && Set(value.data(), static_cast<uint32_t>(value.size()), key) == KWPKI_OK;
}

bool add_ip(const std::string &value, KwPkiSearchKey key) {
  uint8_t octets[16];
  const size_t length = parse_ip(value, octets);
  return length && KwPkiSearchKeySetIP(octets, static_cast<uint32_t>(length), key) == KWPKI_OK;
}

// add_oid takes an identifier with its true digits, and searches for the text that the profile has.
bool add_oid(const std::string &value, KwPkiSearchKey key) {
  const std::string text = library_oid(value);
  return add_text<KwPkiSearchKeySetOID>(text, key);
}

// TextKeyRow is an option whose values each become a key.
struct TextKeyRow {
  const char *name, *type, *help;
  std::vector<std::string> Criteria::*values;
  bool (*add)(const std::string &value, KwPkiSearchKey key);
  const char *fault;
};
constexpr TextKeyRow kTextKeys[] = {
    {"dn", "NAME", "Subject or directory name, such as \"C=FI, O=Example, CN=First\"; in UTF-8",
     &Criteria::dn, add_dn, "not a distinguished name"},
    {"dns", "NAME", "DNS name", &Criteria::dns, add_text<KwPkiSearchKeySetDNS>, "not a DNS name"},
    {"email", "ADDRESS", "E-mail address", &Criteria::email, add_text<KwPkiSearchKeySetEmail>,
     "not an e-mail address"},
    {"uri", "URI", "URI", &Criteria::uri, add_text<KwPkiSearchKeySetURI>, "not a URI"},
    {"ip", "ADDRESS", "IPv4 or IPv6 address", &Criteria::ip, add_ip, "not an IP address"},
    {"oid", "OID", "Policy, purpose or registered identifier, dotted", &Criteria::oid, add_oid,
     "not a dotted identifier"},
};

// The values of constraints: nothing if the text has no meaning.
struct NamedNumber {
  std::string_view name;
  uint32_t value;
};
constexpr NamedNumber kKeyTypeOptions[] = {{"rsa", 1}, {"dsa", 2}, {"dh", 4}};
constexpr NamedNumber kRuleNames[] = {
    {"all", 0}, {"newest", 1}, {"authorities", 2}, {"end-entities", 3}};

std::optional<uint32_t> find_name(std::span<const NamedNumber> names, std::string_view text) {
  for (const NamedNumber &row : names) {
    if (row.name == text) return row.value;
  }
  return {};
}

std::optional<uint32_t> key_type_value(const std::string &text) {
  return find_name(kKeyTypeOptions, CLI::detail::to_lower(text));
}

std::optional<uint32_t> rule(const std::string &text) {
  const auto named = find_name(kRuleNames, text);
  return named ? named : parse_number(text);
}

KwPkiStatus KWPKI_CALL set_time(uint32_t value, KwPkiSearch search) {
  return KwPkiSearchSetUnixTime(value, value, search);
}

// ConstraintRow is an option whose text becomes a number that one export stores.
struct ConstraintRow {
  const char *name, *type, *help;
  std::optional<std::string> Criteria::*text;
  std::optional<uint32_t> (*parse)(const std::string &text);
  KwPkiStatus(KWPKI_CALL *set)(uint32_t value, KwPkiSearch search);
  const char *fault;
};
const ConstraintRow kConstraintOptions[] = {
    {"valid-at", "now|TIME", "Valid at this time", &Criteria::valid_at, parse_time, set_time,
     "not \"now\" nor a date and time from 1970 to 2106"},
    {"key-usage", "USAGES", "With a key for all of these", &Criteria::key_usage, parse_key_usage,
     KwPkiSearchSetKeyUsage, "not names of key usage separated by commas"},
    {"key-type", "rsa|dsa|dh", "With a key of this type", &Criteria::key_type, key_type_value,
     KwPkiSearchSetKeyType, "not rsa, dsa or dh"},
    {"path-length", "N", "CAs that allow as many CAs below them", &Criteria::path_length,
     parse_number, KwPkiSearchSetPathLength, "not a number of 32 bits"},
    {"rule", "all|newest|authorities|end-entities|N", "Which of those found to give",
     &Criteria::rule, rule, KwPkiSearchSetRule,
     "neither all, newest, authorities, end-entities nor a number"},
};

// first_certificate sets `cert` to the first certificate of a file.
bool first_certificate(Bytes file, KwPkiCert cert) {
  const auto set = [cert](Bytes octets) {
    const auto length = static_cast<uint32_t>(octets.size());
    return KwPkiCertSetBer(octets.data(), length, cert) == KWPKI_OK;
  };
  const std::vector<Block> blocks = find_blocks(file);
  if (blocks.empty()) return set(file);
  return std::any_of(blocks.begin(), blocks.end(), [&](const Block &block) {
    return block.readable && set(block_octets(block));
  });
}

Cert read_certificate(const std::string &option, const std::string &file, const Streams &streams) {
  std::vector<uint8_t> octets;
  const std::string problem = read_source({file}, streams.in, nullptr, &octets);
  if (!problem.empty()) throw Failure{kExitUnreadable, file, problem};
  Cert cert(KwPkiCertAllocate());
  if (!first_certificate(octets, cert.get()))
    refuse(option, "not a certificate that the library reads", file);
  return cert;
}

void add_dn_of(const std::string &option, const std::string &file, const Streams &streams,
               KwPkiSearchKey key) {
  const Cert cert = read_certificate(option, file, streams);
  uint8_t *der = nullptr;
  uint32_t length = 0;
  KwPkiStatus status = KwPkiCertGetSubjectDNDer(cert.get(), &der, &length);
  const Given<uint8_t> owner(der);
  if (status == KWPKI_OK) status = KwPkiSearchKeySetDNDer(der, length, key);
  if (status != KWPKI_OK) refuse(option, "a certificate without a name to search for", file);
}

void add_key_of(const std::string &option, const std::string &file, const Streams &streams,
                KwPkiSearchKey key) {
  const Cert cert = read_certificate(option, file, streams);
  const PublicKey public_key(KwPkiPublicKeyAllocate());
  KwPkiStatus status = KwPkiCertGetPublicKey(cert.get(), public_key.get());
  if (status == KWPKI_OK) status = KwPkiSearchKeySetPublicKey(public_key.get(), key);
  if (status != KWPKI_OK) refuse(option, code_text(status), file);
}

// build makes the constraints; what cannot be made is wrong use. With `reversed`, names given as
// text are in the other order.
Search build(const Criteria &criteria, const Streams &streams, bool reversed = false) {
  const SearchKey key(KwPkiSearchKeyAllocate());
  for (const TextKeyRow &row : kTextKeys) {
    for (const std::string &value : criteria.*row.values) {
      const auto add = reversed && row.add == add_dn ? add_reversed_dn : row.add;
      if (!add(value, key.get())) refuse(criteria.option(row.name), row.fault, value);
    }
  }
  for (const std::string &file : criteria.dn_of)
    add_dn_of(criteria.option("dn-of"), file, streams, key.get());
  for (const std::string &file : criteria.key_of)
    add_key_of(criteria.option("key-of"), file, streams, key.get());

  Search search(KwPkiSearchAllocate());
  (void)KwPkiSearchSetKeys(key.get(), search.get());
  for (const ConstraintRow &row : kConstraintOptions) {
    const std::optional<std::string> &text = criteria.*row.text;
    if (!text) continue;
    const std::optional<uint32_t> value = row.parse(*text);
    if (!value) refuse(criteria.option(row.name), row.fault, *text);
    (void)row.set(*value, search.get());
  }
  if (criteria.any) (void)KwPkiSearchSetGroupModeOn(search.get());
  return search;
}

// found_text shows a certificate that was found, in one line, with what is wrong with it.
std::string found_text(size_t position, const Json &json, const std::string &wrong,
                       const Style &style) {
  if (json["der"] == "")
    return fmt::format("{}. {}\n", position,
                       style.warning("a certificate that is not read under this profile"));
  std::string subject = "no subject";
  if (json["subject"].is_string()) {
    subject = json["subject"];
  } else if (json.contains("readable")) {
    subject = json["readable"].get<std::string>() + "  (the library has no text for this name)";
  }
  const Json &key = json["key"];
  std::string key_text = key.is_null() ? "none" : key["type"].get<std::string>();
  if (key.contains("bits")) key_text += fmt::format(", {} bits", key["bits"].get<size_t>());
  const std::string end =
      json["not_after"].is_string() ? json["not_after"].get<std::string>().substr(0, 10) : "never";
  return fmt::format("{}. {}; expires {}; {}; SHA-256 {}{}\n", position, escape(subject), end,
                     key_text, json["fingerprints"].value("sha256", ""),
                     wrong.empty() ? "" : "; " + style.warning(wrong));
}

// describe adds what people tell certificates apart by, and returns what is wrong with one.
std::string describe(Json &json, Bytes der) {
  const SshX509CertOwner cert(ssh_x509_cert_allocate());
  if (!ssh_x509_cert_decode(der, cert.get())) return {};
  json["not_after"] = time_json(cert->not_after);
  json["fingerprints"] = fingerprints_json(cert->element);
  return objections(*cert,
                    std::chrono::floor<std::chrono::seconds>(std::chrono::system_clock::now()));
}

enum class Form : uint8_t { kText, kJson, kPem };

Form form_of(bool pem, bool json) { return pem ? Form::kPem : json ? Form::kJson : Form::kText; }

// show_list writes certificate by certificate: a list may be long.
int show_list(const ListAnswer &answer, Form form, Output &output) {
  check_answer(answer.status);
  size_t position = 0;
  for (KwPkiCert cert = KwPkiCertListFirst(answer.list.get()); cert;
       cert = KwPkiCertListNext(answer.list.get())) {
    Json json = {{"position", ++position}};
    const uint8_t *der = nullptr;
    uint32_t length = 0;
    const bool has_der = KwPkiCertGetBer(cert, &der, &length) == KWPKI_OK;
    if (form == Form::kPem) {
      if (has_der) output.write(pem_text("CERTIFICATE", {der, length}));
      continue;
    }
    json.update(cert_json(cert));
    const std::string wrong = has_der ? describe(json, {der, length}) : "";
    if (form == Form::kJson)
      write_json(output, json);
    else
      output.write(found_text(position, json, wrong, output.style()));
  }
  if (position == 0) output.message("", "nothing was found");
  uint32_t state = 0;
  char *text = nullptr;
  const Given<char> words(KwPkiGetSearchState(answer.list.get(), &state, &text));
  if (state != 0) output.fault("", std::string("not all: ") + (words ? words.get() : "cut"));
  output.flush();
  return position == 0 || state != 0 ? kExitRefused : kExitOk;
}

struct SearchOptions {
  StoreOptions store;
  Criteria criteria;
  bool pem = false;
};

void ask(Session &session, KwPkiSearch what, ListAnswer &answer) {
  session.exchange([&](void *agent) {
    return KwPkiSearchAsync(what, nullptr, ListAnswer::take, &answer, agent);
  });
}

// search asks the service and shows the list. If nothing has the name that was given, it asks again
// with the name in the other order, in which other programs write names. It does not if a file is
// among the criteria: that may be standard input, which can be read only once.
int search(const SearchOptions &options, Output &output, const Streams &streams) {
  const Search what = build(options.criteria, streams);
  Session session = open_store(options.store, StoreUse::kRead);
  const Form form = form_of(options.pem, options.store.json);
  ListAnswer answer, other;
  ask(session, what.get(), answer);
  const bool again = !options.criteria.dn.empty() && options.criteria.dn_of.empty() &&
                     options.criteria.key_of.empty() && KwPkiCertListIsEmpty(answer.list.get());
  if (answer.status != 0 || !again) return show_list(answer, form, output);
  const Search reversed = build(options.criteria, streams, true);
  ask(session, reversed.get(), other);
  if (other.status != 0 || KwPkiCertListIsEmpty(other.list.get()))
    return show_list(answer, form, output);
  output.message("",
                 "nothing has the name in this order; found with its parts in the other one, "
                 "as certificates have it");
  return show_list(other, form, output);
}

struct PathCriteria {
  StoreOptions store;
  Criteria from, to;
  bool pem = false;
};

int path(const PathCriteria &options, Output &output, const Streams &streams) {
  const Search from = build(options.from, streams), to = build(options.to, streams);
  Session session = open_store(options.store, StoreUse::kRead);
  ListAnswer answer;
  session.exchange([&](void *agent) {
    return KwPkiSearchPathAsync(from.get(), to.get(), nullptr, ListAnswer::take, &answer, agent);
  });
  return show_list(answer, form_of(options.pem, options.store.json), output);
}

void add_criteria(CLI::App *command, Criteria *criteria) {
  constexpr const char *kGroup = "What to find";
  const auto add_values = [&](const char *name, std::vector<std::string> *values) {
    return command->add_option(criteria->option(name), *values)
        ->allow_extra_args(false)
        ->group(kGroup);
  };
  for (const TextKeyRow &row : kTextKeys) {
    add_values(row.name, &(criteria->*row.values))->type_name(row.type)->description(row.help);
  }
  add_values("dn-of", &criteria->dn_of)
      ->type_name("CERT")
      ->description("The subject of this certificate");
  add_values("key-of", &criteria->key_of)
      ->type_name("CERT")
      ->description("The public key of this certificate");
  for (const ConstraintRow &row : kConstraintOptions) {
    command->add_option(criteria->option(row.name), criteria->*row.text, row.help)
        ->type_name(row.type)
        ->group(kGroup);
  }
  command->add_flag(criteria->option("any"), criteria->any, "One of the keys is enough")
      ->group(kGroup);
}

// set takes one NAME=VALUE, where NAME is an option of `kwpki search`; false for another name.
bool set(Criteria *criteria, const std::string &text) {
  const size_t split = std::min(text.find('='), text.size());
  const std::string name = text.substr(0, split);
  if (split == text.size()) return criteria->any = name == "any";
  const std::string value = text.substr(split + 1);
  const auto add = [&value](std::vector<std::string> &values) {
    values.push_back(value);
    return true;
  };
  for (const TextKeyRow &row : kTextKeys)
    if (name == row.name) return add(criteria->*row.values);
  if (name == "dn-of") return add(criteria->dn_of);
  if (name == "key-of") return add(criteria->key_of);
  for (const ConstraintRow &row : kConstraintOptions) {
    if (name != row.name) continue;
    criteria->*row.text = value;
    return true;
  }
  return false;
}

// add_end adds --from or --to, whose values are options of a search.
void add_end(CLI::App *command, const char *option, const char *help, Criteria *criteria) {
  criteria->end = option;
  command
      ->add_option_function<std::vector<std::string>>(
          option,
          [criteria, option](const std::vector<std::string> &texts) {
            for (const std::string &text : texts)
              if (!set(criteria, text))
                throw CLI::ValidationError(option, "not an option of a search: " + text);
          },
          help)
      ->allow_extra_args(false)
      ->type_name("NAME=VALUE");
}

}  // namespace

void add_search_commands(CLI::App &app, Run &run) {
  const auto options = std::make_shared<SearchOptions>();
  CLI::App *command = app.add_subcommand("search", "Find certificates in the store");
  command->footer(std::string(kSearchFooter) + kSearchExit);
  add_criteria(command, &options->criteria);
  command->add_flag("--pem", options->pem, "Write the certificates as PEM");
  add_store_options(command, &options->store);
  command->callback([options, &run] {
    run = on_run([options](Output &output, const Streams &streams) {
      return search(*options, output, streams);
    });
  });

  const auto ends = std::make_shared<PathCriteria>();
  command = app.add_subcommand("path", "Find a path from one certificate to another by issuers");
  command->footer(std::string("The shortest path: it begins with a certificate that meets the "
                              "--from options, each is issued by the\nnext as far as names tell, "
                              "and it ends with one that meets the --to options. NAME is an option "
                              "of\n`kwpki search`: --from dns=www.example.com, --to path-length=1, "
                              "--from any.\n\n") +
                  kSearchFooter + kSearchExit);
  add_end(command, "--from", "Where the path begins; may be repeated", &ends->from);
  add_end(command, "--to", "Where the path ends; may be repeated", &ends->to);
  command->add_flag("--pem", ends->pem, "Write the certificates as PEM");
  add_store_options(command, &ends->store);
  command->callback([ends, &run] {
    run = on_run(
        [ends](Output &output, const Streams &streams) { return path(*ends, output, streams); });
  });
}

}  // namespace kwpki
