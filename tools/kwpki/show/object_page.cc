#include "kwpki/show/object_page.h"

#include <fmt/format.h>

#include <algorithm>
#include <utility>

#include "kwpki/show/render.h"
#include "kwpki/values/describe.h"
#include "kwpki/values/tree.h"

namespace kwpki {
namespace {

using std::chrono::years;

constexpr size_t kPageMost = 0x4000000;   // bytes
constexpr size_t kFieldLinesMost = 2000;  // lines of one object
constexpr size_t kIndentOfField = 2;
constexpr const char *kShowAll = "--tree-lines all and --entries all show every one";

// FieldLines collects what --full shows as lines of a list.
class FieldLines {
 public:
  void add(const RenderedLine &line) {
    const Html label = line.label.empty() ? Html() : fill("label", {{"words", Html(line.label)}});
    lines_.push_back({line.indent / kIndentOfField,
                      fill("field", {{"label", label}, {"text", Html(line.text)}})});
  }
  void add_fields(const Json &fields);
  void add_entries(const SshX509Crl &crl, size_t most);
  [[nodiscard]] Html html() const { return nested(lines_); }

 private:
  std::vector<NestedLine> lines_;
};

// A small encoding may have a great many fields.
void FieldLines::add_fields(const Json &fields) {
  size_t left_out = 0;
  render_lines(fields, 0, [&](const RenderedLine &line) {
    if (lines_.size() < kFieldLinesMost) return add(line);
    ++left_out;
  });
  if (left_out) add({0, "", fmt::format("{} more lines; --full shows them", left_out)});
}

void FieldLines::add_entries(const SshX509Crl &crl, size_t most) {
  std::string count = std::to_string(crl.revoked_count);
  if (most < crl.revoked_count)
    count += fmt::format(", {} of them here; --entries all shows every one", most);
  add({0, "Revoked certificates", count});
  SshX509RevokedCursor cursor(crl);
  for (size_t i = 0; i < most && cursor.next(); ++i) {
    const SshX509RevokedEntry &entry = cursor.entry();
    const bool dated = !(entry.date == SshBerTime{});
    add({kIndentOfField, integer_text(entry.serial),
         dated ? time_text(entry.date) : std::string("no date")});
    render_extension_lines(entry_extensions_json(entry), 2 * kIndentOfField,
                           [this](const RenderedLine &line) { add(line); });
  }
}

// PartOf is a part of a record, as a view of its bytes, with a name for people.
struct PartOf {
  Bytes octets;
  const char *name;
};
template <class Record>
std::vector<PartOf> common_parts(const Record &record) {
  return {{record.signed_data, "what is signed"},
          {record.signed_algorithm, "algorithm of the signature, signed"},
          {own_name(record.issuer_names), "issuer"},
          {record.extension_list, "extensions"},
          {record.algorithm, "algorithm of the signature"},
          {record.signature_value.octets, "signature"}};
}
std::vector<PartOf> parts_of_record(const SshX509Cert &cert) {
  std::vector<PartOf> parts = common_parts(cert);
  parts.push_back({own_name(cert.subject_names), "subject"});
  parts.push_back({cert.key.info, "public key"});
  return parts;
}
std::vector<PartOf> parts_of_record(const SshX509Crl &crl) {
  std::vector<PartOf> parts = common_parts(crl);
  parts.push_back({crl.revoked, "entries"});
  return parts;
}

// part_name finds the part that an element is. The view of a part may be the whole element, its
// content, or the bits of a BIT STRING, which begin behind one byte.
std::string part_name(const std::vector<PartOf> &parts, const SshBerElement &element,
                      const uint8_t *at) {
  const size_t header = element.header_length, content = element.content_length;
  const auto is = [&](const PartOf &part) {
    const Bytes octets = part.octets;
    if (octets.empty()) return false;
    if (octets.data() == at) return octets.size() == header + content;
    if (octets.data() == at + header) return octets.size() == content;
    return element.is(SSH_BER_UNIVERSAL, 3) && octets.data() == at + header + 1;
  };
  const auto found = std::find_if(parts.begin(), parts.end(), is);
  return found == parts.end() ? "" : found->name;
}

// Cut is a range of bytes whose elements are left out: the entries of a CRL behind those that are
// shown.
struct Cut {
  size_t from = 0, to = 0;
};
Cut cut_of(const SshX509Crl &crl, size_t entries) {
  if (crl.revoked.empty() || entries >= crl.revoked_count) return {};
  const auto offset = [&crl](const uint8_t *at) {
    return static_cast<size_t>(at - crl.der.data());
  };
  SshX509RevokedCursor cursor(crl);
  for (size_t i = 0; i < entries && cursor.next();) ++i;
  return {offset(entries ? cursor.at() : crl.revoked.data()),
          offset(crl.revoked.data() + crl.revoked.size())};
}

// view_of shows the elements as --tree does. The parts are views of `der`, the record's own copy of
// the bytes.
BesideBytes view_of(const PageObject &object, size_t most, Bytes der,
                    const std::vector<PartOf> &parts, Cut cut) {
  BesideBytes view(object.octets);
  const bool named = der.size() == object.octets.size();
  TreeWalk walk(object.octets, object.mark);
  size_t shown = 0, omitted = 0;
  for (;;) {
    TreeLine line;
    const bool wanted = shown < most && !(cut.from <= walk.at() && walk.at() < cut.to);
    if (!walk.next(line, wanted)) break;
    if (!wanted && !line.marked) {
      ++omitted;
      continue;
    }
    ++shown;
    const SshBerElement &element = line.element;
    const size_t header = element.header_length, content = element.content_length;
    const bool inside = element.constructed || line.encapsulates;
    const size_t own = header + (inside ? line.encapsulates && element.tag == 3 : content);
    if (line.marked) line.fault += (line.fault.empty() ? "refused: " : "; refused: ") + object.rule;
    view.add({.offset = line.offset,
              .header = header,
              .content = element.indefinite ? kOpenEnd : content,
              .own = own,
              .depth = line.depth,
              .name = line.name,
              .value = line.value,
              .part = named ? part_name(parts, element, der.data() + line.offset) : "",
              .fault = line.fault});
  }
  view.omit(omitted);
  return view;
}

template <class Record>
Issued issued_of(const Record &record) {
  Issued issued;
  const Bytes issuer = own_name(record.issuer_names);
  if (!issuer.empty()) issued.issuer = compared_name(issuer);
  if (record.authority_key_id)
    issued.issuer_key_id = ssh_bytes_text(record.authority_key_id->key_id);
  return issued;
}

template <class Record>
std::vector<std::string> all_wrong(const PageObject &object, const Record &record, Moment now) {
  std::vector<std::string> wrong = object.wrong;
  wrong.push_back(objections(record, now));
  std::erase(wrong, "");
  return wrong;
}

// Axis is the span of time over which bars of validity are drawn. It reaches from the earliest
// start to the latest end, but not more than 20 years back and 30 ahead: some certificates end in
// 9999, beside which all other bars would be invisible.
class Axis {
 public:
  explicit Axis(Moment now) : now_(now), from_(now), to_(now + std::chrono::days(1)) {}
  void take(const BriefRow &row) {
    if (row.from) from_ = std::min(from_, std::max(*row.from, now_ - years(20)));
    if (row.to) to_ = std::max(to_, std::min(*row.to, now_ + years(30)));
  }
  [[nodiscard]] double place(Moment moment) const {
    const Moment kept = std::clamp(moment, from_, to_);
    return 100.0 * static_cast<double>((kept - from_).count()) /
           static_cast<double>((to_ - from_).count());
  }
  [[nodiscard]] Html bar(const BriefRow &row) const;
  [[nodiscard]] std::string words() const {
    return moment_text(from_).substr(0, 10) + " to " + moment_text(to_).substr(0, 10);
  }

