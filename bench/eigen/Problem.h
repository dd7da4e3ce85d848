#pragma once
#include <Eigen/Core>
#include <Eigen/SparseCore>
#include <chrono>
#include <string>
#include <vector>

namespace bench {

using Sparse = Eigen::SparseMatrix<double, 0, int>;

/// The lowest modes of K·x = λ·M·x, lower triangles.
struct Problem {
  std::string name;
  Sparse K, M;
  int n() const { return int(K.cols()); }
};

/// What one method did.
struct Outcome {
  std::string method;
  int converged = 0, iterations = 0, factorizations = 0, multiplies = 0;
  double total = 0, factor = 0, solve = 0, product = 0, projection = 0, orthonormalize = 0, convergence = 0,
         shift = 0;
  std::vector<double> values;
  Eigen::MatrixXd vectors;
  double rest() const {
    return total - factor - solve - product - projection - orthonormalize - convergence - shift;
  }
};

inline double now() {
  return std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch()).count();
}

/// @param strategy  of moving the shift: aggressive, conservative or none
Outcome runOwn(const Problem& problem, int modes, double tol, const std::string& algorithm, bool ownEngine,
               const std::string& strategy);
Outcome runArpack(const Problem& problem, int modes, double tol);
Outcome runTextbookSubspace(const Problem& problem, int modes, double tol);
bool havePeers();

}  // namespace bench
