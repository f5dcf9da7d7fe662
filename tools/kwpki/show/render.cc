#include "kwpki/show/render.h"

#include <fmt/format.h>

#include <algorithm>
#include <iterator>
#include <utility>

namespace kwpki {
namespace {

enum class Show : uint8_t { kPlain, kOctets, kDer, kHidden };

struct FieldRow {
  std::string_view key;
  std::string_view label;
  Show show = Show::kPlain;
};
constexpr FieldRow kFields[] = {
    {"allowed_ca_usage", "Allowed usage of a CA"},
    {"as_numbers", "AS numbers"},
    {"attributes", "", Show::kHidden},
    {"ca", "CA"},
    {"cps_uri", "CPS"},
    {"crl_issuer", "CRL issuer"},
    {"der", "", Show::kHidden},
    {"entry_count", "", Show::kHidden},
    {"indirect_crl", "Indirect CRL"},
    {"key_id", "Key identifier", Show::kOctets},
    {"leading_bytes", "", Show::kHidden},
    {"log_id", "Log identifier", Show::kOctets},
    {"only_ca_certificates", "Only CA certificates"},
    {"public_value", "Public value", Show::kOctets},
    {"relative_name_der", "", Show::kHidden},
    {"sha1", "SHA-1", Show::kOctets},
    {"sha256", "SHA-256", Show::kOctets},
    {"signature_value", "Signature value", Show::kOctets},
    {"signed_data", "", Show::kHidden},
    {"trailing_bytes", "", Show::kHidden},
    {"value", "Value", Show::kOctets},
    {"value_der", "Value", Show::kDer},
};

constexpr size_t kOctetsShown = 1024;  // the rest is for --json
constexpr size_t kOctetsOnLine = 20;

// Renderer walks over a document and gives its lines, from fields to fields of fields. What a value
// is shows in the members that it has: an identifier has "oid", a name "readable", a large number
// "hex", and so on.
class Renderer {
 public:
  explicit Renderer(const RenderedLines &take) : take_(take) {}

  void fields(const Json &object, size_t indent);
  void field(const std::string &key, const Json &value, size_t indent);
  void line(size_t indent, std::string_view label, std::string_view text);
  void octets(size_t indent, std::string_view label, const std::string &digits);
  void extension(const Json &extension, size_t indent);

 private:
  void array(const std::string &label, const Json &array, size_t indent);
  void item(const Json &value, size_t indent);
  void digits(std::string label, const Json &value, size_t indent);
  void body(const std::string &label, const Json &value, size_t indent);

