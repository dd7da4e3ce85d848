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

Mechanism plainMechanism(const Eigen::VectorXd& motion, const DofPlaces& places) {
  Mechanism mechanism;
  Eigen::Index at = 0;
  motion.cwiseAbs().maxCoeff(&at);
  mechanism.motion = motion / motion[at];
  const std::vector<int> moving = movingDofs(motion);
  mechanism.numDofs = int(moving.size());
  mechanism.movers = largestComponents(motion, 10);
  if (places.known()) mechanism.numNodes = int(places.nodesOf(moving).size());
  return mechanism;
}

std::string nodesText(const Mechanism& mechanism) {
  return mechanism.numNodes == 1 ? "1 node" : count(mechanism.numNodes) + " nodes";
}

/// A motion of some dofs compared with the rigid one nearest to it.
struct RigidFit {
  Eigen::Vector3d origin;
  double radius = 1.0;  ///< of the dofs about the origin; 1 where all are in one place
  Eigen::VectorXd six;  ///< the rigid motion: along and about the axes through the origin
  bool good = false;    ///< the motion is that rigid one
};

RigidFit fitRigid(const Eigen::VectorXd& motion, const std::vector<int>& dofs, const DofPlaces& places) {
  RigidFit fit;
  fit.origin = places.centre(dofs);
  double radius = 0.0;
  for (int dof : dofs) radius = std::max(radius, (places.point(dof) - fit.origin).norm());
  if (radius > 0.0) fit.radius = radius;
  Eigen::MatrixXd rigid = places.rigidMotions(dofs, fit.origin);
  Eigen::VectorXd value(Eigen::Index(dofs.size()));
  for (std::size_t k = 0; k < dofs.size(); ++k) {
    value[Eigen::Index(k)] = motion[dofs[k] - 1];
    if (places.component(dofs[k]) < 3) continue;
    value[Eigen::Index(k)] *= fit.radius;  // rotations weigh as much as the displacements they cause
    rigid.row(Eigen::Index(k)) *= fit.radius;
  }
  fit.six = Eigen::CompleteOrthogonalDecomposition<Eigen::MatrixXd>(rigid).solve(value);
  fit.good = dofs.size() > 1 && (rigid * fit.six - value).norm() <= fitTolerance * value.norm();
  return fit;
}

/// Also where the axis is, for rotations.
void describeRigid(Mechanism& mechanism, const RigidFit& fit) {
  const Eigen::Vector3d t = fit.six.head<3>(), omega = fit.six.tail<3>();
  if (omega.norm() * fit.radius <= fitTolerance * t.norm()) {
    mechanism.kind = "translation";
    mechanism.text =
        fmt::format("rigid translation of {} along {}", nodesText(mechanism), directionText(t.normalized()));
    return;
  }
  const Eigen::Vector3d axis = omega.normalized();
  const double along = t.dot(axis);
  const Eigen::Vector3d point = fit.origin + omega.cross(t) / omega.squaredNorm();
  mechanism.axisPoint = point;
  mechanism.axis = axis;
  mechanism.kind =
      std::fabs(along) <= fitTolerance * omega.norm() * std::max(fit.radius, 1e-300) ? "rotation" : "screw";
  mechanism.text = fmt::format("rigid {} of {} about the axis {} through {}",
                               mechanism.kind == "rotation" ? "rotation" : "rotation with sliding",
                               nodesText(mechanism), directionText(axis), vectorText(point));
}

std::string textWithoutPlaces(const Mechanism& mechanism) {
  const bool one = mechanism.numDofs == 1;
  return fmt::format("{} dof{} move{}, most dof{} {}", count(mechanism.numDofs), one ? "" : "s",
                     one ? "s" : "", mechanism.movers.size() == 1 ? "" : "s", dofList(mechanism.movers));
}

/// Compares a motion with a rigid one of the nodes it moves, those of their dofs that are at rest included,
/// and puts it into words.
Mechanism describe(const Eigen::VectorXd& motion, const DofPlaces& places) {
  Mechanism mechanism = plainMechanism(motion, places);
  if (!places.known()) {
    mechanism.kind = "unknown";
    mechanism.text = textWithoutPlaces(mechanism);
    return mechanism;
  }
  mechanism.kind = "local";
  const std::string most = places.describe(mechanism.movers.front());
  if (mechanism.numDofs == 1) {
    mechanism.text = most + " alone";
    return mechanism;
  }
  const RigidFit fit = fitRigid(motion, places.dofsOf(places.nodesOf(movingDofs(motion))), places);
  if (fit.good)
    describeRigid(mechanism, fit);
  else
    mechanism.text = fmt::format("local mechanism of {} dofs at {}, most {}", count(mechanism.numDofs),
                                 nodesText(mechanism), most);
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
    const Eigen::MatrixXd rigid = places.rigidMotions(dofs, origin);
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
    if (dofs.size() >= 2) naming.takeElementary(dofs, naming.places.centre(dofs), 0);
}

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
    nodes.merge(naming.places.nodesOf(movingDofs(mechanism.motion)));
  }
  if (nodes.empty() || std::fabs(normal.determinant()) < 1e-9) return;
  naming.takeElementary(naming.places.dofsOf(nodes), normal.inverse() * right, 3);
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
