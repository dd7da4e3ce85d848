#include "models/Model.h"

#include <Eigen/Geometry>

#include <algorithm>
#include <sstream>
#include <stdexcept>

namespace vematrix {
namespace models {
namespace {

std::size_t at(int index) {
  return static_cast<std::size_t>(index);
}

void require(bool good, const std::string& message) {
  if (!good) throw std::invalid_argument(message);
}

}  // namespace

int Model::addNode(double x, double y, double z) {
  m_nodes.emplace_back(x, y, z);
  m_fixed.push_back({});
  m_dofs.push_back({});
  return numNodes() - 1;
}

int Model::addType(std::shared_ptr<const ElementType> type) {
  m_types.push_back(std::move(type));
  return static_cast<int>(m_types.size()) - 1;
}

int Model::addElement(int type, const std::vector<int>& nodes) {
  require(type >= 0 && type < static_cast<int>(m_types.size()),
          "Model::addElement: unknown element type " + std::to_string(type));
  const ElementType& t = *m_types[at(type)];
  require(static_cast<int>(nodes.size()) == t.numNodes(), std::string("Model::addElement: '") + t.name() +
                                                              "' has " + std::to_string(t.numNodes()) +
                                                              " nodes, not " + std::to_string(nodes.size()));
  for (int node : nodes)
    require(node >= 0 && node < numNodes(), "Model::addElement: unknown node " + std::to_string(node));
  m_elementType.push_back(type);
  m_connect.insert(m_connect.end(), nodes.begin(), nodes.end());
  m_elementStart.push_back(static_cast<int>(m_connect.size()));
  return numElements() - 1;
}

void Model::fix(int node, Component component) {
  m_fixed.at(at(node))[at(component)] = true;
}

void Model::clamp(int node) {
  m_fixed.at(at(node)).fill(true);
}

void Model::useLoadCase(int loadCase) {
  require(loadCase >= 0, "Model: load cases count from 0, not " + std::to_string(loadCase));
  m_numLoadCases = std::max(m_numLoadCases, loadCase + 1);
}

void Model::addLoad(int node, Component component, double value, int loadCase) {
  require(node >= 0 && node < numNodes(), "Model::addLoad: unknown node " + std::to_string(node));
  useLoadCase(loadCase);
  m_nodalLoads.push_back({node, component, value, loadCase});
}

void Model::addAcceleration(const Eigen::Vector3d& acceleration, int loadCase) {
  useLoadCase(loadCase);
  m_accelerations.push_back({acceleration, loadCase});
}

void Model::numberDofs(Supports supports) {
  for (auto& dofs : m_dofs) dofs.fill(0);
  for (int e = 0; e < numElements(); ++e) {
    const auto nodes = nodesOf(e);
    for (int a = 0; a < nodes.second; ++a)
      for (Component c : typeOf(e).components()) m_dofs[at(nodes.first[a])][at(c)] = 1;
  }
  m_places.clear();
  for (int node = 0; node < numNodes(); ++node) {
    for (int c = 0; c < kNumComponents; ++c) {
      int& dof = m_dofs[at(node)][at(c)];
      if (dof != 0 && supports == Supports::Deleted && m_fixed[at(node)][at(c)]) dof = 0;
      if (dof == 0) continue;
      m_places.emplace_back(node, static_cast<Component>(c));
      dof = numDofs();
    }
  }
}

std::pair<const int*, int> Model::nodesOf(int element) const {
  const int start = m_elementStart[at(element)];
  return {m_connect.data() + start, m_elementStart[at(element) + 1] - start};
}

std::string Model::describeDof(int dof) const {
  static const char* const names[] = {"ux", "uy", "uz", "rx", "ry", "rz"};
  const auto where = place(dof);
  const Eigen::Vector3d& x = node(where.first);
  std::ostringstream text;
  text << names[where.second] << " of node " << where.first + 1 << " at (" << x[0] << ", " << x[1] << ", "
       << x[2] << ")";
  return text.str();
}

int Model::nodeNear(double x, double y, double z) const {
  if (m_nodes.empty()) throw std::logic_error("Model::nodeNear: the model has no nodes");
  const Eigen::Vector3d point(x, y, z);
  const auto nearer = [&](const Eigen::Vector3d& a, const Eigen::Vector3d& b) {
    return (a - point).squaredNorm() < (b - point).squaredNorm();
  };
  return static_cast<int>(std::min_element(m_nodes.begin(), m_nodes.end(), nearer) - m_nodes.begin());
}

Coordinates Model::coordinates(int element) const {
  const auto nodes = nodesOf(element);
  Coordinates x(3, nodes.second);
  for (int a = 0; a < nodes.second; ++a) x.col(a) = m_nodes[at(nodes.first[a])];
  return x;
}

void Model::elementDofs(int element, std::vector<int>& dofs) const {
  dofs.clear();
  const auto nodes = nodesOf(element);
  for (int a = 0; a < nodes.second; ++a)
    for (Component c : typeOf(element).components()) dofs.push_back(dof(nodes.first[a], c));
}

Eigen::VectorXd Model::elementDisplacements(int element, const Eigen::VectorXd& u) const {
  std::vector<int> dofs;
  elementDofs(element, dofs);
  Eigen::VectorXd ue(static_cast<Eigen::Index>(dofs.size()));
  for (std::size_t a = 0; a < dofs.size(); ++a)
    ue[static_cast<Eigen::Index>(a)] = dofs[a] > 0 ? u[dofs[a] - 1] : 0.0;
  return ue;
}

Eigen::VectorXd Model::loads(int loadCase) const {
  if (loadCase < 0 || loadCase >= std::max(1, m_numLoadCases))
    throw std::out_of_range("Model::loads: load case " + std::to_string(loadCase) + " of " +
                            std::to_string(m_numLoadCases));
  Eigen::VectorXd f = Eigen::VectorXd::Zero(numDofs());
  for (const NodalLoad& load : m_nodalLoads) {
    const int d = dof(load.node, load.component);
    if (load.loadCase == loadCase && d > 0) f[d - 1] += load.value;
  }
  for (const Acceleration& a : m_accelerations)
    if (a.loadCase == loadCase) addAccelerationLoads(a, f);
  return f;
}

// f += M·a, where every translation of the element, supported or not, has the acceleration.
void Model::addAccelerationLoads(const Acceleration& a, Eigen::VectorXd& f) const {
  Eigen::MatrixXd M;
  std::vector<int> dofs;
  for (int e = 0; e < numElements(); ++e) {
    const ElementType& type = typeOf(e);
    type.mass(coordinates(e), M);
    elementDofs(e, dofs);
    Eigen::VectorXd rigid(type.numDofs());
    const auto& components = type.components();
    const auto perNode = static_cast<Eigen::Index>(components.size());
    for (Eigen::Index k = 0; k < rigid.size(); ++k) {
      const Component c = components[static_cast<std::size_t>(k % perNode)];
      rigid[k] = c <= Uz ? a.value[c] : 0.0;
    }
    const Eigen::VectorXd fe = M * rigid;
    for (std::size_t k = 0; k < dofs.size(); ++k)
      if (dofs[k] > 0) f[dofs[k] - 1] += fe[static_cast<Eigen::Index>(k)];
  }
}

std::size_t Model::numTerms() const {
  std::size_t count = 0;
  std::vector<int> dofs;
  for (int e = 0; e < numElements(); ++e) {
    elementDofs(e, dofs);
    const auto used =
        static_cast<std::size_t>(std::count_if(dofs.begin(), dofs.end(), [](int d) { return d > 0; }));
    count += used * (used + 1) / 2;
  }
  return count;
}

SymmetricTerms Model::stiffnessTerms() const {
  SymmetricTerms terms;
  terms.n = numDofs();
  terms.reserve(numTerms());
  assembleStiffness(terms);
  return terms;
}

SymmetricTerms Model::massTerms() const {
  SymmetricTerms terms;
  terms.n = numDofs();
  terms.reserve(numTerms());
  assembleMass(terms);
  return terms;
}

SymmetricTerms Model::lumpedMassTerms() const {
  SymmetricTerms terms;
  terms.n = numDofs();
  assembleLumpedMass(terms);
  terms.sumDuplicates();
  return terms;
}

Eigen::Matrix3Xd Model::nodalVectors(const Eigen::VectorXd& u, Component first) const {
  Eigen::Matrix3Xd vectors = Eigen::Matrix3Xd::Zero(3, numNodes());
  for (int node = 0; node < numNodes(); ++node)
    for (int c = 0; c < 3; ++c) {
      const int d = dof(node, static_cast<Component>(first + c));
      if (d > 0) vectors(c, node) = u[d - 1];
    }
  return vectors;
}

Eigen::Matrix3Xd Model::nodalDisplacements(const Eigen::VectorXd& u) const {
  return nodalVectors(u, Ux);
}
Eigen::Matrix3Xd Model::nodalRotations(const Eigen::VectorXd& u) const {
  return nodalVectors(u, Rx);
}

Eigen::VectorXd Model::rigidBodyMotion(int mode) const {
  require(mode >= 0 && mode < 6, "Model::rigidBodyMotion: modes are 0..5, not " + std::to_string(mode));
  const Eigen::Vector3d axis = Eigen::Vector3d::Unit(mode % 3);
  Eigen::VectorXd u(numDofs());
  for (int d = 1; d <= numDofs(); ++d) {
    const auto where = place(d);
    if (mode < 3)
      u[d - 1] = where.second <= Uz ? axis[where.second] : 0.0;
    else
      u[d - 1] = where.second <= Uz ? axis.cross(node(where.first))[where.second] : axis[where.second - Rx];
  }
  return u;
}

}  // namespace models
}  // namespace vematrix
