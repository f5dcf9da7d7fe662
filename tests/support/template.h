// Outputs for whatever a template made at run time reads.
#pragma once

#include <bit>
#include <vector>

#include "asn1/node.h"
#include "util/mem.h"

// TemplateOutput has a place for each form of output of one element. What was not stored into still
// has the values here.
struct TemplateOutput {
  static inline uint8_t mark[] = {0x5E};
  static inline char unset[] = "unset";

  int number = -77;
  uint32_t word = 77777;
  SshMpInt integer{-77};
  Bytes bytes{mark};
  SshAsn1Bits bits{mark, 8};
  uint8_t *block = mark;
  size_t size = 1;
  char *text = unset;
  SshOid oid{mark};
  SshBerTime time{.year = 77, .month = 7, .day = 7};
  SshAsn1Node node{mark, mark + 1, mark + 1, nullptr};

  ~TemplateOutput() {
    if (block != mark) ssh_xfree(block);
    if (text != unset) ssh_xfree(text);
  }

  // place gives what takes an output of a form.
  void *place(uint32_t form) {
    void *const places[] = {&number, &word, &integer, &bytes, &bits, &block,
                            &size,   &text, &oid,     &time,  &node};
    return places[std::countr_zero(form)];
  }
};

// TemplateReading reads once with a template, whose `program` it binds: views, or blocks of the
// caller's own where `owned` asks for them and the type has such.
struct TemplateReading {
  std::vector<uint32_t> told;  // the elements that store something
  std::vector<TemplateOutput> outputs;
  SshAsn1Status status;

  TemplateReading(SshAsn1Program &program, SshAsn1Mode mode, SshAsn1Node node, bool owned)
      : outputs(program.count) {
    std::vector<uint32_t> forms;
    std::vector<void *> places;
    for (uint32_t i = 0; i < program.count; ++i) {
      const SshAsn1Op &op = program.ops[i];
      const SshAsn1Binding &binding = kSshAsn1Bindings[op.type];
      if (binding.view == 0 || (op.children && op.type < SSH_ASN1_CONSTRUCTED)) continue;
      told.push_back(i);
      forms.push_back(owned && binding.second_form ? binding.second_form : binding.view);
      places.push_back(outputs[i].place(forms.back()));
      if (!owned || !binding.sized) continue;
      forms.push_back(SSH_ASN1_FORM_SIZE);
      places.push_back(&outputs[i].size);
    }
    forms.push_back(0);
    places.push_back(nullptr);
    ssh_asn1_bind(program, forms.data(), forms.size() - 1);
    status = ssh_asn1_run_read(mode, node, program.ops, program.count, places.data());
  }
};
