#include "kwpki/input/input.h"

#include <fmt/format.h>

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <memory>
#include <system_error>

#include "asn1/ber.h"
#include "asn1/files.h"
#include "kwpki/input/kinds.h"
#include "util/owner.h"

namespace kwpki {
namespace {

namespace fs = std::filesystem;

constexpr std::string_view kBegin = "-----BEGIN ";
constexpr std::string_view kEnd = "-----END ";
constexpr std::string_view kDashes = "-----";
constexpr std::string_view kReadable[] = {
    "CERTIFICATE", "X509 CERTIFICATE", "TRUSTED CERTIFICATE", "X509 CRL", "PKCS7", "CMS"};

std::string reason(int error) { return std::generic_category().message(error); }

// add_directory adds the regular files below a directory, sorted by their names.
void add_directory(const std::string &name, Found *found) {
  std::error_code error;
  std::vector<std::string> files;
  fs::recursive_directory_iterator at(name, error);
  while (!error && at != fs::recursive_directory_iterator()) {
    std::error_code ignored;
    const bool regular = at->is_regular_file(ignored);
    if (regular) files.push_back(at->path().string());
    // A directory that cannot be read is reported, and the walk goes on behind it.
    if (at->is_directory(ignored) && !at->is_symlink(ignored)) {
      const fs::directory_iterator probe(at->path(), ignored);
      if (ignored) {
        found->problems.push_back({at->path().string(), ignored.message()});
        at.disable_recursion_pending();
      }
    }
    at.increment(error);
  }
  if (error) found->problems.push_back({name, error.message()});
  if (!error && files.empty()) found->empty.push_back(name);
  std::sort(files.begin(), files.end());
  for (std::string &file : files) found->sources.push_back({std::move(file), true});
}

struct CloseFile {
  void operator()(std::FILE *file) const { std::fclose(file); }
};

// A named pipe blocks until somebody writes, perhaps forever. Those under /dev and /proc, which is
// what a shell makes of "<(command)", have their writer already.
bool may_block(const std::string &name) {
  std::error_code ignored;
  return fs::is_fifo(name, ignored) && !name.starts_with("/dev/") && !name.starts_with("/proc/");
}

size_t count_lines(std::string_view text) {
  return static_cast<size_t>(std::count(text.begin(), text.end(), '\n'));
}

// label_at reads the label of a BEGIN or END line behind its keyword; empty if the line is none.
std::string_view label_at(std::string_view text) {
  constexpr size_t kLabelMax = 64;
  const size_t end = text.substr(0, kLabelMax + kDashes.size()).find(kDashes);
  const std::string_view label =
      end == std::string_view::npos ? std::string_view() : text.substr(0, end);
  return label.find_first_of("\r\n") == std::string_view::npos ? label : std::string_view();
}

// next_begin finds the next well-formed BEGIN line at or after `from`.
size_t next_begin(std::string_view text, size_t from) {
  for (size_t at = text.find(kBegin, from); at != std::string_view::npos;
       at = text.find(kBegin, at + 1)) {
    if (!label_at(text.substr(at + kBegin.size())).empty()) return at;
  }
  return std::string_view::npos;
}

// stray_line finds the first line of a body that is neither base64 nor a header in front of it;
// counted from 1, 0 if there is none.
size_t stray_line(std::string_view body) {
  size_t number = 0;
  for (bool begun = false; !body.empty(); ++number) {
    const std::string_view line = body.substr(0, body.find('\n'));
    body.remove_prefix(std::min(body.size(), line.size() + 1));
    const bool base64 = is_base64(line);
    const bool header = !begun && line.find(':') != std::string_view::npos;
    if (!base64 && !header) return number + 1;
    begun |= base64 && line.find_first_not_of(" \t\r") != std::string_view::npos;
  }
  return 0;
}

void add_fault(Block *block, const std::string &fault) {
  block->fault += (block->fault.empty() ? "" : "; ") + fault;
}

// close_block finds the end of a block, whose text reaches up to the next BEGIN line or the end of
// the file, and what is wrong with it.
void close_block(Block *block, std::string_view rest) {
  const size_t end = rest.find(kEnd);
  block->body = rest.substr(0, end);
  if (end == std::string_view::npos) {
    add_fault(block, "the PEM block has no END line");
  } else if (label_at(rest.substr(end + kEnd.size())) != block->label) {
    add_fault(block, "the END line has another label");
  }
  if (const size_t line = stray_line(block->body))
    add_fault(block,
              fmt::format("stray characters in the armour, in line {}", block->line + line - 1));
}

// Headers ("Name: value") stand before the base64 of some old blocks; base64 has no colon.
bool has_headers(std::string_view body) { return body.find(':') != std::string_view::npos; }

std::string_view trimmed(std::string_view text) {
  constexpr std::string_view kBlanks = " \t\r\n";
  text.remove_prefix(std::min(text.size(), text.find_first_not_of(kBlanks)));
  return text.substr(0, text.find_last_not_of(kBlanks) + 1);
}

// KwPkiReadFile takes the last block of a file, by simpler rules than those here. If it would read
// other bytes from this file, that is reported: programs that use it see something else.
void hold_against_library(Bytes file, Block *last) {
  if (!last->readable) return;
  const std::string_view found = trimmed(ssh_bytes_text(ssh_armour_find(file)));
  const std::string_view ours = trimmed(last->body);
  const bool same = found.data() == ours.data() && found.size() == ours.size();
  if (same && !has_headers(ours)) return;  // so that what is long is decoded once
  if (unbase64(found) != block_octets(*last))
    add_fault(last, "KwPkiReadFile reads this armour otherwise");
}

// take_text replaces text that has no PEM block by the bytes that it stands for, if it stands for
// any.
void take_text(std::vector<uint8_t> *octets, std::string_view *form) {
  const std::string utf8 = as_utf8_text(*octets);
  if (!utf8.empty()) octets->assign(utf8.begin(), utf8.end());
  const std::string_view text = ssh_bytes_text(*octets);
  if (next_begin(text, 0) != std::string_view::npos) return;
  Unarmoured found = unarmoured(text);
  if (found.octets.empty()) return;
  if (form) *form = found.form;
  *octets = std::move(found.octets);
}

}  // namespace

bool is_plainly_der(Bytes file) {
  SshBerElement element;
  if (file.size() < 2 || file[0] != 0x30) return false;
  if (file[1] >= 0x80) return true;  // no text continues with this byte
  const bool opened = ssh_ber_open(file.data(), file.data() + file.size(), element) == SSH_BER_OK;
  return opened && element.header_length + size_t{element.content_length} == file.size();
}

Found find_sources(const std::vector<std::string> &names) {
  Found found;
  for (const std::string &name : names) {
    std::error_code ignored;
    if (name != "-" && fs::is_directory(name, ignored)) {
      add_directory(name, &found);
    } else {
      found.sources.push_back({name, false});
    }
  }
  return found;
}

std::string read_source(const Source &source, std::FILE *standard_input, Output *output,
                        std::vector<uint8_t> *octets, std::string_view *form) {
  std::unique_ptr<std::FILE, CloseFile> opened;
  std::FILE *file = standard_input;
  if (source.name != "-") {
    if (may_block(source.name))
      return "a named pipe, which may never end; redirect it to standard input";
    errno = 0;
    opened.reset(std::fopen(source.name.c_str(), "rb"));
    if (!opened) return reason(errno);
    file = opened.get();
  }
  constexpr size_t kFirst = 0x2000, kMost = 0x40000;  // most files are small
  octets->clear();
  for (;;) {
    const size_t held = octets->size();
    const size_t chunk = std::clamp(held, kFirst, kMost);
    octets->resize(held + chunk);
    const size_t count = std::fread(octets->data() + held, 1, chunk, file);
    octets->resize(held + count);
    if (octets->size() > kFileMax) return fmt::format("larger than {} MiB", kFileMax >> 20);
    if (std::ferror(file)) return reason(errno);
    if (count < chunk) break;
    if (output) output->progress(source.name, "bytes read", octets->size());
  }
  if (octets->empty()) return "holds nothing";
  if (!is_plainly_der(*octets)) take_text(octets, form);
  return "";
}

std::string Place::name() const {
  const std::string shown = file == "-" ? "standard input" : file;
  const std::string found = block ? fmt::format("{} (PEM block {})", shown, block) : shown;
  return item ? fmt::format("{} (item {})", found, item) : found;
}

std::vector<Block> find_blocks(Bytes file) {
  std::vector<Block> blocks;
  if (is_plainly_der(file)) return blocks;
  const std::string_view text = ssh_bytes_text(file);
  size_t line = 1, counted = 0;
  for (size_t at = next_begin(text, 0); at != std::string_view::npos;) {
    Block block;
    block.label = label_at(text.substr(at + kBegin.size()));
    line += count_lines(text.substr(counted, at - counted));
    block.line = line;
    counted = at;
    const size_t body = at + kBegin.size() + block.label.size() + kDashes.size();
    at = next_begin(text, body);
    close_block(&block, text.substr(body, at == std::string_view::npos ? at : at - body));
    block.readable =
        std::find(std::begin(kReadable), std::end(kReadable), block.label) != std::end(kReadable);
    blocks.push_back(block);
  }
  if (!blocks.empty()) hold_against_library(file, &blocks.back());
  return blocks;
}

std::vector<uint8_t> block_octets(const Block &block) {
  if (!has_headers(block.body)) return unbase64(block.body);
  std::string text;
  text.reserve(block.body.size());
  for (std::string_view rest = block.body; !rest.empty();) {
    const std::string_view line = rest.substr(0, rest.find('\n'));
    if (line.find(':') == std::string_view::npos) text += line;
    rest.remove_prefix(std::min(rest.size(), line.size() + 1));
  }
  return unbase64(text);
}

}  // namespace kwpki
