#include "kwpki/show/inspect.h"

#include <fmt/format.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <type_traits>

#include "kwpki/input/input.h"
#include "kwpki/input/kinds.h"
#include "kwpki/show/brief.h"
#include "kwpki/show/entries.h"
#include "kwpki/show/object_page.h"
#include "kwpki/show/render.h"
#include "kwpki/terminal/system.h"
#include "kwpki/values/describe.h"
#include "kwpki/values/tree.h"

namespace kwpki {
namespace {

// Object is bytes that should be one certificate or CRL, and where they come from.
struct Object {
  std::string file;
  Bytes octets;
  const Block *block = nullptr;  // null: DER
  size_t index = 0, count = 0;   // of the block in its file
  std::string_view form = {};    // of text that is no PEM: base64 or hexadecimal
  size_t item = 0;               // of a PKCS #7 bundle, from 1
  bool from_directory = false;

  [[nodiscard]] std::string where() const {
    std::string name = file == "-" ? "standard input" : file;
    if (block && count == 1) name += " (PEM)";
    if (block && count > 1) name += fmt::format(" (PEM block {} of {})", index, count);
    if (!form.empty()) name += fmt::format(" ({})", form);
    return item ? fmt::format("{} (item {})", name, item) : name;
  }
  [[nodiscard]] std::string short_where() const {  // in a table
    const std::string name = file == "-" ? "standard input" : file;
    return count > 1 ? fmt::format("{} #{}", name, index) : name;
  }
};

// fields_of gives what could be read of a record that is refused.
Json fields_of(const SshX509Cert &cert) {
  Json json = certificate_json(cert);
  drop_unread(json, cert);
  return json;
}
Json fields_of(const SshX509Crl &crl) {
  Json json = crl_json(crl);
  drop_unread(json, crl);
  return json;
}

// Inspector runs the command: from sources to objects, from objects to records, and each record to
// the view that was asked for. It keeps the exit code, which is the largest that anything gave.
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
  bool inspect_bundle(Object object);
  void show_certificate(const Object &object, const SshX509Cert &cert);
  void show_crl(const Object &object, const SshX509Crl &crl);
  template <class Record>
  void show_refused(const Object &object, const SshX509Refusal &refusal, const Record &parts,
                    const char *kind);
  void show_other(const Object &object, const Kind &kind);
  void report_none(const Source &source);
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
  void find_serial(const Object &object, const SshX509Crl &crl);
  void unreadable(const std::string &name, const std::string &why);
  void fault(const std::string &name, const std::string &text);
  template <class Record>
  void page_accepted(const Object &object, const Record &record, const char *what,
                     const Json &fields);

  const InspectOptions &options_;
  Streams streams_;
  Output output_;
  const Style &style_;
  int exit_ = kExitOk;
  size_t records_ = 0;      // certificates and CRLs, those that are refused as well
  std::string other_ = {};  // what else a source holds, in words
  bool first_ = true;
  const Moment now_ = std::chrono::floor<std::chrono::seconds>(std::chrono::system_clock::now());
  const std::chrono::seconds soon_ = std::chrono::days(options_.expires.value_or(0));
  struct Held {
    std::string whole, row;
  };
  std::vector<Held> held_;  // the first few, until it is known whether there are more
  bool table_ = false;
  bool in_line_ = false;  // a line of JSON was begun and is not complete yet
  ObjectPage page_{now_, soon_, {options_.entries, options_.tree_lines}};
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
    for (const std::string &name : found.empty) {
      fault(name, "no certificate or CRL: the directory is empty");
      exit_ = std::max<int>(exit_, kExitRefused);
    }
    if (records_ == 0 && exit_ == kExitOk) {
      fault("", "no certificate or CRL found");
      exit_ = kExitRefused;
    }
    end_brief();
    if (options_.html) {
      if (const size_t count = page_.left_out())
        output_.message("", fmt::format("the page is full: {} more objects are left out", count));
      output_.write(page_.html().code());
    }
    output_.flush();
  } catch (const OutputClosed &closed) {
    if (closed.error != EPIPE) throw;
  }
  return exit_;
}

