// Drives CSolnMatrix through arbitrary legal call orders, sizes, methods and values (NaN, infinities,
// denormals, duplicates, empty columns) beside a dense model in long double, and compares every result.
//
// A byte stream is a program: each byte chooses an operation, the following ones its arguments. Aborts on a
// result that the model contradicts; the sanitizers watch the rest.
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <exception>
#include <limits>
#include <memory>
#include <vector>

#include "CallOrders.h"
#include "solution/CSolnMatrix.h"

namespace {

using namespace Vessa::Matrix;
using namespace fuzz;

class Session {
public:
  explicit Session(Choices& choices) : m_choices(choices) { restart(); }

  void step() {
    switch (m_choices.below(14)) {
      case 0:
        restart();
        break;
      case 1:
        size();
        break;
      case 2:
      case 3:
      case 4:
      case 5:
        addTerm();
        break;
      case 6:
        finalize();
        break;
      case 7:
        reduce();
        break;
      case 8:
        solve();
        break;
      case 9:
        solveBlock();
        break;
      case 10:
        product();
        break;
      case 11:
        scale();
        break;
      case 12:
        read();
        break;
      case 13:
        m_matrix = std::make_unique<CSolnMatrix>(*m_matrix);
        break;
    }
  }

private:
  enum class Stage { Empty, Staging, Assembled, Reduced };

  void restart() {
    static const int methods[] = {0, 1, 4, 6, 3};
    m_matrix = std::make_unique<CSolnMatrix>();
    m_n = -1;
    m_method = methods[m_choices.below(5)];
    m_matrix->SetMethod(static_cast<SolMethod>(m_method));
    m_matrix->SetLog(&m_report);
    if (m_choices.below(4) == 0) m_matrix->SetPardisoNumThreads(1);
    size();
  }

  void size() {
    const int old = m_n;
    m_n = m_choices.below(9);
    m_matrix->SetNumDof(m_n);
    if (m_n != old) m_staged = SymmetricModel(m_n);  // staged terms of the same order stay
    m_model = SymmetricModel(m_n);
    m_stage = Stage::Staging;
  }

  void addTerm() {
    if (m_n == 0) return;
    int i = 1 + m_choices.below(m_n), j = 1 + m_choices.below(m_n);
    if (i > j) std::swap(i, j);
    const double v = m_choices.value();
    m_matrix->AddTerm(i, j, v);
    const bool dropped =
        m_method == 6 &&
        (std::isnan(v) || (v != 0.0 && std::fabs(v) < std::numeric_limits<double>::epsilon()));
    if (!dropped) m_staged.add(i, j, v);
  }

  bool hasEngine() const { return m_method == 0 || m_method == 4 || m_method == 6; }

  void finalize() {
    // SetNumDof staged the diagonal for the first Finalize; a later one builds from new terms only.
    for (int i = 1; m_stage != Stage::Staging && i <= m_n; ++i) m_matrix->AddTerm(i, i, 0.0);
    if (!m_matrix->Finalize() && m_n > 0) contradiction("Finalize failed");
    m_model = m_staged;
    m_staged = SymmetricModel(m_n);
    m_stage = Stage::Assembled;
    if (hasEngine() && m_matrix->NumDof() != m_n)
      contradiction("NumDof %d after Finalize, method %d, n %d", m_matrix->NumDof(), m_method, m_n);
  }

  void reduce() {
    if (m_stage != Stage::Assembled && m_stage != Stage::Reduced) return;
    if (m_method == 0 && m_stage == Stage::Reduced) return;
    std::vector<int> zeroDofs;
    const Option option = m_choices.below(3) == 0 ? OptSturm : OptStiffness;
    const bool good = m_model.wellConditioned();
    const int result = m_matrix->Reduce(option, zeroDofs);
    m_stage = Stage::Reduced;
    m_solvable = result == 0;
    if (m_method == 1 && result != 0) contradiction("method 1 reduces to 0");
    if (m_method == 3 && result != -1) contradiction("an unknown method reduces to -1");
    if (good && hasEngine() && result != 0 && m_n > 0)
      contradiction("a positive definite matrix was not reduced");
    for (const int dof : zeroDofs) {
      if (dof < 1 || dof > m_n) contradiction("a suppressed dof out of range");
    }
  }

  bool mustSolve() const {
    return m_stage == Stage::Reduced && m_solvable && hasEngine() && m_n > 0 && m_model.wellConditioned();
  }

  void solve() {
    if (m_stage != Stage::Reduced) return;
    const std::vector<double> f = drawLoads(m_choices, m_n);
    CVector x = vectorOf(f, m_n);
    m_matrix->BackSubstitute(x);
    if (mustSolve()) m_model.checkSolution(x.Array(), f.data(), "BackSubstitute");
  }

  void solveBlock() {
    if (m_stage != Stage::Reduced || m_n == 0) return;
    const int columns = 1 + m_choices.below(5);
    CMatrix<1> X(m_n, columns);
    for (int c = 1; c <= columns; ++c) {
      for (int i = 1; i <= m_n; ++i) X.SetAt(i, c, m_choices.load());
    }
    const CMatrix<1> F = X;
    bool refused = false;
    try {
      m_matrix->BackSubstitute(X);
    } catch (const std::exception&) {
      refused = true;
    }
    if (refused != (m_method == 0)) contradiction("the block solve is refused by method 0 only");
    if (refused || !mustSolve()) return;
    for (int c = 0; c < columns; ++c)
      m_model.checkSolution(X.Array() + c * m_n, F.Array() + c * m_n, "block BackSubstitute");
  }

  void product() {
    if (m_stage != Stage::Assembled || !hasEngine() || m_n == 0) return;
    CVector x(m_n, 0.0);
    for (int i = 1; i <= m_n; ++i) x.SetAt(i, 0.25 * (m_choices.byte() - 128));
    const CVector y = *m_matrix * x;
    if (y.Size() != m_n) contradiction("the size of a product");
    m_model.checkProduct(x.Array(), y.Array(), "a product");
  }

  void scale() {
    if (m_stage != Stage::Assembled || !hasEngine()) return;
    const double f = 0.5 * (1 + m_choices.below(6));
    m_matrix->Scale(f);
    m_model.scale(f);
  }

  void read() {
    if (m_stage != Stage::Assembled || !hasEngine() || m_n == 0 || !m_model.finite()) return;
    int i = 1 + m_choices.below(m_n), j = 1 + m_choices.below(m_n);
    if (i > j) std::swap(i, j);
    const double found = m_method == 6 ? m_matrix->GetAt(j, i) : m_matrix->GetAt(i, j);
    m_model.checkTerm(i, j, found, "a term read back");
    if (m_method == 6 && i < j && m_matrix->GetAt(i, j) != 0.0) contradiction("method 6 stores one triangle");
  }

  Choices& m_choices;
  CReport m_report;
  std::unique_ptr<CSolnMatrix> m_matrix;
  SymmetricModel m_staged, m_model;
  int m_method = 0, m_n = -1;
  Stage m_stage = Stage::Empty;
  bool m_solvable = false;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  return fuzz::runSession<Session>(data, size, 400);
}
