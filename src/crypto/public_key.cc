#include "crypto/public_key.h"

#include <algorithm>
#include <iterator>
#include <new>
#include <string_view>
#include <utility>

#include "crypto/dh.h"
#include "crypto/dsa.h"
#include "crypto/key_groups.h"
#include "crypto/key_object.h"
#include "crypto/rsa.h"
#include "util/fatal.h"
#include "util/mem.h"
#include "util/wire.h"

namespace {

constexpr uint32_t kBlobMagic = 0x65C8B28A;
constexpr uint32_t kBlobLengthMin = 8;  // magic and length
constexpr std::string_view kPlain = "plain";

// What an action's tag may be used for. A row has exactly one of the first two.
enum ActionFlags : uint32_t {
  kValue = 0x01,   // the tag carries an integer
  kScheme = 0x02,  // the tag chooses a scheme by name
  kGet = 0x20,     // the tag may be asked of a key
  kDefine = 0x40,  // the tag may be given when a key is defined
};
constexpr uint32_t kKind = kValue | kScheme;

// Action is what one tag of a key type means: the scheme slot with the schemes that may go there,
// or the place of an integer among the key's values.
struct Action {
  uint32_t tag;
  std::string_view name;  // values have none
  uint32_t flags;
  uint32_t place;
  const SshKeyScheme *schemes = nullptr;
  size_t scheme_count = 0;
};

template <size_t N>
constexpr Action scheme_row(SshKeyTag tag, std::string_view name, SshKeySlot slot,
                            const SshKeyScheme (&rows)[N]) {
  return {tag, name, kScheme | kGet | kDefine, slot, rows, N};
}

constexpr Action value_row(SshKeyTag tag, uint32_t place) {
  return {tag, {}, kValue | kGet | kDefine, place};
}

// Writer writes octets, or only counts them while it has no place to write to: a blob is measured
// and then written in a single block of its exact size.
class Writer {
 public:
  explicit Writer(uint8_t *at = nullptr) : at_(at) {}

  [[nodiscard]] uint64_t count() const { return count_; }

  void octets(Bytes octets) {
    if (at_ && !octets.empty()) at_ = std::copy(octets.begin(), octets.end(), at_);
    count_ += octets.size();
  }
  void text(std::string_view text) { octets(ssh_text_bytes(text)); }
  void uint32(uint64_t value) {
    uint8_t octets_of_value[4];
    ssh_store_be32(octets_of_value, static_cast<uint32_t>(value));
    octets(octets_of_value);
  }
  void integer(const SshMpInt &value) {
    uint32(value.bits());
    octets(value.magnitude());
  }

  // string writes what `write` writes behind its length.
  template <class F>
  void string(F write) {
    uint8_t *const length_at = at_;
    uint32(0);
    const uint64_t before = count_;
    write();
    if (length_at) ssh_store_be32(length_at, static_cast<uint32_t>(count_ - before));
  }

 private:
  uint8_t *at_;
  uint64_t count_ = 0;
};

}  // namespace

struct SshKeyType {
  std::string_view name;
  const Action *actions;
  size_t action_count;
  uint32_t value_count;
  bool (*import_data)(SshPublicKey &key, Bytes data);
  void (*export_data)(const SshPublicKey &key, Writer &out);
};

