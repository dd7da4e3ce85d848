#pragma once
#include <array>
#include <string>
#include <utility>
#include <vector>

#include "si/Pencils.h"
#include "si/gep11.h"
#include "support/CaptureStdout.h"

/// The lowest modes of K·x = λ·M·x by any of the three solves, with all that a solve leaves behind.
namespace modes {

enum class Algorithm { Explicit, Implicit, ImplicitCopy };

inline std::string nameOf(Algorithm algorithm) {
  return algorithm == Algorithm::Explicit   ? "Explicit"
         : algorithm == Algorithm::Implicit ? "Implicit"
                                            : "ImplicitCopy";
}

struct Request {
  int nev = 5;
  int p = 0;
  double tol = 1e-11;
  double shift = 0.0;  // of the pencil as it is solved: (M, K) in the explicit case
  int strategy = si::SHIFT_NONE;
  int maxIter = 200;
  Vessa::Matrix::PardisoEngine engine = Vessa::Matrix::EngineDefault;
};

struct Result {
  si::Status status = si::STATUS_OK;
  int converged = 0;
  std::array<int, 3> ops{};
  int negative = 0;
  std::vector<double> values;  // λ, in the order of the solver
  Eigen::MatrixXd vectors;
  std::vector<std::pair<int, double>> bad;  // with a relative residual above 1e-6
  pencils::Sparse K, M;                     // after residuals()
  std::string printed;
};

inline si::Status run(si::gep11& solver, Algorithm algorithm) {
  switch (algorithm) {
    case Algorithm::Explicit:
      return solver.solve_exp_orth();
    case Algorithm::Implicit:
      return solver.solve_imp_orth();
    default:
      return solver.solve_imp_orth_copy();
  }
}

inline Result solve(Algorithm algorithm, const pencils::Sparse& K, const pencils::Sparse& M,
                    Request request) {
  Result result;
  result.K = K;
  result.M = M;
  const bool swapped = algorithm == Algorithm::Explicit;
  test_support::CaptureStdout capture;
  si::gep11 solver(swapped ? result.M : result.K, swapped ? result.K : result.M, request.nev, request.p,
                   request.tol, request.shift, si::ShiftStrat(request.strategy), request.maxIter);
  EXPECT_TRUE(solver.SetEngine(request.engine));
  result.status = run(solver, algorithm);
  result.converged = solver.get_numpairs_converged();
  result.ops = solver.opCount();
  result.negative = solver.negative_evals();
  solver.residuals(1e-6, result.bad);
  solver.get_eigenpairs(result.values, result.vectors);
  result.printed = capture.Stop();
  if (swapped)
    for (double& value : result.values) value = 1.0 / value;
  return result;
}

/// All that must hold of a solve whose answers are known: every wanted pair converged, true values, small
/// residuals, M-orthogonal vectors, none missed.
inline void expectModes(const Result& result, const pencils::Sparse& K, const pencils::Sparse& M, int nev,
                        const std::vector<double>& expected, double tolerance, double scale = 0.0) {
  EXPECT_EQ(result.status, si::STATUS_OK);
  ASSERT_GE(result.converged, nev) << result.printed;
  EXPECT_TRUE(pencils::matchesValues(result.values, expected, nev, tolerance, scale));
  EXPECT_LT(pencils::worstBackwardError(K, M, result.values, result.vectors, nev), 1e-9);
  EXPECT_LT(pencils::departureFromMOrthonormal(M, result.vectors, nev), 1e-6);
  const double last = expected[nev - 1];
  const double above = int(expected.size()) > nev ? expected[nev] : 2.0 * last + 1.0;
  if (above - last > 1e-6 * above) {
    EXPECT_EQ(pencils::countBelow(K, M, 0.5 * (last + above)), nev) << "modes missed";
  }
}

}  // namespace modes
