#include "kwpki/input/objects.h"

#include <fmt/format.h>

#include "kwpki/input/kinds.h"
#include "kwpki/terminal/system.h"

namespace kwpki {

void Objects::fail(const std::string &name, const std::string &why, int exit) {
  output.fault(name, why);
  raise(exit);
}

// guard reports an exception from one input, so that the others are still read.
void Objects::guard(const Place &place, const std::function<void()> &action) {
  const std::string fault = fault_of(action);
  if (!fault.empty()) fail(place.name(), "refused: cannot be checked: " + fault, kExitRefused);
}

void Objects::read(const std::vector<std::string> &names, const Take &take) {
  const Found found = find_sources(names);
  for (const Problem &problem : found.problems) fail(problem.name, problem.text, kExitUnreadable);
  for (const Source &source : found.sources) {
    guard({source.name}, [&] { read_file(source, take); });
  }
}

void Objects::read_inputs(const std::vector<std::string> &names, const Take &take) {
  if (!names.empty()) return read(names, take);
  if (is_terminal(streams_.in)) output.message("", "reading standard input; --help tells more");
  read({"-"}, take);
}

void Objects::read_file(const Source &source, const Take &take) {
  std::vector<uint8_t> file;
  const Place place{source.name};
  const std::string problem = read_source(source, streams_.in, &output, &file);
  if (!problem.empty()) return fail(place.name(), problem, kExitUnreadable);
  const std::vector<Block> blocks = find_blocks(file);
  if (!blocks.empty()) return read_blocks(source, blocks, take);
  if (source.from_directory && !is_plainly_der(file)) {
    return output.message(source.name, "neither a certificate nor a CRL; passed over");
  }
  take_each(place, file, take);
}

// take_each gives the certificates and CRLs of a PKCS #7 bundle one by one. A bundle inside a
// bundle is not opened.
void Objects::take_each(const Place &place, Bytes octets, const Take &take) {
  const std::vector<Bytes> items = bundled(octets);
  if (items.empty()) return take(place, octets);
  for (size_t i = 0; i < items.size(); ++i) {
    const Place at{place.file, place.block, i + 1};
    guard(at, [&] { take(at, items[i]); });
  }
}

void Objects::read_blocks(const Source &source, const std::vector<Block> &blocks,
                          const Take &take) {
  for (size_t i = 0; i < blocks.size(); ++i) {
    const Block &block = blocks[i];
    const Place place{source.name, i + 1};
    output.progress(source.name, "blocks read", i + 1);
    if (!block.readable) {
      output.message(place.name(), fmt::format("line {}: {} passed over", block.line, block.label));
      continue;
    }
    if (!block.fault.empty())
      output.message(place.name(), fmt::format("line {}: {}", block.line, block.fault));
    guard(place, [&] { take_each(place, block_octets(block), take); });
  }
}

}  // namespace kwpki
