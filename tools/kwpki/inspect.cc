#include "kwpki/inspect.h"

#include <fmt/format.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "kwpki/brief.h"
#include "kwpki/describe.h"
#include "kwpki/entries.h"
#include "kwpki/input.h"
#include "kwpki/render.h"
#include "kwpki/system.h"
#include "kwpki/tree.h"

namespace kwpki {
namespace {

// Object is one certificate or CRL to be: its octets and where they come from.
struct Object {
  std::string file;
  Bytes octets;
  const Block *block = nullptr;  // null: DER
  size_t index = 0, count = 0;   // of the block in its file

  [[nodiscard]] std::string where() const {
    const std::string name = file == "-" ? "standard input" : file;
    if (!block) return name;
    return count == 1 ? name + " (PEM)"
                      : fmt::format("{} (PEM block {} of {})", name, index, count);
  }
  [[nodiscard]] std::string short_where() const {  // in a table
    const std::string name = file == "-" ? "standard input" : file;
    return count > 1 ? fmt::format("{} #{}", name, index) : name;
  }
};

class Inspector {
 public:
  Inspector(const InspectOptions &options, const Streams &streams)
      : options_(options), streams_(streams), output_(streams), style_(output_.style()) {}

  int run();

 private:
  template <class Show>
  void guard(const std::string &name, Show show);
  void inspect_source(const Source &source);
  void inspect_blocks(const Source &source, const std::vector<Block> &blocks);
  void inspect_object(const Object &object);
  void show_certificate(const Object &object, const SshX509Cert &cert);
  void show_crl(const Object &object, const SshX509Crl &crl);
  void show_refused(const Object &object, const SshX509Refusal &refusal, const char *kind);
  void show_tree(const Object &object, const SshX509Refusal &refusal);
  void show_entries(const SshX509Crl &crl, const std::string &name);
  [[nodiscard]] Json start(const Object &object, const char *kind, bool accepted) const;
  void finish_json(const Object &object, Json json, Bytes der, const SshX509Crl *crl);
  void write_base64(Bytes octets);
  void head(const Object &object, std::string_view what);
  [[nodiscard]] std::string head_text(const Object &object, std::string_view what) const;
  template <class Record>
  void accepted_head(const Object &object, const Record &record, const char *what);
  template <class Record>
  bool show_brief(const Object &object, const Record &record, const char *what);
  void present(std::string whole, const std::string &row);
  void end_brief();
  template <class Record>
  void write_pem(const Record &record, std::string_view label);
  void find_serial(const Object &object, const SshX509Crl &crl);
  void unreadable(const std::string &name, const std::string &why);

