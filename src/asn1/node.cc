#include "asn1/node.h"

#include "asn1/context.h"
#include "util/arena.h"

namespace {

// status_of tells by the check of an input what its decode gives: whether any top-level element is
// good, and whether the one behind the good ones could be opened.
SshAsn1Status status_of(const SshBerExtent &extent) {
  if (!extent.fault) return SSH_ASN1_OK;
  if (extent.elements == 0) return SSH_ASN1_BER_OPEN_FAILED;
  return extent.fault_inside ? SSH_ASN1_BAD_GARBAGE : SSH_ASN1_OK_GARBAGE;
}

}  // namespace

SshAsn1Context *ssh_asn1_init() {
  auto *context = static_cast<SshAsn1Context *>(ssh_xmalloc(sizeof(SshAsn1Context)));
  return new (context) SshAsn1Context{ssh_cmalloc_init(), nullptr, {}};
}

void ssh_asn1_free(SshAsn1Context *context) {
  if (!context) return;
  ssh_cmalloc_release(context->arena);
  while (context->large) {
    SshAsn1LargeBlock *next = context->large->next;
    ssh_xfree(context->large);
    context->large = next;
  }
  ssh_xfree(context);
}

uint8_t *ssh_asn1_context_octets(SshAsn1Context *context, size_t size) {
  context->work.left += SshAsn1Work::for_input(size).left;
  if (size == 0) return nullptr;
  if (size <= SSH_CMALLOC_MAX)
    return static_cast<uint8_t *>(ssh_cmalloc_bytes(context->arena, size));
  auto *block = static_cast<SshAsn1LargeBlock *>(ssh_xmalloc(sizeof(SshAsn1LargeBlock) + size));
  block->next = context->large;
  context->large = block;
  return reinterpret_cast<uint8_t *>(block + 1);
}

SshAsn1Tree *ssh_asn1_new_tree(SshAsn1Context *context, SshAsn1Node root) {
  void *tree = ssh_cmalloc_words(context->arena, sizeof(SshAsn1Tree));
  return new (tree) SshAsn1Tree{root, root, {}, {}};
}

SshAsn1Status ssh_asn1_decode(SshAsn1Context *context, Bytes octets, SshAsn1Tree **tree) {
  // The check comes before the copy: it refuses what is too large, where copying would be fatal.
  const SshBerExtent extent = ssh_ber_check(octets);
  const SshAsn1Status status = status_of(extent);
  if (status == SSH_ASN1_BER_OPEN_FAILED) return status;

  uint8_t *copy = ssh_asn1_context_octets(context, octets.size());
  if (copy) std::memcpy(copy, octets.data(), octets.size());
  *tree = ssh_asn1_new_tree(context, {});
  (*tree)->data = {copy, octets.size()};
  (*tree)->work = SshAsn1Work::for_input(octets.size());
  (*tree)->root = (*tree)->current = ssh_asn1_list_of({copy, extent.good}, &(*tree)->work);
  return status;
}

SshAsn1Status ssh_asn1_decode_in_place(Bytes octets, SshAsn1Work *work, SshAsn1Node *root,
                                       const uint8_t **fault_at) {
  const SshBerExtent extent = ssh_ber_check(octets);
  if (fault_at) *fault_at = extent.fault_at;
  *root = ssh_asn1_list_of(octets.first(extent.good), work);
  return status_of(extent);
}

SshBerElement ssh_asn1_node_open(SshAsn1Node node) {
  SshBerElement element;
  (void)ssh_ber_open(node.data, node.next, element);  // cannot fail: a node's bytes were checked
  return element;
}

SshAsn1Node ssh_asn1_node_find(SshAsn1Node list, uint8_t identifier) {
  const uint32_t wanted = ssh_asn1_identifier_of(identifier);
  while (list &&
         (ssh_asn1_identifier_of(*list.data) != wanted || ssh_asn1_node_open(list).indefinite))
    list = ssh_asn1_node_next(list);
  return list;
}

SshAsn1Node ssh_asn1_node_child(SshAsn1Node node) {
  if (!node) return {};
  const SshBerElement element = ssh_asn1_node_open(node);
  if (!element.constructed) return {};
  const uint8_t *const end = ssh_ber_content_end(element, node.next);
  return ssh_asn1_list_of({node.data + element.header_length, end}, node.work);
}

