// Template text that the compiler refuses, each kind of fault by its name.
#include "asn1/node.h"

SshAsn1Node node;
uint32_t word;
int flag;

// expect: unknown_keyword_or_flag
auto r = ssh_asn1_read_node(node, "(integer-shirt ())"_asn1, &word);

// expect: unknown_keyword_or_flag
auto r = ssh_asn1_read_node(node, "(integer-short (4294967296))"_asn1, &word);

// expect: unknown_keyword_or_flag
auto r = ssh_asn1_read_node(node, "(optional (null ())(null ()))"_asn1, &flag);

// expect: missing_parenthesis
auto r = ssh_asn1_read_node(node, "(integer-short ()"_asn1, &word);

// expect: closing_parenthesis_too_many
auto r = ssh_asn1_read_node(node, "(integer-short ()))"_asn1, &word);

// expect: parenthesis_or_element_expected
auto r = ssh_asn1_read_node(node, "(sequence () integer-short ())"_asn1, &word);

// expect: template_too_large
auto r = ssh_asn1_read_node(
    node,
    "(set ()(set ()(set ()(set ()(set ()(set ()(set ()(set ()(set ()(set ()(set ()(set ()(set ()"
    "(set ()(set ()(set ()(null ()) ))))))))))))))))"_asn1);

// expect: sequence_or_set_without_children_cannot_be_read
auto r = ssh_asn1_read_node(node, "(sequence ())"_asn1);

// expect: choice_and_optional_cannot_be_created
SshAsn1Node made;
auto r = ssh_asn1_create_node(nullptr, &made, "(choice (any ()))"_asn1, 0, node);
