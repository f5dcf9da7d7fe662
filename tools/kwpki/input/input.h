// Where input comes from: files, directories and standard input; and whether a file holds DER or
// PEM blocks. A further label of PEM blocks that are read is a row of the table in input.cc.
#pragma once

#include <cstdio>
#include <string>
#include <string_view>
#include <vector>

#include "kwpki/terminal/output.h"
#include "util/bytes.h"

namespace kwpki {

// kFileMax is the largest file that is read, which is also the largest block that the library
// allocates.
constexpr size_t kFileMax = 0x6400000;

// Source is a file to read; "-" is standard input.
struct Source {
  std::string name;
  bool from_directory = false;
};

// Found is what a list of names stands for: the files, and directories that could not be read.
struct Problem {
  std::string name;
  std::string text;
};
struct Found {
  std::vector<Source> sources;
  std::vector<Problem> problems;
  std::vector<std::string> empty;  // directories without a file
};

// find_sources replaces directories by the files below them, in the order of their names. Links to
// directories are not followed.
Found find_sources(const std::vector<std::string> &names);

// read_source reads a whole file and returns "", or the reason why it could not. Progress goes to
// `output`, which may be null. Text in UTF-16 is converted to UTF-8. Text that is base64 or
// hexadecimal alone is decoded, and `form`, if given, says which of the two it was.
std::string read_source(const Source &source, std::FILE *standard_input, Output *output,
                        std::vector<uint8_t> *octets, std::string_view *form = nullptr);

// Block is a PEM block; its views live as long as the file.
struct Block {
  std::string_view label;
  std::string_view body;
  size_t line = 0;        // of the BEGIN line, from 1
  bool readable = false;  // the label is one for certificates or CRLs
  std::string fault;      // what is wrong with it, if anything
};

// Place is where an object comes from.
struct Place {
  std::string file;
  size_t block = 0;  // of a PEM file, from 1
  size_t item = 0;   // of a PKCS #7 bundle, from 1

  [[nodiscard]] std::string name() const;  // for people
};

// find_blocks finds every PEM block of a file, in order; none for a file that is plainly DER.
std::vector<Block> find_blocks(Bytes file);

// is_plainly_der is true for bytes that begin as DER does and as no text does.
bool is_plainly_der(Bytes file);

// block_octets decodes the base64 content of a block; header lines ("Name: value") are passed over.
std::vector<uint8_t> block_octets(const Block &block);

}  // namespace kwpki
