// Several threads at once, each with objects of its own of every kind: direct solvers, row-stored matrices,
// eigensolvers, condition estimates, parked matrices. All have closed-form answers.
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <cmath>
#include <functional>
#include <string>
#include <thread>
#include <vector>

#include "si/gep11.h"
#include "si/sep.h"
#include "solution/CSolnMatrix.h"
#include "sparse/CSymmetricRow.h"
#include "support/SilenceLibrary.h"
#include "support/TempFolder.h"

namespace {

using namespace Vessa::Matrix;

// A chain of n springs of stiffness k, fixed at its left end: the tip moves by n / k under a unit load, the
// eigenvalues with unit masses are 4·k·sin²((2m−1)·π / (4n+2)), and ‖K⁻¹‖₁ = n·(n+1) / 2k.
struct Chain {
  int n;
  double k;

  template <class Sink>
  void Assemble(Sink sink) const {
    for (int i = 1; i <= n; ++i) {
      if (i > 1) sink(i - 1, i, -k);
      sink(i, i, i == n ? k : 2.0 * k);
    }
  }
  bool IsTip(double u) const { return std::fabs(u - n / k) <= 1e-8 * n / k; }
  double Condition() const { return 4.0 * k * (0.5 * n * (n + 1.0) / k); }
  double Eigenvalue(int m) const {
    const double s = std::sin((2.0 * m - 1.0) * std::acos(-1.0) / (4.0 * n + 2.0));
    return 4.0 * k * s * s;
  }
  Eigen::SparseMatrix<double, 0, int> Lower() const {
    std::vector<Eigen::Triplet<double, int>> terms;
    Assemble([&](int i, int j, double v) { terms.emplace_back(j - 1, i - 1, v); });
    Eigen::SparseMatrix<double, 0, int> lower(n, n);
    lower.setFromTriplets(terms.begin(), terms.end());
    return lower;
  }
};

// Assembled, parked in a file and taken back, reduced, solved for one and for three loads, condition
// estimated.
bool Facade(const Chain& chain, SolMethod method, PardisoEngine engine) {
  const test_support::TempFolder folder;
  CReport report;
  CSolnMatrix matrix;
  matrix.SetMethod(method);
  matrix.SetPardisoEngine(engine);
  matrix.SetLog(&report);
  matrix.getPardiso().SetNumThreads(2);
  matrix.SetNumDof(chain.n);
  chain.Assemble([&](int i, int j, double v) { matrix.AddTerm(i, j, v); });
  if (!matrix.Finalize() || !matrix.OpenFile(folder.Path("parked").c_str()) || !matrix.Write(false) ||
      !matrix.Read())
    return false;
  matrix.CloseFile();
  if (!matrix.Reduce(OptStiffness)) return false;
  CVector u(chain.n, 0.0);
  u.SetAt(chain.n, 1.0);
  matrix.BackSubstitute(u);
  bool right = chain.IsTip(u.GetAt(chain.n));
  if (method != SolSkyline) {
    CMatrix<1> block(chain.n, 3);
    for (int c = 1; c <= 3; ++c) block.SetAt(chain.n, c, c);
    matrix.BackSubstitute(block);
    for (int c = 1; c <= 3; ++c) right = right && chain.IsTip(block.GetAt(chain.n, c) / c);
  }
  const double refined = matrix.CondEstRefined(), customary = matrix.CondEst(), exact = chain.Condition();
  right = right && std::fabs(refined - exact) <= 1e-6 * exact;
  return right && customary > 0.1 * exact && customary <= 1.000001 * exact && report.NumLog() == 0;
}

bool RowStored(const Chain& chain) {
  CSymmetricRow matrix(chain.n), factor;
  chain.Assemble([&](int i, int j, double v) {
    matrix.AllocateAt(i, j);
    matrix.SetAt(i, j, v);
  });
  matrix.Sort();
  matrix.StoreFirstRow();
  factor.SymbolicFactorization(matrix);
  factor.StoreFirstRow();
  factor.Factorization(matrix);
  CVector u(chain.n, 0.0);
  u.SetAt(chain.n, 1.0);
  factor.BackSubs(u);
  return chain.IsTip(u.GetAt(chain.n));
}

bool LowestAreRight(const Chain& chain, int converged, std::vector<double> values) {
  const int wanted = 3;
  if (converged < wanted || static_cast<int>(values.size()) < wanted) return false;
  std::sort(values.begin(), values.begin() + wanted);
  for (int m = 1; m <= wanted; ++m) {
    if (std::fabs(values[static_cast<std::size_t>(m) - 1] - chain.Eigenvalue(m)) > 1e-6 * chain.Eigenvalue(m))
      return false;
  }
  return true;
}

bool Generalised(const Chain& chain, PardisoEngine engine, bool onCopy) {
  Eigen::SparseMatrix<double, 0, int> stiffness = chain.Lower(), mass(chain.n, chain.n);
  mass.setIdentity();
  double shift = 0.0;
  si::gep11 solver(stiffness, mass, 3, 8, 1e-10, shift, si::SHIFT_NONE, 300);
  if (!solver.SetEngine(engine)) return false;
  if ((onCopy ? solver.solve_imp_orth_copy() : solver.solve_imp_orth()) != si::STATUS_OK) return false;
  std::vector<double> values;
  Eigen::MatrixXd vectors;
  solver.get_eigenpairs(values, vectors);
  const double condition = solver.condest(stiffness);
  return LowestAreRight(chain, solver.get_numpairs_converged(), values) &&
         condition > 0.1 * chain.Condition() && condition <= 1.000001 * chain.Condition();
}

bool Standard(const Chain& chain, PardisoEngine engine) {
  Eigen::SparseMatrix<double, 0, int> stiffness = chain.Lower();
  double shift = 0.0;
  si::sep solver(stiffness, 3, 8, si::EVAL_LOWEST, 1e-10, shift, si::SHIFT_NONE, 300);
  if (!solver.SetEngine(engine) || solver.solve() != si::STATUS_OK) return false;
  std::vector<double> values;
  Eigen::MatrixXd vectors;
  solver.get_eigenpairs(values, vectors);
  return LowestAreRight(chain, solver.get_numpairs_converged(), values);
}

struct Job {
  const char* name;
  std::function<bool(const Chain&)> run;
};

std::vector<Job> Jobs() {
  std::vector<Job> jobs{
      {"skyline", [](const Chain& c) { return Facade(c, SolSkyline, EngineDefault); }},
      {"compressed column", [](const Chain& c) { return Facade(c, SolCompColumn, EngineDefault); }},
      {"PARDISO, own engine", [](const Chain& c) { return Facade(c, SolPardiso, EngineOwn); }},
      {"row-stored", RowStored},
      {"gep11, own engine", [](const Chain& c) { return Generalised(c, EngineOwn, false); }},
      {"gep11 on a copy", [](const Chain& c) { return Generalised(c, EngineOwn, true); }},
      {"sep, own engine", [](const Chain& c) { return Standard(c, EngineOwn); }}};
  if (Pardiso::HasEngine(EngineMkl)) {
    jobs.push_back({"PARDISO, MKL", [](const Chain& c) { return Facade(c, SolPardiso, EngineMkl); }});
    jobs.push_back({"gep11, MKL", [](const Chain& c) { return Generalised(c, EngineMkl, false); }});
    jobs.push_back({"sep, MKL", [](const Chain& c) { return Standard(c, EngineMkl); }});
  }
  return jobs;
}

TEST(Instances, OfEveryKindWorkSideBySide) {
  test_support::SilenceLibrary silence;
  const std::vector<Job> jobs = Jobs();
  constexpr int numThreads = 4, rounds = 3;
  std::vector<std::atomic<int>> wrong(jobs.size());
  std::atomic<int> done{0};
  const auto work = [&](int thread) {
    for (int round = 0; round < rounds; ++round)
      for (std::size_t step = 0; step < jobs.size(); ++step) {
        // Every thread begins elsewhere, so that different kinds meet.
        const std::size_t j = (step + 3 * static_cast<std::size_t>(thread)) % jobs.size();
        if (!jobs[j].run(Chain{40 + 7 * thread + round, 1.0 + thread})) ++wrong[j];
        ++done;
      }
  };
  std::vector<std::thread> threads;
  for (int t = 0; t < numThreads; ++t) threads.emplace_back(work, t);
  for (std::thread& t : threads) t.join();

  EXPECT_EQ(done.load(), numThreads * rounds * static_cast<int>(jobs.size()));
  for (std::size_t j = 0; j < jobs.size(); ++j) EXPECT_EQ(wrong[j].load(), 0) << jobs[j].name;
}

}  // namespace
