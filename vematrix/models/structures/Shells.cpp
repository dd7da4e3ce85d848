#include <cmath>

#include "models/elements/Shell.h"
#include "models/structures/Grid.h"
#include "models/structures/Structures.h"

namespace vematrix {
namespace models {
namespace {

constexpr double kDegree = 3.14159265358979323846 / 180.0;

void holdRoof(Model& model, const CylindricalRoof& p) {
  const auto node = [&](int i, int j) { return i * (p.ny + 1) + j; };
  if (!p.diaphragms) {
    for (int j = 0; j <= p.ny; ++j)
      for (int i : {0, p.nx}) model.clamp(node(i, j));
    return;
  }
  for (int i = 0; i <= p.nx; ++i)
    for (int j : {0, p.ny}) {
      model.fix(node(i, j), Ux);
      model.fix(node(i, j), Uz);
    }
  model.fix(node(p.nx / 2, p.ny / 2), Uy);  // diaphragms do not hold the roof along its axis
}

}  // namespace

Model cylindricalRoof(const CylindricalRoof& p) {
  requireAtLeast(p.nx, 1, "cylindrical roof", "elements around");
  requireAtLeast(p.ny, 1, "cylindrical roof", "elements along");
  Model model;
  const auto node = [&](int i, int j) { return i * (p.ny + 1) + j; };
  for (int i = 0; i <= p.nx; ++i)
    for (int j = 0; j <= p.ny; ++j) {
      const double angle = p.halfAngle * kDegree * (2.0 * i / p.nx - 1.0);
      model.addNode(p.radius * std::sin(angle), p.length * j / p.ny, p.radius * std::cos(angle));
    }
  const int shell = model.addType(std::make_shared<Shell>(p.material, p.thickness));
  for (int i = 0; i < p.nx; ++i)
    for (int j = 0; j < p.ny; ++j)
      model.addElement(shell, {node(i, j), node(i + 1, j), node(i + 1, j + 1), node(i, j + 1)});
  holdRoof(model, p);
  model.addAcceleration({0.0, 0.0, -9.81}, 0);
  model.numberDofs();
  return model;
}

Model slabOnBeams(const SlabOnBeams& p) {
  requireAtLeast(p.n, 1, "slab on beams", "elements along a bay");
  const int m = 2 * p.n;
  Model model;
  const auto node = [&](int i, int j) { return i * (m + 1) + j; };
  for (int i = 0; i <= m; ++i)
    for (int j = 0; j <= m; ++j) model.addNode(p.bay * i / p.n, p.bay * j / p.n, p.height);

  const int slab = model.addType(std::make_shared<Shell>(concrete(), p.thickness));
  const int girder = model.addType(std::make_shared<Beam>(steel(), rectangle(0.15, 0.3)));
  const int column = model.addType(std::make_shared<Beam>(steel(), rectangle(0.25, 0.25)));
  for (int i = 0; i < m; ++i)
    for (int j = 0; j < m; ++j)
      model.addElement(slab, {node(i, j), node(i + 1, j), node(i + 1, j + 1), node(i, j + 1)});
  for (int line = 0; line <= m; line += p.n)
    for (int k = 0; k < m; ++k) {
      model.addElement(girder, {node(line, k), node(line, k + 1)});
      model.addElement(girder, {node(k, line), node(k + 1, line)});
    }
  for (int i = 0; i <= m; i += p.n)
    for (int j = 0; j <= m; j += p.n) {
      const int foot = model.addNode(p.bay * i / p.n, p.bay * j / p.n, 0.0);
      model.addElement(column, {foot, node(i, j)});
      model.clamp(foot);
    }
  model.addAcceleration({0.0, 0.0, -9.81}, 0);
  for (int i = 0; i <= m; ++i)
    for (int j = 0; j <= m; ++j)
      model.addLoad(node(i, j), Uz, -5000.0 * 4.0 * p.bay * p.bay * endWeight(i, m) * endWeight(j, m), 0);
  model.numberDofs();
  return model;
}

}  // namespace models
}  // namespace vematrix