void Inspector::unreadable(const std::string &name, const std::string &why) {
  fault(name, why);
  exit_ = kExitUnreadable;
}

// fault tells what is wrong with an input; a page that is kept has to say it as well.
void Inspector::fault(const std::string &name, const std::string &text) {
  output_.fault(name, text);
  if (options_.html) page_.note(name, text);
}

// guard reports an exception from one input, so that the others are still shown.
template <class Show>
void Inspector::guard(const std::string &name, Show show) {
  const std::string fault = fault_of(show);
  if (fault.empty()) return;
  if (in_line_) output_.write("\n");
  in_line_ = false;
  this->fault(name == "-" ? "standard input" : name, "refused: cannot be shown: " + fault);
  exit_ = std::max<int>(exit_, kExitRefused);
}

void Inspector::inspect_source(const Source &source) {
  std::vector<uint8_t> file;
  std::string_view form;
  const std::string problem = read_source(source, streams_.in, &output_, &file, &form);
  if (!problem.empty())
    return unreadable(source.name == "-" ? "standard input" : source.name, problem);

  const size_t before = records_;
  other_.clear();
  const std::vector<Block> blocks = find_blocks(file);
  if (!blocks.empty())
    inspect_blocks(source, blocks);
  else
    inspect_object({.file = source.name,
                    .octets = file,
                    .form = form,
                    .from_directory = source.from_directory});
  if (records_ == before) report_none(source);
}

// report_none says what a file without a certificate or CRL holds. That is an error for a file that
// was named, and usual for one of a directory.
void Inspector::report_none(const Source &source) {
  if (source.from_directory) {
    return output_.message(source.name,
                           fmt::format("{}, but {}; passed over",
                                       options_.find ? "no CRL" : "neither a certificate nor a CRL",
                                       other_.empty() ? "nothing that is known" : other_));
  }
  exit_ = std::max<int>(exit_, kExitRefused);
  fault("", fmt::format("no {} in {}: it holds {}", options_.find ? "CRL" : "certificate or CRL",
                        source.name == "-" ? "standard input" : source.name,
                        other_.empty() ? "nothing that is known" : other_));
}

void Inspector::inspect_blocks(const Source &source, const std::vector<Block> &blocks) {
  for (size_t i = 0; i < blocks.size(); ++i) {
    const Block &block = blocks[i];
    output_.progress(source.name, "blocks read", i + 1);
    if (!block.readable) {
      output_.message(source.name, fmt::format("line {}: block {} ({}) passed over", block.line,
                                               i + 1, block.label));
      const Kind &kind = kind_of_label(block.label);
      if (other_.empty())
        other_ = kind.key == "unknown" ? std::string(block.label) : std::string(kind.words);
      continue;
    }
    if (!block.fault.empty())
      fault(source.name, fmt::format("line {}: {}", block.line, block.fault));
    const std::vector<uint8_t> octets = block_octets(block);
    const Object object = {.file = source.name,
                           .octets = octets,
                           .block = &block,
                           .index = i + 1,
                           .count = blocks.size()};
    guard(object.where(), [&] { inspect_object(object); });
  }
}

