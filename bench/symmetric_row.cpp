// The two numeric stages of the row-stored Cholesky factorisation:
//   symmetric_row [--repeat 3] [brick:8 plate:20:20 ...]
// First structures, in the order of their nodes (a filled profile) and in an approximate minimum degree order
// (fewer entries, an empty profile), with the slow stage where it ends in reasonable time. Then arrow
// matrices, whose factor has 2n − 1 entries while their profile has about n²/2: the time of the fast stage
// must grow with the entries. Every solution is checked; "ns/mult" is the time of the fast stage per
// multiplication of the factorisation.
#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <string>
#include <vector>

#include <Eigen/OrderingMethods>
#include <Eigen/SparseCore>

#include "models/Registry.h"
#include "sparse/CSymmetricRow.h"

using namespace Vessa::Matrix;

namespace {

using Assemble = std::function<void(const std::function<void(int, int, double)>&)>;

double BestOf(int repeat, const std::function<void()>& action) {
  double best = 1e300;
  for (int r = 0; r < repeat; ++r) {
    const auto start = std::chrono::steady_clock::now();
    action();
    best = std::min(best, std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count());
  }
  return best;
}

// Multiplications of the numeric stage: the pairs of entries in every row behind the diagonal.
double Multiplications(const CSymmetricRow& U) {
  double count = 0.0;
  for (int i = 1; i <= U.NumDof(); ++i) {
    double beside = 0.0;
    for (int j = i + 1; j <= U.NumDof(); ++j) beside += U.Exist(i, j) ? 1.0 : 0.0;
    count += beside * (beside + 1.0) / 2.0;
  }
  return count;
}

CSymmetricRow Filled(int n, const Assemble& assemble) {
  CSymmetricRow A(n);
  assemble([&](int i, int j, double) { A.AllocateAt(i, j); });
  A.Sort();
  assemble([&](int i, int j, double v) { A.AddAt(i, j, v); });
  A.StoreFirstRow();
  return A;
}

double Residual(const CSymmetricRow& A, const CSymmetricRow& U) {
  CVector b(A.NumDof(), 1.0), x, product;
  U.BackSubs(b, x);
  A.Multiply(x, product);
  double largest = 0.0;
  for (int i = 1; i <= A.NumDof(); ++i) largest = std::max(largest, std::fabs(A.GetAt(i, i)));
  return (product - b).MaxAbs() / (largest * x.MaxAbs() + 1.0);
}

bool Measure(const std::string& name, int n, const Assemble& assemble, int repeat, double slowLimit) {
  const CSymmetricRow A = Filled(n, assemble);
  CSymmetricRow U;
  const double symbolic = BestOf(repeat, [&] { U.SymbolicFactorization(A); });
  const double fast = BestOf(repeat, [&] { U.Factorization(A); });
  U.StoreFirstRow();
  CVector x(n, 1.0);
  const double solve = BestOf(repeat, [&] { U.BackSubs(x); });
  const double mults = Multiplications(U), residual = Residual(A, U);

  // The slow stage searches two entries for every row of the profile above every entry.
  double slow = 0.0;
  bool same = true;
  if (static_cast<double>(U.Skyline()) * U.Skyline() / n < slowLimit) {
    CSymmetricRow V(U);
    slow = BestOf(1, [&] { V.SlowFactorization(A); });
    for (int i = 1; i <= n && same; ++i)
      for (int j = i; j <= n; ++j) same = same && V.GetAt(i, j) == U.GetAt(i, j);
  }
  std::printf("%-14s %7d %9d %10d %9.2e %10.4f %10.4f ", name.c_str(), n, A.Size(), U.Size(), mults, symbolic,
              fast);
  if (slow > 0.0) {
    std::printf("%10.4f %7.1f ", slow, slow / fast);
  } else {
    std::printf("%10s %7s ", "-", "-");
  }
  std::printf("%9.5f %8.1f %8.1f %9.1e%s\n", solve, 1e9 * fast / mults, 1e9 * fast / U.Size(), residual,
              same ? "" : "  FACTORS DIFFER");
  return same && residual < 1e-10;
}

// The same structure with its dofs in approximate minimum degree order.
Assemble Reordered(int n, const Assemble& assemble) {
  std::vector<Eigen::Triplet<double, int>> triplets;
  assemble([&](int i, int j, double) {
    triplets.emplace_back(i - 1, j - 1, 1.0);
    triplets.emplace_back(j - 1, i - 1, 1.0);
  });
  Eigen::SparseMatrix<double, 0, int> pattern(n, n);
  pattern.setFromTriplets(triplets.begin(), triplets.end());
  Eigen::PermutationMatrix<Eigen::Dynamic, Eigen::Dynamic, int> order;
  Eigen::AMDOrdering<int>()(pattern, order);
  const Eigen::VectorXi place = order.inverse().eval().indices();
  return [assemble, place](const std::function<void(int, int, double)>& sink) {
    assemble([&](int i, int j, double v) {
      const int a = place[i - 1] + 1, b = place[j - 1] + 1;
      sink(std::min(a, b), std::max(a, b), v);
    });
  };
}

Assemble ArrowOf(int n) {
  return [n](const std::function<void(int, int, double)>& sink) {
    for (int i = 1; i <= n; ++i) sink(i, i, i < n ? 2.0 : 1.0 + n);
    for (int i = 1; i < n; ++i) sink(i, n, 1.0);
  };
}

}  // namespace

int main(int argc, char** argv) {
  int repeat = 3;
  std::vector<std::string> names;
  for (int k = 1; k < argc; ++k) {
    if (std::strcmp(argv[k], "--repeat") == 0 && k + 1 < argc) {
      repeat = std::max(1, std::atoi(argv[++k]));
    } else {
      names.push_back(argv[k]);
    }
  }
  if (names.empty()) names = {"truss:100", "frame:3:3:6", "plate:15:15", "plate:30:30", "brick:6", "brick:9"};

  std::printf("%-14s %7s %9s %10s %9s %10s %10s %10s %7s %9s %8s %8s %9s\n", "seconds", "dofs", "entries A",
              "entries U", "mults", "symbolic", "fast", "slow", "ratio", "solve", "ns/mult", "ns/entry",
              "residual");
  bool good = true;
  for (const std::string& name : names) {
    const vematrix::models::Model model = vematrix::models::makeModel(name);
    const Assemble assemble = [&](const std::function<void(int, int, double)>& sink) {
      model.assembleStiffness(sink);
    };
    good &= Measure(name, model.numDofs(), assemble, repeat, 3e8);
    good &= Measure(name + " md", model.numDofs(), Reordered(model.numDofs(), assemble), repeat, 3e9);
  }
  for (int n : {1000, 2000, 4000, 8000})
    good &= Measure("arrow:" + std::to_string(n), n, ArrowOf(n), repeat, 1e8);
  return good ? 0 : 1;
}
