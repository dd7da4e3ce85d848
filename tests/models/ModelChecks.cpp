#include "ModelChecks.h"

#include <Eigen/Eigenvalues>
#include <Eigen/SparseCholesky>

namespace vematrix {
namespace models {

Eigen::VectorXd eigenvaluesOf(const Eigen::MatrixXd& A, const Eigen::MatrixXd& B) {
  return Eigen::GeneralizedSelfAdjointEigenSolver<Eigen::MatrixXd>(A, B, Eigen::EigenvaluesOnly)
      .eigenvalues();
}

Eigen::MatrixXd dense(const SymmetricTerms& terms) {
  Eigen::MatrixXd A = Eigen::MatrixXd::Zero(terms.n, terms.n);
  terms.forEach([&](int i, int j, double v) {
    A(i - 1, j - 1) += v;
    if (i != j) A(j - 1, i - 1) += v;
  });
  return A;
}

Eigen::VectorXd solveIndependently(const Model& model, const Eigen::VectorXd& f) {
  const auto K = toLowerTriangle(model.stiffnessTerms());
  Eigen::SimplicialLDLT<Eigen::SparseMatrix<double>, Eigen::Lower> ldlt(K);
  return ldlt.solve(f);
}

NullSpace nullSpace(const Eigen::MatrixXd& K, double limit) {
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

Eigen::MatrixXd unsupportedStiffness(Model model) {
  model.numberDofs(Supports::Free);
  return dense(model.stiffnessTerms());
}

double rigidBodyForce(Model model) {
  model.numberDofs(Supports::Free);
  const Eigen::MatrixXd K = dense(model.stiffnessTerms());
  double worst = 0.0;
  for (int mode = 0; mode < 6; ++mode) {
    const Eigen::VectorXd r = model.rigidBodyMotion(mode);
    if (r.norm() > 0.0) worst = std::max(worst, (K * r).norm() / (K.norm() * r.norm()));
  }
  return worst;
}

Eigen::VectorXd lowestEigenvalues(const Model& model, int count) {
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

double criticalLoad(const Model& model) {
  SymmetricTerms geometric;
  geometric.n = model.numDofs();
  model.assembleGeometricStiffness(solveIndependently(model, model.loads(0)), geometric);
  return 1.0 / eigenvaluesOf(-dense(geometric), dense(model.stiffnessTerms()))[model.numDofs() - 1];
}

Eigen::VectorXd inHertz(const Eigen::VectorXd& lambda) {
  return lambda.cwiseSqrt() / (2.0 * 3.14159265358979323846);
}

}  // namespace models
}  // namespace vematrix
