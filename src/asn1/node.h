// ASN.1 values: nodes and trees, read and created by templates (asn1/template.h).
//
//   SshAsn1Work work = SshAsn1Work::for_input(der.size());
//   SshAsn1Node root;
//   if (ssh_asn1_decode_in_place(der, &work, &root) != SSH_ASN1_OK) return false;
//   return ssh_asn1_read_node(root, "(sequence ()(integer ())(any ()))"_asn1, &number, &rest) ==
//          SSH_ASN1_OK;
//
// A node is a view of checked bytes. So decoding builds nothing and nothing has to be freed; a list
// of nodes is the bytes of its elements one after the other. Decoding and walking are in node.cc,
// reading in read.cc, creating in create.cc. plain.h reads bytes that were not checked.
#pragma once

#include "asn1/template.h"
#include "asn1/view.h"
#include "util/fatal.h"
#include "util/owner.h"

// SshAsn1Tree is a list of elements with its encoding.
struct SshAsn1Tree {
  SshAsn1Node root;     // the first top-level element
  SshAsn1Node current;  // where reads of the tree start
  Bytes data;           // the encoding: what was decoded, or what ssh_asn1_encode stored
  SshAsn1Work work;
};

// SshAsn1Context owns the memory of what is decoded and created in it: trees, encodings and copies
// live until it is freed.
struct SshAsn1Context;
[[nodiscard]] SshAsn1Context *ssh_asn1_init();
void ssh_asn1_free(SshAsn1Context *context);
using SshAsn1ContextOwner = Owner<SshAsn1Context, ssh_asn1_free>;

// ssh_asn1_decode copies bytes into a new tree of the context. SSH_ASN1_OK, _OK_GARBAGE and
// _BAD_GARBAGE come with a tree of the good top-level elements, _BER_OPEN_FAILED comes with none.
// No bytes give an empty tree.
SshAsn1Status ssh_asn1_decode(SshAsn1Context *context, Bytes octets, SshAsn1Tree **tree);

// ssh_asn1_decode_in_place does the same without a copy and a context. `root` is a view of
// `octets`, and reads of it take steps from `work`; both must outlive it. `fault_at`, if given,
// receives the place of the first fault (null: none).
SshAsn1Status ssh_asn1_decode_in_place(Bytes octets, SshAsn1Work *work, SshAsn1Node *root,
                                       const uint8_t **fault_at = nullptr);

// ssh_asn1_node_open describes a node's own element; the node must not be null.
[[nodiscard]] SshBerElement ssh_asn1_node_open(SshAsn1Node node);

// ssh_asn1_list_of makes a list of nodes of well-formed bytes: of those that were checked, or that
// were created here. The null node if there is no element, or the work is spent.
[[nodiscard]] SshAsn1Node ssh_asn1_list_of(Bytes octets, SshAsn1Work *work);

// ssh_asn1_node_next gives the next sibling, or the null node at the end and for a null node.
[[nodiscard]] inline SshAsn1Node ssh_asn1_node_next(SshAsn1Node node) {
  const SshBerSpan span = ssh_ber_usual_span(node.next, node.end);
  if (!span.content) return ssh_asn1_list_of({node.next, node.end}, node.work);
  return {node.next, span.end, node.end, node.work};
}

// ssh_asn1_node_find gives the first element of the list with this identifier and a definite
// length, which is the one that a template would find. The constructed bit does not count. The null
// node if there is none.
[[nodiscard]] SshAsn1Node ssh_asn1_node_find(SshAsn1Node list, uint8_t identifier);

// ssh_asn1_node_child gives the first element inside a node, or the null node if it has none or is
// primitive.
[[nodiscard]] SshAsn1Node ssh_asn1_node_child(SshAsn1Node node);

// ssh_asn1_node_size gives the bytes that a tree's list of top-level elements takes.
[[nodiscard]] size_t ssh_asn1_node_size(const SshAsn1Tree *tree);

// ssh_asn1_get_current gives the node that reads of a tree start from.
[[nodiscard]] SshAsn1Node ssh_asn1_get_current(const SshAsn1Tree *tree);

// ssh_asn1_get_data and ssh_asn1_node_get_data copy an encoding into a new block (ssh_xfree).
void ssh_asn1_get_data(const SshAsn1Tree *tree, uint8_t **data, size_t *length);
void ssh_asn1_node_get_data(SshAsn1Node node, uint8_t **data, size_t *length);

// ssh_asn1_encode stores a tree's encoding in its `data`; an empty tree gives SSH_ASN1_NODE_NULL.
SshAsn1Status ssh_asn1_encode(SshAsn1Context *context, SshAsn1Tree *tree);

