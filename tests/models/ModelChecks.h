#pragma once
// What the tests of elements and structures share: dense matrices, solves without the library, rigid-body
// counts.
#include <Eigen/Dense>
#include <Eigen/Geometry>
#include <Eigen/SparseCholesky>
#include <algorithm>
#include <cmath>
#include <memory>
#include <utility>
#include <vector>

#include "models/Model.h"

namespace vematrix {
namespace models {

inline Eigen::MatrixXd dense(const SymmetricTerms& terms) {
  Eigen::MatrixXd A = Eigen::MatrixXd::Zero(terms.n, terms.n);
  terms.forEach([&](int i, int j, double v) {
    A(i - 1, j - 1) += v;
    if (i != j) A(j - 1, i - 1) += v;
  });
  return A;
}

/// Solves K·u = f by Eigen's simplicial LDLᵀ: independent of the library.
inline Eigen::VectorXd solveIndependently(const Model& model, const Eigen::VectorXd& f) {
  const auto K = toLowerTriangle(model.stiffnessTerms());
  Eigen::SimplicialLDLT<Eigen::SparseMatrix<double>, Eigen::Lower> ldlt(K);
  return ldlt.solve(f);
}

/// Number of eigenvalues of K below 1e-10 of the largest after scaling K to a unit diagonal, and whether the
/// next one is clear of them.
struct NullSpace {
  int modes;
  double largestZero;   ///< relative to the largest eigenvalue
  double smallestTrue;  ///< relative to the largest eigenvalue
};

inline NullSpace nullSpace(const Eigen::MatrixXd& K, double limit = 1e-11) {
  Eigen::VectorXd scale(K.rows());
  for (Eigen::Index i = 0; i < K.rows(); ++i) scale[i] = K(i, i) > 0.0 ? 1.0 / std::sqrt(K(i, i)) : 1.0;
  const Eigen::MatrixXd S = scale.asDiagonal() * K * scale.asDiagonal();
  const Eigen::VectorXd w =
      Eigen::SelfAdjointEigenSolver<Eigen::MatrixXd>(S, Eigen::EigenvaluesOnly).eigenvalues().cwiseAbs() /
      S.norm();
  NullSpace result{0, 0.0, 1e300};
  for (Eigen::Index i = 0; i < w.size(); ++i) {
    if (w[i] < limit) {
      ++result.modes;
      result.largestZero = std::max(result.largestZero, w[i]);
    } else {
      result.smallestTrue = std::min(result.smallestTrue, w[i]);
    }
  }
  return result;
}

/// Stiffness of a model with every dof kept.
inline Eigen::MatrixXd unsupportedStiffness(Model model) {
  model.numberDofs(Supports::Free);
  return dense(model.stiffnessTerms());
}

/// Largest |K·r| over the rigid-body motions, relative to the entries of K: rounding only, when they cost no
/// energy.
inline double rigidBodyForce(Model model) {
  model.numberDofs(Supports::Free);
  const Eigen::MatrixXd K = dense(model.stiffnessTerms());
  double worst = 0.0;
  for (int mode = 0; mode < 6; ++mode) {
    const Eigen::VectorXd r = model.rigidBodyMotion(mode);
    if (r.norm() > 0.0) worst = std::max(worst, (K * r).norm() / (K.norm() * r.norm()));
  }
  return worst;
}

/// The lowest eigenvalues of K·x = lambda·M·x, rising, by subspace iteration on Eigen's simplicial LDLᵀ
/// (Bathe, Finite Element Procedures (2nd ed. 2014), 11.6): independent of the library, for supported
/// structures.
inline Eigen::VectorXd lowestEigenvalues(const Model& model, int count) {
  const auto K = toLowerTriangle(model.stiffnessTerms()), M = toLowerTriangle(model.massTerms());
  Eigen::SimplicialLDLT<Eigen::SparseMatrix<double>, Eigen::Lower> ldlt(K);
  const int width = std::min(count + 8, model.numDofs());
  Eigen::MatrixXd X = Eigen::MatrixXd::Random(model.numDofs(), width);
  Eigen::VectorXd lambda = Eigen::VectorXd::Zero(width);
  for (int iteration = 0; iteration < 200; ++iteration) {
    const Eigen::MatrixXd MX = M.selfadjointView<Eigen::Lower>() * X;
    const Eigen::MatrixXd Y = ldlt.solve(MX);
    const Eigen::MatrixXd MY = M.selfadjointView<Eigen::Lower>() * Y;
    const Eigen::VectorXd before = lambda;
    Eigen::GeneralizedSelfAdjointEigenSolver<Eigen::MatrixXd> small(Y.transpose() * MX, Y.transpose() * MY);
    lambda = small.eigenvalues();
    X = Y * small.eigenvectors();
    if ((lambda - before).head(count).cwiseAbs().maxCoeff() < 1e-10 * lambda[count - 1]) break;
  }
  return lambda.head(count);
}

/// The lowest multiple of load case 0 under which the structure buckles: K·x = lambda·(−Kg)·x, dense, for
/// small models.
inline double criticalLoad(const Model& model) {
  SymmetricTerms geometric;
  geometric.n = model.numDofs();
  model.assembleGeometricStiffness(solveIndependently(model, model.loads(0)), geometric);
  const Eigen::VectorXd inverse =
      Eigen::GeneralizedSelfAdjointEigenSolver<Eigen::MatrixXd>(
          -dense(geometric), dense(model.stiffnessTerms()), Eigen::EigenvaluesOnly)
          .eigenvalues();
  return 1.0 / inverse[model.numDofs() - 1];
}

/// Eigenvalues (rad²/s²) as frequencies in Hz.
inline Eigen::VectorXd inHertz(const Eigen::VectorXd& lambda) {
  return lambda.cwiseSqrt() / (2.0 * 3.14159265358979323846);
}

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
