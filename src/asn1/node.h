// ASN.1 values: nodes and trees, made and taken apart by templates (asn1/template.h).
// A node is a view of checked bytes, so nothing is built while decoding and nothing is torn down
// afterwards; a list of nodes is the bytes of its elements one after the other. decode and the
// walk are in node.cc, reading in read.cc, creating in create.cc; what is read unchecked, in
// plain.h.
#pragma once

#include "asn1/template.h"
#include "asn1/view.h"
#include "util/fatal.h"
#include "util/owner.h"

// SshAsn1Tree is a value with its encoding. `current` is where reads of the tree start.
struct SshAsn1Tree {
  SshAsn1Node root;
  SshAsn1Node current;
  Bytes data;
  SshAsn1Work work;
};

// SshAsn1Context owns all memory of one piece of ASN.1 work: trees, encodings and copies live until
// it is freed.
struct SshAsn1Context;
[[nodiscard]] SshAsn1Context *ssh_asn1_init();
void ssh_asn1_free(SshAsn1Context *context);
using SshAsn1ContextOwner = Owner<SshAsn1Context, ssh_asn1_free>;

// ssh_asn1_decode copies bytes into a new tree of the context. Ok, "Ok garbage at end" and "Bad
// garbage at end" come with a tree of the good top-level elements; "Ber open failed" with none. No
// bytes give an empty tree.
SshAsn1Status ssh_asn1_decode(SshAsn1Context *context, Bytes octets, SshAsn1Tree **tree);

// ssh_asn1_decode_in_place does the same without a copy and a context: `root` views `octets`, and
// reads of it draw on `work`; both must outlive it. `fault_at`, if given, receives the place of the
// first fault (null: none).
SshAsn1Status ssh_asn1_decode_in_place(Bytes octets, SshAsn1Work *work, SshAsn1Node *root,
                                       const uint8_t **fault_at = nullptr);

// ssh_asn1_node_open describes a node's own element; the node must not be null.
[[nodiscard]] SshBerElement ssh_asn1_node_open(SshAsn1Node node);

// ssh_asn1_list_of views well-formed bytes (those that were checked, or that create or encode made)
// as a list of nodes.
[[nodiscard]] SshAsn1Node ssh_asn1_list_of(Bytes octets, SshAsn1Work *work);

// ssh_asn1_node_next gives the next sibling, or the null node at the end and for a null node.
[[nodiscard]] inline SshAsn1Node ssh_asn1_node_next(SshAsn1Node node) {
  const SshBerSpan span = ssh_ber_usual_span(node.next, node.end);
  if (!span.content) return ssh_asn1_list_of({node.next, node.end}, node.work);
  return {node.next, span.end, node.end, node.work};
}

// ssh_asn1_node_find gives the first element of the list with this identifier byte and a definite
// length, which is the one that a template would find; the null node if there is none.
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

// ssh_asn1_encode_node does the same for a single constructed node, whose bytes are then
// node.der(); a primitive one gives SSH_ASN1_CONSTRUCTED_ASSUMED.
SshAsn1Status ssh_asn1_encode_node(SshAsn1Context *context, SshAsn1Node node);

// ssh_asn1_add_list gives a list of the elements of `list` followed by those of `more`; either may
// be null. The null node also stands for a result above SSH_BER_INPUT_MAX or for spent work. Nodes
// are values: a parent made from `list` before keeps the list it was made from.
[[nodiscard]] SshAsn1Node ssh_asn1_add_list(SshAsn1Context *context, SshAsn1Node list,
                                            SshAsn1Node more);

// SshAsn1Mode tells what a read makes of elements that its template does not read where they stand.
enum class SshAsn1Mode : uint8_t {
  // They are passed over, also where they carry a tag that the template names; a primitive type in
  // constructed form is passed over too, and its outputs stay as they are.
  kSearch,
  // An element of a structure that carries the tag of a field is read or an error; so is a
  // primitive type in constructed form, and a second element under an explicit tag. Others are
  // passed over.
  kKnown,
  // Every element is read where it stands or an error; but fields that all have tags of their own
  // may change places. An "any" that is all of a list stands for the whole list.
  kWhole
};

// ssh_asn1_run_read and ssh_asn1_run_create are behind the typed fronts below; call those.
SshAsn1Status ssh_asn1_run_read(SshAsn1Mode mode, SshAsn1Node node, const SshAsn1Op *ops,
                                uint32_t count, void *const *outputs);

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

// ssh_asn1_output gives the place that a read stores into; SshAsn1Unread has its own (plain.h).
template <class T>
void *ssh_asn1_output(T *output) {
  return output;
}

// ssh_asn1_read_node_as is ssh_asn1_read_node in a mode of the caller's choice. The template is
// held against all of the list: in a mode that tells, elements behind the last that it takes are
// left over.
template <SshAsn1Text Text, class... Outputs>
SshAsn1Status ssh_asn1_read_node_as(SshAsn1Mode mode, SshAsn1Node node, SshAsn1Template<Text>,
                                    Outputs... outputs) {
  constexpr auto &kOps = kSshAsn1Ops<Text, false, Outputs...>;
  void *const pointers[] = {ssh_asn1_output(outputs)..., nullptr};
  return ssh_asn1_run_read(mode, node, kOps.data(), kOps.size(), pointers);
}

// ssh_asn1_read_node matches a template against the list that starts at `node` and stores what it
// finds. An absent optional element sets its flag to 0 and leaves its outputs alone. Views live as
// long as the node's bytes; blocks and text are the caller's (ssh_xfree) on success, and freed and
// null again on failure.
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

// ssh_asn1_create_node encodes what a template describes; `node` becomes the list of its top-level
// elements. The null node as the value of "any" leaves that element out. The bytes live in the
// context.
template <SshAsn1Text Text, class... Inputs>
SshAsn1Status ssh_asn1_create_node(SshAsn1Context *context, SshAsn1Node *node,
                                   SshAsn1Template<Text>, Inputs... inputs) {
  constexpr auto &kOps = kSshAsn1Ops<Text, true, Inputs...>;
  const SshAsn1Input values[] = {SshAsn1Input(inputs)..., SshAsn1Input()};
  return ssh_asn1_run_create(context, node, kOps.data(), kOps.size(), values);
}

// ssh_asn1_new_tree makes a tree of the context around a list of nodes.
[[nodiscard]] SshAsn1Tree *ssh_asn1_new_tree(SshAsn1Context *context, SshAsn1Node root);

// ssh_asn1_create_tree does as ssh_asn1_create_node and makes a tree of the result.
template <SshAsn1Text Text, class... Inputs>
SshAsn1Status ssh_asn1_create_tree(SshAsn1Context *context, SshAsn1Tree **tree,
                                   SshAsn1Template<Text> text, Inputs... inputs) {
  SshAsn1Node root;
  const SshAsn1Status status = ssh_asn1_create_node(context, &root, text, inputs...);
  if (status == SSH_ASN1_OK) *tree = ssh_asn1_new_tree(context, root);
  return status;
}

// ssh_asn1_parse_run_time parses and binds a template that comes at run time. Malformed text gives
// its status; an element that neither ends nor has children is fatal, as is text that does not fit
// its arguments.
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

// ssh_asn1_parse_for_create does as ssh_asn1_parse_run_time for text to create from, in which
// "choice" and "optional" are unknown.
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