  const RenderedLines &take_;
  size_t dash_ = kNoDash;  // of the next line
};

const FieldRow *find_field(std::string_view key) {
  const auto *row = std::find_if(std::begin(kFields), std::end(kFields),
                                 [key](const FieldRow &r) { return r.key == key; });
  return row == std::end(kFields) ? nullptr : row;
}

bool is_hidden(const std::string &key) {
  const FieldRow *row = find_field(key);
  return row && row->show == Show::kHidden;
}

// label_of makes a label of a key: "not_before" becomes "Not before".
std::string label_of(const std::string &key) {
  const FieldRow *row = find_field(key);
  if (row) return std::string(row->label);
  std::string label = key;
  std::replace(label.begin(), label.end(), '_', ' ');
  if (label.size() > 1)
    label[0] = static_cast<char>(label[0] >= 'a' && label[0] <= 'z' ? label[0] - 32 : label[0]);
  return label;
}

std::string with_name(const Json &oid) {
  const std::string text = oid["oid"].get<std::string>();
  if (!oid.contains("name")) return text;
  std::string name = oid["name"].get<std::string>();
  if (oid.contains("nist_name")) name += "/" + oid["nist_name"].get<std::string>();
  return fmt::format("{} ({})", name, text);
}

// dn_text gives the library's text of a name. Where the library has no text, or writes a value in
// hexadecimal, it adds what the name reads as.
std::string dn_text(const Json &dn) {
  const std::string readable = dn["readable"].get<std::string>();
  if (dn["text"].is_null())
    return readable.empty() ? "(empty)" : readable + "  (the library has no text for this name)";
  const std::string text = dn["text"].get<std::string>();
  return text.find("=#") == std::string::npos ? text
                                              : fmt::format("{}  (reads {})", text, readable);
}

// The members with DER are base64 in JSON and digits for people.
std::string der_digits(const Json &der) { return hex(unbase64(der.get<std::string>())); }

std::string general_name(const Json &name) {
  std::string text = name["type"].get<std::string>() + ": ";
  if (name.contains("oid")) text += with_name(name) + (name.contains("text") ? " " : "");
  if (name.contains("readable")) return text + dn_text(name);
  if (name.contains("text")) return text + name["text"].get<std::string>();
  if (name.contains("hex")) return text + name["hex"].get<std::string>();
  return name.contains("oid") ? text : text + der_digits(name["der"]);
}

// number_text is a number in decimal and hexadecimal, or in hexadecimal alone if it is very large.
std::string number_text(const Json &value) {
  return integer_text(value.value("decimal", ""), value["hex"].get_ref<const std::string &>());
}

bool give(std::string *text, std::string value) {
  *text = std::move(value);
  return true;
}

// in_a_line gives the text of a value that fits into the line of its label; false for a value that
// needs lines of its own. What an object is shows in its members.
bool in_a_line(const Json &value, std::string *text) {
  if (value.is_null()) return give(text, "none");
  if (value.is_boolean()) return give(text, value.get<bool>() ? "yes" : "no");
  if (value.is_string()) return give(text, value.get<std::string>());
  if (value.is_number()) return give(text, value.dump());
  if (!value.is_object()) return false;
  if (value.contains("type") && value.contains("der")) return give(text, general_name(value));
  if (value.contains("readable")) return give(text, dn_text(value));
  if (value.contains("oid") && (value.size() <= 2 || value.contains("nist_name")))
    return give(text, with_name(value));
  if (value.contains("code")) {
    return give(text, fmt::format("{} ({})", value["name"].get<std::string>(),
                                  value["code"].get<uint32_t>()));
  }
  if (value.contains("decimal") && value["decimal"].get_ref<const std::string &>().size() <= 60) {
    return give(text, number_text(value));
  }
  if (value.size() == 1 && value.contains("text"))
    return give(text, value["text"].get<std::string>());
  return false;
}

void Renderer::line(size_t indent, std::string_view label, std::string_view text) {
  take_({indent, std::string(label), std::string(text), std::exchange(dash_, kNoDash)});
}

// octets shows digits of bytes: up to 32 bytes behind the label, more in lines below it.
void Renderer::octets(size_t indent, std::string_view label, const std::string &digits) {
  const size_t count = digits.size() / 2;
  const bool measured = label.ends_with(" bits");
  if (count > 32) line(indent, label, measured ? "" : fmt::format("{} bytes", count));
  std::string row;
  for (size_t i = 0; i < std::min(count, kOctetsShown); ++i) {
    row += fmt::format("{}{}", row.empty() ? "" : ":", std::string_view(digits).substr(i * 2, 2));
    if (count <= 32 || (i + 1 != count && (i + 1) % kOctetsOnLine != 0)) continue;
    line(indent + 4, "", row);
    row.clear();
  }
  if (count <= 32) return line(indent, label, count ? row : "none");
  if (!row.empty()) line(indent + 4, "", row);
  if (count > kOctetsShown)
    line(indent + 4, "", fmt::format("... {} more (--json has them all)", count - kOctetsShown));
}

// An extension is labelled by what it is, with its identifier where nothing of its content is read.
void Renderer::extension(const Json &extension, size_t indent) {
  const std::string name = extension.value("description", extension.value("name", std::string()));
  const std::string oid = extension["oid"].get<std::string>();
  std::string label = name.empty() || name == "unknown" ? "unknown extension " + oid : name;
  if (!extension.contains("contents") && label == name) label += " (" + oid + ")";
  if (extension["critical"].get<bool>()) label += ", critical";
  if (extension.contains("note")) return line(indent, label, extension["note"].get<std::string>());
  if (extension.contains("contents")) return body(label, extension["contents"], indent);
  if (extension.contains("text")) return line(indent, label, extension["text"].get<std::string>());
  octets(indent, label, der_digits(extension["der"]));
}

void Renderer::item(const Json &value, size_t indent) {
  std::string text;
  if (value.is_object() && value.contains("critical")) return extension(value, indent);
  if (in_a_line(value, &text)) return line(indent, "", text);
  dash_ = indent;  // an item begins where its dash stands
  fields(value, indent + 2);
  dash_ = kNoDash;
}

// A list of texts is one line, a list of one item its line; others have a line for each item.
void Renderer::array(const std::string &label, const Json &array, size_t indent) {
  std::string joined, text;
  if (array.empty()) return line(indent, label, "none");
  if (std::all_of(array.begin(), array.end(),
                  [](const Json &value) { return value.is_string(); })) {
    for (const Json &value : array)
      joined += (joined.empty() ? "" : ", ") + value.get<std::string>();
    return line(indent, label, joined);
  }
  if (array.size() == 1 && in_a_line(array[0], &text) && !array[0].contains("critical"))
    return line(indent, label, text);
  line(indent, label, "");
  for (const Json &value : array) item(value, indent + 2);
}

// digits shows a large number, or a string of bits.
void Renderer::digits(std::string label, const Json &value, size_t indent) {
  std::string text = value["hex"].get<std::string>();
  if (value.contains("bits")) label += fmt::format(", {} bits", value["bits"].get<size_t>());
  if (text.starts_with("-")) {
    label += ", negative";
    text.erase(0, 1);
  }
  octets(indent, label, text);
}

void Renderer::body(const std::string &label, const Json &value, size_t indent) {
  std::string text;
  if (in_a_line(value, &text)) return line(indent, label, text);
  if (value.is_array()) return array(label, value, indent);
  if (value.contains("hex")) return digits(label, value, indent);
  if (value.contains("scheme") && value.contains("key_type")) {
    const Json &scheme = value["scheme"];  // null for an algorithm that is not known
    line(indent, label,
         (scheme.is_string() ? scheme.get<std::string>() + ", " : "") +
             with_name(value["algorithm"]));
    if (value.contains("parameters")) field("parameters", value["parameters"], indent + 2);
    return;
  }
  line(indent, label, value.empty() ? "none" : "");
  fields(value, indent + 2);
}

void Renderer::field(const std::string &key, const Json &value, size_t indent) {
  const FieldRow *row = find_field(key);
  if (row && row->show == Show::kOctets && value.is_string()) {
    return octets(indent, row->label, value.get<std::string>());
  }
  if (row && row->show == Show::kDer) return octets(indent, row->label, der_digits(value));
  body(label_of(key), value, indent);
}

void Renderer::fields(const Json &object, size_t indent) {
  for (const auto &[key, value] : object.items()) {
    if (!is_hidden(key)) field(key, value, indent);
  }
}

// line_writer gives what appends lines as text.
RenderedLines line_writer(const Style &style, std::string *out) {
  return [&style, out](const RenderedLine &line) {
    const size_t start = out->size();
    out->append(line.indent, ' ');
    if (line.dash != kNoDash) (*out)[start + line.dash] = '-';
    if (!line.label.empty())
      *out += style.label(escape(line.label)) + (line.text.empty() ? ":" : ": ");
    *out += escape(line.text) + "\n";
  };
}

}  // namespace

void render_lines(const Json &object, size_t indent, const RenderedLines &take) {
  Renderer(take).fields(object, indent);
}

void render_extension_lines(const Json &extensions, size_t indent, const RenderedLines &take) {
  Renderer renderer(take);
  for (const Json &extension : extensions) renderer.extension(extension, indent);
}

void render(const Json &object, size_t indent, const Style &style, std::string *out) {
  render_lines(object, indent, line_writer(style, out));
}

void render_extensions(const Json &extensions, size_t indent, const Style &style,
                       std::string *out) {
  render_extension_lines(extensions, indent, line_writer(style, out));
}

}  // namespace kwpki
