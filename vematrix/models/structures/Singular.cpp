#include <stdexcept>

#include "models/elements/Spring.h"
#include "models/structures/Structures.h"

namespace vematrix {
namespace models {
namespace {

std::vector<Component> componentsAt(const Model& model, int node) {
  std::vector<Component> found;
  for (int c = 0; c < kNumComponents; ++c)
    if (model.dof(node, static_cast<Component>(c)) > 0) found.push_back(static_cast<Component>(c));
  return found;
}

// As stiff as the structure is there, so that the condition of the rest does not change.
double stiffnessAt(const Model& model, int node, Component component) {
  const int dof = model.dof(node, component);
  double diagonal = 0.0;
  model.assembleStiffness([&](int i, int j, double v) {
    if (i == dof && j == dof) diagonal += v;
  });
  return diagonal;
}

void tie(Model& model, int a, int b, Component component, double stiffness) {
  model.addElement(model.addType(std::make_shared<Spring>(component, stiffness)), {a, b});
}

// The last node with displacements none of which is supported.
int lastFreeNode(const Model& model) {
  const auto free = [&](int node) {
    bool any = false, held = false;
    for (Component c : {Ux, Uy, Uz}) {
      any = any || model.dof(node, c) > 0;
      held = held || model.isFixed(node, c);
    }
    return any && !held;
  };
  for (int node = model.numNodes() - 1; node >= 0; --node)
    if (free(node)) return node;
  throw std::invalid_argument("a model without a free node has no singular variant");
}

}  // namespace

int addLooseDof(Model& model) {
  const int anchor = lastFreeNode(model);
  const auto components = componentsAt(model, anchor);
  std::vector<double> stiffness;
  for (Component c : components) stiffness.push_back(stiffnessAt(model, anchor, c));
  const Eigen::Vector3d x = model.node(anchor);
  const int node = model.addNode(x[0], x[1], x[2]);
  for (std::size_t k = 0; k < components.size(); ++k)
    tie(model, anchor, node, components[k], k == 0 ? 0.0 : stiffness[k]);
  model.numberDofs();
  return model.dof(node, components.front());
}

Model withMechanism(const Model& model) {
  Model both = model;
  const int joint = lastFreeNode(model), shift = model.numNodes();
  const Eigen::Vector3d offset =
      model.node(joint) - model.node(0);  // the copy's first node comes to the joint
  for (int node = 0; node < shift; ++node) {
    const Eigen::Vector3d x = model.node(node) + offset;
    both.addNode(x[0], x[1], x[2]);
  }
  for (int e = 0; e < model.numElements(); ++e) {
    const auto nodes = model.nodesOf(e);
    std::vector<int> copied(nodes.first, nodes.first + nodes.second);
    for (int& node : copied) node += shift;
    both.addElement(model.typeIndex(e), copied);
  }
  for (Component c : componentsAt(model, joint))
    if (c <= Uz) tie(both, joint, shift, c, stiffnessAt(model, joint, c));
  both.numberDofs();
  return both;
}

}  // namespace models
}  // namespace vematrix
