#include <gtest/gtest.h>

#include <regex>
#include <sstream>

#include "si/SolveModes.h"

namespace {

using namespace modes;
using namespace pencils;

const std::string number = R"(-?[0-9.]+(e[-+][0-9]+)?)";

std::vector<std::string> linesOf(const std::string& text) {
  std::vector<std::string> lines;
  std::istringstream in(text);
  for (std::string line; std::getline(in, line);) lines.push_back(line);
  return lines;
}

/// "…%d…" in a pattern stands for a whole number, "%g" for any number, all else for itself.
std::regex patternOf(const std::string& text) {
  std::string pattern;
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (text[i] == '%') {
      pattern += text[++i] == 'd' ? "-?[0-9]+" : number;
    } else if (std::string("().[]*+?").find(text[i]) != std::string::npos) {
      pattern += std::string("\\") + text[i];
    } else {
      pattern += text[i];
    }
  }
  return std::regex(pattern);
}

void expectLines(const std::string& printed, const std::vector<std::string>& expected) {
  const std::vector<std::string> lines = linesOf(printed);
  for (std::size_t i = 0; i < std::max(lines.size(), expected.size()); ++i) {
    const std::string line = i < lines.size() ? lines[i] : "(missing)";
    const std::string pattern = i < expected.size() ? expected[i] : "(nothing)";
    ASSERT_TRUE(std::regex_match(line, patternOf(pattern)))
        << "line " << i << " is '" << line << "', expected '" << pattern << "'\n"
        << printed;
  }
}

std::vector<std::string> matching(const std::string& printed, const std::string& pattern) {
  std::vector<std::string> found;
  for (const std::string& line : linesOf(printed))
    if (std::regex_match(line, patternOf(pattern))) found.push_back(line);
  return found;
}

/// 6·x = λ·2·x
Result orderOne(Algorithm algorithm, double shift, int maxIter = 5) {
  Request request;
  request.nev = 1;
  request.shift = shift;
  request.maxIter = maxIter;
  return solve(algorithm, lowerFrom(1, {{0, 0, 6.0}}), lowerFrom(1, {{0, 0, 2.0}}), request);
}

TEST(Console, ExplicitIteration) {
  expectLines(orderOne(Algorithm::Explicit, 0.0).printed,
              {"DEBUG - -->si::gep11::solve_exp_orth", "n: 1 nnzA: 1 nnzB: 1 l: 1 m:1 normA: 2 normB: 6",
               "Shifting A by 0.000000 ", "normA after shift: 2.000000",
               "Iteration 1. 0 pairs converged, 0 multiplies.", "cond: 1e+16, mult_limit: 0",
               "cholp::orthogonalize: residual= %g",
               "eigenpair 0: lambda: 0.333333 residual: %g nconv: 0 error_norm: %g",
               "DEBUG - <--si::gep11::solve_exp_orth", "sum of shiftsA: 0"});
}

TEST(Console, ImplicitIterationHasNoBlankAfterN) {
  expectLines(orderOne(Algorithm::Implicit, 1.0).printed,
              {"DEBUG - -->si::gep11::solve_imp_orth", "n: 1nnzA: 1 nnzB: 1 l: 1 m:1 normA: 6 normB: 2",
               "Shifting A by 1.000000 ", "normA after shift: 4.000000",
               "Iteration 1. 0 pairs converged, 0 multiplies.",
               "eigenpair 0: lambda: 2 residual: %g nconv: 0 error_norm: %g",
               "DEBUG - <--si::gep11::solve_imp_orth", "sum of shiftsA: 1"});
}

TEST(Console, ImplicitIterationOnACopyPrintsTheUnshiftedNorm) {
  expectLines(orderOne(Algorithm::ImplicitCopy, 1.0).printed,
              {"DEBUG - -->si::gep11::solve_imp_orth_copy", "n: 1nnzA: 1 nnzB: 1 l: 1 m:1 normA: 6 normB: 2",
               "Shifting A by 1.000000 ", "normA after shift: 6.000000",
               "Iteration 1. 0 pairs converged, 0 multiplies.", "cond: 1e+16, mult_limit: 0",
               "eigenpair 0: lambda: 3 residual: %g nconv: 0 error_norm: %g",
               "DEBUG - <--si::gep11::solve_imp_orth_copy", "sum of shiftsA: 1"});
}

TEST(Console, AShiftAboveTheEigenvalue) {
  expectLines(orderOne(Algorithm::Implicit, 4.0).printed,
              {"DEBUG - -->si::gep11::solve_imp_orth", "n: 1nnzA: 1 nnzB: 1 l: 1 m:1 normA: 6 normB: 2",
               "Shifting A by 4.000000 ", "normA after shift: 2.000000",
               "Shifting to target 4 made A indefinite. Turning off shift-acceleration.",
               "Iteration 1. 0 pairs converged, 0 multiplies.",
               // 2·normM·mu = 2·2·4
               "negative evals of B=1. normM=2.000000, normN=2.000000, shifting by 16.000000",
               "eigenpair 0: lambda: -1 residual: %g nconv: 0 error_norm: %g",
               "DEBUG - <--si::gep11::solve_imp_orth", "sum of shiftsA: 4"});
}

