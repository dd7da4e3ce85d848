#pragma once
// What the tests of elements and structures share: dense matrices, solves without the library, rigid-body
// counts.
#include <Eigen/Dense>
#include <Eigen/SparseCholesky>
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

}  // namespace models
}  // namespace vematrix