// ssh_asn1_encode_node makes sure that a single constructed node is encoded: its bytes are
// node.der(). A primitive node gives SSH_ASN1_CONSTRUCTED_ASSUMED.
SshAsn1Status ssh_asn1_encode_node(SshAsn1Context *context, SshAsn1Node node);

// ssh_asn1_add_list gives a list of the elements of `list` followed by those of `more`; either may
// be null. The result is the null node also if it would be larger than SSH_BER_INPUT_MAX, or if the
// work is spent. Nodes are values: a parent that was created from `list` does not change.
[[nodiscard]] SshAsn1Node ssh_asn1_add_list(SshAsn1Context *context, SshAsn1Node list,
                                            SshAsn1Node more);

// SshAsn1Mode tells what a read does about elements that its template does not read where they
// stand. By the rules of the language they are passed over; but what is passed over may be a
// constraint or a revocation, so that some reads must not do that.
enum class SshAsn1Mode : uint8_t {
  // They are passed over, even with a tag that the template names. A primitive type in constructed
  // form is passed over as well, and its outputs stay as they are.
  kSearch,
  // An element of a structure that has the tag of one of its fields is read, or the read fails. It
  // also fails at a primitive type in constructed form, and at a second element under an explicit
  // tag. Other elements are passed over.
  kKnown,
  // Every element is read where it stands, or the read fails; only fields that all have tags of
  // their own may change places. An "any" that is alone in a list of the template stands for all
  // elements of that list.
  kWhole
};

// ssh_asn1_run_read and ssh_asn1_run_create run a program. Callers use the function templates
// below, which check the types of the arguments.
SshAsn1Status ssh_asn1_run_read(SshAsn1Mode mode, SshAsn1Node node, const SshAsn1Op *ops,
                                uint32_t count, void *const *outputs);

// SshAsn1Input is one argument of create, of whatever type: the program knows which member counts.
struct SshAsn1Input {
  int number = 0;
  uint32_t word = 0;
  size_t size = 0;
  const void *pointer = nullptr;
  Bytes octets;
  SshAsn1Node node;

  SshAsn1Input() = default;
  SshAsn1Input(int value) : number(value) {}  // NOLINT: the fronts below convert each argument
  SshAsn1Input(uint32_t value) : word(value), size(value) {}                   // NOLINT
  SshAsn1Input(uint64_t value) : size(static_cast<size_t>(value)) {}           // NOLINT
  SshAsn1Input(const void *value) : pointer(value) {}                          // NOLINT
  SshAsn1Input(Bytes value) : octets(value) {}                                 // NOLINT
  SshAsn1Input(SshAsn1Bits value) : size(value.bits), octets(value.octets) {}  // NOLINT
  SshAsn1Input(SshOid value) : octets(value.octets) {}                         // NOLINT
  SshAsn1Input(SshAsn1Node value) : node(value) {}                             // NOLINT
};
SshAsn1Status ssh_asn1_run_create(SshAsn1Context *context, SshAsn1Node *node, const SshAsn1Op *ops,
                                  uint32_t count, const SshAsn1Input *inputs);

// ssh_asn1_output gives the address that a read stores to. SshAsn1Unread has an overload (plain.h).
template <class T>
void *ssh_asn1_output(T *output) {
  return output;
}

// ssh_asn1_read_node_as is ssh_asn1_read_node in a mode of the caller's choice. The template is
// compared with the whole list: except in kSearch, elements behind the last one that it reads are
// left over.
template <SshAsn1Text Text, class... Outputs>
SshAsn1Status ssh_asn1_read_node_as(SshAsn1Mode mode, SshAsn1Node node, SshAsn1Template<Text>,
                                    Outputs... outputs) {
  constexpr auto &kOps = kSshAsn1Ops<Text, false, Outputs...>;
  void *const pointers[] = {ssh_asn1_output(outputs)..., nullptr};
  return ssh_asn1_run_read(mode, node, kOps.data(), kOps.size(), pointers);
}

// ssh_asn1_read_node reads the list that starts at `node` by a template and stores what it finds.
// For an absent optional element the flag becomes 0 and the outputs stay as they are. Views live as
// long as the node's bytes. Blocks and text belong to the caller (ssh_xfree); after a failure they
// are freed and the pointers are null.
template <SshAsn1Text Text, class... Outputs>
SshAsn1Status ssh_asn1_read_node(SshAsn1Node node, SshAsn1Template<Text> text, Outputs... outputs) {
  return ssh_asn1_read_node_as(SshAsn1Mode::kSearch, node, text, outputs...);
}

// ssh_asn1_read_tree reads from a tree's current node.
template <SshAsn1Text Text, class... Outputs>
SshAsn1Status ssh_asn1_read_tree(const SshAsn1Tree *tree, SshAsn1Template<Text> text,
                                 Outputs... outputs) {
  return ssh_asn1_read_node(tree->current, text, outputs...);
}

