// Arguments that do not fit their template: the compiler names what is wrong with them.
#include "asn1/node.h"

SshAsn1Node node, made;
SshAsn1Context *context;
SshAsn1Tree *tree;
uint32_t word;
int flag;
SshMpInt integer;
Bytes view;
SshAsn1Bits bits;
uint8_t *block;
size_t size;
char *text;
SshOid oid;
SshBerTime time_read;
const SshMpInt fixed(5);

// expect: success
auto r = ssh_asn1_read_node(
    node,
    "(boolean ())(integer ())(integer ())(integer-short ())(bit-string ())(bit-string ())"
    "(octet-string ())(octet-string ())(null ())(object-identifier ())(object-identifier ())"
    "(utc-time ())(any ())"_asn1,
    &flag, &integer, &view, &word, &bits, &block, &size, &view, &block, &size, &oid, &text,
    &time_read, &node);

// expect: success
auto r = ssh_asn1_create_tree(
    context, &tree,
    "(boolean ())(integer ())(integer ())(integer-short ())(bit-string ())(bit-string ())"
    "(octet-string ())(octet-string ())(null ())(object-identifier ())(object-identifier ())"
    "(object-identifier ())(utc-time ())(any ())"_asn1,
    flag, &fixed, view, word, bits, block, size, view, block, size, oid, text, "1.2", &time_read,
    node);

// expect: too_few_arguments
auto r = ssh_asn1_read_node(node, "(boolean ())"_asn1);

// expect: too_few_arguments
auto r = ssh_asn1_create_node(context, &made, "(any ())(any ())"_asn1, node);

// expect: too_many_arguments
auto r = ssh_asn1_read_node(node, "(boolean ())"_asn1, &flag, &flag);

// expect: too_many_arguments
auto r = ssh_asn1_create_node(context, &made, "(sequence ())"_asn1, node);

// expect: wrong_argument_type
auto r = ssh_asn1_read_node(node, "(boolean ())"_asn1, &word);

// expect: wrong_argument_type
auto r = ssh_asn1_read_tree(tree, "(any ())"_asn1, &view);

// expect: wrong_argument_type
auto r = ssh_asn1_create_node(context, &made, "(boolean ())"_asn1, true);

// expect: wrong_argument_type
auto r = ssh_asn1_create_tree(context, &tree, "(utc-time ())"_asn1, time_read);
