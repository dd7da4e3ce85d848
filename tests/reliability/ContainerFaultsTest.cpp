// Every allocation inside the containers fails once: std::bad_alloc comes out, nothing leaks, and the object
// that was being changed can be read, used again and destroyed.
#include <gtest/gtest.h>

#include <functional>
#include <new>
#include <string>

#include "FailingMalloc.h"
#include "containers/CDiag.h"
#include "containers/CMatInt.h"
#include "containers/CMatrix.h"
#include "containers/CReport.h"
#include "containers/CVecInt.h"
#include "containers/CVector.h"
#include "skyline/CBandSym.h"
#include "sparse/CSymmetricRow.h"

namespace {

using namespace Vessa::Matrix;

// Runs `scenario` with its first, second, … allocation failing until it gets through; `scenario` makes its
// objects, calls `risky` on the step that may fail, and checks the objects behind it.
using Risky = std::function<bool(const std::function<void()>&)>;

void FailEvery(const char* what, const std::function<void(const Risky&)>& scenario) {
  long faults = 0;
  for (long n = 1; n < 1000; ++n) {
    SCOPED_TRACE(std::string(what) + ", allocation " + std::to_string(n));
    bool delivered = false;
    const long long before = failing_malloc::LiveBlocks();
    scenario([&](const std::function<void()>& step) {
      bool ended = true;
      failing_malloc::Arm(n);
      try {
        step();
      } catch (const std::bad_alloc&) {
        ended = false;
      }
      delivered = failing_malloc::Delivered();
      failing_malloc::Disarm();
      EXPECT_NE(ended, delivered) << "a failed allocation must not pass in silence";
      return ended;
    });
    EXPECT_EQ(failing_malloc::LiveBlocks(), before) << "leak";
    if (!delivered) break;
    ++faults;
  }
  EXPECT_GE(faults, 1) << what << ": no allocation was met";
}

// A vector or matrix behind a failed assignment or sizing is empty, or was never touched.
void ExpectUsable(CVector& v) {
  v.SetSize(5);
  v.SetAll(2.0);
  EXPECT_EQ(v.Sum(), 10.0);
}

template <int Layout>
void ExpectUsable(CMatrix<Layout>& m) {
  m.SetSize(2, 3);
  m.SetAll(1.0);
  EXPECT_EQ(m.Inner().sum(), 6.0);
}

}  // namespace

TEST(ContainerFaults, VectorAssignment) {
  FailEvery("assignment", [](const Risky& risky) {
    const CVector source(40, 1.5);
    CVector target(7, 1.0);
    if (!risky([&] { target = source; })) {
      EXPECT_EQ(target.Size(), 0);
    }
    EXPECT_EQ(source.Size(), 40);
    ExpectUsable(target);
  });
}

TEST(ContainerFaults, VectorSizing) {
  FailEvery("SetSize", [](const Risky& risky) {
    CVector v(7, 1.0);
    if (!risky([&] { v.SetSize(90); })) {
      EXPECT_EQ(v.Size(), 0);
    }
    ExpectUsable(v);
  });
}

TEST(ContainerFaults, VectorConstructionAndArithmetic) {
  FailEvery("construction", [](const Risky& risky) { risky([] { CVector(33, 1.0); }); });
  FailEvery("copy", [](const Risky& risky) {
    const CVector a(33, 1.0);
    risky([&] { CVector copy(a); });
  });
  FailEvery("sum", [](const Risky& risky) {
    const CVector a(33, 1.0), b(33, 2.0);
    risky([&] { EXPECT_EQ((a + b).Sum(), 99.0); });
  });
}

TEST(ContainerFaults, VectorOnTheHeap) {
  FailEvery("new", [](const Risky& risky) {
    CVector* v = nullptr;
    risky([&] { v = new CVector(33, 1.0); });
    delete v;
  });
  FailEvery("nothrow new", [](const Risky& risky) {
    CVector* v = nullptr;
    risky([&] { v = new (std::nothrow) CVector(33, 1.0); });
    delete v;
  });
}

