// Arguments that do not fit their template: the compiler names what is wrong with them.
#include "asn1/node.h"

SshAsn1Node node, made;
SshAsn1Context *context;
SshAsn1Tree *tree;
uint32_t word;
int flag;
Bytes view;
SshBerTime time_read;

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
