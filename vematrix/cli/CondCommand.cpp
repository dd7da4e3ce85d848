// vematrix cond: how many digits of a solution the conditioning of the matrix can cost.
#include <cmath>
#include <memory>

#include "Commands.h"
#include "Format.h"
#include "Input.h"
#include "NullProbe.h"
#include "Program.h"
#include "Solver.h"
#include "Stopwatch.h"

namespace vematrix {
namespace cli {
namespace {

struct CondOptions {
  std::string matrix, pattern = "ones";
  SolverChoice solver;
};

struct Estimates {
  double customary = 0.0, refined = 0.0;
};

/// Factorises, refuses what is singular, and asks for both estimates.
Estimates estimate(const UpperMatrix& matrix, const SolverChoice& choice, bool balanced) {
  Solver solver(matrix, choice, balanced);
  int code = solver.reduce(Vessa::Matrix::OptStiffness);
  if (!solver.suppressed().empty())
    throw NoResult("the matrix is singular: no stiffness left at dofs " + dofList(solver.suppressed()));
  if (code == -5) code = solver.reduce(Vessa::Matrix::OptSturm);
  if (code != 0) throw NoResult("the matrix cannot be factorised: " + describeCode(code));
  if (balanced && NullProbe(matrix, solver).isSingular())
    throw NoResult("the matrix is singular to working precision: vematrix doctor says where");
  Estimates result;
  result.customary = solver.matrix().CondEst();
  result.refined = solver.matrix().CondEstRefined();
  return result;
}

int digitsLost(double condition) {
  return std::clamp(int(std::ceil(std::log10(std::max(condition, 1.0)))), 0, 16);
}

std::string inWords(double condition, double balanced) {
  const int lost = digitsLost(condition), lostBalanced = digitsLost(balanced);
  std::string text = fmt::format(
      "  Of the sixteen digits that a number has here, rounding can cost a solution up to {}: about {} {} "
      "good in\n"
      "  every displacement, in the worst case. The same holds for errors in the stiffness terms: one part "
      "in a\n"
      "  million there can become {} in the displacements.\n",
      lost, std::max(0, 16 - lost), 16 - lost == 1 ? "is" : "are",
      condition >= 1e6 ? "anything" : fmt::format("{:.1g} percent", 1e-4 * condition));
  if (lost >= lostBalanced + 3)
    text += fmt::format(
        "  Most of this comes from units or from stiff and soft parts side by side, not from the structure "
        "as such:\n"
        "  with every dof measured in its own unit the number is {:.2g}, and only {} digits are at stake. A "
        "direct\n"
        "  solver is hardly hurt by the difference.\n",
        balanced, lostBalanced);
  else
    text +=
        "  Scaling does not help: it is the structure itself that is nearly a mechanism or very slender.\n";
  if (condition < 1e6)
    text =
        text.substr(0, text.rfind("  Scaling") == std::string::npos ? text.size() : text.rfind("  Scaling"));
  return text;
}

Outcome cond(Console& console, const CondOptions& options) {
  Stopwatch watch;
  const UpperMatrix matrix(readMatrix(options.matrix, options.pattern));
  const MatrixFacts facts(matrix);
  if (!facts.emptyRows.empty())
    throw NoResult("the matrix is singular: nothing in the rows of dofs " + dofList(facts.emptyRows));
  const SolverChoice choice = options.solver.settledFor(facts);
  console.progress("factorising and estimating");
  const Estimates balanced = estimate(matrix, choice, true);
  const Estimates plain = estimate(matrix, choice, false);
  const double spent = watch.seconds();
  console.print("{}\n  {} dofs, method {}, {}\n", console.bold(options.matrix), count(matrix.n()),
                choice.method, seconds(spent));
  Table table({"condition number (1-norm)", "as it is", "unit diagonal"});
  table.add(
      {"refined estimate", fmt::format("{:.4g}", plain.refined), fmt::format("{:.4g}", balanced.refined)});
  table.add({"customary estimate", fmt::format("{:.4g}", plain.customary),
             fmt::format("{:.4g}", balanced.customary)});
  console.print("{}{}", table.text(), inWords(plain.refined, balanced.refined));
  Outcome outcome;
  const bool finite = std::isfinite(plain.refined) && plain.refined > 0.0;
  outcome.json = {{"matrix", {{"file", options.matrix}, {"n", matrix.n()}}},
                  {"method", choice.method},
                  {"condition", plain.refined},
                  {"condition_customary", plain.customary},
                  {"condition_unit_diagonal", balanced.refined},
                  {"digits_lost", digitsLost(plain.refined)},
                  {"seconds", spent},
                  {"ok", finite}};
  outcome.code = finite ? ExitGood : ExitNotTrusted;
  return outcome;
}

}  // namespace

void addCond(Program& program) {
  const auto options = std::make_shared<CondOptions>();
  CLI::App* command =
      program.addCommand("cond", "Condition number, and the digits of a solution that it can cost",
                         "  vematrix cond K.mtx\n"
                         "  vematrix cond K.mtx --method pardiso --json");
  command->add_option("matrix", options->matrix, "Symmetric matrix K")->required();
  addPatternOption(*command, options->pattern);
  options->solver.addTo(*command);
  program.setRun(command, [options, &program](Console& console) {
    options->solver.threads = program.threads();
    return cond(console, *options);
  });
}

}  // namespace cli
}  // namespace vematrix
