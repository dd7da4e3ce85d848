#include <fcntl.h>
#include <unistd.h>

#include <cstdio>
#include <iostream>

#include "Problem.h"
#include "si/gep11.h"

namespace bench {
namespace {

/// The solves report every step on standard output; a benchmark prints its table there.
class Silence {
public:
  Silence() : m_saved(dup(1)) {
    flush();
    const int null = open("/dev/null", O_WRONLY);
    dup2(null, 1);
    close(null);
  }
  ~Silence() {
    flush();
    dup2(m_saved, 1);
    close(m_saved);
  }

private:
  static void flush() {
    std::cout.flush();
    std::fflush(stdout);
  }
  int m_saved;
};

}  // namespace

Outcome runOwn(const Problem& problem, int modes, double tol, const std::string& algorithm, bool ownEngine,
               const std::string& strategy) {
  Outcome out;
  out.method = algorithm + (ownEngine ? " (own engine)" : "");
  Sparse K = problem.K, M = problem.M;
  const bool swapped = algorithm == "explicit";
  double shift = 0.0;
  const si::ShiftStrat moves = strategy == "aggressive"     ? si::SHIFT_AGGRESSIVE
                               : strategy == "conservative" ? si::SHIFT_CONSERVATIVE
                                                            : si::SHIFT_NONE;
  const Silence quiet;
  si::gep11 solver(swapped ? M : K, swapped ? K : M, modes, 0, tol, shift, moves, 300);
  solver.SetEngine(ownEngine ? Vessa::Matrix::EngineOwn : Vessa::Matrix::EngineDefault);
  if (swapped) solver.solve_exp_orth();
  if (algorithm == "implicit") solver.solve_imp_orth();
  if (algorithm == "implicit-copy") solver.solve_imp_orth_copy();
  const si::SolveTimes& t = solver.times();
  out.converged = solver.get_numpairs_converged();
  out.multiplies = solver.opCount()[0];
  out.iterations = solver.opCount()[1];
  out.factorizations = t.factorizations;
  out.total = t.total;
  out.factor = t.factor;
  out.solve = t.solve;
  out.product = t.product;
  out.projection = t.projection;
  out.orthonormalize = t.orthonormalize;
  out.convergence = t.convergence;
  out.shift = t.shift;
  solver.get_eigenpairs(out.values, out.vectors);
  if (swapped)
    for (double& value : out.values) value = 1.0 / value;
  return out;
}

}  // namespace bench
