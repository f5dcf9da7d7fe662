// Messages both ways: `kwpki message`.
#include "kwpki/message/message.h"

#include "kwpki/message/decode.h"
#include "kwpki/message/encode.h"
#include "support/wire.h"
#include "tools/inspect_samples.h"

namespace {

using inspect_samples::expect_told;
using kwpki::Json;
using Octets = std::vector<uint8_t>;

// A request or reply in hexadecimal digits, with the identifier 7.
std::string request(uint32_t type, const std::string &payload) {
  return hex(wire::envelope(7, type, 999, unhex(payload)));
}
std::string reply(uint32_t type, const std::string &payload, uint32_t status = 0) {
  return hex(wire::envelope(7, type, status, unhex(payload), 5));
}

const std::string kConstraintsHex =
    "0000001b 323030312041707220 333074682c2031343a30333a303920474d54 00000000"
    "00000002 00000005 00000003 612e62 00000009 00000004 00000004 0a0000ff 00000000"
    "ffffffff 00000060 00000001 00000002 01 00000001 0000004d 00000000 00000000";
const std::string kConstraints =
    R"({"not_before": "2001 Apr 30th, 14:03:09 GMT", "not_after": "",
        "keys": [{"type": "dns", "data": "a.b", "value": 9},
                 {"type": "ip", "data": {"hex": "0a0000ff"}, "value": 0}],
        "path_length": "any", "key_usage": 96, "key_type": 1, "rule": 2, "group_mode": true,
        "second_keys": [{"type": 77, "data": "", "value": 0}]})";
const std::string kValidityHex = "00000001 78 00000000";
const std::string kValidity = R"({"not_before": "x", "not_after": ""})";
const std::string kCertListHex =
    "00000003 00000008 00000002 00000003 e282ac"
    "00000000 00000002 3000 00000011 00000001 0000000d 00000001 ff 00000000 00000005 0000002a"
    "00000001"
    "00000000 00000000 00000000 00000000 00000000 00000000";
const std::string kCertList =
    R"({"state_reserved": 8, "state": 2, "state_text": "€", "elements": [
        {"element_type": "certificate", "certificate": {"hex": "3000"}, "tag": 17,
         "keys": [{"type": "public-key", "data": {"hex": "ff"}, "value": 0}],
         "keep_until": 5, "serial": 42},
        {"element_type": 1},
        {"element_type": "certificate", "certificate": {"hex": ""}, "tag": 0, "keys": [],
         "keep_until": 0, "serial": 0}]})";

// Messages, and what of their JSON is theirs alone.
std::vector<std::pair<std::string, std::string>> messages() {
  const std::string names = "00000001 61 00000000 00000001 0a 00000002 c3a4";
  const std::string names_json = R"("names": ["a", "", {"hex": "0a"}, "ä"])";
  return {
      {request(0, "00000102 00000003 300100"), R"({"request_type": "cert-add",
          "payload": {"options": 258, "certificate": {"hex": "300100"}}})"},
      {request(1, "00000001 41"),
       R"({"request_type": "crl-add", "payload": {"crl": {"hex": "41"}}})"},
      {request(3, kConstraintsHex + kConstraintsHex + kValidityHex),
       R"({"request_type": "search-path", "payload": {"first": )" + kConstraints +
           R"(, "second": )" + kConstraints + R"(, "validity": )" + kValidity + "}}"},
      {request(5, "00000002 4142" + names + "00000000"),
       R"({"request_type": "cert-request", "payload": {"request": {"hex": "4142"}, )" + names_json +
           R"(, "further": ""}})"},
      {request(6, ""), R"({"request_type": "status", "payload": {}})"},
      {request(7, names),
       R"({"request_type": "cert-request-remove", "payload": {)" + names_json + "}}"},
      {reply(1, "6f6b", 0x84090005),
       R"({"request_type": "crl-add", "status": 2215182341, "payload": {"data": "ok"}})"},
      {reply(3, kCertListHex, 999),
       R"({"request_type": "search-path", "status": 999, "payload": )" + kCertList + "}"},
      {reply(4, "00000002 00000000 00000003 432c44"),
       R"({"request_type": "ca-names", "payload": {"names": ["", "C,D"]}})"},
      {reply(4, "00000002", 3),
       R"({"request_type": "ca-names", "status": 3, "payload": {"data": {"hex": "00000002"}}})"},
      {reply(6, "1b5b"), R"({"request_type": "status", "payload": {"data": {"hex": "1b5b"}}})"},
  };
}