// ssh_asn1_create_node encodes what a template describes. `node` becomes the list of its top-level
// elements, whose bytes live in the context. The null node as the value of an "any" leaves that
// element out.
template <SshAsn1Text Text, class... Inputs>
SshAsn1Status ssh_asn1_create_node(SshAsn1Context *context, SshAsn1Node *node,
                                   SshAsn1Template<Text>, Inputs... inputs) {
  constexpr auto &kOps = kSshAsn1Ops<Text, true, Inputs...>;
  const SshAsn1Input values[] = {SshAsn1Input(inputs)..., SshAsn1Input()};
  return ssh_asn1_run_create(context, node, kOps.data(), kOps.size(), values);
}

// ssh_asn1_new_tree makes a tree of the context around a list of nodes.
[[nodiscard]] SshAsn1Tree *ssh_asn1_new_tree(SshAsn1Context *context, SshAsn1Node root);

// ssh_asn1_create_tree does the same as ssh_asn1_create_node and makes a tree of the result.
template <SshAsn1Text Text, class... Inputs>
SshAsn1Status ssh_asn1_create_tree(SshAsn1Context *context, SshAsn1Tree **tree,
                                   SshAsn1Template<Text> text, Inputs... inputs) {
  SshAsn1Node root;
  const SshAsn1Status status = ssh_asn1_create_node(context, &root, text, inputs...);
  if (status == SSH_ASN1_OK) *tree = ssh_asn1_new_tree(context, root);
  return status;
}

// ssh_asn1_parse_run_time parses a template that comes at run time and gives its elements their
// arguments. Malformed text is a status. Fatal are null text, an element that is followed by
// neither "(" nor ")", and text that does not fit its arguments.
SshAsn1Status ssh_asn1_parse_run_time(const char *fatal_text, const char *text,
                                      const uint32_t *fits, size_t count, SshAsn1Program *program);

// ssh_asn1_read_node_text and ssh_asn1_create_node_text take a template that comes at run time. A
// null one is fatal.
template <class... Outputs>
SshAsn1Status ssh_asn1_read_node_text_as(SshAsn1Mode mode, SshAsn1Node node, const char *text,
                                         Outputs... outputs) {
  constexpr uint32_t kFits[] = {ssh_asn1_output_fits<Outputs>()..., 0};
  SshAsn1Program program;
  const SshAsn1Status status = ssh_asn1_parse_run_time("ssh_asn1_read_node: format string NULL.",
                                                       text, kFits, sizeof...(Outputs), &program);
  if (status != SSH_ASN1_OK) return status;
  void *const pointers[] = {static_cast<void *>(outputs)..., nullptr};
  return ssh_asn1_run_read(mode, node, program.ops, program.count, pointers);
}

template <class... Outputs>
SshAsn1Status ssh_asn1_read_node_text(SshAsn1Node node, const char *text, Outputs... outputs) {
  return ssh_asn1_read_node_text_as(SshAsn1Mode::kSearch, node, text, outputs...);
}

// ssh_asn1_read_tree_text does the same from a tree's current node.
template <class... Outputs>
SshAsn1Status ssh_asn1_read_tree_text(const SshAsn1Tree *tree, const char *text,
                                      Outputs... outputs) {
  if (!text) ssh_fatal("ssh_asn1_read_tree: format string NULL.");
  return ssh_asn1_read_node_text(tree->current, text, outputs...);
}

// ssh_asn1_parse_for_create does the same for text to create from, in which "choice" and "optional"
// are unknown.
SshAsn1Status ssh_asn1_parse_for_create(const char *text, const uint32_t *fits, size_t count,
                                        SshAsn1Program *program);

template <class... Inputs>
SshAsn1Status ssh_asn1_create_node_text(SshAsn1Context *context, SshAsn1Node *node,
                                        const char *text, Inputs... inputs) {
  constexpr uint32_t kFits[] = {ssh_asn1_input_fits<Inputs>()..., 0};
  SshAsn1Program program;
  const SshAsn1Status status = ssh_asn1_parse_for_create(text, kFits, sizeof...(Inputs), &program);
  if (status != SSH_ASN1_OK) return status;
  const SshAsn1Input values[] = {SshAsn1Input(inputs)..., SshAsn1Input()};
  return ssh_asn1_run_create(context, node, program.ops, program.count, values);
}

// ssh_asn1_create_tree_text does the same and makes a tree of the result.
template <class... Inputs>
SshAsn1Status ssh_asn1_create_tree_text(SshAsn1Context *context, SshAsn1Tree **tree,
                                        const char *text, Inputs... inputs) {
  SshAsn1Node root;
  const SshAsn1Status status = ssh_asn1_create_node_text(context, &root, text, inputs...);
  if (status == SSH_ASN1_OK) *tree = ssh_asn1_new_tree(context, root);
  return status;
}
