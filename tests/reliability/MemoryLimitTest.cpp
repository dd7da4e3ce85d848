// A structure near the limit of what the process may use is solved or refused with the figures in words: each
// case runs in a child process whose address space is limited, from plenty down to almost nothing.
#include <gtest/gtest.h>

#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cmath>
#include <cstdio>
#include <exception>
#include <fstream>
#include <functional>
#include <iterator>
#include <regex>
#include <string>
#include <vector>

#include "models/Registry.h"
#include "models/io/SymmetricTerms.h"
#include "solution/CSolnMatrix.h"
#include "sparse/CSymmetricRow.h"
#include "support/Sanitizers.h"
#include "support/TempFolder.h"

namespace {

using namespace Vessa::Matrix;

enum class Ending : int { Right = 10, Refused = 11, Wrong = 12, Signal = 13, Exit = 14 };

struct ChildRun {
  Ending ending;
  std::string words;
};

struct Problem {
  explicit Problem(const std::string& name)
      : lower(toLowerTriangle(vematrix::models::makeModel(name).stiffnessTerms())),
        n(static_cast<int>(lower.rows())) {}
  template <class Sink>
  void Assemble(Sink&& sink) const {
    for (int c = 0; c < n; ++c)
      for (Eigen::SparseMatrix<double, 0, int>::InnerIterator it(lower, c); it; ++it)
        sink(c + 1, static_cast<int>(it.row()) + 1, it.value());
  }
  bool IsSolution(const CVector& x) const {
    // the load is 1 everywhere
    for (int k = 0; k < n; ++k)
      if (!std::isfinite(x.GetAtIndex(k))) return false;
    const Eigen::VectorXd r = lower.selfadjointView<Eigen::Lower>() * x.Inner() - Eigen::VectorXd::Ones(n);
    const double scale = lower.diagonal().lpNorm<Eigen::Infinity>() * x.Inner().lpNorm<Eigen::Infinity>() + 1;
    return r.lpNorm<Eigen::Infinity>() <= 1e-12 * scale;
  }
  Eigen::SparseMatrix<double, 0, int> lower;
  int n;
};

long long AddressSpace() {
  std::FILE* file = std::fopen("/proc/self/statm", "r");
  long long pages = 0;
  if (file == nullptr || std::fscanf(file, "%lld", &pages) != 1) pages = 0;
  if (file != nullptr) std::fclose(file);
  return pages * ::sysconf(_SC_PAGESIZE);
}

ChildRun InChild(long long extra, const std::function<Ending()>& work) {
  const test_support::TempFolder folder;
  const std::string path = folder.Path("words");
  std::fflush(nullptr);
  const pid_t child = ::fork();
  if (child == 0) {
    if (std::freopen(path.c_str(), "w", stdout) == nullptr) ::_exit(1);
    ::dup2(1, 2);
    const auto limit = static_cast<rlim_t>(AddressSpace() + extra);
    const rlimit both = {limit, limit};
    ::setrlimit(RLIMIT_AS, &both);
    Ending ending = Ending::Refused;
    try {
      ending = work();
    } catch (const std::exception& error) {
      std::printf("exception: %s\n", error.what());
    }
    std::fflush(stdout);
    ::_exit(static_cast<int>(ending));
  }
  int status = 0;
  ::waitpid(child, &status, 0);
  std::ifstream in(path);
  ChildRun run{Ending::Exit,
               std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>())};
  if (WIFSIGNALED(status)) {
    run.ending = Ending::Signal;
    run.words += "signal " + std::to_string(WTERMSIG(status));
  } else if (WEXITSTATUS(status) >= 10 && WEXITSTATUS(status) <= 12) {
    run.ending = static_cast<Ending>(WEXITSTATUS(status));
  } else {
    run.words += "exit " + std::to_string(WEXITSTATUS(status));
  }
  return run;
}

Ending SolveFacade(const Problem& problem, SolMethod method, PardisoEngine engine) {
  CReport report;
  CSolnMatrix matrix;
  matrix.SetMethod(method);
  matrix.SetPardisoEngine(engine);
  matrix.SetLog(&report);
  const auto tell = [&report] {
    for (int k = 0; k < report.NumLog(); ++k) std::printf("log: %s\n", report.LogMessage(k).c_str());
    std::printf("note: %s\n", report.Note().c_str());
  };
  try {
    matrix.SetNumDof(problem.n);
    problem.Assemble([&](int i, int j, double v) { matrix.AddTerm(i, j, v); });
    std::vector<int> zero;
    const bool built = matrix.Finalize();
    const int code = built ? matrix.Reduce(OptStiffness, zero) : 99;
    if (code != 0 || report.Status() >= 2) {
      std::printf("code %d\n", code);
      tell();
      return Ending::Refused;
    }
    CVector x(problem.n, 1.0);
    matrix.BackSubstitute(x);
    if (problem.IsSolution(x)) return Ending::Right;
    tell();
    return report.Status() >= 2 || report.Note().rfind("Error solving", 0) == 0 ? Ending::Refused
                                                                                : Ending::Wrong;
  } catch (const std::exception&) {
    tell();
    throw;
  }
}