Json document(bool reply, const std::string &own) {
  Json whole = {{"schema", "kwpki/1"}, {"kind", reply ? "reply" : "request"},
                {"version", 1},        {"request_id", 7},
                {"request_type", ""},  {"status", 999},
                {"reserved", 0}};
  if (reply) whole.update({{"status", 0}, {"reserved", 5}});
  whole.update(Json::parse(own));
  return whole;
}

// check_whole: JSON holds all bytes, whatever they are. It gives how many faults there are.
size_t check_whole(const Octets &octets) {
  const auto decoded = kwpki::decode_message(octets, std::nullopt, {}, true);
  EXPECT_EQ(hex(kwpki::encode_message(decoded.json)), hex(octets)) << decoded.json.dump(2);
  const Result text = run({"message", "decode", "--full"}, {octets.begin(), octets.end()});
  EXPECT_EQ(text.code, decoded.faults.empty() ? 0 : 1) << text.err;
  for (const auto &fault : decoded.faults) EXPECT_LE(fault.offset, octets.size());
  return decoded.faults.size();
}

TEST(Message, EveryRequestAndReplyAndNothingIsLost) {
  size_t faults = 0;
  for (const auto &[digits, own] : messages()) {
    const Octets octets = unhex(digits);
    const Json expected = document(octets[19] != 0, own);
    const Result decoded = run({"message", "decode", "--hex", "--json"}, digits + "\n");
    EXPECT_EQ(decoded.code, 0) << decoded.err;
    EXPECT_EQ(Json::parse(decoded.out).dump(2), expected.dump(2));
    const Result encoded = run({"message", "encode", "--hex"}, expected.dump());
    EXPECT_EQ(encoded.out, hex(octets) + "\n") << encoded.err;

    for (const std::string &broken : inspect_samples::broken({octets.begin(), octets.end()})) {
      const size_t found = check_whole({broken.begin(), broken.end()});
      EXPECT_TRUE(found > 0 || broken.size() == octets.size());
      faults += found;
    }
  }
  EXPECT_GT(faults, 1000u);
}

TEST(Message, FaultsAreNamedAndValuesInWords) {
  const std::string cut = reply(2, kCertListHex).substr(0, 142), none = "00000000";
  const std::string name = "300e310c300a06035504031303413b42";  // CN="A;B" in DER
  const std::string keys = none + none + "00000002 00000003 00000010" + name + none +
                           "0000000a 00000009 1b5d 303b 78 07 e280ae" + none;
  expect_told(
      {"message", "decode", "--hex"},
      {{{"--reply"}, 0, "", "", request(6, "")},
       {{}, 1, "rest: 1 byte,", "message, offset 24: 1 byte behind", request(6, "") + "00"},
       {{}, 1, "9", "request_type, offset 8: no type of a message: 9", request(9, "00")},
       {{}, 1, "rest: 5", "crl, offset 24: cut: 1 of 4294967295", request(1, "ffffffff 00")},
       {{}, 1, "[0]: \"A\"", "24: 1073741824 items of at", reply(4, "40000000 00000001 41")},
       {{}, 1, "public-key", "payload.elements[0].keys[0].value, offset 70: cut: 1 of 4", cut},
       {{}, 1, "", "not hexadecimal", "zz"},
       {{}, 1, "(2001-04-30T14:03:09Z)", "", request(2, kConstraintsHex)},
       {{}, 1, "data: CN=", "", request(2, keys)},
       {{}, 1, "\"\\x1b]0;x\\x07\\u{202e}\"", "", request(2, keys)},
       {{}, 0, "status: 2215182341 (KWPKI_FAILED)", "", reply(0, "", 0x84090005)},
       {{}, 0, "certificate: 2 bytes, not a certificate", "", request(0, none + "00000002 3000")}});
}

