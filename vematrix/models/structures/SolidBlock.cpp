#include "models/elements/Brick.h"
#include "models/structures/Grid.h"
#include "models/structures/Structures.h"

namespace vematrix {
namespace models {

Model solidBlock(const SolidBlock& p) {
  requireAtLeast(p.nx, 1, "solid block", "elements along x");
  requireAtLeast(p.ny, 1, "solid block", "elements along y");
  requireAtLeast(p.nz, 1, "solid block", "elements along z");
  Model model;
  const auto node = [&](int i, int j, int k) { return (i * (p.ny + 1) + j) * (p.nz + 1) + k; };
  for (int i = 0; i <= p.nx; ++i)
    for (int j = 0; j <= p.ny; ++j)
      for (int k = 0; k <= p.nz; ++k) model.addNode(p.lx * i / p.nx, p.ly * j / p.ny, p.lz * k / p.nz);

  const int brick = model.addType(std::make_shared<Brick>(p.material));
  for (int i = 0; i < p.nx; ++i)
    for (int j = 0; j < p.ny; ++j)
      for (int k = 0; k < p.nz; ++k)
        model.addElement(brick, {node(i, j, k), node(i + 1, j, k), node(i + 1, j + 1, k), node(i, j + 1, k),
                                 node(i, j, k + 1), node(i + 1, j, k + 1), node(i + 1, j + 1, k + 1),
                                 node(i, j + 1, k + 1)});

  for (int j = 0; j <= p.ny; ++j)
    for (int k = 0; k <= p.nz; ++k) {
      model.clamp(node(0, j, k));
      const double share = endWeight(j, p.ny) * endWeight(k, p.nz);
      model.addLoad(node(p.nx, j, k), Uz, -1000.0 * share, 0);
      model.addLoad(node(p.nx, j, k), Ux, 1000.0 * share, 2);
    }
  model.addAcceleration({0.0, 0.0, -9.81}, 1);
  model.numberDofs();
  return model;
}

}  // namespace models
}  // namespace vematrix