struct Case {
  const char* name;
  std::function<Ending(const Problem&)> solve;
};

class MemoryLimit : public ::testing::TestWithParam<Case> {
protected:
  void SetUp() override {
    if (test_support::underSanitizer()) GTEST_SKIP() << "a sanitizer maps more than any limit allows";
    if (GetParam().name == std::string("PARDISO, MKL") && !Pardiso::HasEngine(EngineMkl))
      GTEST_SKIP() << "this build has no MKL";
  }
};

TEST_P(MemoryLimit, IsMetWithTheRightAnswerOrAMessageAtEveryStep) {
  const Problem problem("brick:8");
  int right = 0, refused = 0;
  long long smallest = 0;
  for (double extra = 5e8; extra > 1e5; extra *= 0.7) {
    SCOPED_TRACE(std::to_string(extra / 1e6) + " MB");

    const ChildRun run = InChild(static_cast<long long>(extra), [&] { return GetParam().solve(problem); });

    ASSERT_TRUE(run.ending == Ending::Right || run.ending == Ending::Refused) << run.words;
    right += run.ending == Ending::Right ? 1 : 0;
    refused += run.ending == Ending::Refused ? 1 : 0;
    if (run.ending == Ending::Right) smallest = static_cast<long long>(extra);
    EXPECT_TRUE(run.ending == Ending::Right || !run.words.empty());
  }
  std::printf("%s: %d limits solved, down to %.1f MB more than the process had, %d refused\n",
              GetParam().name, right, static_cast<double>(smallest) / 1e6, refused);
  EXPECT_GT(right, 3);
  EXPECT_GT(refused, 3);
}

INSTANTIATE_TEST_SUITE_P(
    Methods, MemoryLimit,
    ::testing::Values(
        Case{"skyline", [](const Problem& p) { return SolveFacade(p, SolSkyline, EngineDefault); }},
        Case{"compressed column",
             [](const Problem& p) { return SolveFacade(p, SolCompColumn, EngineDefault); }},
        Case{"PARDISO, own engine", [](const Problem& p) { return SolveFacade(p, SolPardiso, EngineOwn); }},
        Case{"PARDISO, MKL", [](const Problem& p) { return SolveFacade(p, SolPardiso, EngineMkl); }}),
    [](const auto& info) { return "Case" + std::to_string(info.index); });

// Half of what the profile, or the factor, takes: refused before a page of it is touched, with both figures.
void ExpectFigures(long long extra, const std::function<Ending()>& work) {
  if (test_support::underSanitizer()) GTEST_SKIP() << "a sanitizer maps more than any limit allows";
  const ChildRun run = InChild(extra, work);
  EXPECT_EQ(run.ending, Ending::Refused) << run.words;
  EXPECT_TRUE(
      std::regex_search(run.words, std::regex("needs [0-9]+ MB, this process may take [0-9]+ MB more")))
      << run.words;
}

TEST(MemoryLimitFigures, AreInTheMessageOfEveryMethod) {
  const Problem problem("brick:8");
  ExpectFigures(3000000, [&] { return SolveFacade(problem, SolSkyline, EngineDefault); });
  ExpectFigures(6000000, [&] { return SolveFacade(problem, SolCompColumn, EngineDefault); });
  ExpectFigures(6000000, [&] { return SolveFacade(problem, SolPardiso, EngineOwn); });
  if (Pardiso::HasEngine(EngineMkl))
    ExpectFigures(60000000, [&] { return SolveFacade(problem, SolPardiso, EngineMkl); });
}

TEST(MemoryLimitFigures, AreInTheMessageOfTheRowStoredMatrix) {
  // An arrow: its first row is full, and so is its factor.
  const int n = 20000;
  ExpectFigures(300000000, [] {
    CSymmetricRow matrix(n), factor;
    for (int i = 1; i <= n; ++i) {
      matrix.AllocateAt(i, i);
      matrix.SetAt(i, i, 4.0 * n);
      if (i > 1) {
        matrix.AllocateAt(1, i);
        matrix.SetAt(1, i, 1.0);
      }
    }
    matrix.Sort();
    matrix.StoreFirstRow();
    factor.SymbolicFactorization(matrix);
    return Ending::Wrong;  // 5.2 GB in 300 MB
  });
}

}  // namespace
