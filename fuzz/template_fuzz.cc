// Template text up to a zero byte, then bytes to read with it. Views and blocks must tell the same
// story.
#include <algorithm>

#include "fuzz.h"
#include "support/template.h"

namespace {

SshAsn1Status read(SshAsn1Program program, SshAsn1Mode mode, SshAsn1Node node, bool owned) {
  const int64_t blocks = ssh_mem_blocks();
  const TemplateReading reading(program, mode, node, owned);
  require(program.fault == SSH_ASN1_TEMPLATE_OK);
  if (reading.status == SSH_ASN1_OK) return reading.status;
  for (const TemplateOutput &output : reading.outputs) {
    require(output.block == TemplateOutput::mark || !output.block);
    require(output.text == TemplateOutput::unset || !output.text);
  }
  const size_t integers = 2 * reading.outputs.size();  // large ones hold a block each
  require(ssh_mem_blocks() <= blocks + static_cast<int64_t>(integers));
  return reading.status;
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
