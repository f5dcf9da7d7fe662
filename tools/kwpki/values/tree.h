// The elements of any bytes as a tree with offsets, as far as they can be read. It is for encodings
// that the library refuses, so it goes on behind what is wrong. The walk does not recurse, keeps
// four bytes for each level, and takes time proportional to the bytes. How a universal type is
// named and its content shown is one row of the table in tree.cc.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "asn1/ber.h"
#include "kwpki/values/values.h"

namespace kwpki {

// TreeLine is one element.
struct TreeLine {
  size_t offset = 0;
  size_t depth = 0;
  SshBerElement element;
  std::string name;
  std::string value;          // the content in short; may hold anything that the data holds
  std::string fault;          // what is wrong with the element, if anything
  bool encapsulates = false;  // the elements inside a byte or bit string follow
  bool marked = false;        // the byte that the walk was told to mark lies here
};

// TreeWalk gives one element after the other in the order of the bytes, which must outlive it. An
// element that runs past its surroundings is cut there; where no header can be read, the rest of
// the surrounding element is passed over.
class TreeWalk {
 public:
  TreeWalk(Bytes octets, std::optional<size_t> mark);

  // next makes the next line; without `full`, only the marked one gets name and value. False at the
  // end.
  [[nodiscard]] bool next(TreeLine &line, bool full);
  [[nodiscard]] size_t at() const { return at_; }  // where the next line begins

 private:
  struct Level {
    size_t end;
    bool indefinite;
  };
  [[nodiscard]] Level top() const;
  void push(size_t end, bool indefinite);
  void leave(TreeLine &line);
  void enter(TreeLine &line, size_t end);
  bool open(TreeLine &line, size_t end);

  Bytes octets_;
  std::optional<size_t> mark_;
  size_t at_ = 0;
  std::vector<uint32_t> levels_;  // the end times 2, plus 1 for an indefinite length
};

// tree_heading and tree_text are the heading and the lines for people; the text of a line is not
// yet escaped. tree_json makes the same lines an array of objects: flat, with "depth", however deep
// the nesting.
std::string tree_heading();
std::string tree_text(const TreeLine &line);
Json tree_json(Bytes octets, std::optional<size_t> mark, size_t lines);

// element_text gives the name of the element that bytes begin with and its content in short; empty
// for what is none.
struct ElementText {
  std::string name, value;
};
ElementText element_text(Bytes octets);

// walk_tree calls show(line) for the first `most` lines and for the marked one, and returns how
// many it left out.
template <class Show>
size_t walk_tree(Bytes octets, std::optional<size_t> mark, size_t most, Show show) {
  TreeWalk walk(octets, mark);
  size_t lines = 0, omitted = 0;
  for (;;) {
    TreeLine line;
    if (!walk.next(line, lines < most)) return omitted;
    if (lines < most || line.marked) {
      show(line);
      ++lines;
    } else {
      ++omitted;
    }
  }
}

}  // namespace kwpki
