// The values that certificates and CRLs are made of, as JSON: integers, identifiers, times, strings
// and names. Whatever is shown of a record goes through JSON, so that people and programs are told
// the same. A kind of general name that wants showing in its own way is a row of the table in
// values.cc.
#pragma once

#include <algorithm>
#include <nlohmann/json.hpp>
#include <string>
#include <string_view>
#include <vector>

#include "asn1/time.h"
#include "kwpki/input/input.h"
#include "util/mp_int.h"
#include "x509/extensions.h"
#include "x509/name.h"

namespace kwpki {

// Json keeps members in the order in which they are added.
using Json = nlohmann::ordered_json;

// document begins an object that is printed: {"schema"}, the contract that it keeps. All of it is
// in docs/kwpki.schema.json. json_line is one in ASCII, without a line end.
Json document();
std::string json_line(const Json &json);

// The items of all lists of an object are counted: a small encoding can have millions, whose JSON
// would fill the memory. start_items begins a new object, take_item says whether it may have one
// more item. A list that may not have more ends with the item kOmitted.
constexpr size_t kItemsMax = 250000;
void start_items();
bool take_item();
extern const Json kOmitted;

// set_place adds where an object comes from.
void set_place(Json &object, const Place &place);

// set_text adds bytes that should be text: as UTF-8, and beside it as KEY_hex if they are not.
void set_text(Json &object, const std::string &key, std::string_view text);

// string_text reads the content of a string type with this universal tag as UTF-8; other tags give
// the bytes.
std::string string_text(uint32_t tag, Bytes content);

// oid_text gives dotted text, or the bytes in hex if they are no identifier.
std::string oid_text(SshOid oid);

// oid_json is {"oid", "name"}; the name is left out if there is none.
Json oid_json(SshOid oid);

// integer_json is {"decimal", "hex"}; "decimal" is left out above 8192 bits, where hex says as
// much.
Json integer_json(const SshMpInt &value);

// integer_text is "18 (0x12)", without the decimal digits where there are none.
std::string integer_text(const SshMpInt &value);
std::string integer_text(std::string_view decimal, std::string_view hex);

// number_json is {"bits", "decimal" or not, "hex"} for the content bytes of an INTEGER of a key.
Json number_json(Bytes content);

// small_json is a number for the content bytes of an INTEGER that is one of 31 bits at most and
// not negative; anything else is as number_json has it.
Json small_json(Bytes content);

// ip_text is an address of 4 or 16 bytes in the usual form: RFC 5952, 4.
std::string ip_text(Bytes octets);

// time_json is an ISO 8601 text, or null for a time that is not set.
Json time_json(const SshBerTime &time);
std::string time_text(const SshBerTime &time);  // of one that is set

// limit_json is a number, or null for SSH_X509_NO_LIMIT.
Json limit_json(uint32_t value);

// text_json is a string of a certificate as UTF-8, or null if it is absent; set_string adds such a
// string to an object, as set_text does with bytes.
Json text_json(const SshX509Text &text);
void set_string(Json &object, const SshX509Text &text);

// attribute_oid gives the identifier of an attribute whose name in "readable" is another than the
// library's; "" for all others.
std::string_view attribute_oid(std::string_view name);

// dn_json is {"text", "readable", "attributes", "der"} for the DER of a Name. "text" is what the
// library gives (null if it has none); "readable" decodes every value by its string type.
Json dn_json(Bytes der);

// name_json is one entry of a list of names; names_json is a list of general names in the order of
// the encoding. Names that are not general names (the issuer's own, unique identifiers) are left
// out.
Json name_json(const SshX509Name &name);
Json names_json(const SshX509Name *list);

// bits_json lists the names of the bits of a mask whose first byte lies in bits 0 to 7, most
// significant first.
Json bits_json(uint32_t mask, std::span<const std::string_view> names);
Json key_usage_json(uint32_t mask);
Json reasons_json(uint32_t mask);

// list_json makes an array of a record's list.
template <class T, class Describe>
Json list_json(const T *list, Describe describe) {
  Json array = Json::array();
  for (; list; list = list->next) {
    if (!take_item()) {
      array.push_back(kOmitted);
      break;
    }
    array.push_back(describe(*list));
  }
  return array;
}

}  // namespace kwpki
