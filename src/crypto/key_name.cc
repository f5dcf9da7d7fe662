#include "crypto/key_name.h"

#include <utility>

#include "crypto/key_blob.h"
#include "crypto/key_types.h"
#include "util/mem.h"
#include "util/owner.h"

namespace {

constexpr std::string_view kSlotNames[SSH_KEY_SLOTS] = {"sign", "encrypt", "dh"};

// NameReader takes a key name apart: a type, then in one pair of braces actions separated by
// commas, each with at most one scheme in braces of its own. Nothing nests deeper, so that a name
// of any length is read in one pass without memory.
class NameReader {
 public:
  explicit NameReader(std::string_view name) : rest_(name) {}

  // type reads the key-type name. Braces with nothing in them choose no scheme, as none at all do.
  bool type(std::string_view &type) {
    if (!word(type)) return false;
    if (rest_ == "{}") rest_ = {};
    more_ = skip('{');
    return more_ || rest_.empty();
  }
  [[nodiscard]] bool more() const { return more_; }

  // action reads the next action and its scheme, "plain" when it has none.
  bool action(std::string_view &action, std::string_view &scheme) {
    scheme = SSH_KEY_PLAIN;
    if (!word(action)) return false;
    if (skip('{') && !(word(scheme) && skip('}'))) return false;
    more_ = skip(',');
    return more_ || (skip('}') && rest_.empty());
  }

 private:
  static constexpr bool in_word(char c) { return c != '{' && c != '}' && c != ',' && c != 0; }

  // word reads at least one character; a zero byte is in no word.
  bool word(std::string_view &word) {
    size_t length = 0;
    while (length < rest_.size() && in_word(rest_[length])) ++length;
    word = rest_.substr(0, length);
    rest_.remove_prefix(word.size());
    return !word.empty();
  }
  bool skip(char c) {
    if (!rest_.starts_with(c)) return false;
    rest_.remove_prefix(1);
    return true;
  }

  std::string_view rest_;
  bool more_ = false;
};

}  // namespace

// A name that does not parse is SSH_KEY_BAD_FORMAT, whatever in it is unknown besides. So the name
// is read to its end in any case, and the status of the first unknown word is kept until then.
SshKeyStatus ssh_key_from_name(std::string_view name, SshKeyStatus unknown_type,
                               SshPublicKeyOwner &out) {
  NameReader reader(name);
  std::string_view word, scheme;
  if (!reader.type(word)) return SSH_KEY_BAD_FORMAT;
  const SshKeyType *type = ssh_key_type_find(word);
  SshKeyStatus status = type ? SSH_KEY_OK : unknown_type;
  SshPublicKeyOwner key;
  if (type) key.reset(ssh_make<SshPublicKey>(type));
  while (reader.more()) {
    if (!reader.action(word, scheme)) return SSH_KEY_BAD_FORMAT;
    if (status != SSH_KEY_OK) continue;
    const SshKeyAction *action = ssh_key_action_named(*type, word);
    if (!action || !ssh_key_choose_scheme(*key, *action, scheme)) status = SSH_KEY_UNKNOWN_NAME;
  }
  if (status == SSH_KEY_OK) out = std::move(key);
  return status;
}

void ssh_key_write_name(const SshPublicKey &key, SshKeyWriter &out) {
  std::string_view before = "{";
  out.text(key.type->name);
  for (uint32_t slot = 0; slot < SSH_KEY_SLOTS; ++slot) {
    if (!key.schemes[slot]) continue;
    for (const std::string_view part :
         {before, kSlotNames[slot], std::string_view("{"),
          std::string_view(key.schemes[slot]->name), std::string_view("}")}) {
      out.text(part);
    }
    before = ",";
  }
  if (before == ",") out.text("}");
}

char *ssh_public_key_name(const SshPublicKey *key) {
  SshKeyWriter measure;
  ssh_key_write_name(*key, measure);
  const size_t length = static_cast<size_t>(measure.count());
  auto *text = static_cast<char *>(ssh_xmalloc(length + 1));
  SshKeyWriter out(reinterpret_cast<uint8_t *>(text));
  ssh_key_write_name(*key, out);
  text[length] = 0;
  return text;
}
