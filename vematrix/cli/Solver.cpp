#include "Solver.h"

#include <fmt/core.h>

#include <CLI/CLI.hpp>
#include <cmath>

#include "Errors.h"
#include "Stopwatch.h"
#include "models/Memory.h"

namespace vematrix {
namespace cli {
namespace {

using namespace Vessa::Matrix;

constexpr double cheapSkyline = 1e8;  // multiply-adds, well below a second

bool hasSparseEngine() {
  return Pardiso::HasEngine(EngineMkl) || Pardiso::HasEngine(EngineOwn);
}

SolMethod methodNamed(const std::string& name) {
  return name == "skyline" ? SolSkyline : name == "compcolumn" ? SolCompColumn : SolPardiso;
}

void refuseHugeSkyline(const MatrixFacts& facts) {
  const double bytes = 8.0 * double(facts.profile);
  if (bytes > 0.8 * models::physicalMemory())
    throw UsageError(
        fmt::format("the skyline needs {:.1f} GiB and this machine has {:.1f}: choose --method pardiso",
                    bytes / 1073741824.0, models::physicalMemory() / 1073741824.0));
}

}  // namespace

void SolverChoice::addTo(CLI::App& command) {
  command
      .add_option(
          "--method", method,
          "Solution method: skyline, pardiso, compcolumn or auto (default; by the size of the profile)")
      ->check(CLI::IsMember({"auto", "skyline", "pardiso", "compcolumn"}));
  command.add_option("--engine", engine, "Direct solver of method pardiso: mkl, own or auto (default)")
      ->check(CLI::IsMember({"auto", "mkl", "own"}));
}

void SolverChoice::refuseMissingEngine() const {
  if (engine != "auto" && !Pardiso::HasEngine(directEngine()))
    throw UsageError(fmt::format("--engine {}: this build does not have it", engine));
}

SolverChoice SolverChoice::settledFor(const MatrixFacts& facts) const {
  SolverChoice settled = *this;
  refuseMissingEngine();
  if (method == "auto")
    settled.method = engine == "auto" && facts.skylineOperations < cheapSkyline ? "skyline"
                     : hasSparseEngine()                                        ? "pardiso"
                                                                                : "compcolumn";
  if (settled.method == "pardiso" && !hasSparseEngine())
    throw UsageError("--method pardiso: this build has no engine for it");
  if (settled.method == "skyline") refuseHugeSkyline(facts);
  if (settled.method != "pardiso")
    settled.engine = "";
  else if (engine == "auto")
    settled.engine = Pardiso::HasEngine(EngineMkl) ? "mkl" : "own";
  return settled;
}

std::string SolverChoice::name() const {
  return engine.empty() ? method : fmt::format("{} ({})", method, engine);
}

PardisoEngine SolverChoice::directEngine() const {
  return engine == "mkl" ? EngineMkl : engine == "own" ? EngineOwn : EngineDefault;
}

Json toJson(const PhaseSeconds& spent) {
  return {{"assemble", spent.assemble},
          {"finalise", spent.finalise},
          {"factorise", spent.factorise},
          {"solve", spent.solve}};
}

Solver::Solver(const UpperMatrix& matrix, const SolverChoice& choice, bool balanced)
    : m_method(methodNamed(choice.method)),
      m_scale(balanced ? matrix.balancing() : Eigen::VectorXd::Ones(matrix.n())) {
  Stopwatch watch;
  m_matrix.SetMethod(m_method);
  m_matrix.SetLog(&m_report);
  m_matrix.SetPardisoNumThreads(choice.threads);
  if (balanced) {
    m_matrix.SetZeroStiff(zeroPivot);
    m_matrix.getSkyLine().SetZero(zeroPivot);
  }
  m_matrix.SetNumDof(matrix.n());
  matrix.forEach(
      [&](int i, int j, double v) { m_matrix.AddTerm(i, j, v * (m_scale[i - 1] * m_scale[j - 1])); });
  m_seconds.assemble = watch.lap();
  finalise();
  m_seconds.finalise = watch.lap();
  if (m_method == SolPardiso) m_matrix.getPardiso().SetEngine(choice.directEngine());
}

void Solver::finalise() {
  try {
    if (m_matrix.Finalize()) return;
  } catch (const CMatrixError& error) {  // the skyline; the figures are in the note
    throw NoResult(fmt::format("{}: {}", error.what(), m_report.Note()));
  }
  throw NoResult("the storage of the matrix could not be built");
}

std::string Solver::shortage() {
  if (m_method == SolPardiso) return m_matrix.getPardiso().shortage();
  if (m_method == SolCompColumn) return m_matrix.getCompColumn().Shortage();
  // The skyline's reduction needs little beside the matrix and says only that it did not end well.
  const bool unfinished = m_suppressed.empty() && m_matrix.getSkyLine().GetPhase() != PhaseReduced;
  return unfinished && !m_sturm ? "the reduction of the skyline found no work space" : "";
}

int Solver::reduce(Option option) {
  Stopwatch watch;
  m_suppressed.clear();
  const int code = m_matrix.Reduce(option, m_suppressed);
  m_seconds.factorise += watch.lap();
  if (m_method == SolCompColumn && option == OptStiffness &&
      !m_matrix.getCompColumn().SuppressedDofs().empty())
    m_suppressed = m_matrix.getCompColumn().SuppressedDofs();  // all of them; the facade names one
  m_sturm = option == OptSturm;
  const std::string missing = shortage();
  if (!missing.empty()) throw NoResult("not enough memory: " + missing);
  return code;
}

int Solver::numNegative() {
  if (m_method == SolPardiso) return m_sturm ? m_matrix.getPardiso().negative_evals() : -1;
  if (m_method == SolCompColumn) return m_matrix.getCompColumn().NumNegative();
  const CDiag pivots = m_matrix.getSkyLine().Diag();
  int count = 0;
  for (int i = 1; i <= pivots.NumDof(); ++i) count += pivots.GetAt(i, i) < 0.0;
  return count;
}

bool Solver::solveScaled(Eigen::VectorXd& y) {
  Stopwatch watch;
  CVector b(y);
  m_matrix.BackSubstitute(b);
  y = b.Inner();
  m_seconds.solve += watch.lap();
  return m_method != SolPardiso || m_matrix.getPardiso().lastError() == PardisoOk;
}

bool Solver::solve(Eigen::VectorXd& f) {
  f.array() *= m_scale.array();
  const bool done = solveScaled(f);
  f.array() *= m_scale.array();
  return done;
}

std::vector<std::string> Solver::messages() const {
  std::vector<std::string> texts;
  for (int k = 0; k < m_report.NumLog(); ++k) texts.push_back(m_report.LogMessage(k));
  return texts;
}

std::string describeCode(int code) {
  switch (code) {
    case 0:
      return "factorised";
    case -1:
      return "the solver found its input inconsistent";
    case -2:
      return "the ordering failed";
    case -3:
      return "not enough memory for the factors";
    case -4:
      return "the solver failed internally";
    case -5:
      return "a zero or negative pivot: the matrix is not positive definite";
    case -6:
      return "multipliers grew too large (Sturm check)";
    default:
      return "unknown result " + std::to_string(code);
  }
}

}  // namespace cli
}  // namespace vematrix