namespace {

// RSA key data puts the exponent first.
bool import_rsa(SshPublicKey &key, Bytes data) {
  return ssh_decode_array(data, {ssh_get_mp_int(&key.values[SSH_RSA_E]),
                                 ssh_get_mp_int(&key.values[SSH_RSA_N])}) > 0;
}

void export_rsa(const SshPublicKey &key, Writer &out) {
  out.integer(key.values[SSH_RSA_E]);
  out.integer(key.values[SSH_RSA_N]);
}

// import_group reads group parameters (1 and a name, or 0 and p, g, q) and returns their length.
size_t import_group(SshPublicKey &key, Bytes data) {
  SshMpInt *v = key.values;
  uint32_t named = 0;
  Bytes name;
  if (!ssh_decode_array(data, {ssh_get_uint32(&named)}) || named > 1) return 0;
  if (named == 0) {
    return ssh_decode_array(data, {ssh_get_uint32(nullptr), ssh_get_mp_int(&v[SSH_DL_P]),
                                   ssh_get_mp_int(&v[SSH_DL_G]), ssh_get_mp_int(&v[SSH_DL_Q])});
  }
  const size_t used =
      ssh_decode_array(data, {ssh_get_uint32(nullptr), ssh_get_uint32_str_nocopy(&name)});
  if (used == 0 || name.empty()) return 0;
  key.group = ssh_key_group_find(ssh_bytes_text(name));
  if (!key.group) return 0;
  ssh_key_group_numbers(key.group, &v[SSH_DL_P], &v[SSH_DL_Q], &v[SSH_DL_G]);
  return used;
}

bool import_dl(SshPublicKey &key, Bytes data) {
  const size_t used = import_group(key, data);
  if (used == 0) return false;
  return ssh_decode_array(data.subspan(used), {ssh_get_mp_int(&key.values[SSH_DL_Y])}) > 0;
}

void export_dl(const SshPublicKey &key, Writer &out) {
  out.uint32(key.group ? 1 : 0);
  if (key.group) {
    out.string([&] { out.text(ssh_key_group_name(key.group)); });
  } else {
    for (const SshDlPlace value : {SSH_DL_P, SSH_DL_G, SSH_DL_Q}) out.integer(key.values[value]);
  }
  out.integer(key.values[SSH_DL_Y]);
}

constexpr SshKeyScheme rsa_signature(const char *name, const char *hash) {
  return {.name = name, .hash = hash, .verify = ssh_rsa_verify};
}
constexpr SshKeyScheme dsa_signature(const char *name, const char *hash) {
  return {.name = name, .hash = hash, .verify = ssh_dsa_verify};
}
constexpr SshKeyScheme by_signature_only(SshKeyScheme scheme) {
  scheme.by_signature_only = true;
  return scheme;
}

// What signatures alone may name has names of the same pattern. "rsa-nist-sha1" is the signature
// that an older identifier stands for; its padding is that of PKCS #1.
constexpr SshKeyScheme kRsaSign[] = {
    rsa_signature("rsa-pkcs1-md5", "md5"),
    rsa_signature("rsa-pkcs1-sha1", "sha1"),
    rsa_signature("rsa-pkcs1-none", nullptr),
    by_signature_only(rsa_signature("rsa-nist-sha1", "sha1")),
    by_signature_only(rsa_signature("rsa-pkcs1-sha224", "sha224")),
    by_signature_only(rsa_signature("rsa-pkcs1-sha256", "sha256")),
    by_signature_only(rsa_signature("rsa-pkcs1-sha384", "sha384")),
    by_signature_only(rsa_signature("rsa-pkcs1-sha512", "sha512")),
};
constexpr SshKeyScheme kRsaEncrypt[] = {{.name = "rsa-pkcs1-none", .encrypt = ssh_rsa_encrypt}};
constexpr SshKeyScheme kDlSign[] = {
    dsa_signature("dsa-nist-sha1", "sha1"),
    by_signature_only(dsa_signature("dsa-nist-sha224", "sha224")),
    by_signature_only(dsa_signature("dsa-nist-sha256", "sha256")),
    by_signature_only(dsa_signature("dsa-nist-sha384", "sha384")),
    by_signature_only(dsa_signature("dsa-nist-sha512", "sha512")),
};
constexpr SshKeyScheme kDlDh[] = {{.name = "plain", .agree = ssh_dh_agree}};

constexpr Action kRsaActions[] = {
    scheme_row(SSH_KEY_TAG_SIGN, "sign", SSH_KEY_SIGN, kRsaSign),
    scheme_row(SSH_KEY_TAG_ENCRYPT, "encrypt", SSH_KEY_ENCRYPT, kRsaEncrypt),
    value_row(SSH_KEY_TAG_N, SSH_RSA_N),
    value_row(SSH_KEY_TAG_E, SSH_RSA_E),
};
constexpr Action kDlActions[] = {
    scheme_row(SSH_KEY_TAG_SIGN, "sign", SSH_KEY_SIGN, kDlSign),
    scheme_row(SSH_KEY_TAG_DH, "dh", SSH_KEY_DH, kDlDh),
    value_row(SSH_KEY_TAG_P, SSH_DL_P),
    value_row(SSH_KEY_TAG_Q, SSH_DL_Q),
    value_row(SSH_KEY_TAG_G, SSH_DL_G),
    value_row(SSH_KEY_TAG_Y, SSH_DL_Y),
};

constexpr SshKeyType kKeyTypes[] = {
    {"if-modn", kRsaActions, std::size(kRsaActions), SSH_RSA_VALUES, import_rsa, export_rsa},
    {"dl-modp", kDlActions, std::size(kDlActions), SSH_DL_VALUES, import_dl, export_dl},
};
constexpr std::string_view kSlotNames[SSH_KEY_SLOTS] = {"sign", "encrypt", "dh"};

// A slot or place beyond the key's room cannot be chosen, because no row has one; nor is there a
// row of both kinds or of none.
constexpr bool row_fits(const SshKeyType &type, const Action &row) {
  const bool scheme = (row.flags & kKind) == kScheme;
  if (!scheme && (row.flags & kKind) != kValue) return false;
  return row.place < (scheme ? uint32_t{SSH_KEY_SLOTS} : type.value_count) &&
         scheme == !row.name.empty();
}
static_assert(std::all_of(std::begin(kKeyTypes), std::end(kKeyTypes), [](const SshKeyType &type) {
  const auto fits = [&](const Action &row) { return row_fits(type, row); };
  return type.value_count <= SSH_KEY_VALUES_MAX &&
         std::all_of(type.actions, type.actions + type.action_count, fits);
}));

const SshKeyScheme *find_signature_scheme(const SshKeyType &type, std::string_view name) {
  for (size_t i = 0; i < type.action_count; ++i) {
    const Action &row = type.actions[i];
    if (!(row.flags & kScheme) || row.place != SSH_KEY_SIGN) continue;
    for (size_t j = 0; j < row.scheme_count; ++j) {
      if (row.schemes[j].name == name) return &row.schemes[j];
    }
  }
  return nullptr;
}

const SshKeyType *find_type(std::string_view name) {
  for (const SshKeyType &row : kKeyTypes) {
    if (row.name == name) return &row;
  }
  return nullptr;
}

const Action *find_tag(const SshKeyType *type, uint32_t tag, uint32_t flag) {
  for (size_t i = 0; i < type->action_count; ++i) {
    const Action &row = type->actions[i];
    if (row.tag == tag && (row.flags & flag)) return &row;
  }
  return nullptr;
}

const Action *find_action(const SshKeyType *type, std::string_view name) {
  constexpr uint32_t kWanted = kDefine | kScheme;
  for (size_t i = 0; i < type->action_count; ++i) {
    const Action &row = type->actions[i];
    if (row.name == name && (row.flags & kWanted) == kWanted) return &row;
  }
  return nullptr;
}

bool choose_scheme(SshPublicKey &key, const Action &action, std::string_view name) {
  for (size_t i = 0; i < action.scheme_count; ++i) {
    const SshKeyScheme &scheme = action.schemes[i];
    if (scheme.name != name || scheme.by_signature_only) continue;
    key.schemes[action.place] = &scheme;
    return true;
  }
  return false;
}

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
    scheme = kPlain;
    if (!word(action)) return false;
    if (skip('{') && !(word(scheme) && skip('}'))) return false;
    more_ = skip(',');
    return more_ || (skip('}') && rest_.empty());
  }

 private:
  static constexpr bool in_word(char c) { return c != '{' && c != '}' && c != ',' && c != 0; }

  // word reads at least one character; a zero octet is in no word.
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

