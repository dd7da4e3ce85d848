#include "Mechanism.h"

#include <fmt/core.h>

#include <Eigen/Geometry>
#include <algorithm>
#include <cmath>
#include <set>

#include "Format.h"
#include "NullProbe.h"
#include "Subspace.h"

namespace vematrix {
namespace cli {
namespace {

constexpr double fitTolerance = 1e-6;
constexpr double restTolerance = 1e-7;  // of the largest component: what moves less is at rest

std::string number(double value) {
  return fmt::format("{:.4g}", std::fabs(value) < 1e-9 ? 0.0 : value);
}

std::string vectorText(const Eigen::Vector3d& v) {
  return "(" + number(v[0]) + ", " + number(v[1]) + ", " + number(v[2]) + ")";
}

/// "x", "y" or "z" for a direction along an axis, else its components.
std::string directionText(const Eigen::Vector3d& direction) {
  for (int c = 0; c < 3; ++c)
    if (std::fabs(std::fabs(direction[c]) - 1.0) < 1e-6) return std::string(1, "xyz"[c]);
  return vectorText(direction);
}

std::vector<int> movingDofs(const Eigen::VectorXd& motion) {
  std::vector<int> dofs;
  const double largest = motion.lpNorm<Eigen::Infinity>();
  for (Eigen::Index i = 0; i < motion.size(); ++i)
    if (std::fabs(motion[i]) > restTolerance * largest) dofs.push_back(int(i) + 1);
  return dofs;
}

/// The six rigid motions of a set of dofs about a point, as columns over these dofs.
Eigen::MatrixXd rigidMotions(const std::vector<int>& dofs, const DofPlaces& places,
                             const Eigen::Vector3d& origin) {
  Eigen::MatrixXd motions = Eigen::MatrixXd::Zero(Eigen::Index(dofs.size()), 6);
  for (std::size_t k = 0; k < dofs.size(); ++k) {
    const int c = places.component(dofs[k]);
    const Eigen::Vector3d arm = places.point(dofs[k]) - origin;
    for (int axis = 0; axis < 3; ++axis) {
      const Eigen::Vector3d omega = Eigen::Vector3d::Unit(axis);
      if (c < 3) {
        motions(Eigen::Index(k), axis) = c == axis;
        motions(Eigen::Index(k), 3 + axis) = omega.cross(arm)[c];
      } else {
        motions(Eigen::Index(k), 3 + axis) = c - 3 == axis;
      }
    }
  }
  return motions;
}

std::set<int> nodesOf(const std::vector<int>& dofs, const DofPlaces& places) {
  std::set<int> nodes;
  for (int dof : dofs) nodes.insert(places.node(dof));
  return nodes;
}

Eigen::Vector3d centre(const std::vector<int>& dofs, const DofPlaces& places) {
  Eigen::Vector3d sum = Eigen::Vector3d::Zero();
  for (int dof : dofs) sum += places.point(dof);
  return sum / double(dofs.size());
}

/// All dofs of the nodes that move: those at rest take part in the comparison with a rigid motion too.
std::vector<int> dofsOfNodes(const std::set<int>& nodes, int n, const DofPlaces& places) {
  std::vector<int> dofs;
  for (int dof = 1; dof <= n; ++dof)
    if (nodes.count(places.node(dof)) != 0) dofs.push_back(dof);
  return dofs;
}

Mechanism plainMechanism(const Eigen::VectorXd& motion, const DofPlaces& places) {
  Mechanism mechanism;
  Eigen::Index at = 0;
  motion.cwiseAbs().maxCoeff(&at);
  mechanism.motion = motion / motion[at];
  const std::vector<int> moving = movingDofs(motion);
  mechanism.numDofs = int(moving.size());
  mechanism.movers = largestComponents(motion, 10);
  if (places.known()) mechanism.numNodes = int(nodesOf(moving, places).size());
  return mechanism;
}

std::string nodesText(const Mechanism& mechanism) {
  return mechanism.numNodes == 1 ? "1 node" : count(mechanism.numNodes) + " nodes";
}

/// Also where the axis is, for rotations.
void describeRigid(Mechanism& mechanism, const Eigen::VectorXd& six, const Eigen::Vector3d& origin,
                   double radius) {
  const Eigen::Vector3d t = six.head<3>(), omega = six.tail<3>();
  if (omega.norm() * radius <= fitTolerance * t.norm()) {
    mechanism.kind = "translation";
    mechanism.text =
        fmt::format("rigid translation of {} along {}", nodesText(mechanism), directionText(t.normalized()));
    return;
  }
  const Eigen::Vector3d axis = omega.normalized();
  const double along = t.dot(axis);
  const Eigen::Vector3d point = origin + omega.cross(t) / omega.squaredNorm();
  mechanism.axisPoint = point;
  mechanism.axis = axis;
  mechanism.kind =
      std::fabs(along) <= fitTolerance * omega.norm() * std::max(radius, 1e-300) ? "rotation" : "screw";
  mechanism.text = fmt::format("rigid {} of {} about the axis {} through {}",
                               mechanism.kind == "rotation" ? "rotation" : "rotation with sliding",
                               nodesText(mechanism), directionText(axis), vectorText(point));
}

/// Compares a motion with a rigid one of the nodes it moves and puts it into words.
Mechanism describe(const Eigen::VectorXd& motion, const DofPlaces& places) {
  Mechanism mechanism = plainMechanism(motion, places);
  if (!places.known()) {
    mechanism.kind = "unknown";
    mechanism.text = fmt::format("{} dof{} move{}, most dof{} {}", count(mechanism.numDofs),
                                 mechanism.numDofs == 1 ? "" : "s", mechanism.numDofs == 1 ? "s" : "",
                                 mechanism.movers.size() == 1 ? "" : "s", dofList(mechanism.movers));
    return mechanism;
  }
  const std::vector<int> moving = movingDofs(motion);
  if (mechanism.numDofs == 1) {
    mechanism.kind = "local";
    mechanism.text = places.describe(mechanism.movers.front()) + " alone";
    return mechanism;
  }
  const std::vector<int> dofs = dofsOfNodes(nodesOf(moving, places), int(motion.size()), places);
  const Eigen::Vector3d origin = centre(dofs, places);
  double radius = 0.0;
  for (int dof : dofs) radius = std::max(radius, (places.point(dof) - origin).norm());
  const double arm = radius > 0.0 ? radius : 1.0;
  Eigen::MatrixXd rigid = rigidMotions(dofs, places, origin);
  Eigen::VectorXd value(Eigen::Index(dofs.size()));
  for (std::size_t k = 0; k < dofs.size(); ++k) {
    value[Eigen::Index(k)] = motion[dofs[k] - 1];
    if (places.component(dofs[k]) < 3) continue;
    value[Eigen::Index(k)] *= arm;  // rotations weigh as much as the displacements they cause
    rigid.row(Eigen::Index(k)) *= arm;
  }
  const Eigen::VectorXd six = Eigen::CompleteOrthogonalDecomposition<Eigen::MatrixXd>(rigid).solve(value);
  if (dofs.size() > 1 && (rigid * six - value).norm() <= fitTolerance * value.norm()) {
    describeRigid(mechanism, six, origin, arm);
    return mechanism;
  }
  mechanism.kind = "local";
  mechanism.text = fmt::format("local mechanism of {} dofs at {}, most {}", count(mechanism.numDofs),
                               nodesText(mechanism), places.describe(mechanism.movers.front()));
  return mechanism;
}

/// Takes a unit vector of the space out of an orthonormal basis: one column less.
void deflate(Eigen::MatrixXd& basis, const Eigen::VectorXd& y) {
  if (basis.cols() == 1) {
    basis.resize(Eigen::NoChange, 0);
    return;
  }
  const Eigen::MatrixXd rest = basis - y * (y.transpose() * basis);
  basis = orthonormalBasis(rest, basis.cols() - 1);
}

/// The part of a space that has not been named yet, and the motions that have.
struct Naming {
  const Eigen::MatrixXd& space;  ///< orthonormal, in scaled coordinates
  const Eigen::VectorXd& scale;
  const DofPlaces& places;
  Eigen::MatrixXd rest;  ///< orthonormal too
  std::vector<Eigen::VectorXd> named;