TEST(ContainerFaults, MatrixAssignmentAndSizing) {
  FailEvery("assignment", [](const Risky& risky) {
    const CMatrix<0> source(8, 9, 1.0);
    CMatrix<0> target(2, 2, 3.0);
    if (!risky([&] { target = source; })) {
      EXPECT_EQ(target.NumRows() * target.NumCols(), 0);
    }
    ExpectUsable(target);
  });
  FailEvery("sizing", [](const Risky& risky) {
    CMatrix<1> m(2, 2, 3.0);
    if (!risky([&] { m.SetSize(20, 30); })) {
      EXPECT_EQ(m.NumRows() * m.NumCols(), 0);
    }
    ExpectUsable(m);
  });
}

TEST(ContainerFaults, DiagonalKeepsAConsistentSize) {
  FailEvery("SetNumDof", [](const Risky& risky) {
    CDiag d(3, 2.0);
    const bool ended = risky([&] { d.SetNumDof(50); });
    EXPECT_EQ(d.NumDof(), ended ? 50 : 3);
    d.SetAll(1.0);
    EXPECT_EQ(d.GetAt(1, 1), 1.0);
  });
  FailEvery("inverse", [](const Risky& risky) {
    const CDiag d(30, 2.0);
    risky([&] { EXPECT_EQ(d.Inverse().NumDof(), 30); });
    EXPECT_EQ(d.GetAt(30, 30), 2.0);
  });
}

TEST(ContainerFaults, ReportKeepsEarlierEntries) {
  const std::string text(100, 'x');
  FailEvery("Log", [&](const Risky& risky) {
    CReport report;
    report.Log(1, text);
    const bool ended = risky([&] { report.Log(2, text); });
    EXPECT_EQ(report.NumLog(), ended ? 2 : 1);
    EXPECT_EQ(report.LogMessage(0), text);
    EXPECT_EQ(report.Status(), 2) << "the level is kept even if its text is lost";
  });
}

TEST(ContainerFaults, PatternKeepsWhatItHeld) {
  FailEvery("SetVal", [](const Risky& risky) {
    CMatInt pattern;
    CVecInt set;
    pattern.SetVal(1, 1);
    set.SetVal(1);
    risky([&] {
      for (int k = 1; k < 20; ++k) pattern.SetVal(k, k % 5 + 1), set.SetVal(k);
    });
    EXPECT_TRUE(pattern.Exist(1, 1));
    EXPECT_TRUE(set.Exist(1));
    pattern.SetVal(9, 9);
    EXPECT_TRUE(pattern.Exist(9, 9));
  });
}

TEST(ContainerFaults, BandKeepsSizeAndValuesTogether) {
  FailEvery("band", [](const Risky& risky) {
    CBandSym a(4, 2, 1.0);
    const CBandSym wide(4, 3, 1.0);
    risky([&] {
      a += wide;
      a.SetSize(30, 5);
      a = wide;
    });
    EXPECT_EQ(a.GetAt(a.NumRows(), a.NumRows()), a.ElementAt(a.NumRows(), a.NumRows()));
    CVector x(a.NumRows(), 1.0);
    EXPECT_EQ((a * x).Size(), a.NumRows());
  });
}

TEST(ContainerFaults, RowStoredMatrixSolvesAfterAFault) {
  // A chain of springs held at both ends: the load that belongs to displacements of 1 is 1 at the ends.
  const int n = 12;
  FailEvery("row-stored", [&](const Risky& risky) {
    CSymmetricRow a, u;
    const auto cycle = [&] {
      a.SetNumDof(0);
      a.SetNumDof(n);
      for (int i = 1; i <= n; ++i) {
        a.AllocateAt(i, i);
        if (i < n) a.AllocateAt(i, i + 1);
      }
      a.Sort();
      for (int i = 1; i <= n; ++i) {
        a.SetAt(i, i, 2.0);
        if (i < n) a.SetAt(i, i + 1, -1.0);
      }
      a.StoreFirstRow();
      u.SymbolicFactorization(a);
      u.Factorization(a);
      u.StoreFirstRow();
    };
    risky(cycle);
    cycle();
    CVector x(n, 0.0);
    x[1] = x[n] = 1.0;
    u.BackSubs(x);
    for (int i = 1; i <= n; ++i) EXPECT_NEAR(x[i], 1.0, 1e-13);
  });
}