// inspect_object finds out what bytes are. They may be a certificate or a CRL, a bundle, or
// something else that has a name. If none of these fits, they are shown as a certificate or CRL
// that the library refuses, with the parts of it that can be read.
void Inspector::inspect_object(const Object &object) {
  start_items();
  const SshX509CertOwner cert(ssh_x509_cert_allocate());
  if (ssh_x509_cert_decode(object.octets, cert.get())) return show_certificate(object, *cert);
  const SshX509CrlOwner crl(ssh_x509_crl_allocate());
  if (ssh_x509_crl_decode(object.octets, crl.get())) return show_crl(object, *crl);
  if (object.item == 0 && inspect_bundle(object)) return;
  const Kind &kind = kind_of(object.octets);
  if (kind.key != "unknown" || (object.from_directory && !is_plainly_der(object.octets)))
    return show_other(object, kind);
  exit_ = std::max<int>(exit_, kExitRefused);
  const bool labelled = object.block && object.block->label.ends_with("CRL");
  if (labelled || ssh_x509_looks_like_crl(object.octets)) {
    const SshX509CrlOwner parts(ssh_x509_crl_allocate());
    ssh_x509_crl_decode_parts(object.octets, parts.get());
    return show_refused(object, crl->refusal, *parts, "crl");
  }
  const SshX509CertOwner parts(ssh_x509_cert_allocate());
  ssh_x509_cert_decode_parts(object.octets, parts.get());
  const bool known = parts->parts != 0 || object.block;
  show_refused(object, cert->refusal, *parts, known ? "certificate" : "unknown");
}

// inspect_bundle shows the certificates and CRLs of a PKCS #7 bundle; false if it is none. A bundle
// inside a bundle is not opened.
bool Inspector::inspect_bundle(Object object) {
  for (const Bytes octets : bundled(object.octets)) {
    ++object.item;
    object.octets = octets;
    inspect_object(object);
  }
  return object.item != 0;
}

// show_other names what is neither a certificate nor a CRL. Its content may be secret, so it is
// shown with --tree only, and neither in JSON nor on a page.
void Inspector::show_other(const Object &object, const Kind &kind) {
  other_ = kind.words;
  if (object.from_directory || options_.pem || options_.find) return;
  if (options_.json) {
    const Json json = start(object, std::string(kind.key).c_str(), false);
    return finish_json(object, json, kind.secret ? Bytes() : object.octets, nullptr);
  }
  if (options_.html) {
    const bool closed = kind.secret || kind.key == "text";  // text has no elements
    return page_.add_other({.where = object.where(),
                            .place = object.short_where(),
                            .kind = std::string(kind.words),
                            .octets = closed ? Bytes() : object.octets,
                            .wrong = {}});
  }
  if (!options_.tree) return;
  head(object, kind.words);
  show_tree(object, {});
}

std::string Inspector::head_text(const Object &object, std::string_view what) const {
  return style_.heading(fmt::format("{}: {}", escape(object.where()), what)) + "\n";
}

void Inspector::head(const Object &object, std::string_view what) {
  output_.write((first_ ? "" : "\n") + head_text(object, what));
  first_ = false;
}

// present shows up to three records in some lines each, and more as a table with one line each. So
// the first three are held back until there is a fourth, or the end.
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