  /// Names those of the rigid motions (0..2 along, 3..5 about the axes through `origin`) of some dofs that
  /// lie in the space and are new.
  void takeElementary(const std::vector<int>& dofs, const Eigen::Vector3d& origin, int first) {
    const Eigen::MatrixXd rigid = rigidMotions(dofs, places, origin);
    for (int m = first; m < 6 && rest.cols() > 0; ++m) {
      Eigen::VectorXd x = Eigen::VectorXd::Zero(scale.size());
      for (std::size_t k = 0; k < dofs.size(); ++k) x[dofs[k] - 1] = rigid(Eigen::Index(k), m);
      Eigen::VectorXd y = x.cwiseQuotient(scale);
      if (y.norm() == 0.0) continue;
      y.normalize();
      const Eigen::VectorXd fresh = rest * (rest.transpose() * y);
      if ((y - space * (space.transpose() * y)).norm() > fitTolerance || fresh.norm() < fitTolerance)
        continue;
      deflate(rest, fresh.normalized());
      named.push_back(x);
    }
  }
};

/// The rigid motions of connected parts.
void nameParts(const UpperMatrix& matrix, Naming& naming) {
  const std::vector<int> part = connectedParts(matrix);
  std::vector<std::vector<int>> moving;
  for (int dof = 1; dof <= matrix.n(); ++dof) {
    const std::size_t p = std::size_t(part[std::size_t(dof) - 1]);
    if (moving.size() <= p) moving.resize(p + 1);
    if (naming.space.row(dof - 1).lpNorm<Eigen::Infinity>() > restTolerance) moving[p].push_back(dof);
  }
  for (const std::vector<int>& dofs : moving)
    if (dofs.size() >= 2) naming.takeElementary(dofs, centre(dofs, naming.places), 0);
}

}  // namespace

DofPlaces::DofPlaces(const models::VtuMesh& mesh) : m_mesh(&mesh) {
  m_node.assign(std::size_t(mesh.numDofs()), 0);
  m_component.assign(std::size_t(mesh.numDofs()), 0);
  for (int p = 0; p < mesh.numPoints() && mesh.dofs.size() != 0; ++p)
    for (int c = 0; c < models::kDofsPerPoint; ++c)
      if (mesh.dofs(c, p) > 0) {
        m_node[std::size_t(mesh.dofs(c, p)) - 1] = p;
        m_component[std::size_t(mesh.dofs(c, p)) - 1] = c;
      }
}

std::string DofPlaces::describe(int dof) const {
  static const char* const names[] = {"ux", "uy", "uz", "rx", "ry", "rz"};
  if (!known()) return fmt::format("dof {}", dof);
  return fmt::format("{} of node {} at {}", names[component(dof)], node(dof), vectorText(point(dof)));
}

namespace {

/// Rotations about axes that meet in a joint are told apart by the axes through the joint.
void nameJoint(const std::vector<Mechanism>& found, Naming& naming) {
  Eigen::Matrix3d normal = Eigen::Matrix3d::Zero();
  Eigen::Vector3d right = Eigen::Vector3d::Zero();
  std::set<int> nodes;
  for (const Mechanism& mechanism : found) {
    if (mechanism.kind != "rotation") continue;
    const Eigen::Matrix3d across = Eigen::Matrix3d::Identity() - mechanism.axis * mechanism.axis.transpose();
    normal += across;
    right += across * mechanism.axisPoint;
    for (int node : nodesOf(movingDofs(mechanism.motion), naming.places)) nodes.insert(node);
  }
  if (nodes.empty() || std::fabs(normal.determinant()) < 1e-9) return;
  naming.takeElementary(dofsOfNodes(nodes, int(naming.scale.size()), naming.places), normal.inverse() * right,
                        3);
}

std::vector<Mechanism> describeRest(const Naming& naming) {
  std::vector<Mechanism> found;
  if (naming.rest.cols() == 0) return found;
  const Eigen::MatrixXd local = localised(naming.rest);
  for (Eigen::Index c = 0; c < local.cols(); ++c)
    found.push_back(describe(naming.scale.cwiseProduct(local.col(c)), naming.places));
  return found;
}

}  // namespace

std::vector<Mechanism> describeMechanisms(const UpperMatrix& matrix, const NullSpace& space,
                                          const DofPlaces& places) {
  Naming naming{space.basis, space.scale, places, space.basis, {}};
  if (places.known()) {
    nameParts(matrix, naming);
    nameJoint(describeRest(naming), naming);
  }
  std::vector<Mechanism> mechanisms;
  for (const Eigen::VectorXd& motion : naming.named) mechanisms.push_back(describe(motion, places));
  for (Mechanism& mechanism : describeRest(naming)) mechanisms.push_back(std::move(mechanism));
  return mechanisms;
}

}  // namespace cli
}  // namespace vematrix
