// Templates that come at run time: the parser of template.h, with the errors that a compiler would
// have reported as statuses or as fatal errors.
#include <cstring>

#include "asn1/node.h"
#include "util/fatal.h"

namespace {

SshAsn1Status parse(const char *fatal_text, const char *text, SshAsn1Program *program) {
  if (!text) ssh_fatal("%s", fatal_text);
  *program = SshAsn1Parser(text, std::strlen(text)).run();
  if (program->fault == SSH_ASN1_TEMPLATE_IMPLICATION) {
    ssh_fatal("ssh_asn1_parse_command_list: implication not supported.");
  }
  // A closing parenthesis too many ends the text, deliberately: the elements before it count.
  if (program->fault == SSH_ASN1_TEMPLATE_UNBALANCED) program->fault = SSH_ASN1_TEMPLATE_OK;
  return static_cast<SshAsn1Status>(program->fault);
}

SshAsn1Status bind(const uint32_t *fits, size_t count, SshAsn1Program *program) {
  ssh_asn1_bind(*program, fits, count);
  if (program->fault != SSH_ASN1_TEMPLATE_OK) {
    ssh_fatal("ssh_asn1_parse_command_list: arguments do not match the format string.");
  }
  return SSH_ASN1_OK;
}

}  // namespace

SshAsn1Status ssh_asn1_parse_run_time(const char *fatal_text, const char *text,
                                      const uint32_t *fits, size_t count, SshAsn1Program *program) {
  const SshAsn1Status status = parse(fatal_text, text, program);
  return status == SSH_ASN1_OK ? bind(fits, count, program) : status;
}

SshAsn1Status ssh_asn1_parse_for_create(const char *text, const uint32_t *fits, size_t count,
                                        SshAsn1Program *program) {
  const SshAsn1Status status =
      parse("ssh_asn1_create_node: called with NULL format string.", text, program);
  if (status != SSH_ASN1_OK) return status;
  // This comes before bind: on create, "choice" and "optional" have no arguments that could fit.
  for (uint32_t i = 0; i < program->count; ++i) {
    if (program->ops[i].type >= SSH_ASN1_CHOICE) return SSH_ASN1_UNKNOWN_COMMAND;
  }
  return bind(fits, count, program);
}