// show_brief shows a record as PEM or in short, and returns true if one of these was asked for.
template <class Record>
bool Inspector::show_brief(const Object &object, const Record &record, const char *what) {
  const Expiry expiry = expiry_of(record, now_);
  const bool marked = options_.expires && expires_soon(expiry, soon_);
  if (marked) exit_ = std::max<int>(exit_, kExitRefused);
  if (options_.pem) {
    const bool is_crl = std::is_same_v<Record, SshX509Crl>;
    if (marked || !options_.expires)
      output_.write(pem_text(is_crl ? "X509 CRL" : "CERTIFICATE", record.element));
    return true;
  }
  if (options_.json || options_.html || options_.tree || options_.full) return false;
  const std::string around = surroundings_text(record.der, record.element, what);
  if (!around.empty()) exit_ = std::max<int>(exit_, kExitRefused);
  std::string whole = head_text(object, what);
  std::string row = brief_row(record, now_, soon_, style_, object.short_where());
  if (!around.empty()) {
    whole += "  " + style_.warning(around) + "\n";
    row += note_row(style_, around);
  }
  present(whole + brief(record, now_, soon_, style_), row);
  return true;
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

// accepted_head writes the head of a longer view. Bytes around the object are not part of it and
// are signed by nobody, so they are reported and change the exit code.
template <class Record>
void Inspector::accepted_head(const Object &object, const Record &record, const char *what) {
  const std::string around = surroundings_text(record.der, record.element, what);
  if (!around.empty()) exit_ = std::max<int>(exit_, kExitRefused);
  if (options_.json) return;
  head(object, what);
  for (const std::string &text : {around, objections(record, now_)})
    if (!text.empty()) output_.write("  " + style_.warning(text) + "\n");
}

template <class Record>
void Inspector::page_accepted(const Object &object, const Record &record, const char *what,
                              const Json &fields) {
  const std::string around = surroundings_text(record.der, record.element, what);
  if (!around.empty()) exit_ = std::max<int>(exit_, kExitRefused);
  page_.add({.where = object.where(),
             .place = object.short_where(),
             .kind = what,
             .octets = object.octets,
             .wrong = {around}},
            record, fields);
}

Json Inspector::start(const Object &object, const char *kind, bool accepted) const {
  Json json = document();
  set_text(json, "file", object.file);
  json["format"] = object.block ? "pem" : object.form.empty() ? "der" : object.form;
  if (object.block) {
    json["block"] = object.index;
    json["line"] = object.block->line;
    json["label"] = object.block->label;
  }
  if (object.item) json["item"] = object.item;
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

// finish_json writes a document. The entries of a CRL and the DER may be large: they are written
// piece by piece behind the rest, so that they never lie in memory as JSON.
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
    other_ = "a certificate";
    return;
  }
  ++records_;
  if (show_brief(object, cert, "certificate")) return;
  if (options_.html) return page_accepted(object, cert, "certificate", certificate_json(cert));
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
  ++records_;
  if (options_.find) return find_serial(object, crl);
  if (!options_.entries_given && show_brief(object, crl, "CRL")) return;
  if (options_.html) return page_accepted(object, crl, "CRL", crl_json(crl));
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

// show_entries writes the entries of a CRL, in pieces: there may be millions.
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

// show_refused shows why something was refused, and the parts of it that could be read.
template <class Record>
void Inspector::show_refused(const Object &object, const SshX509Refusal &refusal,
                             const Record &parts, const char *kind) {
  constexpr bool kIsCrl = std::is_same_v<Record, SshX509Crl>;
  if (parts.parts != 0 || object.block) ++records_;
  if (options_.json) {
    Json json = start(object, kind, false);
    json["refusal"] = refusal_json(refusal, object.octets);
    json.update(fields_of(parts));
    json["tree"] = tree_json(object.octets, refusal.offset, options_.tree_lines);
    const SshX509Crl *crl = nullptr;
    if constexpr (kIsCrl) crl = &parts;
    return finish_json(object, std::move(json), object.octets, crl);
  }
  const std::string why = refusal_text(refusal, object.octets);
  const std::string text =
      fmt::format("refused as {}: {}", kIsCrl ? "a CRL" : "a certificate", why);
  if (options_.pem || options_.find) return output_.fault(object.where(), text);
  if (options_.html) {
    const PageObject shown = {.where = object.where(),
                              .place = object.short_where(),
                              .kind = kIsCrl ? "CRL" : "certificate",
                              .octets = object.octets,
                              .wrong = {text},
                              .mark = refusal.offset,
                              .rule = why};
    return parts.parts ? page_.add(shown, parts, fields_of(parts)) : page_.add_other(shown);
  }
  if (!options_.full && !options_.tree) {
    const std::string lines = parts.parts ? brief(parts, now_, soon_, style_) : "";
    const std::string where = object.short_where();
    const std::string row =
        parts.parts ? brief_row(parts, now_, soon_, style_, where) : wrong_row(style_, where);
    return present(head_text(object, style_.warning(escape(text))) + lines +
                       "  --full shows every field and element\n",
                   row + note_row(style_, why));
  }
  head(object, style_.warning(escape(text)));
  if (options_.full && parts.parts) {
    std::string fields;
    render(fields_of(parts), 2, style_, &fields);
    output_.write(fields);
    if constexpr (kIsCrl) show_entries(parts, object.file);
  }
  show_tree(object, refusal);
}

// show_tree writes the elements, in pieces: a tree may be long.
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