bool name_parses(std::string_view name) {
  NameReader reader(name);
  std::string_view type, action, scheme;
  bool good = reader.type(type);
  while (good && reader.more()) good = reader.action(action, scheme);
  return good;
}

// make_key makes a key without values from a name; `unknown_type` is the status for a type that is
// in no row, which differs between definition and import.
SshKeyStatus make_key(std::string_view name, SshKeyStatus unknown_type, SshPublicKeyOwner &out) {
  if (!name_parses(name)) return SSH_KEY_BAD_FORMAT;
  NameReader reader(name);
  std::string_view word, scheme;
  (void)reader.type(word);
  const SshKeyType *type = find_type(word);
  if (!type) return unknown_type;
  SshPublicKeyOwner key(new (ssh_xmalloc(sizeof(SshPublicKey))) SshPublicKey{.type = type});
  while (reader.more()) {
    (void)reader.action(word, scheme);
    const Action *action = find_action(type, word);
    if (!action || !choose_scheme(*key, *action, scheme)) return SSH_KEY_UNKNOWN_NAME;
  }
  out = std::move(key);
  return SSH_KEY_OK;
}

// define_tag gives one tag its value; `given` collects the places of the values that were set.
SshKeyStatus define_tag(SshPublicKey &key, const SshKeyValue &value, uint32_t &given) {
  const Action *row = find_tag(key.type, value.tag, kDefine);
  if (!row) return SSH_KEY_BAD_TAG;
  if (row->flags & kScheme) {
    const std::string_view name = value.scheme ? std::string_view(value.scheme) : kPlain;
    return choose_scheme(key, *row, name) ? SSH_KEY_OK : SSH_KEY_UNKNOWN_NAME;
  }
  if (!value.integer) return SSH_KEY_REFUSED;
  key.values[row->place] = *value.integer;
  given |= 1u << row->place;
  return SSH_KEY_OK;
}

SshKeyStatus answer(const SshPublicKey &key, const SshKeyQuestion &question) {
  const Action *row = find_tag(key.type, question.tag, kGet);
  if (!row) return SSH_KEY_BAD_TAG;
  if (row->flags & kValue) {
    if (!question.integer) return SSH_KEY_REFUSED;
    *question.integer = key.values[row->place];
    return SSH_KEY_OK;
  }
  if (!question.scheme) return SSH_KEY_REFUSED;
  const SshKeyScheme *scheme = key.schemes[row->place];
  *question.scheme = scheme ? scheme->name : nullptr;
  return SSH_KEY_OK;
}

