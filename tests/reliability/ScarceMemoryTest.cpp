// A machine that says it has hardly any memory and grants every request all the same, as systems that
// overcommit do: what is asked for beforehand is refused, with both figures.
#include <gtest/gtest.h>

#include <dlfcn.h>

#include <cstdio>
#include <cstring>
#include <functional>
#include <new>
#include <string>

#include "solution/CSolnMatrix.h"
#include "support/SilenceLibrary.h"
#include "support/TempFolder.h"

namespace {

const char* statusOfTheMachine = nullptr;  // read in the place of /proc/meminfo; null: the real one

std::FILE* OpenRedirected(const char* name, const char* path, const char* mode) {
  using Open = std::FILE* (*)(const char*, const char*);
  const auto open = reinterpret_cast<Open>(::dlsym(RTLD_NEXT, name));
  const bool replaced = statusOfTheMachine != nullptr && std::strcmp(path, "/proc/meminfo") == 0;
  return open(replaced ? statusOfTheMachine : path, mode);
}

}  // namespace

// Found before the C library's own by the streams of the C++ library.
extern "C" std::FILE* fopen(const char* path, const char* mode) {
  return OpenRedirected("fopen", path, mode);
}
extern "C" std::FILE* fopen64(const char* path, const char* mode) {
  return OpenRedirected("fopen64", path, mode);
}

namespace {

using namespace Vessa::Matrix;

class ScarceMemory : public ::testing::Test {
protected:
  ScarceMemory() : m_status(m_folder.Path("meminfo")) {
    Leave(5);
    statusOfTheMachine = m_status.c_str();
  }
  ~ScarceMemory() override { statusOfTheMachine = nullptr; }

  /// From now on the machine has so much left.
  void Leave(int megabytes) {
    const int kilobytes = megabytes * 1000000 / 1024;
    m_folder.Write("meminfo",
                   "MemTotal: 20000000 kB\nMemAvailable: " + std::to_string(kilobytes + 1) + " kB\n");
  }

  /// The full upper triangle of n dofs: n (n + 1) / 2 terms.
  static void Fill(CSolnMatrix& matrix, SolMethod method, int n) {
    matrix.SetMethod(method);
    matrix.SetNumDof(n);
    for (int j = 1; j <= n; ++j)
      for (int i = 1; i <= j; ++i) matrix.AddTerm(i, j, 1.0);
  }

  /// What std::bad_alloc says; empty when `work` got its memory.
  static std::string Shortage(const std::function<void()>& work) {
    try {
      work();
    } catch (const std::bad_alloc& error) {
      return error.what();
    }
    return "";
  }

private:
  test_support::SilenceLibrary m_silence;
  const test_support::TempFolder m_folder;
  const std::string m_status;
};

constexpr int kOrder = 1400;  // 980,700 terms in blocks that are too small to be asked for

TEST_F(ScarceMemory, EndsTheStagingOfTerms) {
  CSolnMatrix matrix;

  const std::string words = Shortage([&] { Fill(matrix, SolPardiso, 1500); });

  EXPECT_EQ(words, "a block of terms needs 17 MB, this process may take 5 MB more");
}

TEST_F(ScarceMemory, EndsTheAddingUpOfTerms) {
  CSolnMatrix matrix;
  Fill(matrix, SolPardiso, kOrder);

  const std::string words = Shortage([&] { matrix.Finalize(); });

  EXPECT_EQ(words, "adding up the terms needs 12 MB, this process may take 5 MB more");
}

TEST_F(ScarceMemory, EndsTheBuildingOfBothTrianglesOfMethod4) {
  CSolnMatrix matrix;
  Fill(matrix, SolCompColumn, kOrder);
  Leave(15);  // enough for adding up one triangle

  const std::string words = Shortage([&] { matrix.Finalize(); });

  EXPECT_EQ(words, "the matrix needs 24 MB, this process may take 15 MB more");
}

TEST_F(ScarceMemory, EndsTheBuildingOfTheSkyline) {
  CReport report;
  CSolnMatrix matrix;
  matrix.SetLog(&report);
  Fill(matrix, SolSkyline, kOrder);

  EXPECT_THROW(matrix.Finalize(), CMatrixError);

  EXPECT_EQ(report.Note(), "the profile of the matrix needs 8 MB, this process may take 5 MB more");
}

}  // namespace