// The first walk adds up the sizes. If the last element ends where that many bytes end, there is
// nothing between the elements. Otherwise a second walk copies them.
SshAsn1Status ssh_asn1_context_list(SshAsn1Context *context, SshAsn1Node node, Bytes *octets) {
  size_t size = 0;
  const uint8_t *end = node.data;
  for (SshAsn1Node at = node; at; end = at.next, at = ssh_asn1_node_next(at))
    size += at.der().size();
  *octets = {node.data, size};
  if (node && node.work->left == 0)
    return SSH_ASN1_BER_STEP_FAILED;  // the list may have ended early, see SshAsn1Work
  if (static_cast<size_t>(end - node.data) == size) return SSH_ASN1_OK;

  uint8_t *out = ssh_asn1_context_octets(context, size);
  *octets = {out, size};
  for (SshAsn1Node at = node; at; at = ssh_asn1_node_next(at)) {
    const Bytes der = at.der();
    std::memcpy(out, der.data(), der.size());
    out += der.size();
  }
  return node.work->left == 0 ? SSH_ASN1_BER_STEP_FAILED : SSH_ASN1_OK;
}

size_t ssh_asn1_node_size(const SshAsn1Tree *tree) {
  size_t size = 0;
  for (SshAsn1Node at = tree->root; at; at = ssh_asn1_node_next(at)) size += at.der().size();
  return size;
}

SshAsn1Node ssh_asn1_get_current(const SshAsn1Tree *tree) { return tree->current; }

void ssh_asn1_get_data(const SshAsn1Tree *tree, uint8_t **data, size_t *length) {
  *data = static_cast<uint8_t *>(ssh_xmemdup(tree->data.data(), tree->data.size()));
  *length = tree->data.size();
}

void ssh_asn1_node_get_data(SshAsn1Node node, uint8_t **data, size_t *length) {
  *data = static_cast<uint8_t *>(ssh_xmemdup(node.data, node.der().size()));
  *length = node.der().size();
}

SshAsn1Status ssh_asn1_encode(SshAsn1Context *context, SshAsn1Tree *tree) {
  if (!tree->root) return SSH_ASN1_NODE_NULL;
  // Nodes are encoded when they are made, so there is nothing left to do but to put them together.
  return ssh_asn1_context_list(context, tree->root, &tree->data);
}

SshAsn1Status ssh_asn1_encode_node(SshAsn1Context *context, SshAsn1Node node) {
  (void)context;
  if (!node) return SSH_ASN1_NODE_NULL;
  return ssh_asn1_node_open(node).constructed ? SSH_ASN1_OK : SSH_ASN1_CONSTRUCTED_ASSUMED;
}

SshAsn1Node ssh_asn1_list_of(Bytes octets, SshAsn1Work *work) {
  const uint8_t *p = octets.data(), *const end = p + octets.size();
  while (ssh_ber_is_end(p, end)) p += 2;  // end-of-contents bytes are no elements
  SshBerElement element;
  if (p == end || ssh_ber_open(p, end, element) != SSH_BER_OK) return {};
  const uint8_t *const next = ssh_ber_element_end(element, end, work->left);
  if (!next) return {};
  return {p, next, end, work};
}

SshAsn1Node ssh_asn1_add_list(SshAsn1Context *context, SshAsn1Node list, SshAsn1Node more) {
  if (!list) return more;
  if (!more) return list;
  Bytes a, b;
  if (ssh_asn1_context_list(context, list, &a) != SSH_ASN1_OK) return {};
  if (ssh_asn1_context_list(context, more, &b) != SSH_ASN1_OK) return {};
  if (a.size() + b.size() > SSH_BER_INPUT_MAX) return {};
  uint8_t *joined = ssh_asn1_context_octets(context, a.size() + b.size());
  std::memcpy(joined, a.data(), a.size());
  std::memcpy(joined + a.size(), b.data(), b.size());
  return ssh_asn1_list_of({joined, a.size() + b.size()}, &context->work);
}