  const InspectOptions &options_;
  Streams streams_;
  Output output_;
  const Style &style_;
  int exit_ = kExitOk;
  size_t looked_at_ = 0;  // certificates and CRLs, those that were refused too
  bool first_ = true;
  const Moment now_ = std::chrono::floor<std::chrono::seconds>(std::chrono::system_clock::now());
  const std::chrono::seconds soon_ = std::chrono::days(options_.expires.value_or(0));
  struct Held {
    std::string whole, row;
  };
  std::vector<Held> held_;  // the first few, until it is known whether there are more
  bool table_ = false;
  bool in_line_ = false;  // a line of JSON has begun and not ended
};

int Inspector::run() {
  const Found found =
      find_sources(options_.files.empty() ? std::vector<std::string>{"-"} : options_.files);
  if (options_.files.empty() && is_terminal(streams_.in)) {
    output_.message("", "reading standard input; --help tells more");
  }
  try {
    for (const Problem &problem : found.problems) unreadable(problem.name, problem.text);
    for (const Source &source : found.sources) {
      guard(source.name, [&] { inspect_source(source); });
    }
    end_brief();
    if (looked_at_ == 0 && exit_ == kExitOk) {
      output_.fault("", options_.find ? "there is no CRL" : "there is no certificate and no CRL");
      exit_ = kExitRefused;
    }
    output_.flush();
  } catch (const OutputClosed &closed) {
    if (closed.error != EPIPE) throw;
  }
  return exit_;
}

void Inspector::unreadable(const std::string &name, const std::string &why) {
  output_.fault(name, why);
  exit_ = kExitUnreadable;
}

// guard keeps what goes wrong with one input from the others.
template <class Show>
void Inspector::guard(const std::string &name, Show show) {
  const std::string fault = fault_of(show);
  if (fault.empty()) return;
  if (in_line_) output_.write("\n");
  in_line_ = false;
  output_.fault(name == "-" ? "standard input" : name, "refused: cannot be shown: " + fault);
  exit_ = std::max<int>(exit_, kExitRefused);
}

void Inspector::inspect_source(const Source &source) {
  std::vector<uint8_t> file;
  const std::string problem = read_source(source, streams_.in, &output_, &file);
  if (!problem.empty())
    return unreadable(source.name == "-" ? "standard input" : source.name, problem);

  const std::vector<Block> blocks = find_blocks(file);
  if (!blocks.empty()) return inspect_blocks(source, blocks);
  if (source.from_directory && !is_plainly_der(file)) {
    return output_.message(source.name, "neither a certificate nor a CRL; passed over");
  }
  inspect_object({source.name, file});
}

void Inspector::inspect_blocks(const Source &source, const std::vector<Block> &blocks) {
  for (size_t i = 0; i < blocks.size(); ++i) {
    const Block &block = blocks[i];
    output_.progress(source.name, "blocks read", i + 1);
    if (!block.readable) {
      output_.message(source.name, fmt::format("line {}: block {} ({}) passed over", block.line,
                                               i + 1, block.label));
      continue;
    }
    if (!block.fault.empty())
      output_.fault(source.name, fmt::format("line {}: {}", block.line, block.fault));
    const std::vector<uint8_t> octets = block_octets(block);
    const Object object = {source.name, octets, &block, i + 1, blocks.size()};
    guard(object.where(), [&] { inspect_object(object); });
  }
}

void Inspector::inspect_object(const Object &object) {
  start_items();
  ++looked_at_;
  const SshX509CertOwner cert(ssh_x509_cert_allocate());
  if (ssh_x509_cert_decode(object.octets, cert.get())) return show_certificate(object, *cert);
  const SshX509CrlOwner crl(ssh_x509_crl_allocate());
  if (ssh_x509_crl_decode(object.octets, crl.get())) return show_crl(object, *crl);
  exit_ = std::max<int>(exit_, kExitRefused);
  const bool labelled = object.block && object.block->label.ends_with("CRL");
  const bool is_crl = labelled || ssh_x509_looks_like_crl(object.octets);
  show_refused(object, is_crl ? crl->refusal : cert->refusal, is_crl ? "crl" : "certificate");
}

std::string Inspector::head_text(const Object &object, std::string_view what) const {
  return style_.heading(fmt::format("{}: {}", escape(object.where()), what)) + "\n";
}

void Inspector::head(const Object &object, std::string_view what) {
  output_.write((first_ ? "" : "\n") + head_text(object, what));
  first_ = false;
}

// A few are shown in some lines each, more as a table with one line each.
void Inspector::present(std::string whole, const std::string &row) {
  constexpr size_t kFew = 3;
  if (!table_ && held_.size() < kFew) return held_.push_back({std::move(whole), row});
  if (!table_) {
    table_ = true;
    output_.write(style_.label(brief_heading()));
    for (const Held &held : held_) output_.write(held.row);
    held_.clear();
  }
  output_.write(row);
}

void Inspector::end_brief() {
  for (const Held &held : held_) {
    output_.write((first_ ? "" : "\n") + held.whole);
    first_ = false;
  }
}

// show_brief shows a record in the way that was asked for, or is false where that is all of it.
template <class Record>
bool Inspector::show_brief(const Object &object, const Record &record, const char *what) {
  const Expiry expiry = expiry_of(record, now_);
  const bool marked = options_.expires && expires_soon(expiry, soon_);
  if (marked) exit_ = std::max<int>(exit_, kExitRefused);
  if (options_.pem) {
    if (marked || !options_.expires) write_pem(record, what);
    return true;
  }
  if (options_.json || options_.tree || options_.full) return false;
  const std::string around = surroundings_text(record.der, record.element, what);
  if (!around.empty()) exit_ = std::max<int>(exit_, kExitRefused);
  std::string whole = head_text(object, what), where = object.short_where();
  if (!around.empty()) {
    whole += "  " + style_.warning(around) + "\n";
    where += ", " + around;
  }
  present(whole + brief(record, now_, soon_, style_),
          brief_row(record, now_, soon_, style_, where));
  return true;
}

template <class Record>
void Inspector::write_pem(const Record &record, std::string_view what) {
  constexpr size_t kLine = 48;  // octets, which are 64 letters: RFC 7468, 2
  const std::string_view label = what == "CRL" ? "X509 CRL" : "CERTIFICATE";
  std::string text = fmt::format("-----BEGIN {}-----\n", label);
  for (size_t at = 0; at < record.element.size(); at += kLine) {
    append_base64(text, record.element.subspan(at, std::min(kLine, record.element.size() - at)));
    text += '\n';
  }
  output_.write(text + fmt::format("-----END {}-----\n", label));
}

// find_serial says whether a CRL lists a serial number, since when and why.
void Inspector::find_serial(const Object &object, const SshX509Crl &crl) {
  SshX509RevokedCursor cursor(crl);
  bool found = false;
  while (!found && cursor.next()) found = cursor.entry().serial == *options_.find;
  if (options_.json) {
    Json json = start(object, "crl", true);
    json["serial"] = integer_json(*options_.find);
    json["revoked"] = found;
    json["entry"] = found ? entry_json(cursor.entry()) : Json();
    if (found) json["entry"]["extensions"] = entry_extensions_json(cursor.entry());
    output_.write(json_line(json) + "\n");
    if (!found) exit_ = std::max<int>(exit_, kExitRefused);
    return;
  }
  head(object,
       found ? style_.warning("the serial number is revoked") : "the serial number is not revoked");
  if (!found) {
    exit_ = std::max<int>(exit_, kExitRefused);
    return;
  }
  std::string text;
  EntryWriter(style_).text(cursor.entry(), 2, &text);
  output_.write(text);
}

// What stands around the object is no part of it, and nobody vouches for it.
template <class Record>
void Inspector::accepted_head(const Object &object, const Record &record, const char *what) {
  const std::string around = surroundings_text(record.der, record.element, what);
  if (!around.empty()) exit_ = std::max<int>(exit_, kExitRefused);
  if (options_.json) return;
  head(object, what);
  for (const std::string &text : {around, objections(record, now_)})
    if (!text.empty()) output_.write("  " + style_.warning(text) + "\n");
}

Json Inspector::start(const Object &object, const char *kind, bool accepted) const {
  Json json = document();
  set_text(json, "file", object.file);
  json["format"] = object.block ? "pem" : "der";
  if (object.block) {
    json["block"] = object.index;
    json["line"] = object.block->line;
    json["label"] = object.block->label;
  }
  json["kind"] = kind;
  json["accepted"] = accepted;
  return json;
}

void Inspector::write_base64(Bytes octets) {
  constexpr size_t kPiece = 0x30000;  // a multiple of three: the pieces join without padding
  for (size_t at = 0; at < octets.size(); at += kPiece) {
    std::string text;
    append_base64(text, octets.subspan(at, std::min(kPiece, octets.size() - at)));
    output_.write(text);
  }
}

// finish_json writes a document with what may be large, entries and DER, straight to the output
// behind it.
void Inspector::finish_json(const Object &object, Json json, Bytes der, const SshX509Crl *crl) {
  if (options_.tree) json["tree"] = tree_json(object.octets, {}, options_.tree_lines);
  std::string text = json_line(json);
  text.pop_back();
  in_line_ = true;
  if (crl) {
    text += ",\"entries\":[";
    EntryWriter writer(style_);
    SshX509RevokedCursor cursor(*crl);
    const size_t most = options_.entries_given ? options_.entries : kAll;
    for (size_t shown = 0; shown < most && cursor.next(); ++shown) {
      if (shown) text += ',';
      writer.json(cursor.entry(), &text);
      if (shown % 1024 != 0) continue;
      output_.write(text);
      text.clear();
      output_.progress(object.file, "entries written", shown);
    }
    text += ']';
  }
  output_.write(text + ",\"der\":\"");
  write_base64(der);
  output_.write("\"}\n");
  in_line_ = false;
}

void Inspector::show_certificate(const Object &object, const SshX509Cert &cert) {
  if (options_.find) {
    --looked_at_;
    return output_.message(object.where(), "a certificate; passed over");
  }
  if (show_brief(object, cert, "certificate")) return;
  accepted_head(object, cert, "certificate");
  if (options_.json) {
    Json json = start(object, "certificate", true);
    json.update(certificate_json(cert));
    return finish_json(object, std::move(json), cert.element, nullptr);
  }
  if (options_.tree) return show_tree(object, {});
  std::string text;
  render(certificate_json(cert), 2, style_, &text);
  output_.write(text);
}

void Inspector::show_crl(const Object &object, const SshX509Crl &crl) {
  if (options_.find) return find_serial(object, crl);
  if (!options_.entries_given && show_brief(object, crl, "CRL")) return;
  accepted_head(object, crl, "CRL");
  if (options_.json) {
    Json json = start(object, "crl", true);
    json.update(crl_json(crl));
    return finish_json(object, std::move(json), crl.element, &crl);
  }
  if (options_.tree) return show_tree(object, {});
  std::string text;
  render(crl_json(crl), 2, style_, &text);
  output_.write(text);
  show_entries(crl, object.file);
}

void Inspector::show_entries(const SshX509Crl &crl, const std::string &name) {
  const size_t shown = std::min(options_.entries, crl.revoked_count);
  std::string text =
      "  " + style_.label(fmt::format("Revoked certificates: {}", crl.revoked_count));
  if (shown < crl.revoked_count)
    text += fmt::format(" (showing {}; --entries all shows every one)", shown);
  text += '\n';
  EntryWriter writer(style_);
  SshX509RevokedCursor cursor(crl);
  for (size_t i = 0; i < shown && cursor.next(); ++i) {
    writer.text(cursor.entry(), 4, &text);
    if (text.size() < 0x10000) continue;
    output_.write(text);
    text.clear();
    output_.progress(name, "entries written", i + 1);
  }
  output_.write(text);
}

void Inspector::show_refused(const Object &object, const SshX509Refusal &refusal,
                             const char *kind) {
  if (options_.json) {
    Json json = start(object, kind, false);
    json["refusal"] = refusal_json(refusal);
    json["tree"] = tree_json(object.octets, refusal.offset, options_.tree_lines);
    return finish_json(object, std::move(json), object.octets, nullptr);
  }
  const Json json = refusal_json(refusal);
  const bool foreign = !object.block && !is_plainly_der(object.octets);
  std::string text = foreign ? "refused: neither PEM nor DER"
                             : fmt::format("refused as {}: {} at offset {}",
                                           kind[1] == 'r' ? "a CRL" : "a certificate",
                                           json["structure"].get<std::string>(), refusal.offset);
  if (json.contains("identifier")) {
    const Json &oid = json["identifier"];
    text += fmt::format(", identifier {}", oid["oid"].get<std::string>());
    if (oid.contains("name")) text += fmt::format(" ({})", oid["name"].get<std::string>());
  }
  if (options_.full || options_.tree) {
    head(object, style_.warning(escape(text)));
    return show_tree(object, refusal);
  }
  if (options_.pem || options_.find) return output_.fault(object.where(), text);
  present(head_text(object, style_.warning(escape(text))) + "  --full shows its elements\n",
          wrong_row(style_, text.substr(text.find(": ") + 2), object.short_where()));
}

void Inspector::show_tree(const Object &object, const SshX509Refusal &refusal) {
  const auto mark = refusal ? std::optional<size_t>(refusal.offset) : std::nullopt;
  std::string text = style_.faint(tree_heading()) + "\n";
  const size_t omitted =
      walk_tree(object.octets, mark, options_.tree_lines, [&](const TreeLine &line) {
        text += escape(tree_text(line));
        if (!line.fault.empty()) text += "  " + style_.warning("! " + line.fault);
        if (line.marked) text += "  " + style_.warning("<-- refused here");
        text += '\n';
        if (text.size() < 0x10000) return;
        output_.write(text);
        text.clear();
      });
  if (omitted)
    text += fmt::format("{} more elements (--tree-lines all shows every one)\n", omitted);
  output_.write(text);
}

}  // namespace

int inspect(const InspectOptions &options, const Streams &streams) {
  return Inspector(options, streams).run();
}

}  // namespace kwpki
