#include <cmath>

#include "models/elements/Membrane.h"
#include "models/structures/Grid.h"
#include "models/structures/Structures.h"

namespace vematrix {
namespace models {
namespace {

constexpr double kPi = 3.14159265358979323846;

// Where the ray at `angle` (0..90 degrees, radians) leaves the square [0, side]².
Eigen::Vector2d squareEdge(double angle, double side) {
  return angle <= 0.25 * kPi ? Eigen::Vector2d(side, side * std::tan(angle))
                             : Eigen::Vector2d(side / std::tan(angle), side);
}

// 0..1 from the hole to the edge, in steps that grow like a geometric series so that elements keep their
// shape.
double graded(int k, int n, double ratio) {
  return (std::pow(ratio, static_cast<double>(k) / n) - 1.0) / (ratio - 1.0);
}

}  // namespace

Model sheetWithHole(const SheetWithHole& p) {
  requireAtLeast(p.n, 1, "sheet with a hole", "elements on an eighth of the hole");
  const int around = 2 * p.n, outwards = 2 * p.n;
  Model model;
  const auto node = [&](int r, int a) { return r * (around + 1) + a; };
  for (int r = 0; r <= outwards; ++r)
    for (int a = 0; a <= around; ++a) {
      const double angle = 0.5 * kPi * a / around;
      const Eigen::Vector2d inner(p.radius * std::cos(angle), p.radius * std::sin(angle));
      const Eigen::Vector2d x =
          inner + graded(r, outwards, p.side / p.radius) * (squareEdge(angle, p.side) - inner);
      model.addNode(a == around ? 0.0 : x[0], a == 0 ? 0.0 : x[1]);
    }
  const int sheet = model.addType(std::make_shared<Membrane>(p.material, p.thickness));
  for (int r = 0; r < outwards; ++r)
    for (int a = 0; a < around; ++a)
      model.addElement(sheet, {node(r, a), node(r + 1, a), node(r + 1, a + 1), node(r, a + 1)});
  for (int r = 0; r <= outwards; ++r) {
    model.fix(node(r, 0), Uy);
    model.fix(node(r, around), Ux);
  }
  for (int a = 0; a < p.n; ++a)  // the edges of the elements on x = side
    for (int end : {a, a + 1}) {
      const double length = model.node(node(outwards, a + 1))[1] - model.node(node(outwards, a))[1];
      model.addLoad(node(outwards, end), Ux, 0.5 * p.stress * p.thickness * length, 0);
    }
  model.numberDofs();
  return model;
}

Model taperedMembrane(int n) {
  requireAtLeast(n, 1, "tapered membrane", "elements across");
  const int along = 2 * n;
  Model model;
  const auto node = [&](int i, int j) { return i * (n + 1) + j; };
  for (int i = 0; i <= along; ++i)
    for (int j = 0; j <= n; ++j) {
      const double width = 5.0 - 4.0 * i / along;
      model.addNode(10.0 * i / along, width * (static_cast<double>(j) / n - 0.5));
    }
  const int membrane = model.addType(std::make_shared<Membrane>(Material{200.0e9, 0.3, 8000.0}, 0.05));
  for (int i = 0; i < along; ++i)
    for (int j = 0; j < n; ++j)
      model.addElement(membrane, {node(i, j), node(i + 1, j), node(i + 1, j + 1), node(i, j + 1)});
  for (int j = 0; j <= n; ++j) {
    model.clamp(node(0, j));
    model.addLoad(node(along, j), Uy, -1000.0 * endWeight(j, n), 0);
  }
  model.numberDofs();
  return model;
}

}  // namespace models
}  // namespace vematrix