// write_name writes the key-type name and, if any scheme is set, one pair of braces with them.
void write_name(const SshPublicKey &key, Writer &out) {
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

void write_blob(const SshPublicKey &key, uint64_t total, Writer &out) {
  out.uint32(kBlobMagic);
  out.uint32(total);
  out.string([&] { write_name(key, out); });
  out.string([&] { key.type->export_data(key, out); });
}

}  // namespace

SshKeySchemeFound ssh_key_signature_scheme(const SshPublicKey &key, std::string_view name) {
  if (const SshKeyScheme *own = find_signature_scheme(*key.type, name)) return {own, true};
  for (const SshKeyType &type : kKeyTypes) {
    if (const SshKeyScheme *other = find_signature_scheme(type, name)) return {other, false};
  }
  return {};
}

bool ssh_public_key_can_verify(const char *scheme) {
  const auto has = [&](const SshKeyType &type) { return find_signature_scheme(type, scheme); };
  return std::any_of(std::begin(kKeyTypes), std::end(kKeyTypes), has);
}

SshKeyStatus ssh_public_key_define(SshPublicKey **key, const char *name,
                                   std::initializer_list<SshKeyValue> values) {
  if (!name) return SSH_KEY_BAD_FORMAT;
  SshPublicKeyOwner made;
  if (const SshKeyStatus status = make_key(name, SSH_KEY_BAD_FORMAT, made)) return status;
  uint32_t given = 0;
  for (const SshKeyValue &value : values) {
    if (value.tag == SSH_KEY_TAG_END) break;
    if (const SshKeyStatus status = define_tag(*made, value, given)) return status;
  }
  if (given != (1u << made->type->value_count) - 1) return SSH_KEY_FAILED;
  *key = made.release();
  return SSH_KEY_OK;
}

SshKeyStatus ssh_public_key_get_info(const SshPublicKey *key,
                                     std::initializer_list<SshKeyQuestion> questions) {
  for (const SshKeyQuestion &question : questions) {
    if (question.tag == SSH_KEY_TAG_END) break;
    if (const SshKeyStatus status = answer(*key, question)) return status;
  }
  return SSH_KEY_OK;
}

SshPublicKey *ssh_public_key_copy(const SshPublicKey *key) {
  return new (ssh_xmalloc(sizeof(SshPublicKey))) SshPublicKey(*key);
}

void ssh_public_key_free(SshPublicKey *key) {
  // A key without key data is never handed out, so that only a null key can be undefined.
  if (!key) ssh_fatal("ssh_public_key_free: undefined key.");
  key->~SshPublicKey();
  ssh_xfree(key);
}

SshKeyStatus ssh_public_key_export(const SshPublicKey *key, uint8_t **blob, uint32_t *length) {
  Writer measure;
  write_blob(*key, 0, measure);
  const uint64_t total = measure.count();
  if (total > SSH_XMALLOC_MAX) return SSH_KEY_FAILED;
  *blob = static_cast<uint8_t *>(ssh_xmalloc(static_cast<size_t>(total)));
  *length = static_cast<uint32_t>(total);
  Writer out(*blob);
  write_blob(*key, total, out);
  return SSH_KEY_OK;
}

SshKeyStatus ssh_public_key_import(Bytes blob, SshPublicKey **key) {
  uint32_t magic = 0, total = 0;
  Bytes name, data;
  // The total is deliberately not held against the octets at hand: blobs are cut out of longer
  // messages, and old ones carry the length of what they stood in.
  const size_t used = ssh_decode_array(
      blob, {ssh_get_uint32(&magic), ssh_get_uint32(&total), ssh_get_uint32_str_nocopy(&name)});
  if (used == 0 || magic != kBlobMagic || total < kBlobLengthMin) return SSH_KEY_BAD_FORMAT;
  SshPublicKeyOwner made;
  if (const auto status = make_key(ssh_bytes_text(name), SSH_KEY_FAILED, made)) return status;
  const bool good = ssh_decode_array(blob.subspan(used), {ssh_get_uint32_str_nocopy(&data)}) > 0 &&
                    made->type->import_data(*made, data);
  if (!good) return SSH_KEY_FAILED;
  *key = made.release();
  return SSH_KEY_OK;
}

char *ssh_public_key_name(const SshPublicKey *key) {
  Writer measure;
  write_name(*key, measure);
  const size_t length = static_cast<size_t>(measure.count());
  auto *text = static_cast<char *>(ssh_xmalloc(length + 1));
  Writer out(reinterpret_cast<uint8_t *>(text));
  write_name(*key, out);
  text[length] = 0;
  return text;
}
