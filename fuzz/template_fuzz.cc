// Template text up to a zero byte, then bytes to read with it. Views and blocks must tell the same
// story.
#include <algorithm>
#include <deque>
#include <vector>

#include "asn1/node.h"
#include "fuzz.h"

namespace {

// Values has a place for each form of output.
struct Values {
  int number = 0;
  uint32_t word = 0;
  SshMpInt integer;
  Bytes bytes;
  SshAsn1Bits bits;
  uint8_t *block = nullptr;
  size_t size = 0;
  char *text = nullptr;
  SshOid oid;
  SshBerTime time;
  SshAsn1Node node;
};

// Arguments are outputs for a whole template: blocks where `owned` asks for them and the type has
// such.
struct Arguments {
  std::vector<uint32_t> fits;
  std::vector<void *> outputs;
  std::deque<Values> values;

  void add(uint32_t form, Values &value) {
    void *const places[] = {&value.number, &value.word,  &value.integer, &value.bytes,
                            &value.bits,   &value.block, &value.size,    &value.text,
                            &value.oid,    &value.time,  &value.node};
    fits.push_back(form);
    for (size_t i = 0; i < std::size(places); ++i) {
      if (form == 1U << i) outputs.push_back(places[i]);
    }
  }

  Arguments(const SshAsn1Program &program, bool owned) {
    for (uint32_t i = 0; i < program.count; ++i) {
      const SshAsn1Op &op = program.ops[i];
      const SshAsn1Binding &binding = kSshAsn1Bindings[op.type];
      if (binding.view == 0 || (op.children && op.type < SSH_ASN1_CONSTRUCTED)) continue;
      Values &value = values.emplace_back();
      add(owned && binding.second_form ? binding.second_form : binding.view, value);
      if (owned && binding.sized) add(SSH_ASN1_FORM_SIZE, value);
    }
    fits.push_back(0);
    outputs.push_back(nullptr);
  }
  Arguments(const Arguments &) = delete;
  Arguments &operator=(const Arguments &) = delete;
  ~Arguments() {
    for (Values &value : values) {
      ssh_xfree(value.block);
      ssh_xfree(value.text);
    }
  }
};

SshAsn1Status read(SshAsn1Program program, SshAsn1Mode mode, SshAsn1Node node, bool owned) {
  Arguments arguments(program, owned);
  ssh_asn1_bind(program, arguments.fits.data(), arguments.fits.size() - 1);
  require(program.fault == SSH_ASN1_TEMPLATE_OK);
  const int64_t blocks = ssh_mem_blocks();
  const SshAsn1Status status =
      ssh_asn1_run_read(mode, node, program.ops, program.count, arguments.outputs.data());
  if (status == SSH_ASN1_OK) return status;
  for (const Values &value : arguments.values) require(!value.block && !value.text);
  const size_t integers = 2 * arguments.values.size();  // large ones hold a block each
  require(ssh_mem_blocks() <= blocks + static_cast<int64_t>(integers));
  return status;
}

}  // namespace

void check_input(Bytes input) {
  const std::string_view text = ssh_bytes_text(input);
  const size_t length = std::min(text.find('\0'), text.size());
  const SshAsn1Program program = SshAsn1Parser(text.data(), length).run();
  if (program.fault != SSH_ASN1_TEMPLATE_OK) return;
  for (const SshAsn1Op &op : std::span(program.ops, program.count)) {
    // Reading a childless SEQUENCE is a programming error.
    if (op.type == SSH_ASN1_CONSTRUCTED && !op.children) return;
  }
  const Bytes octets = input.subspan(std::min(length + 1, input.size()));
  bool laxer = true;  // whether the laxer mode read it: a stricter one reads no more
  for (const SshAsn1Mode mode : {SshAsn1Mode::kSearch, SshAsn1Mode::kKnown, SshAsn1Mode::kWhole}) {
    SshAsn1Work work = SshAsn1Work::for_input(octets.size()), same_work = work;
    SshAsn1Node node, same;
    const SshAsn1Status status = ssh_asn1_decode_in_place(octets, &work, &node);
    require(ssh_asn1_decode_in_place(octets, &same_work, &same) == status);
    const SshAsn1Status result = read(program, mode, node, false);
    require(result == read(program, mode, same, true));
    require(laxer || result != SSH_ASN1_OK);
    laxer = result == SSH_ASN1_OK;
  }
}