 private:
  Moment now_, from_, to_;
};

// A bar without an end goes on to the end of the axis.
Html Axis::bar(const BriefRow &row) const {
  constexpr double kThinnest = 0.8;
  if (!row.from) return {};
  const double from = std::min(place(*row.from), 100 - kThinnest);
  const double wide = std::max((row.to ? place(*row.to) : 100) - from, kThinnest);
  const Html now(fmt::format("{:.1f}", place(now_)));
  return fill("bar", {{"state", Html(row.marked ? "bad" : "good")},
                      {"from", Html(fmt::format("{:.1f}", from))},
                      {"wide", Html(fmt::format("{:.1f}", wide))},
                      {"now", now}});
}

std::string anchor(size_t object) { return fmt::format("o{}", object + 1); }

}  // namespace

bool ObjectPage::has_room() {
  const bool room = sections_.code().size() < kPageMost;
  if (!room) ++left_out_;
  return room;
}

void ObjectPage::add_section(const PageObject &object, Row row, const Issued &issued,
                             const Html &fields, BesideBytes view) {
  sections_ += section_html({.id = anchor(rows_.size()),
                             .name = row.brief.name,
                             .kind = object.kind,
                             .where = object.where,
                             .wrong = object.wrong,
                             .fields = fields,
                             .view = object.octets.empty() ? Html() : view.html(kShowAll)});
  rows_.push_back(std::move(row));
  issued_.push_back(issued);
}

void ObjectPage::add(const PageObject &object, const SshX509Cert &cert, const Json &fields) {
  if (!has_room()) return;
  FieldLines lines;
  lines.add_fields(fields);
  Issued issued = issued_of(cert);
  const Bytes subject = own_name(cert.subject_names);
  if (!subject.empty()) issued.subject = compared_name(subject);
  if (cert.subject_key_id) issued.key_id = ssh_bytes_text(cert.subject_key_id->key_id);
  PageObject shown = object;
  shown.wrong = all_wrong(object, cert, now_);
  add_section(shown,
              {row_of(cert, now_, soon_), object.place, readable_name(own_name(cert.issuer_names))},
              issued, lines.html(),
              view_of(object, limits_.tree_lines, cert.der, parts_of_record(cert), {}));
}

void ObjectPage::add(const PageObject &object, const SshX509Crl &crl, const Json &fields) {
  if (!has_room()) return;
  FieldLines lines;
  lines.add_fields(fields);
  if (has_part(crl, SSH_X509_PART_ENTRIES)) lines.add_entries(crl, limits_.entries);
  PageObject shown = object;
  shown.wrong = all_wrong(object, crl, now_);
  add_section(shown,
              {row_of(crl, now_, soon_), object.place, readable_name(own_name(crl.issuer_names))},
              issued_of(crl), lines.html(),
              view_of(object, limits_.tree_lines, crl.der, parts_of_record(crl),
                      cut_of(crl, limits_.entries)));
}

void ObjectPage::add_other(const PageObject &object) {
  if (!has_room()) return;
  const BriefRow row = {.end = "-",
                        .left = object.wrong.empty() ? "-" : "REFUSED",
                        .kind = "-",
                        .name = object.kind,
                        .marked = !object.wrong.empty()};
  add_section(object, {row, object.place, ""}, {}, {},
              view_of(object, limits_.tree_lines, {}, {}, {}));
}

void ObjectPage::note(const std::string &name, const std::string &text) {
  notes_.push_back({0, Html(name.empty() ? text : name + ": " + text)});
}

Html ObjectPage::link(size_t object) const {
  const BriefRow &row = rows_[object].brief;
  return fill("link", {{"target", Html("#" + anchor(object))}, {"name", Html(row.name)}});
}

Html ObjectPage::table() const {
  Axis axis(now_);
  for (const Row &row : rows_) axis.take(row.brief);
  Html html;
  for (size_t i = 0; i < rows_.size(); ++i) {
    const BriefRow &row = rows_[i].brief;
    html += fill("row", {{"link", link(i)},
                         {"strength", Html(row.weak ? "bad" : "good")},
                         {"kind", Html(row.kind + (row.weak ? ", weak" : ""))},
                         {"end", Html(row.end)},
                         {"state", Html(row.marked ? "bad" : "good")},
                         {"left", Html((row.marked ? "! " : "") + row.left)},
                         {"bar", axis.bar(row)},
                         {"where", Html(rows_[i].place)}});
  }
  return fill("table", {{"axis", Html(axis.words())}, {"rows", html}});
}

Html ObjectPage::tree() const {
  std::vector<NestedLine> lines;
  for (const IssuedLine &line : issued_lines(issued_)) {
    const bool known = line.object != kNoObject;
    lines.push_back(
        {line.depth, known ? fill("issued", {{"link", link(line.object)},
                                             {"kind", Html(rows_[line.object].brief.kind)}})
                           : fill("missing", {{"name", Html(rows_[line.first].issuer)}})});
  }
  return fill("tree", {{"lines", nested(lines)}});
}

Html ObjectPage::html() const {
  const size_t count = rows_.size();
  std::vector<NestedLine> notes = notes_;
  if (left_out_)
    notes.push_back(
        {0, Html(fmt::format("{} objects more are left out: the page is full", left_out_))});
  return page_html(
      {.title = count == 1 ? "Certificates and CRLs: " + rows_[0].brief.name
                           : fmt::format("Certificates and CRLs: {} objects", count),
       .about = fmt::format("kwpki {}, {} UTC", KWPKI_VERSION, moment_text(now_)),
       .notes = notes.empty() ? Html() : fill("notes", {{"lines", nested(notes)}}),
       .summary = count ? fill("summary", {{"table", table()}, {"tree", tree()}}) : Html(),
       .objects = sections_});
}

}  // namespace kwpki
