#include "Format.h"

#include <fmt/core.h>

#include <algorithm>
#include <cmath>

namespace vematrix {
namespace cli {

std::string seconds(double value) {
  if (value < 1e-3) return fmt::format("{:.0f} us", 1e6 * value);
  if (value < 1.0) return fmt::format("{:.3g} ms", 1e3 * value);
  return value < 100.0 ? fmt::format("{:.2f} s", value) : fmt::format("{:.0f} s", value);
}

std::string bytes(double value) {
  static const char* const units[] = {"B", "KiB", "MiB", "GiB", "TiB"};
  int unit = 0;
  for (; value >= 1024.0 && unit < 4; ++unit) value /= 1024.0;
  return fmt::format(unit == 0 ? "{:.0f} {}" : "{:.1f} {}", value, units[unit]);
}

std::string count(double value) {
  if (std::fabs(value) >= 1e15) return fmt::format("{:.3g}", value);
  std::string text = fmt::format("{:.0f}", value);
  for (int at = int(text.size()) - 3; at > (text[0] == '-' ? 1 : 0); at -= 3)
    text.insert(std::size_t(at), ",");
  return text;
}

std::string plural(int number, const std::string& what) {
  return fmt::format("{} {}{}", number, what, number == 1 ? "" : "s");
}

std::string dofList(const std::vector<int>& dofs, std::size_t most) {
  std::string text;
  for (std::size_t k = 0; k < std::min(most, dofs.size()); ++k)
    text += (k == 0 ? "" : ", ") + std::to_string(dofs[k]);
  if (dofs.size() > most) text += fmt::format(" and {} more", dofs.size() - most);
  return text;
}

std::string dofsText(const std::vector<int>& dofs) {
  return fmt::format("dof{} {}", dofs.size() == 1 ? "" : "s", dofList(dofs));
}

namespace {

/// Columns on the screen: colour codes take none, a character of several bytes takes one.
std::size_t widthOf(const std::string& cell) {
  std::size_t width = 0;
  for (std::size_t k = 0; k < cell.size(); ++k) {
    if (cell[k] == '\033') {
      while (k < cell.size() && cell[k] != 'm') ++k;
    } else {
      width += (static_cast<unsigned char>(cell[k]) & 0xC0) != 0x80;
    }
  }
  return width;
}

bool isNumber(const std::string& cell) {
  return !cell.empty() && std::string("0123456789.-+").find(cell[0]) != std::string::npos;
}

}  // namespace

std::string Table::text(const std::string& indent) const {
  std::vector<std::size_t> width(m_rows[0].size(), 0);
  std::vector<bool> right(m_rows[0].size(), m_rows.size() > 1);
  for (std::size_t r = 0; r < m_rows.size(); ++r)
    for (std::size_t c = 0; c < m_rows[r].size(); ++c) {
      width[c] = std::max(width[c], widthOf(m_rows[r][c]));
      if (r > 0 && !m_rows[r][c].empty() && !isNumber(m_rows[r][c])) right[c] = false;
    }
  std::string result;
  for (const auto& row : m_rows) {
    std::string line = indent;
    for (std::size_t c = 0; c < row.size(); ++c) {
      const std::string padding(width[c] - widthOf(row[c]), ' ');
      line += (c == 0 ? "" : "  ") + (right[c] ? padding + row[c] : row[c] + padding);
    }
    line.erase(line.find_last_not_of(' ') + 1);
    result += line + "\n";
  }
  return result;
}

}  // namespace cli
}  // namespace vematrix
