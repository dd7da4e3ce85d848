// The main job on real structures: model, assemble, factorise, solve, with every method there is, and judge
// the result.
//
//   vematrix_demo                      the three structures below
//   vematrix_demo frame:4:4:8 brick:9  structures of your choice (the names of vematrix model)
//
// Ends with 0 when every residual is below 1e-12 and all methods agree to 1e-8, else with 1.
#include <unistd.h>

#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <string>
#include <thread>
#include <vector>

#include "models/Registry.h"
#include "solution/CSolnMatrix.h"

using namespace Vessa::Matrix;
namespace models = vematrix::models;
using Sparse = Eigen::SparseMatrix<double, 0, int>;

namespace {

struct Method {
  SolMethod code;
  const char* name;
};
constexpr Method kMethods[] = {
    {SolSkyline, "skyline (0)"}, {SolCompColumn, "compcolumn (4)"}, {SolPardiso, "PARDISO (6)"}};

/// Seconds since it was made or last asked.
class Stopwatch {
public:
  double lap() {
    const auto now = std::chrono::steady_clock::now();
    const double seconds = std::chrono::duration<double>(now - m_start).count();
    m_start = now;
    return seconds;
  }

private:
  std::chrono::steady_clock::time_point m_start = std::chrono::steady_clock::now();
};

/// Keeps the table readable: the library writes its trace lines to descriptor 1, which now leads to nowhere;
/// what we have to say goes to a copy of the old one.
std::FILE* divertStandardOutput() {
  std::fflush(stdout);
  std::FILE* table = fdopen(dup(1), "w");
  std::FILE* nowhere = std::fopen("/dev/null", "w");
  if (table == nullptr || nowhere == nullptr || dup2(fileno(nowhere), 1) < 0) {
    std::fprintf(stderr, "vematrix_demo: cannot redirect standard output\n");
    std::exit(1);
  }
  std::setvbuf(table, nullptr, _IOLBF, 0);
  return table;
}

struct Result {
  double assemble, finalise, factorise, solve;  // seconds
  int code;                                     // of Reduce
  std::vector<int> suppressed;
  Eigen::VectorXd u;
};

/// What a host does for a linear solution.
Result run(const models::Model& model, SolMethod method) {
  Result result;
  CReport report;
  CSolnMatrix matrix;
  Stopwatch watch;

  matrix.SetMethod(method);
  matrix.SetLog(&report);
  matrix.SetPardisoNumThreads(std::thread::hardware_concurrency());
  matrix.SetNumDof(model.numDofs());
  model.assembleStiffness([&](int i, int j, double v) { matrix.AddTerm(i, j, v); });
  result.assemble = watch.lap();

  matrix.Finalize();
  result.finalise = watch.lap();

  result.code = matrix.Reduce(OptStiffness, result.suppressed);
  result.factorise = watch.lap();

  CVector u(model.loads(0));
  watch.lap();
  matrix.BackSubstitute(u);
  result.solve = watch.lap();
  result.u = u.Inner();
  return result;
}

/// Backward error ‖Ku − f‖ / (‖K‖·‖u‖ + ‖f‖) in the largest-component norms, from a matrix of our own.
double relativeResidual(const Sparse& K, const Eigen::VectorXd& u, const Eigen::VectorXd& f) {
  Eigen::VectorXd rowSum = Eigen::VectorXd::Zero(K.rows());
  for (int j = 0; j < K.outerSize(); ++j)
    for (Sparse::InnerIterator it(K, j); it; ++it) {
      rowSum[it.row()] += std::abs(it.value());
      if (it.row() != j) rowSum[j] += std::abs(it.value());
    }
  const Eigen::VectorXd r = K.selfadjointView<Eigen::Lower>() * u - f;
  return r.lpNorm<Eigen::Infinity>() /
         (rowSum.maxCoeff() * u.lpNorm<Eigen::Infinity>() + f.lpNorm<Eigen::Infinity>());
}

/// The dof of a displacement (not a rotation) that moves most, from 1.
int largestDisplacement(const models::Model& model, const Eigen::VectorXd& u) {
  int largest = 1;
  double most = -1.0;
  for (int d = 1; d <= model.numDofs(); ++d)
    if (model.place(d).second <= models::Uz && std::abs(u[d - 1]) > most) {
      most = std::abs(u[d - 1]);
      largest = d;
    }
  return largest;
}

bool demonstrate(std::FILE* table, const std::string& name) {
  const models::Model model = models::makeModel(name);
  const Sparse K = models::toLowerTriangle(model.stiffnessTerms());
  const Eigen::VectorXd f = model.loads(0);
  std::fprintf(table, "\n%s: %d nodes, %d elements, %d dofs, %zu terms handed over, %ld in the matrix\n",
               name.c_str(), model.numNodes(), model.numElements(), model.numDofs(), model.numTerms(),
               (long)K.nonZeros());
  std::fprintf(table, "%-15s %8s %8s %9s %8s  %-34s %9s %10s\n", "method", "assemble", "finalise",
               "factorise", "solve", "largest displacement", "residual", "difference");

  bool good = true;
  Eigen::VectorXd first;
  for (const Method& method : kMethods) {
    const Result result = run(model, method.code);
    if (result.code != 0) {
      std::fprintf(table, "%-15s the reduction failed with code %d\n", method.name, result.code);
      good = false;
      continue;
    }
    if (first.size() == 0) first = result.u;
    const int dof = largestDisplacement(model, result.u);
    const double residual = relativeResidual(K, result.u, f);
    const double difference = (result.u - first).lpNorm<Eigen::Infinity>() / first.lpNorm<Eigen::Infinity>();
    char where[64];
    std::snprintf(where, sizeof where, "%.6g m, dof %d", result.u[dof - 1], dof);
    std::fprintf(table, "%-15s %7.3fs %7.3fs %8.3fs %7.3fs  %-34s %9.1e %10.1e\n", method.name,
                 result.assemble, result.finalise, result.factorise, result.solve, where, residual,
                 difference);
    if (&method == &kMethods[2]) std::fprintf(table, "%-15s %s\n", "", model.describeDof(dof).c_str());
    good = good && residual < 1e-12 && difference < 1e-8;
  }
  return good;
}

/// The tip of a slender solid cantilever against beam theory, bending and shear: P·L³/(3·E·I) +
/// P·L/(5/6·G·A).
bool compareWithBeamTheory(std::FILE* table) {
  const double L = 8.0, h = 0.4, P = 1000.0;
  const models::Material steel = models::steel();
  const double exact = P * L * L * L / (3.0 * steel.young * h * h * h * h / 12.0) +
                       P * L / (5.0 / 6.0 * steel.shearModulus() * h * h);
  const models::Model bar = models::makeModel("bar:4:80");  // 8 m long, 0.4 m square
  const Result result = run(bar, SolPardiso);
  if (result.code != 0) return false;
  const double tip = -result.u[bar.dof(bar.nodeNear(L, 0.5 * h, 0.5 * h), models::Uz) - 1];
  std::fprintf(table, "\nbar:4:80, a solid cantilever: tip %.6e m, beam theory %.6e m, %.2f %% apart\n", tip,
               exact, 100.0 * std::abs(tip / exact - 1.0));
  return std::abs(tip / exact - 1.0) < 0.01;
}

}  // namespace

int main(int argc, char** argv) {
  std::vector<std::string> names(argv + 1, argv + argc);
  if (names.empty()) names = {"frame:10:10:40", "brick:20"};
  std::FILE* table = divertStandardOutput();
  try {
    Stopwatch watch;
    bool good = true;
    for (const std::string& name : names) good = demonstrate(table, name) && good;
    good = compareWithBeamTheory(table) && good;
    std::fprintf(table, "\n%s (%.1f seconds)\n",
                 good ? "All residuals are below 1e-12 and all methods agree to 1e-8: ok"
                      : "NOT ok: a residual, a difference or the comparison is too large",
                 watch.lap());
    return good ? 0 : 1;
  } catch (const std::exception& error) {
    std::fprintf(stderr, "vematrix_demo: %s\n", error.what());
    return 2;
  }
}