TEST(Console, NoIteration) {
  expectLines(orderOne(Algorithm::ImplicitCopy, 0.0, 0).printed,
              {"DEBUG - -->si::gep11::solve_imp_orth_copy", "n: 1nnzA: 1 nnzB: 1 l: 1 m:1 normA: 6 normB: 2",
               "Shifting A by 0.000000 ", "normA after shift: 6.000000",
               "DEBUG - <--si::gep11::solve_imp_orth_copy", "sum of shiftsA: 0"});
}

TEST(Console, EveryIterationSaysWhereItStands) {
  const Pencil chain = springChain(50, 1000.0, 2.0, true);
  for (Algorithm algorithm : {Algorithm::Explicit, Algorithm::Implicit, Algorithm::ImplicitCopy}) {
    const Result result = solve(algorithm, chain.K, chain.M, Request());
    const auto lines = matching(result.printed, "Iteration %d. %d pairs converged, %d multiplies.");
    EXPECT_EQ(int(lines.size()), result.ops[1]);
    EXPECT_EQ(lines[0], "Iteration 1. 0 pairs converged, 0 multiplies.");
    EXPECT_EQ(lines[1], "Iteration 2. 0 pairs converged, 10 multiplies.");
    const int budgets = int(matching(result.printed, "cond: %g, mult_limit: %d").size());
    EXPECT_EQ(budgets, algorithm == Algorithm::Implicit ? 0 : result.ops[1]);
    const auto first =
        matching(result.printed, "eigenpair 0: lambda: %g residual: %g nconv: 0 error_norm: %g");
    EXPECT_GE(first.size(), 1u);
  }
}

TEST(Console, AcceleratedIterations) {
  const Pencil chain = springChain(50, 1000.0, 2.0, true);
  Request request;
  request.strategy = si::SHIFT_CONSERVATIVE;

  const Result implicit = solve(Algorithm::Implicit, chain.K, chain.M, request);
  const Result explicitly = solve(Algorithm::Explicit, chain.K, chain.M, request);
  request.strategy = si::SHIFT_NONE;
  const Result unmoved = solve(Algorithm::Explicit, chain.K, chain.M, request);

  EXPECT_FALSE(matching(implicit.printed, "Factorizing shifted matrix with a shift of %g").empty());
  EXPECT_FALSE(matching(explicitly.printed, "shift:  %g").empty());
  EXPECT_TRUE(matching(unmoved.printed, "shift:  %g").empty());
}

TEST(Console, RepetitionsFollowTheBudget) {
  const Pencil chain = springChain(50, 1000.0, 2.0, true);
  const Result result = solve(Algorithm::ImplicitCopy, chain.K, chain.M, Request());
  int converged = 0, multiplies = 0, limit = 0;
  for (const std::string& line : linesOf(result.printed)) {
    int iteration = 0, nowConverged = 0, nowMultiplies = 0;
    double cond = 0.0;
    if (std::sscanf(line.c_str(), "cond: %lf, mult_limit: %d", &cond, &limit) == 2) {
      EXPECT_EQ(limit, int(std::floor(8.0 / std::log10(cond)))) << line;
    }
    if (std::sscanf(line.c_str(), "Iteration %d. %d pairs converged, %d multiplies.", &iteration,
                    &nowConverged, &nowMultiplies) != 3)
      continue;
    if (iteration > 1) {
      const int repetitions = converged == 0 ? 1 : std::max(limit, 1);
      EXPECT_EQ(nowMultiplies - multiplies, (10 - converged) * repetitions) << line;
    }
    converged = nowConverged;
    multiplies = nowMultiplies;
  }
  EXPECT_EQ(result.ops[0] - multiplies, (10 - converged) * std::max(limit, 1));
}

TEST(Console, FailuresOfTheProjectedPencil) {
  const Sparse K = springChain(6, 1.0, 1.0, true).K;
  const Sparse M = lowerFrom(6, {{1, 1, 1.0}, {4, 4, -1.0}});  // indefinite: the pencil is not definite
  Request request;
  request.nev = 2;
  request.p = 2;

  const Result once = solve(Algorithm::Implicit, K, M, request);
  const Result twice = solve(Algorithm::ImplicitCopy, K, M, request);

  EXPECT_EQ(once.status, si::STATUS_LAPACK);
  EXPECT_EQ(matching(once.printed, "Error in solving SRR eigensystem. LAPACK error code = %d").size(), 1u);
  EXPECT_EQ(twice.status, si::STATUS_LAPACK);
  EXPECT_EQ(matching(twice.printed, "Error in solving SRR eigensystem. LAPACK error code = %d").size(), 2u);
}

TEST(Console, RubbishInTheProjectionsIsReported) {
  const Pencil chain = springChain(6, 1.0, 1.0, true);
  Sparse K = chain.K;
  K.coeffRef(2, 2) = 1e308;
  K.coeffRef(3, 2) = 1e308;  // finite, but products overflow
  Request request;
  request.nev = 2;
  request.p = 4;
  request.maxIter = 3;

  const Result result = solve(Algorithm::Implicit, K, chain.M, request);

  EXPECT_LT(result.converged, 3);
  EXPECT_EQ(result.printed.find("rubbish found at (") != std::string::npos,
            result.status == si::STATUS_LAPACK);
}

}  // namespace
