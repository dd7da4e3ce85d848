#pragma once
#include <cstddef>
#include <string>
#include <utility>
#include <vector>

namespace vematrix {
namespace cli {

std::string seconds(double value);                                         ///< "12 ms", "1.23 s"
std::string bytes(double value);                                           ///< "1.2 MiB"
std::string count(double value);                                           ///< 1806 -> "1,806"
std::string plural(int number, const std::string& what);                   ///< "1 mode", "2 modes"
std::string dofList(const std::vector<int>& dofs, std::size_t most = 10);  ///< "3, 7, 8 and 12 more"
std::string dofsText(const std::vector<int>& dofs);                        ///< "dof 3", "dofs 3, 7, 8"

/// A text table: columns padded to their widest cell, numbers (cells that begin with a digit, sign or point)
/// to the right, two blanks between.
class Table {
public:
  explicit Table(std::vector<std::string> header) : m_rows{std::move(header)} {}
  void add(std::vector<std::string> row) { m_rows.push_back(std::move(row)); }
  std::string text(const std::string& indent = "  ") const;

private:
  std::vector<std::vector<std::string>> m_rows;
};

}  // namespace cli
}  // namespace vematrix
