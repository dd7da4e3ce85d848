#pragma once
#include <cmath>
#include <map>
#include <utility>
#include <vector>

#include "support/Terms.h"

namespace test_support {

/// A small real structure without any other code: a plane truss of nx × ny square bays with both diagonals,
/// pinned at the left and right ends of its base, stiffness EA/L = 1e6/L per bar.
struct TrussGrid {
  int n;                    ///< free dofs, numbered along the shorter direction
  std::vector<Term> terms;  ///< upper triangle, each place once

  TrussGrid(int nx, int ny) : n(0) {
    const int rows = ny + 1;
    std::vector<int> dof(2 * (nx + 1) * rows, 0);
    const auto node = [rows](int ix, int iy) { return ix * rows + iy; };
    for (int k = 0; k < static_cast<int>(dof.size()); ++k) {
      const bool pinned = k / 2 == node(0, 0) || k / 2 == node(nx, 0);
      if (!pinned) dof[k] = ++n;
    }
    std::map<std::pair<int, int>, double> sum;
    const auto bar = [&](int ax, int ay, int bx, int by) {
      const double dx = bx - ax, dy = by - ay, length = std::sqrt(dx * dx + dy * dy);
      const double direction[4] = {-dx / length, -dy / length, dx / length, dy / length};
      const int a = node(ax, ay), b = node(bx, by), at[4] = {2 * a, 2 * a + 1, 2 * b, 2 * b + 1};
      for (int p = 0; p < 4; ++p)
        for (int q = 0; q < 4; ++q) {
          const int i = dof[at[p]], j = dof[at[q]];
          if (i > 0 && j >= i) sum[{i, j}] += 1e6 / length * direction[p] * direction[q];
        }
    };
    for (int ix = 0; ix <= nx; ++ix)
      for (int iy = 0; iy <= ny; ++iy) {
        if (ix < nx) bar(ix, iy, ix + 1, iy);
        if (iy < ny) bar(ix, iy, ix, iy + 1);
        if (ix < nx && iy < ny) bar(ix, iy, ix + 1, iy + 1), bar(ix, iy + 1, ix + 1, iy);
      }
    for (const auto& place : sum) terms.push_back({place.first.first, place.first.second, place.second});
  }
};

}  // namespace test_support
