// vematrix info: what one wants to know of a matrix before a method is chosen.
#include <amd.h>
#include <fmt/core.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "Commands.h"
#include "Format.h"
#include "Input.h"
#include "MatrixFacts.h"
#include "Program.h"
#include "Renumber.h"
#include "Solver.h"
#include "SpyPicture.h"
#include "Stopwatch.h"
#include "models/Registry.h"

namespace vematrix {
namespace cli {
namespace {

struct InfoOptions {
  std::string matrix, picture, pattern = "ones";
};

/// The minimum degree order of a matrix and what a factorisation in it costs.
struct SparseOrder {
  std::vector<int> order;   ///< as smallProfileOrder gives it
  double terms = 0.0;       ///< of the factor, diagonal included
  double operations = 0.0;  ///< multiply-subtract pairs
};

SparseOrder minimumDegree(const UpperMatrix& matrix) {
  std::vector<int> start{0}, index;
  int row = 1;
  matrix.forEach([&](int i, int j, double) {
    for (; row < i; ++row) start.push_back(int(index.size()));
    index.push_back(j - 1);
  });
  while (int(start.size()) <= matrix.n()) start.push_back(int(index.size()));
  SparseOrder result;
  result.order.resize(std::size_t(matrix.n()));
  double info[AMD_INFO];
  const int status = amd_order(matrix.n(), start.data(), index.data(), result.order.data(), nullptr, info);
  if (status != AMD_OK && status != AMD_OK_BUT_JUMBLED)
    throw NoResult("the minimum degree order could not be found");
  for (int& dof : result.order) ++dof;
  result.terms = info[AMD_LNZ] + matrix.n();
  result.operations = info[AMD_NMULTSUBS_LDL];
  return result;
}

/// One engine and what it is predicted to need.
struct Prediction {
  std::string name;
  double terms, memory, operations, seconds;
};

/// Multiply-adds per second of an engine, measured by factorising a matrix twice and taking the second.
double measuredRate(const UpperMatrix& matrix, const SolverChoice& choice, double operations) {
  double spent = 0.0;
  for (int round = 0; round < 2; ++round) {
    Solver solver(matrix, choice);
    if (solver.reduce(Vessa::Matrix::OptStiffness) != 0) return 0.0;
    spent = solver.seconds().factorise;
  }
  return operations / std::max(spent, 1e-7);
}

/// Rates from a solid bar of 3,267 dofs, which every machine factorises in a blink.
std::vector<Prediction> predict(const MatrixFacts& natural, const MatrixFacts& renumbered,
                                const SparseOrder& sparse) {
  const UpperMatrix sample(models::makeModel("bar:8:13").stiffnessTerms());
  const MatrixFacts sampleFacts(sample);
  const double sampleSparse = minimumDegree(sample).operations;
  const auto rate = [&](const char* method, double operations) {
    SolverChoice choice;
    choice.method = method;
    return measuredRate(sample, choice.settledFor(sampleFacts), operations);
  };
  const double skyline = rate("skyline", sampleFacts.skylineOperations),
               column = rate("compcolumn", sampleSparse);
  const auto skylineRow = [&](const char* name, const MatrixFacts& facts) {
    return Prediction{name, double(facts.profile), 8.0 * double(facts.profile), facts.skylineOperations,
                      facts.skylineOperations / skyline};
  };
  std::vector<Prediction> rows = {skylineRow("skyline, as numbered", natural),
                                  skylineRow("skyline, renumbered", renumbered)};
  rows.push_back(
      {"compcolumn", sparse.terms, 9.0 * sparse.terms, sparse.operations, sparse.operations / column});
  if (Vessa::Matrix::Pardiso::HasEngine(Vessa::Matrix::EngineDefault)) {
    const double pardiso = rate("pardiso", sampleSparse);
    rows.push_back(
        {"pardiso", sparse.terms, 9.0 * sparse.terms, sparse.operations, sparse.operations / pardiso});
  }
  return rows;
}

std::string recommendation(const std::vector<Prediction>& rows) {
  const auto fastest =
      std::min_element(rows.begin(), rows.end(),
                       [](const Prediction& a, const Prediction& b) { return a.seconds < b.seconds; });
  if (rows[0].seconds < fastest->seconds + 0.02)
    return "skyline: as fast as any here, and it names the dofs of zero pivots";
  if (fastest == rows.begin() + 1) return "skyline with renumbered dofs, or pardiso as it is";
  return fastest->name + ": the least work";
}

Json toJson(const Prediction& row) {
  return {{"method", row.name},
          {"terms", row.terms},
          {"bytes", row.memory},
          {"operations", row.operations},
          {"seconds", row.seconds}};
}

/// All there is to say of a matrix.
struct InfoResult {
  MatrixFacts facts, renumbered;
  std::size_t terms = 0;  ///< stored, of a triangle
  int parts = 0;
  double leastDiagonal = 0.0, mostDiagonal = 0.0;
  std::vector<int> profileOrder;
  SparseOrder sparse;
  std::vector<Prediction> predictions;
};

InfoResult examineMatrix(const UpperMatrix& matrix) {
  const MatrixFacts facts(matrix);
  std::vector<int> profileOrder = smallProfileOrder(matrix);
  const UpperMatrix renumbered = reordered(matrix, profileOrder);
  SparseOrder sparse = minimumDegree(matrix);
  std::vector<Prediction> predictions = predict(facts, MatrixFacts(renumbered), sparse);
  const std::vector<int> part = connectedParts(matrix);
  const int parts = part.empty() ? 0 : *std::max_element(part.begin(), part.end()) + 1;
  return {facts,
          MatrixFacts(renumbered),
          matrix.numTerms(),
          parts,
          facts.diagonal.minCoeff(),
          facts.diagonal.maxCoeff(),
          std::move(profileOrder),
          std::move(sparse),
          std::move(predictions)};
}

void printFacts(Console& console, const InfoResult& result, double readSeconds) {
  const MatrixFacts &facts = result.facts, &small = result.renumbered;
  const double terms = double(result.terms), least = result.leastDiagonal, most = result.mostDiagonal;
  console.print("  order {}, {} terms in a triangle ({:.1f} per row), read in {}\n", count(facts.n),
                count(terms), (2.0 * terms - facts.n) / std::max(1, facts.n), seconds(readSeconds));
  console.print("  bandwidth {}, renumbered {}; profile {}, renumbered {} ({:.0f} %)\n",
                count(facts.bandwidth), count(small.bandwidth), count(double(facts.profile)),
                count(double(small.profile)), 100.0 * double(small.profile) / double(facts.profile));
  console.print("  {}; {} empty rows, {} zero and {} negative diagonals\n",
                plural(result.parts, "connected part"), facts.emptyRows.size(), facts.zeroDiagonals.size(),
                facts.negativeDiagonals.size());
  console.print("  diagonal from {:.4g} to {:.4g}{}, norm {:.4g}\n", least, most,
                least > 0.0 ? fmt::format(" (ratio {:.2g})", most / least) : "", facts.normInf);
}

void printPredictions(Console& console, const std::vector<Prediction>& rows) {
  Table table({"method", "terms", "memory", "operations", "factorise"});
  for (const Prediction& row : rows)
    table.add({row.name, count(row.terms), bytes(row.memory), fmt::format("{:.2g}", row.operations),
               seconds(row.seconds)});
  console.print("{}  predicted from the pattern and a short measurement on this machine\n  recommended: {}\n",
                table.text(), console.good(recommendation(rows)));
}

Json toJson(const std::string& file, const InfoResult& result) {
  const MatrixFacts& facts = result.facts;
  Json json = {
      {"matrix", {{"file", file}, {"n", facts.n}, {"terms", result.terms}, {"norm_inf", facts.normInf}}},
      {"bandwidth", facts.bandwidth},
      {"bandwidth_renumbered", result.renumbered.bandwidth},
      {"profile", facts.profile},
      {"profile_renumbered", result.renumbered.profile},
      {"parts", result.parts},
      {"empty_rows", facts.emptyRows},
      {"zero_diagonals", facts.zeroDiagonals},
      {"negative_diagonals", facts.negativeDiagonals},
      {"diagonal", {{"smallest", result.leastDiagonal}, {"largest", result.mostDiagonal}}},
      {"methods", Json::array()},
      {"recommended", recommendation(result.predictions)}};
  for (const Prediction& row : result.predictions) json["methods"].push_back(toJson(row));
  return json;
}

Outcome info(Console& console, const InfoOptions& options) {
  Stopwatch watch;
  const UpperMatrix matrix(readMatrix(options.matrix, options.pattern));
  const double readSeconds = watch.lap();
  console.progress("renumbering and predicting");
  const InfoResult result = examineMatrix(matrix);
  console.print("{}\n", console.bold(options.matrix));
  printFacts(console, result, readSeconds);
  printPredictions(console, result.predictions);
  writeWhereAsked(console, options.picture,
                  [&](const auto& path) { drawSpy(path, matrix, result.profileOrder, result.sparse.order); });
  return {ExitGood, toJson(options.matrix, result)};
}

}  // namespace

void addInfo(Program& program) {
  const auto options = std::make_shared<InfoOptions>();
  CLI::App* command =
      program.addCommand("info", "Size, profile, scaling of a matrix, and what each method would cost",
                         "  vematrix info K.mtx\n"
                         "  vematrix info K.mtx --spy pattern.png");
  command->add_option("matrix", options->matrix, "Symmetric matrix")->required();
  command->add_option("--spy", options->picture, "Draw the pattern, its skylines and its factor (PNG)")
      ->type_name("FILE.png");
  addPatternOption(*command, options->pattern);
  program.setRun(command, [options](Console& console) { return info(console, *options); });
}

}  // namespace cli
}  // namespace vematrix
