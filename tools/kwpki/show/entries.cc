#include "kwpki/show/entries.h"

#include <fmt/format.h>

#include "kwpki/show/render.h"
#include "kwpki/values/describe.h"
#include "kwpki/values/values.h"

namespace kwpki {
template <class Make>
const std::string &EntryWriter::extensions(Bytes list, Make make) {
  constexpr size_t kMost = 256, kLongest = 64;
  const std::string_view octets = ssh_bytes_text(list);
  if (const auto known = known_.find(octets); known != known_.end()) return known->second;
  if (octets.size() > kLongest || known_.size() >= kMost) return other_ = make();
  return known_[std::string(octets)] = make();
}

void EntryWriter::text(const SshX509RevokedEntry &entry, size_t indent, std::string *out) {
  const std::string date =
      entry.date == SshBerTime{} ? std::string("no date") : time_text(entry.date);
  out->append(indent, ' ');
  *out += fmt::format("{}  {}\n", integer_text(entry.serial), date);
  *out += extensions(entry.extension_list, [&] {
    std::string lines;
    render_extensions(entry_extensions_json(entry), indent + 4, style_, &lines);
    return lines;
  });
}

void EntryWriter::json(const SshX509RevokedEntry &entry, std::string *out) {
  *out += json_line(entry_json(entry));
  out->back() = ',';
  *out += "\"extensions\":";
  *out += extensions(entry.extension_list, [&] { return json_line(entry_extensions_json(entry)); });
  *out += '}';
}

}  // namespace kwpki
