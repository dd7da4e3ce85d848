#include "models/structures/Grid.h"
#include "models/structures/Structures.h"

namespace vematrix {
namespace models {
namespace {

const BeamSection kColumn{0.0149, 8.56e-5, 2.517e-4, 1.85e-6};    // wide-flange column, 300 mm deep
const BeamSection kGirder{0.00845, 2.313e-4, 1.318e-5, 5.11e-7};  // I-beam, 400 mm deep, upright

// The floor load is carried by the columns' heads: each node takes the area around it.
void loadFloors(Model& model, const SpaceFrame& p, double pressure) {
  for (int s = 1; s <= p.storeys; ++s)
    for (int i = 0; i <= p.baysX; ++i)
      for (int j = 0; j <= p.baysY; ++j) {
        const double area = endWeight(i, p.baysX) * p.baysX * endWeight(j, p.baysY) * p.baysY * p.bay * p.bay;
        const int node = (s * (p.baysX + 1) + i) * (p.baysY + 1) + j;
        model.addLoad(node, Uz, -pressure * area, 0);
        if (i == 0) model.addLoad(node, Ux, 2000.0, 0);
        if (j == 0) model.addLoad(node, Uy, 2000.0, 1);
      }
}

}  // namespace

Model spaceFrame(const SpaceFrame& p) {
  requireAtLeast(p.baysX, 1, "space frame", "bays along x");
  requireAtLeast(p.baysY, 1, "space frame", "bays along y");
  requireAtLeast(p.storeys, 1, "space frame", "storeys");
  Model model;
  const auto node = [&](int i, int j, int s) { return (s * (p.baysX + 1) + i) * (p.baysY + 1) + j; };
  for (int s = 0; s <= p.storeys; ++s)
    for (int i = 0; i <= p.baysX; ++i)
      for (int j = 0; j <= p.baysY; ++j) model.addNode(p.bay * i, p.bay * j, p.height * s);

  const int column = model.addType(std::make_shared<Beam>(steel(), kColumn, Eigen::Vector3d::UnitX()));
  const int girder = model.addType(std::make_shared<Beam>(steel(), kGirder));
  for (int s = 1; s <= p.storeys; ++s)
    for (int i = 0; i <= p.baysX; ++i)
      for (int j = 0; j <= p.baysY; ++j) {
        model.addElement(column, {node(i, j, s - 1), node(i, j, s)});
        if (i < p.baysX) model.addElement(girder, {node(i, j, s), node(i + 1, j, s)});
        if (j < p.baysY) model.addElement(girder, {node(i, j, s), node(i, j + 1, s)});
      }
  for (int i = 0; i <= p.baysX; ++i)
    for (int j = 0; j <= p.baysY; ++j) model.clamp(node(i, j, 0));
  model.addAcceleration({0.0, 0.0, -9.81}, 0);
  loadFloors(model, p, 5000.0);
  model.numberDofs();
  return model;
}

Model cantilever(const Cantilever& p) {
  requireAtLeast(p.elements, 1, "cantilever", "elements");
  Model model;
  const int beam = model.addType(std::make_shared<Beam>(p.material, p.section));
  for (int i = 0; i <= p.elements; ++i) model.addNode(p.length * i / p.elements, 0.0);
  for (int i = 0; i < p.elements; ++i) model.addElement(beam, {i, i + 1});
  model.clamp(0);
  model.addLoad(p.elements, Uz, -1000.0, 0);
  model.addLoad(p.elements, Uy, 1000.0, 1);
  model.addAcceleration({0.0, 0.0, -9.81}, 2);
  model.numberDofs();
  return model;
}

Model pinnedColumn(const PinnedColumn& p) {
  requireAtLeast(p.elements, 1, "pinned column", "elements");
  Model model;
  const int beam = model.addType(std::make_shared<Beam>(p.material, p.section));
  for (int i = 0; i <= p.elements; ++i) model.addNode(p.length * i / p.elements, 0.0);
  for (int i = 0; i < p.elements; ++i) model.addElement(beam, {i, i + 1});
  for (Component c : {Ux, Uy, Uz, Rx}) model.fix(0, c);
  for (Component c : {Uy, Uz}) model.fix(p.elements, c);
  model.addLoad(p.elements, Ux, -1.0, 0);
  model.numberDofs();
  return model;
}

}  // namespace models
}  // namespace vematrix
