// Lowest vibration modes of structures by the library's three solves and by peers, side by side:
//   eigen_modes [--modes 10,20] [--tol 1e-10] [--threads 2] [--strategy none|conservative|aggressive]
//               [--methods explicit,implicit,implicit-copy,implicit-copy-own,arpack,subspace] brick:20 ...
#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <exception>
#include <sstream>

#include "Problem.h"
#include "math/sparse_product.h"
#include "math/threads.h"
#include "models/Registry.h"

namespace {

using bench::Outcome;
using bench::Problem;
namespace math = Vessa::Matrix::math;

std::vector<std::string> split(const std::string& text) {
  std::vector<std::string> parts;
  std::istringstream in(text);
  for (std::string part; std::getline(in, part, ',');) parts.push_back(part);
  return parts;
}

Problem load(const std::string& name) {
  const vematrix::models::Model model = vematrix::models::makeModel(name);
  vematrix::models::SymmetricTerms K{model.numDofs(), {}, {}, {}}, M{model.numDofs(), {}, {}, {}};
  model.assembleStiffness(K);
  model.assembleMass(M);
  return {name, vematrix::models::toLowerTriangle(K), vematrix::models::toLowerTriangle(M)};
}

/// max ‖Kx − λMx‖ / ‖Kx‖ over the wanted pairs.
double worstResidual(const Problem& problem, const Outcome& out, int modes) {
  double worst = 0.0;
  Eigen::VectorXd Kx(problem.n()), Mx(problem.n());
  for (int i = 0; i < modes && i < int(out.values.size()); ++i) {
    math::symProduct(problem.K, out.vectors.col(i).data(), Kx.data());
    math::symProduct(problem.M, out.vectors.col(i).data(), Mx.data());
    worst = std::max(worst, (Kx - out.values[i] * Mx).norm() / Kx.norm());
  }
  return worst;
}

Outcome run(const Problem& problem, int modes, double tol, const std::string& method,
            const std::string& strategy) {
  if (method == "arpack") return bench::runArpack(problem, modes, tol);
  if (method == "subspace") return bench::runTextbookSubspace(problem, modes, tol);
  const bool own = method.size() > 4 && method.compare(method.size() - 4, 4, "-own") == 0;
  return bench::runOwn(problem, modes, tol, own ? method.substr(0, method.size() - 4) : method, own,
                       strategy);
}

void report(const Problem& problem, int modes, const Outcome& o, double cpu) {
  const double outside = o.total - o.factor - o.solve;
  std::printf(
      "| %s | %d | %s | %.2f | %.2f | %d x %.2f | %.2f | %.2f | %.2f | %.2f | %.2f | %.0f %% | %d | %d | %d "
      "| %.1e "
      "|\n",
      problem.name.c_str(), modes, o.method.c_str(), o.total, cpu, o.factorizations,
      o.factor / std::max(1, o.factorizations), o.solve, o.product, o.projection, o.orthonormalize,
      o.convergence + o.shift + o.rest(), 100.0 * outside / o.total, o.iterations, o.multiplies, o.converged,
      worstResidual(problem, o, modes));
  std::fflush(stdout);
}

}  // namespace

int main(int argc, char** argv) {
  std::vector<std::string> methods{"explicit", "implicit", "implicit-copy"}, counts{"10"}, names;
  double tol = 1e-10;
  std::string strategy = "none";
  if (bench::havePeers()) methods.insert(methods.end(), {"arpack", "subspace"});
  try {
    for (int i = 1; i < argc; ++i) {
      const auto option = [&](const char* name) { return std::strcmp(argv[i], name) == 0 && i + 1 < argc; };
      if (option("--modes"))
        counts = split(argv[++i]);
      else if (option("--methods"))
        methods = split(argv[++i]);
      else if (option("--tol"))
        tol = std::atof(argv[++i]);
      else if (option("--strategy"))
        strategy = argv[++i];
      else if (option("--threads"))
        math::SetNumThreads(std::atoi(argv[++i]));
      else
        names.push_back(argv[i]);
    }
    std::printf(
        "| model | modes | method | total s | processor s | factor s | solves s | products s | projection s "
        "| orthonormal "
        "s "
        "| other s | outside factor and solves | iterations | applications | converged | residual |\n");
    std::printf("|---|---|---|---|---|---|---|---|---|---|---|---|---|---|---|---|\n");
    for (const std::string& name : names) {
      const Problem problem = load(name);
      for (const std::string& count : counts)
        for (const std::string& method : methods) {
          const std::clock_t begin = std::clock();
          const Outcome outcome = run(problem, std::atoi(count.c_str()), tol, method, strategy);
          const double cpu = double(std::clock() - begin) / CLOCKS_PER_SEC;
          report(problem, std::atoi(count.c_str()), outcome, cpu);
        }
    }
  } catch (const std::exception& error) {
    std::fprintf(stderr, "eigen_modes: %s\n", error.what());
    return 1;
  }
  return 0;
}
