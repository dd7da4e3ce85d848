#pragma once
// What the tests of elements and structures share: dense matrices, solves without the library, rigid-body
// counts.
#include <Eigen/Dense>
#include <algorithm>
#include <cmath>
#include <memory>
#include <utility>
#include <vector>

#include "models/Model.h"

namespace vematrix {
namespace models {

Eigen::MatrixXd dense(const SymmetricTerms& terms);

/// Solves K·u = f by Eigen's simplicial LDLᵀ: independent of the library.
Eigen::VectorXd solveIndependently(const Model& model, const Eigen::VectorXd& f);

/// Number of eigenvalues of K below 1e-10 of the largest after scaling K to a unit diagonal, and whether the
/// next one is clear of them.
struct NullSpace {
  int modes;
  double largestZero;   ///< relative to the largest eigenvalue
  double smallestTrue;  ///< relative to the largest eigenvalue
};

NullSpace nullSpace(const Eigen::MatrixXd& K, double limit = 1e-11);

/// Stiffness of a model with every dof kept.
Eigen::MatrixXd unsupportedStiffness(Model model);

/// Largest |K·r| over the rigid-body motions, relative to the entries of K: rounding only, when they cost no
/// energy.
double rigidBodyForce(Model model);

/// The lowest eigenvalues of K·x = lambda·M·x, rising, by subspace iteration on Eigen's simplicial LDLᵀ
/// (Bathe, Finite Element Procedures (2nd ed. 2014), 11.6): independent of the library, for supported
/// structures.
Eigen::VectorXd lowestEigenvalues(const Model& model, int count);

/// The lowest multiple of load case 0 under which the structure buckles: K·x = lambda·(−Kg)·x, dense, for
/// small models.
double criticalLoad(const Model& model);

/// Eigenvalues of A·x = lambda·B·x, rising; dense, B positive definite.
Eigen::VectorXd eigenvaluesOf(const Eigen::MatrixXd& A, const Eigen::MatrixXd& B);

/// Eigenvalues (rad²/s²) as frequencies in Hz.
Eigen::VectorXd inHertz(const Eigen::VectorXd& lambda);

/// The regular mesh of a model with one formulation, rebuilt on moved nodes: `move` gets the old position and
/// returns the new one.
template <class Move>
Model distorted(const Model& regular, std::shared_ptr<const ElementType> type, Move move) {
  Model result;
  for (int i = 0; i < regular.numNodes(); ++i) {
    const Eigen::Vector3d x = move(regular.node(i));
    result.addNode(x[0], x[1], x[2]);
  }
  const int t = result.addType(std::move(type));
  for (int e = 0; e < regular.numElements(); ++e) {
    const auto nodes = regular.nodesOf(e);
    result.addElement(t, std::vector<int>(nodes.first, nodes.first + nodes.second));
  }
  result.numberDofs();
  return result;
}

/// Largest nodal force that the displacements leave at the given nodes, relative to the forces that cancel
/// there: zero but for rounding when the element represents the state exactly (patch test).
template <class IsInside>
double patchForce(const Model& patch, const Eigen::VectorXd& u, IsInside inside) {
  const Eigen::MatrixXd K = dense(patch.stiffnessTerms());
  double worst = 0.0;
  for (int d = 1; d <= patch.numDofs(); ++d)
    if (inside(patch.node(patch.place(d).first)))
      worst = std::max(worst, std::abs(K.row(d - 1).dot(u)) / K.row(d - 1).cwiseAbs().dot(u.cwiseAbs()));
  return worst;
}

}  // namespace models
}  // namespace vematrix