TEST(Message, DefaultsAndOtherSpellings) {
  const Der none, name = unhex("300e310c300a06035504031303622061");
  wire::Ask ask;
  ask.path_length = 3;
  ask.group_mode = 7;
  const std::pair<const char *, Der> rows[] = {
      {R"({"request_type": 6})", wire::envelope(0, 6, 999, none)},
      {R"({"request_type": 6, "payload_length": 5})",
       unhex("00000001 00000000 00000006 000003e7 00000000 00000005")},
      {R"({"request_type": 1, "payload": {"crl": {"dn": "CN= B  a"}}})",
       wire::envelope(0, 1, 999, wire::str(Bytes(name)))},
      {R"({"request_type": 2, "payload": {"constraints": {"path_length": 3, "group_mode": 7}}})",
       wire::envelope(0, 2, 999, der::join({ask.build(), wire::validity()}))},
  };
  for (const auto &[json, octets] : rows) {
    const Result result = run({"message", "encode", "--hex"}, json);
    EXPECT_EQ(result.out, hex(octets) + "\n") << json << result.err;
  }
}

TEST(Message, BadJsonIsToldWithItsPlace) {
  const std::string key = R"({"request_type": 2, "payload": {"constraints": {"keys": [)";
  const std::string deep(1000000, '[');
  std::string members = "{", values = "[";
  for (size_t i = 0; i < 65; ++i) members += "\"m" + std::to_string(i) + "\":0,";
  for (size_t i = 0; i < 4000001; ++i) values += "0,";
  const std::pair<std::string, const char *> rows[] = {
      {"{", "parse error at line 1, column 2"},
      {R"({"request_type": "serch"})", "request_type: no such name"},
      {R"({"request_type": 6, "payload": {"data": ""}})", "payload.data: no such member"},
      {R"({"request_type": 6, "status": 1, "status": 2})", "status: given twice"},
      {R"({"request_type": 7, "payload": {"names": ["", "", "", "", ""]}})",
       "payload.names: more than 4 items"},
      {R"({"request_type": 1, "payload": {"crl": {"dn": "X"}}})", "payload.crl: \"dn\" is not"},
      {R"({"request_type": 2, "payload": {"constraints": {"group_mode": 256}}})",
       "payload.constraints.group_mode: not within 0 to 255"},
      {key + R"({"data": ""}]}}})", "payload.constraints.keys[0].type: missing"},
      {deep, "nested deeper"},
      {members, "m64: more members than any object has"},
      {values, "more values than a message has"},
  };
  for (const auto &[text, said] : rows)
    expect_told({"message", "encode"}, {{{}, 1, "", said, text}});
}

TEST(Message, ItemsAboveTheLimitStayOctets) {
  const uint32_t items = kwpki::kMessageItemsMax + 50000;
  Octets many = unhex(reply(2, hex(wire::u32(items)) + "000000000000000000000000"));
  many.resize(many.size() + items * 4, 0);
  for (size_t i = 0; i < items; ++i) many[40 + i * 4] = 1;  // elements that are no certificates
  const size_t length = many.size() - 24;
  for (size_t i = 0; i < 4; ++i) many[20 + i] = static_cast<uint8_t>(length >> (24 - 8 * i));
  const auto decoded = kwpki::decode_message(many, std::nullopt, {}, true);
  ASSERT_EQ(decoded.faults.size(), 1u);
  EXPECT_EQ(decoded.faults[0].field, "payload.elements[250000]");
  EXPECT_EQ(kwpki::encode_message(kwpki::parse_message_json(decoded.json.dump())), many);
}

}  // namespace
