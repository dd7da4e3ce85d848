#include "SpyPicture.h"

#include <fmt/core.h>

#include <algorithm>
#include <cmath>

#include "Format.h"
#include "Picture.h"
#include "Renumber.h"

namespace vematrix {
namespace cli {
namespace {

constexpr int side = 400, margin = 30, head = 44, foot = 30;

/// A square panel in which the entries of a matrix are cells or, of large matrices, pixels.
class Grid {
public:
  Grid(Picture& picture, int panel, int n)
      : m_picture(picture), m_x(margin + panel * (side + margin)), m_n(n) {
    m_picture.rectangle({double(m_x - 1), double(head - 1)}, side + 2, side + 2, grey);
    m_picture.rectangle({double(m_x), double(head)}, side, side, white);
  }
  /// Cell (row, column), from 1.
  void mark(int row, int col, Colour colour) {
    const double cell = double(side) / m_n;
    if (cell >= 2.0) {
      m_picture.rectangle({m_x + (col - 1) * cell, head + (row - 1) * cell}, cell, cell, colour);
    } else {
      m_picture.dot(m_x + std::min(side - 1, int((col - 1) * cell)),
                    head + std::min(side - 1, int((row - 1) * cell)), colour);
    }
  }
  /// Rows from..to of a column.
  void shade(int from, int to, int col, Colour colour) {
    const double cell = double(side) / m_n;
    m_picture.rectangle({std::floor(m_x + (col - 1) * cell), head + (from - 1) * cell}, std::max(1.0, cell),
                        (to - from + 1) * cell, colour);
  }
  void caption(const std::string& title, const std::string& text) {
    m_picture.text({m_x + 0.5 * side, head - 16.0}, title, 12, black, 0);
    m_picture.text({m_x + 0.5 * side, double(head + side + 20)}, text, 10, black, 0);
  }

private:
  Picture& m_picture;
  int m_x, m_n;
};

void markTerms(Grid& grid, const UpperMatrix& matrix) {
  matrix.forEach([&](int i, int j, double v) {
    if (v == 0.0) return;
    grid.mark(i, j, blue);
    grid.mark(j, i, blue);
  });
}

void drawSkyline(Picture& picture, int panel, const UpperMatrix& matrix, const char* title) {
  Grid grid(picture, panel, matrix.n());
  const std::vector<int> height = columnHeights(matrix);
  double profile = 0.0;
  for (int j = 1; j <= matrix.n(); ++j) {
    grid.shade(j - height[std::size_t(j) - 1] + 1, j, j, paleBlue);
    profile += height[std::size_t(j) - 1];
  }
  markTerms(grid, matrix);
  grid.caption(title, fmt::format("skyline {} terms", count(profile)));
}

/// Visits every entry (i, j), i > j, of the factor of a matrix: along the elimination tree from every term of
/// a row. Source: Liu, The role of elimination trees in sparse factorization, SIAM J. Matrix Anal. Appl. 11
/// (1990).
template <class Visit>
void forEachFactorEntry(const UpperMatrix& matrix, Visit&& visit) {
  const std::size_t n = std::size_t(matrix.n());
  std::vector<std::vector<int>> row(n);
  matrix.forEach([&](int i, int j, double) {
    if (i != j) row[std::size_t(j) - 1].push_back(i - 1);
  });
  std::vector<int> parent(n, -1), seen(n, -1);
  for (int i = 0; i < int(n); ++i) {
    seen[std::size_t(i)] = i;
    for (int k : row[std::size_t(i)])
      for (int at = k; seen[std::size_t(at)] != i; at = parent[std::size_t(at)]) {
        if (parent[std::size_t(at)] < 0) parent[std::size_t(at)] = i;
        seen[std::size_t(at)] = i;
        visit(i + 1, at + 1);
      }
  }
}

void drawFactor(Picture& picture, int panel, const UpperMatrix& matrix) {
  Grid grid(picture, panel, matrix.n());
  double terms = matrix.n();
  forEachFactorEntry(matrix, [&](int i, int j) {
    grid.mark(j, i, paleBlue);
    terms += 1.0;
  });
  markTerms(grid, matrix);
  grid.caption("minimum degree order", fmt::format("factor {} terms", count(terms)));
}

}  // namespace

void drawSpy(const std::string& path, const UpperMatrix& matrix, const std::vector<int>& profileOrder,
             const std::vector<int>& sparseOrder) {
  Picture picture(margin + 3 * (side + margin), head + side + foot);
  drawSkyline(picture, 0, matrix, "as numbered");
  drawSkyline(picture, 1, reordered(matrix, profileOrder), "renumbered");
  drawFactor(picture, 2, reordered(matrix, sparseOrder));
  picture.save(path);
}

}  // namespace cli
}  // namespace vematrix
