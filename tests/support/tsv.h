// Tab-separated tables without quoting, whose first line names the columns, such as the corpus has.
// `Table(path)` reads one; `table.rows` are its lines, `row["serial"]` is a cell ("" if there is no
// such column).
#pragma once

#include <cstdint>
#include <fstream>
#include <iterator>
#include <map>
#include <sstream>
#include <string>
#include <vector>

struct TsvRow {
  std::map<std::string, std::string> cells;

  const std::string &operator[](const std::string &column) const {
    static const std::string kNone;
    const auto found = cells.find(column);
    return found == cells.end() ? kNone : found->second;
  }
};

struct TsvTable {
  std::vector<TsvRow> rows;

  explicit TsvTable(const std::string &path) {
    std::ifstream in(path);
    std::string head, line, column, cell;
    std::getline(in, head);
    while (std::getline(in, line)) {
      std::istringstream columns(head), cells(line);
      TsvRow row;
      while (std::getline(columns, column, '\t'))
        row.cells[column] = std::getline(cells, cell, '\t') ? cell : "";
      rows.push_back(row);
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

// read_file gives a file's bytes, or none.
inline std::vector<uint8_t> read_file(const std::string &path) {
  std::ifstream in(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}
