#pragma once
#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "solution/CSolnMatrix.h"
#include "support/CaptureStdout.h"
#include "support/Terms.h"

namespace test_support {

/// Calls `f` with its standard output thrown away, for tests that are not about the trace lines.
template <class F>
auto Quietly(F f) -> decltype(f()) {
  CaptureStdout capture;
  return f();
}

/// A solution matrix with the given method and terms, finalised. `log` may be null.
inline std::unique_ptr<Vessa::Matrix::CSolnMatrix> Finalised(int method, int n,
                                                             const std::vector<Term>& terms,
                                                             Vessa::Matrix::CReport* log = nullptr) {
  auto k = std::make_unique<Vessa::Matrix::CSolnMatrix>();
  k->SetMethod(static_cast<Vessa::Matrix::SolMethod>(method));
  k->SetLog(log);
  k->SetNumDof(n);
  Assemble(terms, *k);
  Quietly([&] { return k->Finalize(); });
  return k;
}

/// A test for each method that has an engine.
class EngineMethod : public ::testing::TestWithParam<int> {
protected:
  Vessa::Matrix::SolMethod Method() const { return static_cast<Vessa::Matrix::SolMethod>(GetParam()); }
};

/// The value of the host's term (i, j), i ≤ j, wherever the method keeps it.
inline double TermOf(const Vessa::Matrix::CSolnMatrix& k, int method, int i, int j) {
  return method == 6 ? k.GetAt(j, i) : k.GetAt(i, j);
}

}  // namespace test_support
