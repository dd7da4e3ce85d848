#include <algorithm>
#include <cmath>
#include <iostream>

#include "../math/lapack.h"
#include "../si/gep11.h"

namespace si {

/// Chooses a first shift from the projected pencil M·y = θ·N·y (p × p, lower triangles; both are
/// overwritten): the θ nearest 0. Reports it, or LAPACK's code, on standard output; false, with chi as it
/// was, when LAPACK fails. No solve calls it: they all start from the caller's shift. The other arguments are
/// the block, its products and the factors that a caller inside an iteration has at hand.
bool gep11::initial_shift(Eigen::MatrixXd&, Eigen::MatrixXd&, Vessa::Matrix::Pardiso&, Eigen::MatrixXd& M,
                          Eigen::MatrixXd& N, double& chi) {
  const int order = int(M.rows());
  std::vector<double> theta(std::size_t(order), 0.0);
  const int info = Vessa::Matrix::math::dsygvd(order, M.data(), order, N.data(), order, theta.data());
  if (info != 0 || order == 0) {
    std::cout << "Error in solving SRR eigensystem. LAPACK error code = " << info << "\n";
    return false;
  }
  chi = *std::min_element(theta.begin(), theta.end(),
                          [](double a, double b) { return std::fabs(a) < std::fabs(b); });
  std::cout << "found chi=" << chi << "\n";
  return true;
}

}  // namespace si
