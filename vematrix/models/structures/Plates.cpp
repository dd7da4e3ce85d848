#include "models/elements/Plate.h"
#include "models/structures/Grid.h"
#include "models/structures/Structures.h"

namespace vematrix {
namespace models {
namespace {

// Gravity that loads a plate like a pressure (N/m²) downwards.
void addPressure(Model& model, double pressure, const Material& material, double thickness, int loadCase) {
  model.addAcceleration({0.0, 0.0, -pressure / (material.density * thickness)}, loadCase);
}

void holdEdge(Model& model, int node, PlateEdge edge, Component alongNormal) {
  model.fix(node, Uz);
  if (edge == PlateEdge::Hard) model.fix(node, alongNormal);
  if (edge == PlateEdge::Clamped) model.clamp(node);
}

}  // namespace

Model rectangularPlate(const RectangularPlate& p) {
  requireAtLeast(p.nx, 1, "plate", "elements along x");
  requireAtLeast(p.ny, 1, "plate", "elements along y");
  Model model;
  const auto node = [&](int i, int j) { return i * (p.ny + 1) + j; };
  for (int i = 0; i <= p.nx; ++i)
    for (int j = 0; j <= p.ny; ++j) model.addNode(p.lx * i / p.nx, p.ly * j / p.ny);
  const int plate = model.addType(std::make_shared<Plate>(p.material, p.thickness));
  for (int i = 0; i < p.nx; ++i)
    for (int j = 0; j < p.ny; ++j)
      model.addElement(plate, {node(i, j), node(i + 1, j), node(i + 1, j + 1), node(i, j + 1)});
  // the normal of an edge x = const is the x axis, about which a knife edge does not let the plate turn
  for (int i = 0; i <= p.nx; ++i)
    for (int j : {0, p.ny}) holdEdge(model, node(i, j), p.edge, Ry);
  for (int j = 0; j <= p.ny; ++j)
    for (int i : {0, p.nx}) holdEdge(model, node(i, j), p.edge, Rx);
  addPressure(model, 1000.0, p.material, p.thickness, 0);
  model.addLoad(model.nodeNear(0.5 * p.lx, 0.5 * p.ly, 0.0), Uz, -1000.0, 1);
  model.numberDofs();
  return model;
}

Model thinSquarePlate(int n) {
  RectangularPlate plate;
  plate.nx = plate.ny = n;
  plate.thickness = 0.05;
  plate.material = {200.0e9, 0.3, 8000.0};
  plate.edge = PlateEdge::Hard;
  return rectangularPlate(plate);
}

Model lShapedPlate(int n) {
  requireAtLeast(n, 1, "L-shaped plate", "elements along an arm");
  const double square = 5.0, thickness = 0.1;
  Model model;
  // columns of nodes along y: 2n + 1 high in the first square, n + 1 in the arm along x
  std::vector<int> columnStart;
  const auto height = [n](int i) { return i <= n ? 2 * n : n; };
  for (int i = 0; i <= 2 * n; ++i) {
    columnStart.push_back(model.numNodes());
    for (int j = 0; j <= height(i); ++j) model.addNode(square * i / n, square * j / n);
  }
  const auto node = [&](int i, int j) { return columnStart[static_cast<std::size_t>(i)] + j; };
  const int plate = model.addType(std::make_shared<Plate>(steel(), thickness));
  for (int i = 0; i < 2 * n; ++i)
    for (int j = 0; j < height(i + 1); ++j)
      model.addElement(plate, {node(i, j), node(i + 1, j), node(i + 1, j + 1), node(i, j + 1)});
  for (int k = 0; k <= n; ++k) {
    model.clamp(node(2 * n, k));
    model.clamp(node(k, 2 * n));
  }
  addPressure(model, 1000.0, steel(), thickness, 0);
  model.numberDofs();
  return model;
}

}  // namespace models
}  // namespace vematrix
