// Tab-separated tables without quoting, whose first line names the columns, such as the corpus has.
// `Table(path)` reads one; `table.rows` are its lines, `row["serial"]` is a cell ("" if there is no
// such column).
#pragma once

#include <algorithm>
#include <cstdint>
#include <fstream>
#include <iterator>
#include <map>
#include <string>
#include <vector>

class TsvRow {
 public:
  TsvRow(const std::vector<std::string> &columns, const std::string &line) {
    size_t at = 0;
    for (const std::string &column : columns) {
      const size_t end = std::min(line.find('\t', at), line.size());
      cells_[column] = line.substr(at, end - at);
      at = std::min(end + 1, line.size());
    }
  }
  const std::string &operator[](const std::string &column) const {
    static const std::string kNone;
    const auto found = cells_.find(column);
    return found == cells_.end() ? kNone : found->second;
  }

 private:
  std::map<std::string, std::string> cells_;
};

struct TsvTable {
  std::vector<TsvRow> rows;

  explicit TsvTable(const std::string &path) {
    std::ifstream in(path);
    std::string line;
    std::vector<std::string> columns;
    while (std::getline(in, line)) {
      if (columns.empty()) {
        for (size_t at = 0; at <= line.size();) {
          const size_t end = std::min(line.find('\t', at), line.size());
          columns.push_back(line.substr(at, end - at));
          at = end + 1;
        }
      } else {
        rows.emplace_back(columns, line);
      }
    }
  }

  // by groups the rows by a column.
  [[nodiscard]] std::map<std::string, std::vector<const TsvRow *>> by(
      const std::string &column) const {
    std::map<std::string, std::vector<const TsvRow *>> groups;
    for (const TsvRow &row : rows) groups[row[column]].push_back(&row);
    return groups;
  }
};

// read_file gives a file's octets, or none.
inline std::vector<uint8_t> read_file(const std::string &path) {
  std::ifstream in(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}
