#pragma once
#include <string>
#include <vector>

namespace vematrix {
namespace cli {

/// A bar made of parts, from left to right.
struct Bar {
  std::string label;
  std::vector<double> parts;
};

/// Horizontal bars with a legend of the parts and the sum at the end of each; PNG. @param unit  for the sums
void drawBars(const std::string& path, const std::string& title, const std::vector<std::string>& legend,
              const std::vector<Bar>& bars, const std::string& unit);

/// Values over 1, 2, 3, ... joined by lines; PNG.
void drawHistory(const std::string& path, const std::string& title, const std::string& across,
                 const std::vector<double>& values);

}  // namespace cli
}  // namespace vematrix
