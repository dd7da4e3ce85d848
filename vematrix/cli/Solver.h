#pragma once
#include <Eigen/Core>
#include <memory>
#include <string>
#include <vector>

#include "Json.h"
#include "MatrixFacts.h"
#include "solution/CSolnMatrix.h"

namespace CLI {
class App;
}

namespace vematrix {
namespace cli {

/// Which engine behind the solution matrix, from the options --method and --engine.
struct SolverChoice {
  std::string method = "auto";  ///< auto, skyline, compcolumn, pardiso
  std::string engine = "auto";  ///< auto, mkl, own: the direct solver of method pardiso
  unsigned threads = 0;

  void addTo(CLI::App& command);
  /// @throws UsageError for an engine that this build does not have
  void refuseMissingEngine() const;
  /// The choice with "auto" settled for this matrix: the skyline where its reduction is cheap, PARDISO
  /// elsewhere.
  /// @throws UsageError for an engine that this build does not have, or a skyline that does not fit the
  /// memory
  SolverChoice settledFor(const MatrixFacts& facts) const;

  /// "skyline", "pardiso (mkl)": of a settled choice.
  std::string name() const;
  Vessa::Matrix::PardisoEngine directEngine() const;
};

struct PhaseSeconds {
  double assemble = 0.0, finalise = 0.0, factorise = 0.0, solve = 0.0;
  double sum() const { return assemble + finalise + factorise + solve; }
};

Json toJson(const PhaseSeconds& spent);

/// A factorised matrix: terms in, solutions out, through the public solution matrix.
///
/// The matrix is scaled to a unit diagonal by powers of two first (exact, undone in the solution), so that
/// the absolute thresholds of the engines mean the same in every system of units.
class Solver {
public:
  /// Assembles and finalises. @param choice  settled @param balanced  false: no scaling, thresholds as they
  /// are
  Solver(const UpperMatrix& matrix, const SolverChoice& choice, bool balanced = true);

  /// Factorises as positive definite (stiffness) or indefinite (Sturm). @return the result code of the facade
  /// @throws NoResult  for want of memory, with the figures
  int reduce(Vessa::Matrix::Option option);

  /// Dofs (from 1) whose pivots were suppressed by the last reduction.
  const std::vector<int>& suppressed() const { return m_suppressed; }
  /// Negative eigenvalues counted by the last reduction, -1 where the engine does not tell.
  int numNegative();

  /// Replaces f by the solution of A x = f. @return false when the engine reports an error
  bool solve(Eigen::VectorXd& f);
  /// The same for the scaled matrix D A D.
  bool solveScaled(Eigen::VectorXd& y);

  /// The solution matrix itself, for what is asked of it alone (condition estimates).
  Vessa::Matrix::CSolnMatrix& matrix() { return m_matrix; }

  /// Whether the last reduction raised pivots that were too small, as sparse solvers do with indefinite
  /// matrices (to 1e-13 of the norm): a singular matrix then looks regular, with a condition of about 1e13.
  bool mayRaisePivots() const { return m_sturm && m_method == Vessa::Matrix::SolPardiso; }

  const Eigen::VectorXd& scale() const { return m_scale; }
  const PhaseSeconds& seconds() const { return m_seconds; }
  /// Messages of the engines, in order.
  std::vector<std::string> messages() const;

  /// A pivot below this times the diagonal of its dof counts as zero.
  static constexpr double zeroPivot = 1e-13;

private:
  void finalise();
  std::string shortage();

  Vessa::Matrix::SolMethod m_method;
  Vessa::Matrix::CReport m_report;
  Vessa::Matrix::CSolnMatrix m_matrix;
  Eigen::VectorXd m_scale;
  std::vector<int> m_suppressed;
  PhaseSeconds m_seconds;
  bool m_sturm = false;
};

/// The result code of the facade in words.
std::string describeCode(int code);

}  // namespace cli
}  // namespace vematrix
